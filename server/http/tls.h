// The server's side of TLS.
#pragma once

#include <boost/asio/thread_pool.hpp>
#include <memory>
#include <openssl/ssl.h>
#include <string>

namespace kivolo::server::http {

struct FreeTls
{
    void operator()(SSL_CTX *context) const { SSL_CTX_free(context); }
    void operator()(SSL *tls) const { SSL_free(tls); }
};

/// Throws std::runtime_error with a sentence for the operator where the certificate and its key
/// cannot be used, do not belong together, or clients would not accept them now.
void checkCertificate(const std::string &certificateFile, const std::string &keyFile);

/// A certificate with its key, and what is spoken with it: TLS 1.2 and later, nothing to resume.
class Tls
{
public:
    /// Files in PEM: the certificate with its chain, and its key. Throws std::runtime_error with a
    /// sentence for the operator. A certificate that is not valid now is only warned of.
    Tls(std::string certificateFile, std::string keyFile);

    /// Reads the files anew, for the connections to come. Throws like the constructor; then what
    /// was read before stays in use.
    void reload();

    /// What a connection speaks that begins on that non-blocking socket; it does not own that. May
    /// be used on any thread, one at a time. Throws std::bad_alloc.
    std::unique_ptr<SSL, FreeTls> begin(int socket) const;

    /// Where handshakes are calculated: one takes a millisecond with some keys, and thousands come
    /// at once when a network returns.
    boost::asio::thread_pool::executor_type worker() { return worker_.get_executor(); }
    /// Ends that. What has not been calculated never will be.
    void stop();

private:
    std::string certificateFile_;
    std::string keyFile_;
    std::unique_ptr<SSL_CTX, FreeTls> context_;
    boost::asio::thread_pool worker_{1};
};

} // namespace kivolo::server::http
