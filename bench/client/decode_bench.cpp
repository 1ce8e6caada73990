// How fast replies are decoded.
#include "api/records.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <benchmark/benchmark.h>

namespace {

/// A history of 40 beams, every second one a doodle of `doodleBytes` in its data URL.
QByteArray history(qsizetype doodleBytes)
{
    QJsonArray beams;
    for (int i = 0; i < 40; ++i) {
        const bool doodle = i % 2 == 0;
        const QString body = doodle ? QStringLiteral("data:image/png;base64,") +
                                          QString(doodleBytes, QLatin1Char('A'))
                                    : QStringLiteral("see you at the corner at seven 🌈");
        beams.append(QJsonObject{
            {QStringLiteral("id"), QStringLiteral("3f1d9f0a-6c1b-4f6e-9d8e-%1").arg(i)},
            {QStringLiteral("from_member"), QStringLiteral("3f1d9f0a-6c1b-4f6e-9d8e-member")},
            {QStringLiteral("type"), doodle ? QStringLiteral("doodle") : QStringLiteral("text")},
            {QStringLiteral("body"), body},
            {QStringLiteral("created_at"), 1'700'000'000 + i},
            {QStringLiteral("from_handle"), QStringLiteral("Mia")},
            {QStringLiteral("from_emoji"), QStringLiteral("🦊")}});
    }
    return QJsonDocument(QJsonObject{{QStringLiteral("beams"), beams}})
        .toJson(QJsonDocument::Compact);
}

void decodeHistory(benchmark::State &state)
{
    const QByteArray json = history(state.range(0));
    for ([[maybe_unused]] auto _ : state)
        benchmark::DoNotOptimize(kivolo::HistoryResponse::decode(json));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * json.size());
}

} // namespace

// Twenty doodles that together are 2 MB, and twenty of the largest the server takes.
BENCHMARK(decodeHistory)->Arg(100'000)->Arg(2'000'000)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
