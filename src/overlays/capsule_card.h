// The small card of a time capsule that is still sealed.
#pragma once

#include "api/records.h"
#include "overlays/card_surface.h"
#include "overlays/placement.h"

#include <memory>

namespace kivolo {

class CapsuleCardModel;

/// A picture, whose capsule it is, and a live countdown. Reads the sender's handle of the beam and
/// nothing else: what is sealed stays hidden. Of one size; nothing on it can be clicked.
class CapsuleCard final : public CardSurface
{
    Q_OBJECT
public:
    CapsuleCard(const Beam &beam, std::shared_ptr<CapsuleCardModel> model);
    ~CapsuleCard() override;

    /// The countdown text of 0 or more `seconds`, such as "23h 59m 41s"; hours are not split into
    /// days.
    static QString fmt(qint64 seconds);

    QSize sizeHint() const override { return placement::capsuleSize; }

protected:
    void paintContent(QPainter &painter) override;

private:
    void scheduleRender();
    void renderCountdown();

    std::shared_ptr<CapsuleCardModel> model_;
    QString handle_;
    QString title_;
    QString countdown_;
    bool renderScheduled_ = false;
};

} // namespace kivolo
