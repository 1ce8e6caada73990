#include "log.h"

#include <gtest/gtest.h>
#include <spdlog/sinks/ostream_sink.h>
#include <sstream>

namespace kivolo::server::test {

TEST(Log, IsBoundedByTheSecondAndSaysSo)
{
    std::ostringstream out;
    BoundedSink sink(std::make_shared<spdlog::sinks::ostream_sink_st>(out), 3);
    sink.set_pattern("%v");
    const spdlog::log_clock::time_point start{std::chrono::hours(1)};
    const auto log = [&](std::chrono::milliseconds after, spdlog::level::level_enum level,
                         const char *text) {
        sink.log({start + after, {}, "", level, text});
    };
    for (int i = 0; i < 1'000; ++i)
        log(std::chrono::milliseconds(i), spdlog::level::warn, "storm");
    log(std::chrono::milliseconds(999), spdlog::level::info, "info");
    log(std::chrono::milliseconds(1'000), spdlog::level::err, "next");
    EXPECT_EQ(out.str(), "storm\nstorm\nstorm\ninfo\n997 more lines were left out\nnext\n");
}

TEST(Log, KeepsAMessageOnItsLine)
{
    const std::pair<LineFormatter::Reader, std::string> heads[] = {
        {LineFormatter::Reader::Anybody, "time=2027-01-15T08:00:00.007Z "},
        {LineFormatter::Reader::Journal, "<4>"},
    };
    for (const auto &[reader, head] : heads) {
        std::ostringstream out;
        spdlog::sinks::ostream_sink_st sink(out);
        sink.set_formatter(std::make_unique<LineFormatter>(reader));
        const spdlog::log_clock::time_point time{std::chrono::milliseconds(1'800'000'000'007)};
        sink.log({time, {}, "", spdlog::level::warn, "a \"b\"\nlevel=x\tpath=/beams status=503"});
        EXPECT_EQ(out.str(), head + "level=warning msg=\"a \\\"b\\\"\\x0alevel=x\" "
                                    "path=/beams status=503\n");
    }
}

} // namespace kivolo::server::test
