// Which language the program speaks to whom.
#include <QProcess>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

namespace {

TEST(TranslationsTest, TheNearestOfTheWantedLanguagesIsSpoken)
{
    const char english[] = "for a closed circle";
    const char german[] = "für einen geschlossenen Kreis";
    const char spanish[] = "para un círculo cerrado";
    const char french[] = "pour un cercle fermé";
    const char japanese[] = "身近な仲間だけ";
    const char portuguese[] = "para um círculo fechado";
    const struct
    {
        const char *wanted; // best first, as desktops say it
        const char *spoken;
    } cases[] = {
        {"de_AT", german},        {"es_MX", spanish},       {"fr_CA", french},
        {"ja_JP", japanese},      {"ja", japanese},         {"pt_BR", portuguese},
        {"pt_PT", portuguese},    {"pt", portuguese},       {"sv_SE", english},
        {"C", english},           {"en_GB:en:de", english}, {"sv:ja:de", japanese},
        {"pt_PT:fr", portuguese},
    };
    std::vector<std::unique_ptr<QProcess>> programs;
    for (const auto &each : cases) {
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("LANGUAGE"), QLatin1String(each.wanted));
        programs.push_back(std::make_unique<QProcess>());
        programs.back()->setProcessEnvironment(environment);
        programs.back()->start(QStringLiteral(KIVOLO_PROGRAM), {QStringLiteral("--help")});
    }
    for (std::size_t i = 0; i < programs.size(); ++i) {
        ASSERT_TRUE(programs[i]->waitForFinished());
        EXPECT_TRUE(programs[i]->readAllStandardOutput().contains(cases[i].spoken))
            << cases[i].wanted;
    }
}

} // namespace
