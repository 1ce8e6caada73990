// What the server does, in numbers.
#pragma once

#include "http/message.h"
#include "rules/durations.h"

#include <array>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace prometheus {
struct MetricFamily;
}

namespace kivolo::server {

/// Counts the requests, by endpoint and by what became of them. Of one thread.
class Metrics
{
public:
    void add(const http::Served &served);

    /// Adds what was counted.
    void tell(std::vector<prometheus::MetricFamily> &families) const;

private:
    /// What all that is no endpoint's, be it the site's or nobody's, is counted as comes last.
    static constexpr std::array<std::string_view, 8> endpoints = {
        "/beams", "/me", "/beam", "/history", "/capsule", "/join", "/circle/create", "other"};
    struct Endpoint
    {
        std::map<unsigned, std::uint64_t> byStatus;
        Durations took;
    };
    std::array<Endpoint, endpoints.size()> byEndpoint_;
    std::map<std::string_view, std::uint64_t> limits_;
};

/// One number that goes up and down.
prometheus::MetricFamily gauge(std::string name, std::string help, double value);

/// Durations by the value of one label.
prometheus::MetricFamily
histogram(std::string name, std::string help, std::string label,
          const std::vector<std::pair<std::string_view, const Durations *>> &durations);

/// As Prometheus reads it.
std::string asText(const std::vector<prometheus::MetricFamily> &families);

} // namespace kivolo::server
