#include "feed/feed_model.h"

#include <gtest/gtest.h>

namespace kivolo {
namespace {

QList<Beam> named(const QString &ids)
{
    QList<Beam> beams;
    for (const QChar id : ids) {
        Beam &beam = beams.emplaceBack();
        beam.id = id.toLower();
        beam.body = id.isUpper() ? QStringLiteral("other") : QString();
    }
    return beams;
}

/// Rows are named by letters; a capital one has another text.
TEST(FeedModelTest, TellsOnlyWhatHasChanged)
{
    const struct
    {
        const char *what;
        QString before;
        QString after;
        QString changes; // + inserted, - removed, * changed
    } cases[] = {
        {"nothing", QStringLiteral("abc"), QStringLiteral("abc"), {}},
        {"the first", {}, QStringLiteral("ab"), QStringLiteral("+0-1 ")},
        {"appended", QStringLiteral("abc"), QStringLiteral("abcde"), QStringLiteral("+3-4 ")},
        {"opened in its place", QStringLiteral("abc"), QStringLiteral("aBc"),
         QStringLiteral("*1-1 ")},
        {"opened, and one more", QStringLiteral("abc"), QStringLiteral("Abcd"),
         QStringLiteral("+3-3 *0-0 ")},
        {"in the middle", QStringLiteral("ac"), QStringLiteral("abc"), QStringLiteral("+1-1 ")},
        {"the window of the history moves", QStringLiteral("abcd"), QStringLiteral("cdef"),
         QStringLiteral("-0-1 +2-3 ")},
        {"another circle", QStringLiteral("ab"), QStringLiteral("xyz"),
         QStringLiteral("-0-1 +0-2 ")},
        {"left", QStringLiteral("abc"), {}, QStringLiteral("-0-2 ")},
        {"one goes, one changes", QStringLiteral("abcde"), QStringLiteral("acDe"),
         QStringLiteral("-1-1 *2-2 ")},
        {"the same id twice", QStringLiteral("aab"), QStringLiteral("aabb"),
         QStringLiteral("+3-3 ")},
    };
    for (const auto &[what, before, after, expected] : cases) {
        FeedModel model;
        model.update(named(before), {});
        QString changes;
        const auto log = [&](QChar sign) {
            return [&changes, sign](int first, int count) {
                changes += QStringLiteral("%1%2-%3 ").arg(sign).arg(first).arg(first + count - 1);
            };
        };
        QObject::connect(&model, &FeedModel::inserted, log(u'+'));
        QObject::connect(&model, &FeedModel::removed, log(u'-'));
        QObject::connect(&model, &FeedModel::changed, log(u'*'));
        model.update(named(after), {});
        EXPECT_EQ(changes, expected) << what;
        QString rows;
        for (int i = 0; i < model.count(); ++i) {
            const Beam &beam = model.row(i).beam;
            rows += beam.body.isEmpty() ? beam.id : beam.id.toUpper();
        }
        EXPECT_EQ(rows, after) << what;
    }
}

} // namespace
} // namespace kivolo
