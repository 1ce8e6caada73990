// Real handshakes with real certificates, made for each test.

#include "support.h"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/write.hpp>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>

namespace kivolo::server::test {

namespace asio = boost::asio;

namespace {

struct CertificateFiles
{
    explicit CertificateFiles(const std::string &name) { replace(name); }
    void replace(const std::string &name) const
    {
        openssl("req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -subj /CN=" + name +
                " -out " + certificate + " -keyout " + key);
    }
    void expire() const
    {
        openssl("x509 -in " + certificate + " -signkey " + key + " -days -1 -out " + certificate);
    }
    TemporaryFolder folder;
    std::string certificate = (folder / "certificate.pem").string();
    std::string key = (folder / "key.pem").string();

private:
    static void openssl(const std::string &arguments)
    {
        // NOLINTNEXTLINE(concurrency-mt-unsafe): of one thread
        ASSERT_EQ(std::system(("openssl " + arguments + " 2> /dev/null").c_str()), 0);
    }
};

class TlsConnection
{
public:
    explicit TlsConnection(std::uint16_t port, int version = TLS1_3_VERSION)
    {
        SSL *tls = stream_.native_handle();
        SSL_set_security_level(tls, 0); // so that old versions are offered
        SSL_set_min_proto_version(tls, version);
        SSL_set_max_proto_version(tls, version);
        stream_.next_layer().connect({asio::ip::address_v4::loopback(), port});
        boost::system::error_code error;
        stream_.handshake(asio::ssl::stream_base::client, error);
        works = !error;
    }
    /// The name in the server's certificate.
    std::string peer()
    {
        const X509 *certificate = SSL_get0_peer_certificate(stream_.native_handle());
        if (!certificate)
            return "none";
        char name[64] = {};
        X509_NAME_get_text_by_NID(X509_get_subject_name(certificate), NID_commonName, name,
                                  sizeof name);
        return name;
    }
    void send(std::string_view bytes) { asio::write(stream_, asio::buffer(bytes)); }
    /// What comes until there is that in it, or the peer closes.
    std::string readUntil(std::string_view end)
    {
        std::string received;
        boost::system::error_code closed;
        asio::read_until(stream_, asio::dynamic_buffer(received), end, closed);
        return received;
    }

    bool works = false;

private:
    asio::io_context context_;
    asio::ssl::context client_{asio::ssl::context::tls_client};
    asio::ssl::stream<asio::ip::tcp::socket> stream_{context_, client_};
};

/// Answers "/large" with that many bytes and holds "/held"; everything else it answers with "x".
constexpr std::size_t largeBytes = 20 << 20;

struct TlsServer
{
    explicit TlsServer(http::Limits limits = {})
        : serving(
              [this](const http::Request &request, const http::Reply &) { return answer(request); },
              limits)
    {
        serving.onThread([this] { serving.server.encrypt(files.certificate, files.key); });
        url = serving.listen();
        port = portOf(url);
    }

    CertificateFiles files{"first"};
    std::promise<void> held, left;
    Serving serving;
    std::string url;
    std::uint16_t port = 0;

private:
    http::Answer answer(const http::Request &request)
    {
        http::Response response;
        response.body.assign(request.target == "/large" ? largeBytes : 1, 'x');
        if (request.target != "/held")
            return response;
        held.set_value();
        const auto leave = [this](http::Place *place) {
            delete place;
            left.set_value();
        };
        return http::Held{std::shared_ptr<http::Place>(new http::Place, leave),
                          std::chrono::seconds(30)};
    }
};

std::string getting(const std::string &target)
{
    return "GET " + target + " HTTP/1.1\r\nHost: x\r\n\r\n";
}

} // namespace

TEST(Tls, IsSpokenFromVersion12OnAndGoesOnThroughNewCertificates)
{
    TlsServer running;
    EXPECT_TRUE(running.url.starts_with("https://127.0.0.1:")) << running.url;
    EXPECT_FALSE(TlsConnection(running.port, TLS1_1_VERSION).works);
    EXPECT_TRUE(TlsConnection(running.port, TLS1_2_VERSION).works);
    TlsConnection old(running.port);
    EXPECT_EQ(old.peer(), "first");

    const auto reload = [&] {
        running.serving.onThread([&] { running.serving.server.reloadCertificate(); });
    };
    running.files.replace("second");
    running.files.expire(); // which is a warning only
    reload();
    EXPECT_EQ(TlsConnection(running.port).peer(), "second");
    std::ofstream(running.files.key) << "nonsense";
    EXPECT_THROW(reload(), std::runtime_error);
    EXPECT_EQ(TlsConnection(running.port).peer(), "second");
    old.send(getting("/"));
    EXPECT_EQ(statusesOf(old.readUntil("x")), "200");
}

TEST(Tls, EndsWhatIsNoHandshakeOrNeverEndsOne)
{
    http::Limits limits;
    limits.tick = std::chrono::milliseconds(5);
    limits.header = std::chrono::milliseconds(40);
    TlsServer running(limits);
    const std::string hello("\x16\x03\x01\x00\xff\x01\x00\x00\xfb\x03\x03", 11); // and no more
    EXPECT_EQ(talk(running.port, ""), "");
    EXPECT_EQ(talk(running.port, hello), "");
    EXPECT_EQ(statusesOf(talk(running.port, getting("/"))), "400");
    const std::string alert = talk(running.port, std::string("\x16\x03\x01\x00\x05hello", 10));
    EXPECT_EQ(alert.substr(0, 1), "\x15");
    EXPECT_TRUE(TlsConnection(running.port).works);
}

TEST(Tls, CarriesManyRequestsWholeAndSeesWhoGoesAway)
{
    TlsServer running;
    TlsConnection connection(running.port);
    connection.send(getting("/") + getting("/") + httpGet("/large"));
    const std::string all = connection.readUntil("the end");
    EXPECT_EQ(statusesOf(all), "200 200 200");
    EXPECT_EQ(all.size() - all.rfind("\r\n\r\n") - 4, largeBytes);
    TlsConnection(running.port).send(getting("/large")); // and does not wait for it
    {
        TlsConnection goesAway(running.port);
        goesAway.send(getting("/held"));
        running.held.get_future().wait();
    }
    EXPECT_EQ(running.left.get_future().wait_for(std::chrono::seconds(20)),
              std::future_status::ready);
}

TEST(UnixSocket, IsListenedOnWithoutTlsAndReplacedOnlyWhereNobodyListens)
{
    using Local = boost::asio::local::stream_protocol;
    using std::filesystem::perms;
    const TemporaryFolder folder;
    const std::string path = (folder / "socket").string();
    const std::string stale = (folder / "stale").string();
    const std::string file = (folder / "file").string();
    std::ofstream(file) << "kept";
    const auto status = [](const std::string &at) {
        Local::iostream stream{Local::endpoint(at)};
        stream << httpGet("/") << std::flush;
        return statusesOf(std::string(std::istreambuf_iterator<char>(stream), {}));
    };
    boost::asio::io_context context;
    http::Server second(context, {}, {});
    {
        TlsServer first;
        EXPECT_EQ(first.serving.listen("unix:" + path), "unix:" + path);
        EXPECT_EQ(std::filesystem::status(path).permissions(), perms(0660));
        ASSERT_THROW(second.listen("unix:" + path), std::runtime_error) << "in use";
        EXPECT_THROW(second.listen("unix:" + file), std::runtime_error) << "no socket";
        EXPECT_TRUE(std::filesystem::exists(file));
        EXPECT_EQ(status(path), "200");
        std::filesystem::rename(path, stale);
    }
    TlsServer again;
    EXPECT_NO_THROW(again.serving.listen("unix:" + stale)) << "left behind";
    EXPECT_EQ(status(stale), "200");
    again.serving.onThread([&] { again.serving.server.stop(); });
    EXPECT_FALSE(std::filesystem::exists(stale));
}

} // namespace kivolo::server::test
