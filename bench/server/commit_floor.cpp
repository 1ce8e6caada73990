// What SQLite itself can do: as many of the inserts and updates that a send is, through its own
// interface alone, as it commits in so many seconds, with the same durability.
//
// commit_floor DATABASE CIRCLES GROUP SECONDS LOG: prints sends a second. GROUP of them are one
// transaction; the log is copied into the database when it has LOG pages (SQLite itself: 1000). The
// database is one that the server has made, so its tables and indexes are the server's.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <stdexcept>
#include <string>

#include <sqlite3.h>

namespace {

class Database
{
public:
    Database(const char *path, const std::string &logPages)
    {
        if (sqlite3_open(path, &handle_) != SQLITE_OK)
            throw std::runtime_error("cannot open the database");
        run("PRAGMA journal_mode = WAL");
        run("PRAGMA synchronous = FULL");
        run("PRAGMA cache_size = -65536");
        run(("PRAGMA wal_autocheckpoint = " + logPages).c_str());
    }
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;
    ~Database() { sqlite3_close_v2(handle_); }

    void run(const char *sql) { check(sqlite3_exec(handle_, sql, nullptr, nullptr, nullptr)); }
    sqlite3_stmt *prepare(const char *sql)
    {
        sqlite3_stmt *statement = nullptr;
        check(sqlite3_prepare_v2(handle_, sql, -1, &statement, nullptr));
        return statement;
    }
    void check(int result)
    {
        if (result != SQLITE_OK && result != SQLITE_DONE)
            throw std::runtime_error(sqlite3_errmsg(handle_));
    }

private:
    sqlite3 *handle_ = nullptr;
};

std::string identifier(std::mt19937_64 &random)
{
    char text[33];
    std::snprintf(text, sizeof text, "%016llx%016llx", static_cast<unsigned long long>(random()),
                  static_cast<unsigned long long>(random()));
    return text;
}

/// The two statements of a send.
class Sends
{
public:
    Sends(Database &database, long long circles)
        : database_(database)
        , circles_(circles)
    {}
    ~Sends()
    {
        sqlite3_finalize(stamp_);
        sqlite3_finalize(add_);
    }
    Sends(const Sends &) = delete;
    Sends &operator=(const Sends &) = delete;

    void one()
    {
        const long long circle = static_cast<long long>(random_()) & 0x7fff'ffff;
        const std::string id = identifier(random_);
        sqlite3_bind_int64(stamp_, 1, 1'800'000'000 + ++count_);
        sqlite3_bind_int64(stamp_, 2, circle % circles_ + 1);
        step(stamp_);
        sqlite3_bind_text(add_, 1, id.c_str(), -1, SQLITE_STATIC);
        sqlite3_bind_int64(add_, 2, circle % circles_ + 1);
        sqlite3_bind_int64(add_, 3, 1'800'000'000 + count_);
        sqlite3_bind_text(add_, 4, member_.c_str(), -1, SQLITE_STATIC);
        sqlite3_bind_text(add_, 5, body_.c_str(), -1, SQLITE_STATIC);
        step(add_);
    }

private:
    void step(sqlite3_stmt *statement)
    {
        database_.check(sqlite3_step(statement));
        database_.check(sqlite3_reset(statement));
    }

    Database &database_;
    long long circles_;
    long long count_ = 0;
    std::mt19937_64 random_{std::random_device()()};
    std::string member_ = identifier(random_);
    std::string body_ = std::string("Lunch? Lunch? Lunch? Lunch? Lunch? Lunch? Lunch? ");
    sqlite3_stmt *stamp_ = database_.prepare("UPDATE circle SET tick = ?1, sender = 1,"
                                             " others_tick = ?1, bytes = ?1, busy_until = ?1"
                                             " WHERE number = ?2");
    sqlite3_stmt *add_ = database_.prepare(
        "INSERT INTO beam (id, circle, tick, created_at, sender, bytes, type, from_member,"
        " from_handle, from_emoji, body)"
        " VALUES (?1, ?2, ?3, ?3, 1, 400, 'text', ?4, 'Somebody', '\U0001f49c', ?5)");
};

double sendsPerSecond(Database &database, long long circles, int group, double seconds)
{
    Sends sends(database, circles);
    const auto start = std::chrono::steady_clock::now();
    long long count = 0;
    std::chrono::duration<double> taken{0};
    while (taken.count() < seconds) {
        database.run("BEGIN IMMEDIATE");
        for (int i = 0; i < group; ++i)
            sends.one();
        database.run("COMMIT");
        count += group;
        taken = std::chrono::steady_clock::now() - start;
    }
    return static_cast<double>(count) / taken.count();
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 6) {
        std::fprintf(stderr, "usage: commit_floor DATABASE CIRCLES GROUP SECONDS LOG\n");
        return 2;
    }
    try {
        Database database(argv[1], argv[5]);
        std::printf("%.0f\n", sendsPerSecond(database, std::stoll(argv[2]), std::stoi(argv[3]),
                                             std::stod(argv[4])));
        return 0;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "commit_floor: %s\n", error.what());
        return 1;
    }
}
