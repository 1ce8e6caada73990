#include "log.h"

#include <cstdlib>
#include <ctime>
#include <iterator>
#include <spdlog/cfg/env.h>
#include <spdlog/fmt/fmt.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

namespace kivolo::server {

BoundedSink::BoundedSink(std::shared_ptr<spdlog::sinks::sink> to, int linesPerSecond)
    : dist_sink({std::move(to)})
    , linesPerSecond_(linesPerSecond)
{}

void BoundedSink::sink_it_(const spdlog::details::log_msg &message)
{
    const auto second = std::chrono::floor<std::chrono::seconds>(message.time.time_since_epoch());
    if (second != second_) {
        tellWhatWasLeftOut(message);
        second_ = second;
        lines_ = 0;
    }
    if (message.level < spdlog::level::warn || ++lines_ <= linesPerSecond_)
        dist_sink::sink_it_(message);
}

void BoundedSink::tellWhatWasLeftOut(const spdlog::details::log_msg &message)
{
    if (lines_ <= linesPerSecond_)
        return;
    const std::string text = std::to_string(lines_ - linesPerSecond_) + " more lines were left out";
    dist_sink::sink_it_({message.time, {}, message.logger_name, spdlog::level::warn, text});
}

namespace {

void putQuoted(spdlog::memory_buf_t &out, std::string_view text)
{
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7f)
            fmt::format_to(std::back_inserter(out), "\\x{:02x}", byte);
        else if (character == '"' || character == '\\')
            fmt::format_to(std::back_inserter(out), "\\{}", character);
        else
            out.push_back(character);
    }
}

void putTime(spdlog::memory_buf_t &out, spdlog::log_clock::time_point when)
{
    const auto time = std::chrono::floor<std::chrono::milliseconds>(when);
    const std::time_t second = std::chrono::system_clock::to_time_t(time);
    std::tm utc = {};
    gmtime_r(&second, &utc);
    fmt::format_to(std::back_inserter(out), "time={:04}-{:02}-{:02}T{:02}:{:02}:{:02}.{:03}Z",
                   utc.tm_year + 1900, utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min,
                   utc.tm_sec, time.time_since_epoch().count() % 1'000);
}

int urgency(spdlog::level::level_enum level)
{
    switch (level) {
    case spdlog::level::critical:
        return LOG_CRIT;
    case spdlog::level::err:
        return LOG_ERR;
    case spdlog::level::warn:
        return LOG_WARNING;
    case spdlog::level::info:
        return LOG_INFO;
    default:
        return LOG_DEBUG;
    }
}

/// Whether standard error is the stream that JOURNAL_STREAM names, see systemd.exec(5).
LineFormatter::Reader readerOfStandardError()
{
    // Before any thread is started, so the environment stands still.
    const char *stream = std::getenv("JOURNAL_STREAM"); // NOLINT(concurrency-mt-unsafe)
    struct stat file = {};
    const bool journal = stream && fstat(STDERR_FILENO, &file) == 0 &&
                         fmt::format("{}:{}", file.st_dev, file.st_ino) == stream;
    return journal ? LineFormatter::Reader::Journal : LineFormatter::Reader::Anybody;
}

} // namespace

void LineFormatter::format(const spdlog::details::log_msg &message, spdlog::memory_buf_t &out)
{
    const std::string_view payload(message.payload.data(), message.payload.size());
    const std::string_view sentence = payload.substr(0, payload.find('\t'));
    const std::string_view level(spdlog::level::to_string_view(message.level).data());
    if (reader_ == Reader::Journal)
        fmt::format_to(std::back_inserter(out), "<{}>", urgency(message.level));
    else
        putTime(out, message.time);
    fmt::format_to(std::back_inserter(out), "{}level={} msg=\"",
                   reader_ == Reader::Journal ? "" : " ", level);
    putQuoted(out, sentence);
    out.push_back('"');
    if (sentence.size() < payload.size()) {
        out.push_back(' ');
        out.append(payload.substr(sentence.size() + 1));
    }
    out.push_back('\n');
}

std::unique_ptr<spdlog::formatter> LineFormatter::clone() const
{
    return std::make_unique<LineFormatter>(reader_);
}

void openLog()
{
    constexpr int linesPerSecond = 20;
    auto sink = std::make_shared<BoundedSink>(std::make_shared<spdlog::sinks::stderr_sink_mt>(),
                                              linesPerSecond);
    sink->set_formatter(std::make_unique<LineFormatter>(readerOfStandardError()));
    spdlog::set_default_logger(std::make_shared<spdlog::logger>("kivolo-server", std::move(sink)));
    spdlog::cfg::load_env_levels();
}

} // namespace kivolo::server
