#include "feed/feed_model.h"

#include <array>
#include <gtest/gtest.h>

namespace kivolo {
namespace {

using namespace Qt::StringLiterals;

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
    const std::array<QString, 3> cases[] = {
        // before, after, changes: + inserted, - removed, * changed
        {u"abc"_s, u"abc"_s, {}},
        {u""_s, u"ab"_s, u"+0-1 "_s},
        {u"abc"_s, u"abcde"_s, u"+3-4 "_s},
        {u"abc"_s, u"aBc"_s, u"*1-1 "_s},
        {u"abc"_s, u"Abcd"_s, u"+3-3 *0-0 "_s},
        {u"ac"_s, u"abc"_s, u"+1-1 "_s},
        {u"abcd"_s, u"cdef"_s, u"-0-1 +2-3 "_s}, // the window of the history moves
        {u"ab"_s, u"xyz"_s, u"-0-1 +0-2 "_s},
        {u"abc"_s, u""_s, u"-0-2 "_s},
        {u"abcde"_s, u"acDE"_s, u"-1-1 *2-3 "_s},
        {u"aab"_s, u"aabb"_s, u"+3-3 "_s}, // the same id twice
    };
    for (const auto &[before, after, expected] : cases) {
        SCOPED_TRACE(qPrintable(before + u" -> "_s + after));
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
        EXPECT_EQ(changes, expected);
        QString rows;
        for (int i = 0; i < model.count(); ++i) {
            const Beam &beam = model.row(i).beam;
            rows += beam.body.isEmpty() ? beam.id : beam.id.toUpper();
        }
        EXPECT_EQ(rows, after);
    }
}

} // namespace
} // namespace kivolo
