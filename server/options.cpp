#include "options.h"

#include "settings_file.h"

#include <CLI/CLI.hpp>
#include <cctype>
#include <cstdlib>
#include <filesystem>

namespace kivolo::server {

namespace {

/// Takes the option's values from the environment, too; of those that can be given several times
/// with commas between them.
void readFromEnvironment(CLI::Option &option)
{
    std::string name = "KIVOLO_" + option.get_lnames().front();
    for (char &character : name)
        character = character == '-' ? '_' : static_cast<char>(std::toupper(character));
    option.envname(name);
}

/// Missing is an error wherever it was named.
void addFile(CLI::App &app)
{
    // Before any thread is started, so the environment stands still.
    const char *named = std::getenv("KIVOLO_CONFIG"); // NOLINT(concurrency-mt-unsafe)
    CLI::Option *file = app.set_config("--config", named ? named : "",
                                       "File of settings, in TOML: max-seats = 5", named && *named);
    file->option_text("FILE")->configurable(false);
    app.config_formatter(std::make_shared<SettingsFile>(app));
    app.allow_config_extras(CLI::config_extras_mode::error);
}

} // namespace

void addSettings(CLI::App &app, Options &options)
{
    addFile(app);
    app.add_option("--listen", options.listen,
                   "Address to listen on, as often as there are any; port 0 picks a free one; "
                   "systemd: the sockets of its unit")
        ->option_text("HOST:PORT, unix:PATH or systemd [127.0.0.1:8787]")
        ->expected(1)
        ->delimiter(',')
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option_function<std::string>(
           "--operator-listen",
           [&options](const std::string &address) {
               options.operatorListen = address;
               options.operatorListenGiven = true;
           },
           "Address for whoever looks after the server, and for nobody else: health and metrics")
        ->option_text("HOST:PORT, unix:PATH or none [127.0.0.1:9787 where that is free]");
    CLI::Option *certificate =
        app.add_option("--tls-cert", options.tlsCertificate,
                       "Certificate with its chain, to speak TLS with wherever no Unix socket is "
                       "listened on; read anew on SIGHUP")
            ->option_text("FILE");
    app.add_option("--tls-key", options.tlsKey, "Key of that certificate")
        ->option_text("FILE")
        ->needs(certificate);
    certificate->needs("--tls-key");
    app.add_option("--database", options.database,
                   "Where circles and beams are kept; a file is created where needed")
        ->option_text("sqlite:PATH or postgresql://USER@HOST/NAME [kivolo/kivolo.sqlite in the "
                      "data directory]");
    app.add_option("--keep", options.keep, "Days after which beams are removed; 0: never")
        ->option_text("DAYS [0]")
        ->check(CLI::Range(0, 36'500));
    app.add_option("--abandoned-after", options.abandonedAfter,
                   "Days without anybody in it after which a circle is removed; 0: never")
        ->option_text("DAYS [365]")
        ->check(CLI::Range(0, 36'500));
    app.add_option("--backup-directory", options.backupDirectory,
                   "Where copies of the database are put while the server runs")
        ->option_text("DIR [none are made]");
    app.add_option("--backup-every", options.backupEvery, "Hours from one copy to the next")
        ->option_text("HOURS [24]")
        ->check(CLI::Range(0.0001, 8'760.0));
    app.add_option("--backup-keep", options.backupKeep, "How many of them are kept")
        ->option_text("N [7]")
        ->check(CLI::Range(1, 10'000));
    app.add_option("--site", options.site, "Directory of the landing site, or none")
        ->option_text("DIR [the one that is installed with the server]")
        ->transform([](const std::string &site) { return site == "none" ? "" : site; });
    app.add_option("--downloads", options.downloads,
                   "Directory of the packages that the site offers to people and programs")
        ->option_text("DIR [downloads in the site]");
    app.add_option("--trusted-proxy", options.trustedProxies,
                   "Whose word on where a request comes from is taken (X-Forwarded-For), as often "
                   "as there are any; unix: whoever comes over a Unix socket")
        ->option_text("CIDR")
        ->expected(1)
        ->delimiter(',')
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--max-seats", options.maxSeats, "Members that a new circle can have")
        ->option_text("N [5]")
        ->check(CLI::Range(1, 100));
    app.add_option("--who-may-create", options.whoMayCreate,
                   "Whether anyone may start a circle, or nobody but kivolo-server create-circle")
        ->option_text("anyone|nobody [anyone]")
        ->check(CLI::IsMember({"anyone", "nobody"}));
    app.add_option("--min-version", options.minVersion,
                   "Oldest version of Kivolo that is served; older ones are told to update")
        ->option_text("VERSION [all]");
    app.add_option("--update-url", options.updateUrl, "Where these are sent for a newer one")
        ->option_text("URL [what the site's version.json says]");
    app.add_option("--idle-seat", options.idleSeat,
                   "Days after which a seat that nobody was seen in can be taken over")
        ->option_text("DAYS [30]")
        ->check(CLI::Range(1, 3'650));
    const auto addSize = [&app](const char *name, std::int64_t &size, const char *meaning,
                                const char *text) {
        constexpr std::int64_t most = std::int64_t{1} << 50;
        app.add_option(name, size, meaning)
            ->option_text(text)
            ->transform(CLI::AsSizeValue(false))
            ->check(CLI::Range(std::int64_t{0}, most));
    };
    addSize("--circle-quota", options.quotas.circle, "How much the beams of a circle can take",
            "SIZE [1GB]");
    addSize("--database-quota", options.quotas.database, "How large the database can grow",
            "SIZE [8GB]");
    addSize("--disk-reserve", options.quotas.reserve, "How much of the database's disk stays free",
            "SIZE [512MB]");
    app.add_option("--hold", options.hold,
                   "Seconds for which a poll that finds nothing waits for a beam; 0: not at all")
        ->option_text("SECONDS [25]")
        ->check(CLI::Range(0, 45));
    app.add_option("--connections", options.connections,
                   "Connections at a time; each takes a descriptor, and two where there is a site")
        ->option_text("N [as many as --memory is enough for]")
        ->check(CLI::Range(1, 1'000'000));
    app.add_option("--connections-per-address", options.connectionsPerAddress,
                   "Connections at a time of one address; those of trusted proxies are not counted")
        ->option_text("N [256]")
        ->check(CLI::Range(1, 1'000'000));
    app.add_option("--rates", options.rates,
                   "How many times the usual one address may ask, send and start circles")
        ->option_text("FACTOR [1]")
        ->check(CLI::Range(0.1, 1e6));
    app.add_option(
           "--memory", options.memory,
           "What the process may take, whatever is sent to it; decides how many connections "
           "and how large histories there can be")
        ->option_text("MIB [240]")
        ->check(CLI::Range(96, 1 << 20));
    for (CLI::Option *option : app.get_options([](const CLI::Option *one) {
             return one->get_configurable() && one->get_items_expected_max() > 0;
         }))
        readFromEnvironment(*option);
}

std::string openableDatabase(const Options &options)
{
    std::string database = databaseOf(options);
    if (options.database.empty()) {
        const auto folder =
            std::filesystem::path(database.substr(database.find(':') + 1)).parent_path();
        std::error_code error;
        std::filesystem::create_directories(folder, error);
        if (error)
            throw std::runtime_error("the folder " + folder.string() +
                                     " cannot be created: " + error.message());
    }
    return database;
}

std::string databaseOf(const Options &options)
{
    if (!options.database.empty())
        return options.database;
    // Before any thread is started, so the environment stands still.
    const char *data = std::getenv("XDG_DATA_HOME"); // NOLINT(concurrency-mt-unsafe)
    const char *home = std::getenv("HOME");          // NOLINT(concurrency-mt-unsafe)
    std::filesystem::path base;
    if (data && std::filesystem::path(data).is_absolute())
        base = data;
    else if (home && *home)
        base = std::filesystem::path(home) / ".local" / "share";
    else
        throw std::runtime_error("there is no home directory to keep the database in; name a "
                                 "place with --database");
    return "sqlite:" + (base / "kivolo" / "kivolo.sqlite").string();
}

std::string installedSite()
{
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    const std::filesystem::path site =
        program.parent_path().parent_path() / "share" / "kivolo-server" / "site";
    return std::filesystem::is_directory(site, error) ? site.string() : std::string();
}

} // namespace kivolo::server
