// The landing site: what is served of the disk, how much of it, and which packages are offered.

#include "servers/server_process.h"
#include "support.h"

#include <algorithm>
#include <boost/json/parse.hpp>
#include <fstream>
#include <gtest/gtest.h>

namespace kivolo::server::test {

namespace {

struct Disk
{
    void write(const std::string &name, const std::string &text) const
    {
        std::ofstream(folder / name.c_str()) << text;
    }
    /// As dpkg-deb lays one out: three members, here of that many bytes together.
    static std::string package(std::size_t bytes = 100)
    {
        std::string text = "!<arch>\n";
        for (const std::size_t size : {std::size_t{4}, std::size_t{9}, bytes}) {
            char head[61];
            std::snprintf(head, sizeof head, "%-16s%-12d%-6d%-6d%-8s%-10zu`\n", "member", 0, 0, 0,
                          "100644", size);
            text += head + std::string(size + size % 2, 'x');
        }
        return text;
    }
    std::optional<http::Response> get(std::string_view path, std::string_view host = "kivolo.test")
    {
        http::Request request{"GET", path, {}, {}};
        request.host = host;
        now += std::chrono::seconds(1);
        return site.answer(request);
    }

    TemporaryFolder folder;
    bool made = std::filesystem::create_directories(folder / "root/sub");
    std::chrono::steady_clock::time_point now;
    Site site{folder / "root", folder / "packages", [this] { return now; }};
};

} // namespace

TEST(Site, GivesItsFilesAndNothingElse)
{
    Disk disk;
    const auto &folder = disk.folder;
    std::filesystem::create_directories(folder / "packages");
    for (const char *name : {"outside.txt", "root/version.json", "root/sub/index.html",
                             "root/.hidden", "root/a b.png", "packages/x.deb"})
        disk.write(name, "{}");
    std::filesystem::create_symlink(folder / "outside.txt", folder / "root/link.txt");
    std::filesystem::create_symlink(folder / "outside.txt", folder / "packages/link.deb");
    std::filesystem::create_directory_symlink(folder.path(), folder / "root/up");
    const std::pair<const char *, const char *> cases[] = {
        {"/version.json", "application/json"},
        {"/sub/", "text/html; charset=utf-8"},
        {"/a%20b.png", "image/png"},
        {"/downloads/x.deb", "application/vnd.debian.binary-package"},
        {"/downloads/link.deb", nullptr},
        {"/downloads/../outside.txt", nullptr},
        {"/downloads/", nullptr},
        {"/", nullptr},
        {"/sub", nullptr},
        {"/.hidden", nullptr},
        {"/link.txt", nullptr},
        {"/up/outside.txt", nullptr},
        {"/../outside.txt", nullptr},
        {"/%2e%2e/outside.txt", nullptr},
    };
    for (const auto &[path, type] : cases) {
        const std::optional<http::Response> file = disk.get(path);
        ASSERT_EQ(file.has_value(), type != nullptr) << path;
        if (type) {
            EXPECT_EQ(file->contentType, type);
        }
    }
}

// Over a socket, all on one connection: a reply of the wrong length would spoil the next one.
TEST(Site, SendsWhatTheAskerHasNot)
{
    House house;
    std::string file;
    for (int i = 0; i < 20'000; ++i) // does not go out in one piece
        file += std::to_string(10'000 + i);
    std::ofstream(house.folder / "x.deb") << file;
    house.site = Site(house.folder.path());
    Serving serving([&](http::Request &request, http::Reply later) {
        return house.routes.handle(request, std::move(later));
    });
    const std::string where = serving.listen();
    const auto port = static_cast<std::uint16_t>(std::stoi(where.substr(where.rfind(':') + 1)));
    const auto ask = [&](std::string_view method, const std::string &fields) {
        const std::string request = " /x.deb HTTP/1.1\r\nHost: x\r\n" + fields + "\r\n";
        return talk(port, std::string(method) + request + httpGet("/downloads/none"));
    };
    const std::string whole = ask("GET", "");
    ASSERT_NE(whole.find("\r\n\r\n" + file + "HTTP/1.1 404"), std::string::npos);
    const std::size_t at = whole.find("\r\nETag: ") + 8;
    const std::string tag = whole.substr(at, whole.find("\r\n", at) - at);
    for (const char *field :
         {"Content-Security-Policy: default-src 'none'; img-src 'self'; style-src 'self'; ",
          "X-Content-Type-Options: nosniff", "Referrer-Policy: no-referrer",
          "Cache-Control: no-cache", "Accept-Ranges: bytes", "Content-Length: 100000"})
        EXPECT_NE(whole.find(std::string("\r\n") + field), std::string::npos) << field;
    const auto range = [](const std::string &bytes) { return "Range: bytes=" + bytes + "\r\n"; };
    struct Case
    {
        std::string method, fields, status, contentRange, body;
    };
    const std::string all = "200", part = "206", none = "416", same = "304";
    const std::string noPart = R"({"error":"The file has no such part."})";
    const Case cases[] = {
        {"GET", "If-None-Match: " + tag + "\r\n", same, "", ""},
        {"GET", "If-None-Match: \"a\", W/" + tag + "\r\n" + range("0-1"), same, "", ""},
        {"GET", "If-None-Match: \"a\"\r\n", all, "", file},
        {"GET", range("0-0"), part, "0-0", file.substr(0, 1)},
        {"GET", range("70000-"), part, "70000-99999", file.substr(70'000)},
        {"GET", range("99990-200000"), part, "99990-99999", file.substr(99'990)},
        {"GET", range("-7"), part, "99993-99999", file.substr(99'993)},
        {"GET", range("-200000"), part, "0-99999", file},
        {"GET", range("100000-"), none, "", noPart},
        {"GET", range("99999999999999999999-"), none, "", noPart},
        {"GET", range("-0"), none, "", noPart},
        {"GET", range("0-1,4-5"), all, "", file},
        {"GET", range("5-4"), all, "", file},
        {"GET", range("x-9"), all, "", file},
        {"GET", "Range: lines=0-1\r\n", all, "", file},
        {"GET", range("0-3") + "If-Range: " + tag + "\r\n", part, "0-3", file.substr(0, 4)},
        {"GET", range("0-3") + "If-Range: \"another\"\r\n", all, "", file},
        {"GET", range("0-3") + "If-Range: Sat, 01 Jan 2000 00:00:00 GMT\r\n", all, "", file},
        {"HEAD", range("0-3"), all, "", ""},
    };
    for (const Case &c : cases) {
        const std::string reply = ask(c.method, c.fields);
        const std::string of = c.status == none ? "*" : c.contentRange;
        EXPECT_EQ(reply.substr(9, 3), c.status) << c.fields;
        EXPECT_EQ(reply.find("Content-Length") < reply.find("\r\n\r\n"), c.status != same);
        EXPECT_NE(reply.find("\r\n\r\n" + c.body + "HTTP/1.1 404"), std::string::npos) << c.fields;
        EXPECT_EQ(reply.find("\r\nContent-Range: bytes " + of + "/100000\r\n") != reply.npos,
                  c.status == none || c.status == part)
            << c.fields;
    }
}

// An update that is offered can be downloaded: as it lies there now, and whole.
TEST(Site, OffersTheNewestOfThePackagesThatLieThere)
{
    Disk disk;
    disk.write("root/index.html", "<p><!--each client-->{{version}} {{architecture}} {{file}} "
                                  "{{size}} {{}};<!--end--><!--each no client-->none<!--end-->"
                                  "<!--each server-->{{file}}<!--end-->{{version}}");
    const auto packages = disk.folder / "packages";
    const auto copied = [&](const char *name, const std::string &text) {
        return [&disk, name, text] { disk.write(std::string("packages/") + name, text); };
    };
    const std::string whole = Disk::package(), downloads = "https://kivolo.test/downloads/";
    struct Step
    {
        std::function<void()> happens;
        std::string version, url = {}, page = {};
    };
    const std::string first = "1.9.0 amd64 kivolo_1.9.0-1_amd64.deb 0 kB ;";
    const std::string tenth = "1.10 amd64 kivolo_1.10-10_amd64.deb 2.0 MB ;";
    const Step steps[] = {
        {[] {}, "", "", "none"},
        {[&] { std::filesystem::create_directory(packages); }, "", "", "none"},
        {copied("kivolo_1.9.0-1_amd64.deb", whole), "1.9.0", downloads + "kivolo_1.9.0-1_amd64.deb",
         first},
        {copied("kivolo_2_amd64.deb", whole.substr(0, whole.size() - 1)), "1.9.0", "", first},
        {copied("kivolo_3_amd64.deb", ""), "1.9.0", "", first},
        {copied("kivolo_9.9~rc1_amd64.deb", whole), "1.9.0", "", first},
        {copied("kivolo_9_amd64.deb.part", whole), "1.9.0", "", first},
        {copied("kivolo-server_9.9_amd64.deb", whole), "1.9.0", "",
         first + "kivolo-server_9.9_amd64.deb"},
        {[&] {
             std::filesystem::create_symlink("kivolo_1.9.0-1_amd64.deb",
                                             packages / "kivolo_4_amd64.deb");
         },
         "1.9.0"},
        {[&] { std::filesystem::create_directory(packages / "kivolo_5_amd64.deb"); }, "1.9.0"},
        {copied("kivolo_<b>_amd64.deb", whole), "1.9.0"},
        {copied("kivolo_1.10-10_amd64.deb", Disk::package(2'000'000)), "1.10",
         downloads + "kivolo_1.10-10_amd64.deb", tenth + "kivolo-server_9.9_amd64.deb"},
        {copied("kivolo_1.10-9_amd64.deb", whole), "1.10", downloads + "kivolo_1.10-10_amd64.deb"},
        {copied("kivolo_1.9.5_arm64.deb", whole), "1.9.5", "https://kivolo.test/#get"},
        {[&] { std::filesystem::remove(packages / "kivolo_1.9.5_arm64.deb"); }, "1.10"},
        {copied("kivolo_2_amd64.deb", whole), "2", downloads + "kivolo_2_amd64.deb"},
        {copied("version.json", R"({"version":"7","url":"u"})"), "file"},
        {[&] { std::filesystem::remove_all(packages); }, "", "", "none"},
    };
    int number = 0;
    for (const Step &step : steps) {
        step.happens();
        SCOPED_TRACE(++number);
        const std::optional<http::Response> offer = disk.get("/version.json");
        ASSERT_EQ(offer.has_value(), !step.version.empty());
        ASSERT_EQ(offer && offer->file, step.version == "file");
        if (offer && !offer->file) {
            const boost::json::value told = boost::json::parse(offer->body);
            EXPECT_EQ(told.at("version").as_string(), step.version);
            EXPECT_TRUE(step.url.empty() || told.at("url").as_string() == step.url) << told;
        }
        if (!step.page.empty()) {
            EXPECT_EQ(disk.get("/")->body, "<p>" + step.page + "{{version}}");
        }
    }
    EXPECT_NE(disk.get("/Kivolo.dmg")->fields.find("\r\nLocation: /#get"), std::string::npos);
}

// The page that comes with the server, as it serves it.
TEST(Site, LeadsNowhereWhereNothingIs)
{
    TemporaryFolder folder;
    std::vector<std::string> arguments = servingFrom((folder / "x.sqlite").string());
    arguments.insert(arguments.end(), {"--downloads", (folder / "packages").string()});
    ServerProcess server(arguments);
    const std::uint16_t port = server.port();
    const auto links = [&] {
        std::vector<std::string> all;
        const std::string page = talk(port, httpGet("/"));
        EXPECT_EQ(statusesOf(page), "200");
        EXPECT_EQ(page.find("<script"), std::string::npos);
        for (std::size_t at = 0; at < page.size();) {
            const std::size_t end = std::min(page.find_first_of("\" ,", at), page.size());
            if (page[at] == '/')
                all.push_back(page.substr(at, end - at));
            at = end + 1;
        }
        return all;
    };
    const std::size_t withoutPackages = links().size();
    EXPECT_GT(withoutPackages, 30u);
    std::filesystem::create_directory(folder / "packages");
    for (const char *name : {"packages/kivolo_1_amd64.deb", "packages/kivolo-server_1_amd64.deb"})
        std::ofstream(folder / name) << Disk::package();
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (links().size() != withoutPackages + 2)
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "the packages are not offered";
    for (const std::string &target : links())
        EXPECT_EQ(statusesOf(talk(port, httpGet(target))), "200") << target;
    EXPECT_NE(talk(port, httpGet("/version.json"))
                  .find(R"("url":"https://x/downloads/kivolo_1_amd64.deb")"),
              std::string::npos);
    EXPECT_EQ(server.end(SIGTERM), 0);
    arguments.insert(arguments.end(), {"--site", "none"});
    ServerProcess without(arguments);
    EXPECT_EQ(statusesOf(talk(without.port(), httpGet("/"))), "404");
}

} // namespace kivolo::server::test
