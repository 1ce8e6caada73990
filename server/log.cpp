#include "log.h"

#include <spdlog/cfg/env.h>
#include <spdlog/sinks/stdout_color_sinks.h>
#include <spdlog/spdlog.h>

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

void openLog()
{
    constexpr int linesPerSecond = 20;
    auto sink = std::make_shared<BoundedSink>(
        std::make_shared<spdlog::sinks::stderr_color_sink_mt>(), linesPerSecond);
    spdlog::set_default_logger(std::make_shared<spdlog::logger>("kivolo-server", std::move(sink)));
    spdlog::cfg::load_env_levels();
}

} // namespace kivolo::server
