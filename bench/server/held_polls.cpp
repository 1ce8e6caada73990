// Holds many polls open at a server, and tells when each is answered.
//
// Every line of standard input's first part, up to an empty line, is the path and query of a poll.
// Each gets a connection of its own. When all were asked, "held COUNT" is printed; from then on,
// for every reply, "LINE NANOSECONDS STATUS", by the clock that Python calls time.monotonic_ns(). A
// poll that was answered with no beams is asked again. Ends when standard input does.

#include <CLI/CLI.hpp>
#include <arpa/inet.h>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <iostream>
#include <memory>
#include <openssl/ssl.h>
#include <stdexcept>
#include <string>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <vector>

namespace {

struct Options
{
    std::string host = "127.0.0.1";
    std::uint16_t port = 0;
    bool tls = false;
    std::uint32_t perAddress = 20'000; ///< An address has about 28,000 ports to connect from.
};

struct FreeTls
{
    void operator()(SSL_CTX *context) const { SSL_CTX_free(context); }
    void operator()(SSL *tls) const { SSL_free(tls); }
};

/// As many as the client sends.
const std::string headers = " HTTP/1.1\r\nHost: localhost:8787\r\nX-Kivolo-Version: 1.0.0\r\n"
                            "Connection: Keep-Alive\r\nAccept-Encoding: gzip, deflate\r\n"
                            "Accept-Language: en-US,*\r\nUser-Agent: Mozilla/5.0\r\n\r\n";

/// One connection with one poll. Connects and asks while it blocks, waits while it does not.
class Poll
{
public:
    Poll(std::string target, const Options &options, SSL_CTX *context, std::uint32_t number)
        : request_("GET " + target + headers)
        , socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        if (socket_ < 0)
            throw std::runtime_error("no socket: is the limit on open files too low?");
        sockaddr_in from = {};
        from.sin_family = AF_INET;
        from.sin_addr.s_addr = htonl(INADDR_LOOPBACK + 1 + number / options.perAddress);
        sockaddr_in to = {};
        to.sin_family = AF_INET;
        to.sin_port = htons(options.port);
        inet_pton(AF_INET, options.host.c_str(), &to.sin_addr);
        const int yes = 1;
        ::setsockopt(socket_, IPPROTO_IP, IP_BIND_ADDRESS_NO_PORT, &yes, sizeof yes);
        if (::bind(socket_, reinterpret_cast<sockaddr *>(&from), sizeof from) != 0 ||
            ::connect(socket_, reinterpret_cast<sockaddr *>(&to), sizeof to) != 0)
            throw std::runtime_error("cannot connect");
        if (!context)
            return;
        tls_.reset(SSL_new(context));
        SSL_set_fd(tls_.get(), socket_);
        if (SSL_connect(tls_.get()) != 1)
            throw std::runtime_error("no TLS");
    }
    Poll(const Poll &) = delete;
    Poll &operator=(const Poll &) = delete;
    ~Poll()
    {
        tls_.reset();
        ::close(socket_);
    }

    int socket() const { return socket_; }
    void ask()
    {
        const int size = static_cast<int>(request_.size());
        const bool sent = tls_ ? SSL_write(tls_.get(), request_.data(), size) == size
                               : ::send(socket_, request_.data(), request_.size(), 0) == size;
        if (!sent)
            throw std::runtime_error("a request was not taken");
    }
    void stopBlocking() { ::fcntl(socket_, F_SETFL, ::fcntl(socket_, F_GETFL) | O_NONBLOCK); }
    /// The reply as far as it has come.
    const std::string &read()
    {
        char buffer[16 << 10];
        for (;;) {
            const auto count =
                tls_ ? static_cast<ssize_t>(SSL_read(tls_.get(), buffer, sizeof buffer))
                     : ::recv(socket_, buffer, sizeof buffer, 0);
            closed_ = count == 0;
            if (count <= 0)
                return reply_;
            reply_.append(buffer, static_cast<std::size_t>(count));
        }
    }
    bool closed() const { return closed_; }
    bool complete() const
    {
        const std::size_t end = reply_.find("\r\n\r\n");
        const std::size_t length = reply_.find("Content-Length: ");
        return end != std::string::npos && length < end &&
               reply_.size() >= end + 4 + std::stoul(reply_.substr(length + 16));
    }
    void forget() { reply_.clear(); }

private:
    std::string request_;
    std::string reply_;
    int socket_;
    std::unique_ptr<SSL, FreeTls> tls_;
    bool closed_ = false;
};

void allowManyDescriptors()
{
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
}

std::vector<std::unique_ptr<Poll>> connectAll(const Options &options, SSL_CTX *context)
{
    std::vector<std::unique_ptr<Poll>> polls;
    for (std::string line; std::getline(std::cin, line) && !line.empty();) {
        const auto number = static_cast<std::uint32_t>(polls.size());
        polls.push_back(std::make_unique<Poll>(line, options, context, number));
    }
    // Not as each comes, or the first would be over before the last is there.
    for (const std::unique_ptr<Poll> &poll : polls)
        poll->ask();
    return polls;
}

void report(Poll &poll, std::size_t line)
{
    const std::string &reply = poll.read();
    if (poll.closed())
        throw std::runtime_error("the server closed a connection");
    if (!poll.complete())
        return;
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    const long long nanoseconds = std::chrono::nanoseconds(now).count();
    std::printf("%zu %lld %s\n", line, nanoseconds, reply.substr(9, 3).c_str());
    std::fflush(stdout);
    const bool nothing = reply.find("\"beams\":[]") != std::string::npos;
    poll.forget();
    if (nothing)
        poll.ask();
}

void watch(std::vector<std::unique_ptr<Poll>> &polls)
{
    const int queue = epoll_create1(EPOLL_CLOEXEC);
    const auto add = [&](int descriptor, std::size_t number) {
        epoll_event event = {EPOLLIN, {}};
        event.data.u64 = number;
        epoll_ctl(queue, EPOLL_CTL_ADD, descriptor, &event);
    };
    for (std::size_t i = 0; i < polls.size(); ++i) {
        polls[i]->stopBlocking();
        add(polls[i]->socket(), i);
    }
    add(STDIN_FILENO, polls.size());
    std::printf("held %zu\n", polls.size());
    std::fflush(stdout);
    for (;;) {
        epoll_event events[256];
        const int count = epoll_wait(queue, events, 256, -1);
        for (int i = 0; i < count; ++i) {
            if (events[i].data.u64 == polls.size())
                return;
            report(*polls[events[i].data.u64], events[i].data.u64);
        }
    }
}

} // namespace

int main(int argc, char **argv)
{
    Options options;
    CLI::App app("Holds many polls open at a server.", "held_polls");
    app.add_option("--host", options.host, "IPv4 address of the server");
    app.add_option("--port", options.port)->required();
    app.add_flag("--tls", options.tls, "The certificate is not looked at");
    app.add_option("--per-address", options.perAddress, "Connections from each of 127.0.0.2, …");
    CLI11_PARSE(app, argc, argv);
    allowManyDescriptors();
    try {
        const std::unique_ptr<SSL_CTX, FreeTls> context(
            options.tls ? SSL_CTX_new(TLS_client_method()) : nullptr);
        std::vector<std::unique_ptr<Poll>> polls = connectAll(options, context.get());
        watch(polls);
        return 0;
    } catch (const std::exception &error) {
        std::cerr << "held_polls: " << error.what() << std::endl;
        return 1;
    }
}
