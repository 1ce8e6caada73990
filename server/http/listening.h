// Where the server can be reached.
#pragma once

#include "loop.h"

#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace kivolo::server::http {

/// The file of a Unix socket. Removed with this, unless somebody has put another in its place.
class SocketFile
{
public:
    SocketFile() = default;
    explicit SocketFile(std::string path);
    SocketFile(SocketFile &&other) noexcept;
    SocketFile &operator=(SocketFile &&other) noexcept;
    ~SocketFile();

private:
    std::string path_; ///< Empty: none.
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

struct Listening
{
    Acceptor acceptor;
    SocketFile file;
};

/// All that one address to listen on stands for.
struct Listenings
{
    std::string address; ///< As it was given, but with the real port.
    std::vector<Listening> all;
    bool local = false; ///< A Unix socket.
};

/// Stands for the sockets of inheritedListenings() in the place of an address.
constexpr std::string_view inherited = "systemd";

/// Listens on HOST:PORT, with an IPv6 address in brackets and port 0 for a free one, of a name on
/// every address that it has and this machine knows; or on unix:PATH, which the owner and the group
/// of the process may use. A file that a dead server left there is replaced. Throws
/// std::runtime_error with a sentence for the operator.
Listenings listenOn(asio::io_context &context, const std::string &address);

/// Throws like that where the address is none, without listening there.
void checkAddress(const std::string &address);

} // namespace kivolo::server::http
