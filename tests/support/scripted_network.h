// A network that is there when a test says so.
#pragma once

#include "platform/foundation/network.h"

#include <QList>
#include <QPromise>
#include <QUrl>
#include <memory>

namespace kivolo {

class ScriptedNetwork final : public Network
{
public:
    QFuture<bool> reaches(const QUrl &url) override
    {
        asked.append(url);
        pending_ = std::make_unique<QPromise<bool>>();
        pending_->start();
        return pending_->future();
    }

    /// Answers what was asked last.
    void answer(bool reached)
    {
        pending_->addResult(reached);
        pending_->finish();
    }

    QList<QUrl> asked;

private:
    std::unique_ptr<QPromise<bool>> pending_;
};

} // namespace kivolo
