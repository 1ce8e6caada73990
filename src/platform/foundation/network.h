// Whether there is a network yet.
#pragma once

#include <QFuture>
#include <functional>

class QObject;
class QUrl;

namespace kivolo {

class MainQueue;

/// What this machine knows of the way to a server.
class Network
{
public:
    virtual ~Network() = default;

    /// Whether a request to `url` could leave this machine. Nothing is sent to the server. The
    /// future finishes on any thread.
    virtual QFuture<bool> reaches(const QUrl &url) = 0;
};

/// Looks for what a request needs first: an address for the server's name, or for that of the
/// proxy before it, and a route there. So it never says no where a request would succeed, whoever
/// manages the network. Qt's own watch on the network costs 6 MB and two threads for as long as the
/// program runs, and takes "connecting" for "unknown".
class SystemNetwork final : public Network
{
public:
    QFuture<bool> reaches(const QUrl &url) override;
};

/// Runs `action` once, in the main thread, as soon as `network` reaches `url`: asks now, and again
/// 2 seconds after each no. Nothing happens once `context`, an object of the main thread, has been
/// destroyed; `network` and `queue` must outlive it.
void whenReachable(Network &network, const QUrl &url, MainQueue &queue, QObject *context,
                   std::function<void()> action);

} // namespace kivolo
