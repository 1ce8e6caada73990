#include "platform/foundation/user_defaults.h"

#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>

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
