// One running program per installation.
#pragma once

#include <QLocalServer>
#include <QLockFile>
#include <QObject>
#include <QString>

namespace kivolo {

/// The first program of its name that a user runs with a given device id; a later one asks it to
/// show itself. Holds its claim until it is destroyed; a claim that a crash left behind does not
/// count.
class SingleInstance final : public QObject
{
    Q_OBJECT
public:
    enum class Outcome {
        First,          ///< This program is the only one, and listens for later ones.
        AlreadyRunning, ///< Another one is; it has heard what it was asked.
        Failed          ///< Neither could be established; errorText() says why.
    };

    explicit SingleInstance(const QString &deviceId);

    /// What a program that already runs is asked.
    enum class Ask { ToRaise, Nothing };

    /// To be called once. Waits at most 2 seconds for an answer of the first program.
    Outcome claim(Ask ask);
    QString errorText() const { return errorText_; }

Q_SIGNALS:
    /// A later start has asked this program to show itself.
    void raiseRequested();

private:
    Outcome askFirst();
    Outcome fail(const QString &reason);
    void answer();

    QString socketPath_;
    QLockFile lock_;
    QLocalServer server_;
    QString errorText_;
};

} // namespace kivolo
