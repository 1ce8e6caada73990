// Real handshakes with real certificates, made for each test.

#include "http/server.h"
#include "support.h"

#include <boost/asio/post.hpp>
#include <csignal>
#include <fstream>
#include <future>
#include <gtest/gtest.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>

namespace kivolo::server::test {

namespace {

using KeyPointer = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;

KeyPointer newKey()
{
    return {EVP_EC_gen("P-256"), EVP_PKEY_free};
}

void writeKey(const std::string &file, EVP_PKEY *key)
{
    std::FILE *out = std::fopen(file.c_str(), "w");
    PEM_write_PrivateKey(out, key, nullptr, nullptr, 0, nullptr, nullptr);
    std::fclose(out);
}

/// Signed by itself, valid until so many seconds from now.
void writeCertificate(const std::string &file, EVP_PKEY *key, const std::string &name,
                      long seconds = 3600)
{
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(X509_new(), X509_free);
    X509_NAME *subject = X509_get_subject_name(certificate.get());
    X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_ASC,
                               reinterpret_cast<const unsigned char *>(name.c_str()), -1, -1, 0);
    X509_set_issuer_name(certificate.get(), subject);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -7200);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), seconds);
    X509_set_pubkey(certificate.get(), key);
    X509_sign(certificate.get(), key, EVP_sha256());
    std::FILE *out = std::fopen(file.c_str(), "w");
    PEM_write_X509(out, certificate.get());
    std::fclose(out);
}

struct CertificateFiles
{
    explicit CertificateFiles(const std::string &name) { replace(name); }
    void replace(const std::string &name) const
    {
        const KeyPointer made = newKey();
        writeKey(key, made.get());
        writeCertificate(certificate, made.get(), name);
    }
    TemporaryFolder folder;
    std::string certificate = (folder / "certificate.pem").string();
    std::string key = (folder / "key.pem").string();
};

class TlsConnection
{
public:
    explicit TlsConnection(std::uint16_t port, int version = TLS1_3_VERSION)
        : context_(SSL_CTX_new(TLS_client_method()), SSL_CTX_free)
        , socket_(port, {})
    {
        SSL_CTX_set_security_level(context_.get(), 0); // so that old versions are offered
        SSL_CTX_set_min_proto_version(context_.get(), version);
        SSL_CTX_set_max_proto_version(context_.get(), version);
        tls_.reset(SSL_new(context_.get()));
        SSL_set_fd(tls_.get(), socket_.descriptor());
        works = SSL_connect(tls_.get()) == 1;
    }
    /// The name in the server's certificate.
    std::string peer() const
    {
        const X509 *certificate = SSL_get0_peer_certificate(tls_.get());
        char name[64] = {};
        X509_NAME_get_text_by_NID(X509_get_subject_name(certificate), NID_commonName, name,
                                  sizeof name);
        return name;
    }
    void send(std::string_view bytes)
    {
        SSL_write(tls_.get(), bytes.data(), static_cast<int>(bytes.size()));
    }
    /// What comes until it ends like that, or the peer closes.
    std::string readUntil(std::string_view end)
    {
        std::string received;
        char buffer[16 << 10];
        for (int count = 1; count > 0 && !received.ends_with(end);) {
            count = SSL_read(tls_.get(), buffer, sizeof buffer);
            received.append(buffer, static_cast<std::size_t>(std::max(count, 0)));
        }
        return received;
    }

    bool works = false;

private:
    std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> context_;
    Connection socket_;
    std::unique_ptr<SSL, decltype(&SSL_free)> tls_{nullptr, SSL_free};
};

/// Answers "/large" with that many bytes and holds "/held"; everything else it answers with "x".
constexpr std::size_t largeBytes = 20 << 20;

class LeftPlace : public http::Place
{
public:
    explicit LeftPlace(std::promise<void> &left)
        : left_(left)
    {}
    ~LeftPlace() override { left_.set_value(); }

private:
    std::promise<void> &left_;
};

struct TlsServer
{
    explicit TlsServer(http::Limits limits = {})
        : server(
              context,
              [this](const http::Request &request, const http::Reply &) { return answer(request); },
              limits)
    {
        std::signal(SIGPIPE, SIG_IGN); // as the program does
    }
    ~TlsServer()
    {
        boost::asio::post(context, [this] { server.stop(); });
        thread.join();
    }
    void run()
    {
        thread = std::jthread([this] { context.run(); });
    }
    std::uint16_t runEncrypted()
    {
        server.encrypt(files.certificate, files.key);
        const std::string url = server.listen("127.0.0.1:0");
        EXPECT_TRUE(url.starts_with("https://127.0.0.1:")) << url;
        run();
        return static_cast<std::uint16_t>(std::stoi(url.substr(url.rfind(':') + 1)));
    }
    /// Whether that worked.
    bool reload()
    {
        std::promise<bool> done;
        boost::asio::post(context, [&] {
            try {
                server.reloadCertificate();
                done.set_value(true);
            } catch (const std::runtime_error &) {
                done.set_value(false);
            }
        });
        return done.get_future().get();
    }

    CertificateFiles files{"first"};
    std::promise<void> held;
    std::promise<void> left;
    boost::asio::io_context context;
    http::Server server;
    std::jthread thread;

private:
    std::optional<http::Answer> answer(const http::Request &request)
    {
        http::Response response;
        response.body = "x";
        if (request.target == "/large")
            response.body.assign(largeBytes, 'x');
        if (request.target != "/held")
            return response;
        held.set_value();
        return http::Held{std::make_shared<LeftPlace>(left), std::chrono::seconds(30)};
    }
};

const std::string get = "GET / HTTP/1.1\r\nHost: x\r\n\r\n";

} // namespace

TEST(Tls, IsSpokenFromVersion12OnAndGoesOnThroughNewCertificates)
{
    TlsServer running;
    const std::uint16_t port = running.runEncrypted();
    EXPECT_FALSE(TlsConnection(port, TLS1_1_VERSION).works);
    EXPECT_TRUE(TlsConnection(port, TLS1_2_VERSION).works);
    TlsConnection old(port);
    EXPECT_EQ(old.peer(), "first");

    running.files.replace("second");
    EXPECT_TRUE(running.reload());
    EXPECT_EQ(TlsConnection(port).peer(), "second");
    std::ofstream(running.files.key) << "nonsense";
    EXPECT_FALSE(running.reload());
    EXPECT_EQ(TlsConnection(port).peer(), "second");
    old.send(get);
    EXPECT_TRUE(old.readUntil("x").starts_with("HTTP/1.1 200"));
}

TEST(Tls, IsNotBegunWithFilesThatCannotWork)
{
    const CertificateFiles files("x");
    const CertificateFiles others("y");
    const std::string rsa = (files.folder / "rsa.pem").string();
    const std::string locked = (files.folder / "locked.pem").string();
    const std::string nowhere = (files.folder / "nowhere.pem").string();
    const std::string expired = (files.folder / "expired.pem").string();
    const KeyPointer key = newKey();
    writeKey(rsa, KeyPointer(EVP_RSA_gen(2048), EVP_PKEY_free).get());
    writeCertificate(expired, key.get(), "z", -3600);
    std::FILE *out = std::fopen(locked.c_str(), "w");
    PEM_write_PrivateKey(out, key.get(), EVP_aes_128_cbc(), nullptr, 0, nullptr,
                         const_cast<char *>("secret"));
    std::fclose(out);
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {nowhere, files.key, "the certificate " + nowhere + " cannot be read: No such file"},
        {files.certificate, files.folder.path(), "cannot be read: Is a directory"},
        {files.key, files.key, "the certificate " + files.key + " cannot be used: "},
        {files.certificate, files.certificate, "the key " + files.certificate + " cannot be used"},
        {files.certificate, others.key, "does not belong to the certificate"},
        {files.certificate, rsa, "does not belong to the certificate"},
        {files.certificate, locked, "is protected by a passphrase"},
    };
    TlsServer running;
    for (const auto &[certificate, keyFile, sentence] : cases) {
        try {
            running.server.encrypt(certificate, keyFile);
            ADD_FAILURE() << "accepted instead of: " << sentence;
        } catch (const std::runtime_error &error) {
            EXPECT_NE(std::string(error.what()).find(sentence), std::string::npos) << error.what();
        }
    }
    writeKey(files.key, key.get());
    EXPECT_NO_THROW(running.server.encrypt(expired, files.key)) << "worth a warning only";
    running.run();
}

TEST(Tls, EndsWhatIsNoHandshakeOrNeverEndsOne)
{
    http::Limits limits;
    limits.tick = std::chrono::milliseconds(5);
    limits.header = std::chrono::milliseconds(40);
    TlsServer running(limits);
    const std::uint16_t port = running.runEncrypted();
    const std::string hello("\x16\x03\x01\x00\xff\x01\x00\x00\xfb\x03\x03", 11); // and no more
    EXPECT_EQ(talk(port, ""), "");
    EXPECT_EQ(talk(port, hello), "");
    EXPECT_TRUE(talk(port, get).starts_with("HTTP/1.1 400"));
    EXPECT_EQ(talk(port, std::string("\x16\x03\x01\x00\x05hello", 10)).substr(0, 1), "\x15")
        << "an alert";
    EXPECT_TRUE(TlsConnection(port).works);
}

TEST(Tls, CarriesLargeRepliesAndManyRequestsWhole)
{
    TlsServer running;
    const std::uint16_t port = running.runEncrypted();
    TlsConnection connection(port);
    connection.send(get + get + "GET /large HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
    const std::string all = connection.readUntil("the end");
    EXPECT_EQ(all.substr(0, 12), "HTTP/1.1 200");
    EXPECT_EQ(all.size() - all.rfind("\r\n\r\n") - 4, largeBytes);
    const TlsConnection goesInTheMiddle(port);
    {
        TlsConnection other(port);
        other.send("GET /large HTTP/1.1\r\nHost: x\r\n\r\n");
    }
}

TEST(Tls, FreesThePlaceOfAClientThatGoesAway)
{
    TlsServer running;
    const std::uint16_t port = running.runEncrypted();
    {
        TlsConnection connection(port);
        connection.send("GET /held HTTP/1.1\r\nHost: x\r\n\r\n");
        running.held.get_future().wait();
    }
    EXPECT_EQ(running.left.get_future().wait_for(std::chrono::seconds(20)),
              std::future_status::ready);
}

namespace {

std::string talkLocally(const std::string &path, std::string_view bytes)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    std::string received;
    char buffer[4096];
    if (::connect(socket, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0 &&
        ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) > 0) {
        for (ssize_t count; (count = ::recv(socket, buffer, sizeof buffer, 0)) > 0;)
            received.append(buffer, static_cast<std::size_t>(count));
    }
    ::close(socket);
    return received;
}

} // namespace

TEST(UnixSocket, IsListenedOnWithoutTlsAndReplacedOnlyWhereNobodyListens)
{
    const TemporaryFolder folder;
    const std::string path = (folder / "socket").string();
    const std::string file = (folder / "file").string();
    std::ofstream(file) << "kept";
    boost::asio::io_context context;
    {
        TlsServer first;
        first.server.encrypt(first.files.certificate, first.files.key);
        EXPECT_EQ(first.server.listen("unix:" + path), "unix:" + path);
        first.run();
        struct stat status = {};
        ::stat(path.c_str(), &status);
        EXPECT_EQ(status.st_mode & 0777U, 0660U);
        EXPECT_TRUE(talkLocally(path, httpGet("/")).starts_with("HTTP/1.1 200"));
        http::Server second(context, {}, {});
        EXPECT_THROW(second.listen("unix:" + path), std::runtime_error) << "in use";
        EXPECT_THROW(second.listen("unix:" + file), std::runtime_error) << "no socket";
        EXPECT_TRUE(std::filesystem::exists(file));
        EXPECT_TRUE(talkLocally(path, httpGet("/")).starts_with("HTTP/1.1 200"));
        std::filesystem::rename(path, folder / "stale");
    }
    TlsServer again;
    EXPECT_NO_THROW(again.server.listen("unix:" + (folder / "stale").string())) << "left behind";
    again.run();
    EXPECT_TRUE(talkLocally(folder / "stale", httpGet("/")).starts_with("HTTP/1.1 200"));
    std::promise<void> stopped;
    boost::asio::post(again.context, [&] {
        again.server.stop();
        stopped.set_value();
    });
    stopped.get_future().wait();
    EXPECT_FALSE(std::filesystem::exists(folder / "stale"));
}

} // namespace kivolo::server::test
