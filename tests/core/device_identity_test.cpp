#include "core/device_identity.h"

#include "platform/foundation/user_defaults.h"

#include <QRegularExpression>
#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace kivolo;

TEST(DeviceIdentity, ComesFromTheEnvironmentThenTheDefaultsThenChance)
{
    const QTemporaryDir folder;
    UserDefaults defaults(folder.filePath(QStringLiteral("not/there/yet.ini")));
    const QString key = QStringLiteral("kivolo_device_id");
    qputenv("KIVOLO_DEVICE_ID", "from env");
    EXPECT_EQ(deviceIdentity(defaults), QStringLiteral("from env"));
    EXPECT_EQ(defaults.string(key), std::nullopt) << "is not stored";

    qputenv("KIVOLO_DEVICE_ID", "");
    static const QRegularExpression uuid(
        QStringLiteral("^[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}$"));
    const QString made = deviceIdentity(defaults);
    EXPECT_TRUE(uuid.match(made).hasMatch()) << made.toStdString();
    EXPECT_EQ(defaults.string(key), made);
    EXPECT_EQ(deviceIdentity(defaults), made);

    defaults.setString(key, QString());
    EXPECT_EQ(deviceIdentity(defaults), QString()) << "an empty stored id is an id";
}
