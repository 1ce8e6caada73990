#include "server.h"

#include "hub.h"
#include "inherited.h"
#include "listening.h"
#include "tls.h"

namespace kivolo::server::http {

Server::Server(boost::asio::io_context &context, Handler handler, Limits limits, Proxies proxies,
               Watcher watcher)
    : context_(context)
    , hub_(std::make_shared<Hub>(context, std::move(handler), limits, std::move(proxies),
                                 std::move(watcher)))
{}

Server::~Server()
{
    if (tls_)
        tls_->stop();
}

void Server::encrypt(const std::string &certificateFile, const std::string &keyFile)
{
    tls_ = std::make_shared<Tls>(certificateFile, keyFile);
}

void Server::reloadCertificate()
{
    if (tls_)
        tls_->reload();
}

std::string Server::listen(const std::string &address)
{
    if (address != inherited)
        return serve(listenOn(context_, address));
    std::string told;
    for (Listenings &listenings : inheritedListenings(context_))
        told += (told.empty() ? "" : ", ") + serve(std::move(listenings));
    return told;
}

std::string Server::serve(Listenings listenings)
{
    const std::shared_ptr<Tls> tls = listenings.local ? nullptr : tls_;
    for (Listening &listening : listenings.all)
        hub_->serve(std::move(listening), tls);
    if (listenings.local)
        return listenings.address;
    return (tls ? "https://" : "http://") + listenings.address;
}

std::size_t Server::connections() const
{
    return hub_->connections();
}

void Server::stop()
{
    hub_->stop();
}

} // namespace kivolo::server::http
