// Where the server's log goes.
#pragma once

#include <memory>
#include <spdlog/sinks/dist_sink.h>

namespace kivolo::server {

/// Hands on what it is given, but of warnings and errors only so many a second, and then how many
/// were left out: whoever can make the server complain can not fill its disk.
class BoundedSink final : public spdlog::sinks::dist_sink_mt
{
public:
    BoundedSink(std::shared_ptr<spdlog::sinks::sink> to, int linesPerSecond);

protected:
    void sink_it_(const spdlog::details::log_msg &message) override;

private:
    void tellWhatWasLeftOut(const spdlog::details::log_msg &message);

    int linesPerSecond_;
    std::chrono::seconds second_{0};
    int lines_ = 0;
};

/// Writes a line as programs and people read it: time=… level=… msg="…". What follows a tab in the
/// message is put behind that as it stands, as in method=GET status=503. The journal, which knows
/// the time by itself, is told how urgent a line is in its own way, see sd-daemon(3).
class LineFormatter final : public spdlog::formatter
{
public:
    enum class Reader { Anybody, Journal };

    explicit LineFormatter(Reader reader)
        : reader_(reader)
    {}
    void format(const spdlog::details::log_msg &message, spdlog::memory_buf_t &out) override;
    std::unique_ptr<spdlog::formatter> clone() const override;

private:
    Reader reader_;
};

/// To standard error from now on; SPDLOG_LEVEL=debug shows every request's path and status.
void openLog();

} // namespace kivolo::server
