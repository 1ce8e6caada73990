#include "tls.h"

#include <boost/asio/post.hpp>
#include <cerrno>
#include <fstream>
#include <new>
#include <openssl/err.h>
#include <spdlog/spdlog.h>
#include <stdexcept>
#include <sys/resource.h>
#include <system_error>

namespace kivolo::server::http {

namespace {

// What a peer that reads slowly makes the server keep is one of these.
constexpr std::size_t sendFragment = 8 << 10;

/// What the library says of the first thing that failed.
std::string reason()
{
    const char *text = ERR_reason_error_string(ERR_peek_error());
    return text ? text : "it is not understood";
}

void expectReadable(const std::string &what, const std::string &file)
{
    errno = 0;
    std::ifstream stream(file);
    stream.peek();
    if (!stream)
        throw std::runtime_error(what + " " + file + " cannot be read: " +
                                 (errno ? std::generic_category().message(errno) : "it is empty"));
}

// A server that starts by itself has nobody who could type it in.
int refusePassphrase(char *, int, int, void *asked)
{
    *static_cast<bool *>(asked) = true;
    return -1;
}

int chooseProtocol(SSL *, const unsigned char **chosen, unsigned char *length,
                   const unsigned char *offered, unsigned offeredLength, void *)
{
    static constexpr unsigned char http[] = "\x08http/1.1";
    unsigned char *found = nullptr;
    const int outcome =
        SSL_select_next_proto(&found, length, http, sizeof http - 1, offered, offeredLength);
    *chosen = found;
    return outcome == OPENSSL_NPN_NEGOTIATED ? SSL_TLSEXT_ERR_OK : SSL_TLSEXT_ERR_ALERT_FATAL;
}

void loadFiles(SSL_CTX *context, const std::string &certificateFile, const std::string &keyFile)
{
    expectReadable("the certificate", certificateFile);
    expectReadable("the key", keyFile);
    bool passphrase = false;
    SSL_CTX_set_default_passwd_cb(context, refusePassphrase);
    SSL_CTX_set_default_passwd_cb_userdata(context, &passphrase);
    ERR_clear_error();
    if (SSL_CTX_use_certificate_chain_file(context, certificateFile.c_str()) != 1)
        throw std::runtime_error("the certificate " + certificateFile +
                                 " cannot be used: " + reason());
    const int used = SSL_CTX_use_PrivateKey_file(context, keyFile.c_str(), SSL_FILETYPE_PEM);
    const bool mismatch = ERR_GET_REASON(ERR_peek_last_error()) == X509_R_KEY_VALUES_MISMATCH;
    if (passphrase)
        throw std::runtime_error("the key " + keyFile +
                                 " is protected by a passphrase; the server "
                                 "can use only one that is not");
    if (used != 1 && !mismatch)
        throw std::runtime_error("the key " + keyFile + " cannot be used: " + reason());
    // Keys of another kind do not clash before this.
    if (mismatch || SSL_CTX_check_private_key(context) != 1)
        throw std::runtime_error("the key " + keyFile + " does not belong to the certificate " +
                                 certificateFile);
    SSL_CTX_set_default_passwd_cb_userdata(context, nullptr);
}

/// Why programs will not accept it now; empty where they will.
std::string troubleWithDates(const SSL_CTX *context, const std::string &file)
{
    const X509 *certificate = SSL_CTX_get0_certificate(context);
    if (X509_cmp_current_time(X509_get0_notAfter(certificate)) < 0)
        return "the certificate " + file + " has expired: programs will refuse to connect";
    if (X509_cmp_current_time(X509_get0_notBefore(certificate)) > 0)
        return "the certificate " + file + " is not valid yet: programs will refuse to connect";
    return {};
}

// Clients keep their connections, so sessions to resume would cost more memory and secrecy than
// they save. A connection that waits gives its buffers back.
std::unique_ptr<SSL_CTX, FreeTls> makeContext()
{
    std::unique_ptr<SSL_CTX, FreeTls> context(SSL_CTX_new(TLS_server_method()));
    if (!context)
        throw std::bad_alloc();
    SSL_CTX_set_min_proto_version(context.get(), TLS1_2_VERSION);
    SSL_CTX_set_cipher_list(context.get(), "ECDHE+AESGCM:ECDHE+CHACHA20");
    SSL_CTX_set_options(context.get(),
                        SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION | SSL_OP_NO_TICKET);
    SSL_CTX_set_session_cache_mode(context.get(), SSL_SESS_CACHE_OFF);
    SSL_CTX_set_num_tickets(context.get(), 0);
    SSL_CTX_set_mode(context.get(), SSL_MODE_RELEASE_BUFFERS | SSL_MODE_ENABLE_PARTIAL_WRITE |
                                        SSL_MODE_ACCEPT_MOVING_WRITE_BUFFER);
    SSL_CTX_set_max_send_fragment(context.get(), sendFragment);
    // So that what a peer can send beside data, without end, does not keep the thread.
    SSL_CTX_clear_mode(context.get(), SSL_MODE_AUTO_RETRY);
    SSL_CTX_set_alpn_select_cb(context.get(), chooseProtocol, nullptr);
    return context;
}

} // namespace

void checkCertificate(const std::string &certificateFile, const std::string &keyFile)
{
    const std::unique_ptr<SSL_CTX, FreeTls> context = makeContext();
    loadFiles(context.get(), certificateFile, keyFile);
    const std::string trouble = troubleWithDates(context.get(), certificateFile);
    if (!trouble.empty())
        throw std::runtime_error(trouble);
}

Tls::Tls(std::string certificateFile, std::string keyFile)
    : certificateFile_(std::move(certificateFile))
    , keyFile_(std::move(keyFile))
{
    reload();
    boost::asio::post(worker_, [] {
        constexpr int behindTheLoop = 10;
        ::setpriority(PRIO_PROCESS, 0, behindTheLoop); // of this thread; best effort
    });
}

void Tls::reload()
{
    std::unique_ptr<SSL_CTX, FreeTls> context = makeContext();
    loadFiles(context.get(), certificateFile_, keyFile_);
    const std::string trouble = troubleWithDates(context.get(), certificateFile_);
    if (!trouble.empty())
        spdlog::warn("{}", trouble);
    context_ = std::move(context);
}

std::unique_ptr<SSL, FreeTls> Tls::begin(int socket) const
{
    std::unique_ptr<SSL, FreeTls> tls(SSL_new(context_.get()));
    if (!tls || SSL_set_fd(tls.get(), socket) != 1)
        throw std::bad_alloc();
    SSL_set_accept_state(tls.get());
    return tls;
}

void Tls::stop()
{
    worker_.stop();
    worker_.join();
}

} // namespace kivolo::server::http
