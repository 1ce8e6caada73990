#include "platform/foundation/user_defaults.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace kivolo;
using namespace Qt::StringLiterals;

TEST(UserDefaultsTest, AFileThatCannotBeWrittenStillHoldsForThisRun)
{
    // A file where the folder should be fails for every user, the superuser included.
    const QTemporaryDir folder;
    QFile blocked(folder.filePath(u"some.ini"_s));
    ASSERT_TRUE(blocked.open(QIODevice::WriteOnly));
    UserDefaults defaults(blocked.fileName() + u"/some.ini"_s);
    EXPECT_EQ(defaults.stringOrNew(u"text"_s, [] { return u"made"_s; }), u"made"_s);
    EXPECT_EQ(defaults.string(u"text"_s), u"made"_s);
}

TEST(UserDefaultsTest, WhatAnotherStartHasMadeMeanwhileIsTaken)
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(u"some.ini"_s));
    UserDefaults defaults(file.fileName());
    EXPECT_FALSE(defaults.string(u"id"_s));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("[General]\nid=theirs\n");
    file.close();
    EXPECT_EQ(defaults.stringOrNew(u"id"_s, [] { return u"ours"_s; }), u"theirs"_s);
}

TEST(UserDefaultsTest, OfADamagedFileWhatCanBeReadStillCounts)
{
    const QTemporaryDir folder;
    const QByteArray id = "our_id=0b6e-42\n";
    const struct
    {
        const char *what;
        QByteArray content;
        bool readable;
    } cases[] = {
        {"intact", "[General]\n" + id, true},
        {"cut short", "[General]\n" + id + "our_welc", true},
        {"half a line before", "[General]\nour_wel=tr" + id, true},
        {"a section without its end", "[Gene\n" + id, true},
        {"a quote that never ends", "[General]\nx=\"y\n" + id, true},
        {"zeros before", QByteArray(512, '\0') + id, true},
        {"a picture", "\x89PNG\r\n\x1a\n\xff\xfe", false},
        {"no text", "[General]\nour_id=@Invalid()\n", false},
        {"two megabytes", QByteArray(2'000'000, 'x'), false},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        QFile damaged(folder.filePath(QString::fromLatin1(c.what)));
        ASSERT_TRUE(damaged.open(QIODevice::WriteOnly));
        damaged.write(c.content);
        damaged.close();
        for (const bool before : {false, true}) {
            UserDefaults defaults(damaged.fileName(), u"our_"_s);
            EXPECT_EQ(defaults.string(u"our_id"_s),
                      c.readable ? std::optional(u"0b6e-42"_s) : std::nullopt);
            EXPECT_EQ(defaults.boolean(u"our_flag"_s), before);
            defaults.setBoolean(u"our_flag"_s, true);
        }
    }
}
