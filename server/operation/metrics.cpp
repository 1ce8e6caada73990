#include "metrics.h"

#include <algorithm>
#include <prometheus/text_serializer.h>

namespace kivolo::server {

namespace {

using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;

ClientMetric labelled(std::vector<ClientMetric::Label> labels)
{
    ClientMetric metric;
    metric.label = std::move(labels);
    return metric;
}

ClientMetric counted(std::vector<ClientMetric::Label> labels, std::uint64_t count)
{
    ClientMetric metric = labelled(std::move(labels));
    metric.counter.value = static_cast<double>(count);
    return metric;
}

ClientMetric distributed(ClientMetric::Label label, const Durations &durations)
{
    ClientMetric metric = labelled({std::move(label)});
    ClientMetric::Histogram &told = metric.histogram;
    for (std::size_t at = 0; at <= Durations::bounds.size(); ++at) {
        told.sample_count += durations.count(at);
        if (at < Durations::bounds.size())
            told.bucket.push_back({told.sample_count, Durations::bounds[at]});
    }
    told.sample_sum = std::chrono::duration<double>(durations.sum()).count();
    return metric;
}

} // namespace

void Metrics::add(const http::Served &served)
{
    const auto found = std::find(endpoints.begin(), endpoints.end() - 1, served.path);
    Endpoint &endpoint = byEndpoint_[static_cast<std::size_t>(found - endpoints.begin())];
    ++endpoint.byStatus[served.status];
    if (!served.path.empty())
        endpoint.took.add(served.took);
    if (!served.limit.empty())
        ++limits_[served.limit];
}

void Metrics::tell(std::vector<MetricFamily> &families) const
{
    MetricFamily requests{
        "kivolo_requests_total", "Requests that were answered.", MetricType::Counter, {}};
    std::vector<std::pair<std::string_view, const Durations *>> took;
    for (std::size_t at = 0; at < endpoints.size(); ++at) {
        const std::string name(endpoints[at]);
        for (const auto &[status, count] : byEndpoint_[at].byStatus)
            requests.metric.push_back(
                counted({{"endpoint", name}, {"status", std::to_string(status)}}, count));
        took.emplace_back(endpoints[at], &byEndpoint_[at].took);
    }
    families.push_back(std::move(requests));
    families.push_back(histogram("kivolo_request_seconds",
                                 "Until a reply was there, without the time it was held for.",
                                 "endpoint", took));
    MetricFamily limits{
        "kivolo_limits_hit_total", "Requests that a limit turned down.", MetricType::Counter, {}};
    for (const auto &[limit, count] : limits_)
        limits.metric.push_back(counted({{"limit", std::string(limit)}}, count));
    families.push_back(std::move(limits));
}

MetricFamily gauge(std::string name, std::string help, double value)
{
    ClientMetric metric;
    metric.gauge.value = value;
    return {std::move(name), std::move(help), MetricType::Gauge, {metric}};
}

MetricFamily histogram(std::string name, std::string help, std::string label,
                       const std::vector<std::pair<std::string_view, const Durations *>> &durations)
{
    MetricFamily family{std::move(name), std::move(help), MetricType::Histogram, {}};
    for (const auto &[value, times] : durations)
        family.metric.push_back(distributed({label, std::string(value)}, *times));
    return family;
}

std::string asText(const std::vector<MetricFamily> &families)
{
    return prometheus::TextSerializer().Serialize(families);
}

} // namespace kivolo::server
