#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

/// A program that may run once.
struct Probe : QProcess
{
    Probe(const QString &deviceId, const QString &folder)
    {
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_RUNTIME_DIR"_s, folder);
        setProcessEnvironment(environment);
        start(QStringLiteral(SINGLE_INSTANCE_PROBE), {deviceId});
    }
    ~Probe() override
    {
        kill(); // as in a crash
        waitForFinished();
    }
    /// What it says next.
    QByteArray word()
    {
        while (!canReadLine() && waitForReadyRead(10'000)) {
        }
        return readLine().trimmed();
    }
};

TEST(SingleInstanceTest, OfManyStartsOneRemainsAndIsRaisedAndACrashLeavesTheWayFree)
{
    const QTemporaryDir folder;
    for (const char *round : {"first", "after a crash"}) {
        SCOPED_TRACE(round);
        std::vector<std::unique_ptr<Probe>> started;
        for (int i = 0; i < 6; ++i)
            started.push_back(std::make_unique<Probe>(u"device-a"_s, folder.path()));
        Probe other(u"device-b"_s, folder.path());
        EXPECT_EQ(other.word(), "first") << "another installation";
        std::vector<Probe *> first;
        for (const auto &each : started) {
            const QByteArray outcome = each->word();
            if (outcome == "first")
                first.push_back(each.get());
            else
                EXPECT_TRUE(outcome == "running" && each->waitForFinished()) << outcome.data();
        }
        ASSERT_EQ(first.size(), 1U);
        for (int i = 1; i < 6; ++i)
            EXPECT_EQ(first.front()->word(), "raised");
    }
    for (const QString &name : QDir(folder.path()).entryList(QDir::AllEntries | QDir::System))
        EXPECT_FALSE(name.contains(u"device"_s)) << "the device id is in a file's name";

    // A name too long for a socket.
    const QString deep = folder.filePath(QString(120, u'x'));
    ASSERT_TRUE(QDir().mkpath(deep));
    QFile::setPermissions(deep, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    Probe failing(u"device-a"_s, deep);
    EXPECT_TRUE(failing.waitForFinished());
    EXPECT_EQ(failing.exitCode(), 1);
    EXPECT_NE(failing.word(), "") << "a failure is told";
}

} // namespace
