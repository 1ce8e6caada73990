#include "platform/foundation/user_defaults.h"

#include <QFile>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>

using namespace kivolo;

TEST(UserDefaults, ValuesSurviveAndChangesAreTold)
{
    const QTemporaryDir folder;
    const QString file = folder.filePath(QStringLiteral("kivolo.conf"));
    const QString key = QStringLiteral("kivolo_key");
    QStringList told;
    {
        UserDefaults defaults(file);
        QObject::connect(&defaults, &UserDefaults::changed,
                         [&](const QString &k) { told.append(k); });
        EXPECT_EQ(defaults.string(key), std::nullopt);
        EXPECT_FALSE(defaults.boolean(key));
        defaults.setString(key, QString());
        defaults.setBoolean(QStringLiteral("kivolo_flag"), true);
    }
    EXPECT_EQ(told, (QStringList{key, QStringLiteral("kivolo_flag")}));
    const UserDefaults again(file);
    EXPECT_EQ(again.string(key), QString()) << "an empty string is a value";
    EXPECT_TRUE(again.boolean(QStringLiteral("kivolo_flag")));
}

TEST(UserDefaults, AFileThatCannotBeWrittenStillHoldsForThisRun)
{
    const QTemporaryDir folder;
    // A file where the folder should be fails for every user, the superuser included.
    const QString blocked = folder.filePath(QStringLiteral("blocked"));
    QFile file(blocked);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    UserDefaults defaults(blocked + QStringLiteral("/kivolo.conf"));
    defaults.setBoolean(QStringLiteral("kivolo_flag"), true);
    EXPECT_TRUE(defaults.boolean(QStringLiteral("kivolo_flag")));
}

TEST(UserDefaults, OfADamagedFileWhatCanBeReadStillCounts)
{
    const QByteArray id = "kivolo_device_id=0b6e-42\n";
    const struct
    {
        const char *what;
        QByteArray content;
        std::optional<QString> deviceId;
    } cases[] = {
        {"intact", "[General]\n" + id, QStringLiteral("0b6e-42")},
        {"cut short", "[General]\n" + id + "kivolo_welc", QStringLiteral("0b6e-42")},
        {"a section without its end", "[Gene\n" + id, QStringLiteral("0b6e-42")},
        {"another section", "[Genxral]\n" + id, QStringLiteral("0b6e-42")},
        {"a quote that never ends", "[General]\nx=\"y\n" + id, QStringLiteral("0b6e-42")},
        {"zeros before", QByteArray(512, '\0') + id, QStringLiteral("0b6e-42")},
        {"a picture", "\x89PNG\r\n\x1a\n\xff\xfe", {}},
        {"no text", "[General]\nkivolo_device_id=@Invalid()\n", {}},
        {"a list", "[General]\nkivolo_device_id=a, b\n", {}},
        {"two megabytes", QByteArray(2'000'000, 'x'), {}},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        const QTemporaryDir folder;
        QFile file(folder.filePath(QStringLiteral("kivolo.conf")));
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(c.content);
        file.close();
        for (int start = 0; start < 2; ++start) {
            UserDefaults defaults(file.fileName(), QStringLiteral("kivolo_"));
            EXPECT_EQ(defaults.string(QStringLiteral("kivolo_device_id")), c.deviceId);
            EXPECT_EQ(defaults.boolean(QStringLiteral("kivolo_flag")), start > 0);
            defaults.setBoolean(QStringLiteral("kivolo_flag"), true);
        }
    }
}

TEST(UserDefaults, AFullDiskCostsNothingThatIsOnIt)
{
    const QTemporaryDir folder;
    const QString file = folder.filePath(QStringLiteral("kivolo.conf"));
    const QString old = QStringLiteral("kivolo_old");
    const QString recent = QStringLiteral("kivolo_recent");
    UserDefaults defaults(file);
    defaults.setString(old, QStringLiteral("a"));
    {
        // A write beyond the limit fails the way one to a full disk does.
        rlimit usual;
        ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &usual), 0);
        const auto handler = std::signal(SIGXFSZ, SIG_IGN);
        const auto restore = qScopeGuard([&] {
            setrlimit(RLIMIT_FSIZE, &usual);
            std::signal(SIGXFSZ, handler);
        });
        const rlimit none{0, usual.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &none), 0);
        defaults.setString(recent, QStringLiteral("b"));
        EXPECT_EQ(defaults.string(recent), QStringLiteral("b"));
        EXPECT_EQ(UserDefaults(file).string(old), QStringLiteral("a"));
    }
    defaults.setBoolean(QStringLiteral("kivolo_flag"), true);
    EXPECT_EQ(UserDefaults(file).string(recent), QStringLiteral("b")) << "made up for later";
}
