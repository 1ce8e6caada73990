#include <QByteArray>
#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <memory>

namespace kivolo {
namespace {

class SingleInstance : public testing::Test
{
protected:
    using Program = std::unique_ptr<QProcess>;

    Program start(const QString &deviceId, const QString &folder)
    {
        auto program = std::make_unique<QProcess>();
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), folder);
        program->setProcessEnvironment(environment);
        program->setProcessChannelMode(QProcess::ForwardedErrorChannel);
        program->start(QStringLiteral(SINGLE_INSTANCE_PROBE), {deviceId});
        return program;
    }
    Program start(const char *deviceId) { return start(QLatin1String(deviceId), runtime.path()); }
    static QByteArray line(const Program &program)
    {
        while (!program->canReadLine() && program->waitForReadyRead(10'000)) {
        }
        return program->readLine().trimmed();
    }

    static void kill(const std::initializer_list<const Program *> &programs)
    {
        for (const Program *program : programs) {
            (*program)->kill();
            (*program)->waitForFinished();
        }
    }

    QTemporaryDir runtime;
};

TEST_F(SingleInstance, SecondStartRaisesTheFirstAndEndsAndACrashLeavesTheWayFree)
{
    for (const char *round : {"first", "after a crash"}) {
        SCOPED_TRACE(round);
        const Program first = start("device-a");
        ASSERT_EQ(line(first), "first");
        const Program second = start("device-a");
        EXPECT_EQ(line(second), "running");
        EXPECT_TRUE(second->waitForFinished());
        EXPECT_EQ(line(first), "raised");
        const Program other = start("device-b");
        EXPECT_EQ(line(other), "first") << "another installation";
        kill({&first, &other});
    }
    for (const QString &name : QDir(runtime.path()).entryList(QDir::AllEntries | QDir::System))
        EXPECT_FALSE(name.contains(QLatin1String("device"))) << "the device id is in a file's name";
}

TEST_F(SingleInstance, ManyStartsAtOnceLeaveOne)
{
    std::vector<Program> programs;
    for (int i = 0; i < 6; ++i)
        programs.push_back(start("device-a"));
    int firsts = 0;
    for (const Program &program : programs) {
        const QByteArray outcome = line(program);
        firsts += outcome == "first";
        EXPECT_TRUE(outcome == "first" || outcome == "running") << outcome.constData();
    }
    EXPECT_EQ(firsts, 1);
    for (const Program &program : programs)
        kill({&program});
}

TEST_F(SingleInstance, AFailureIsTold)
{
    // A name too long for a socket.
    const QString deep = runtime.path() + QLatin1Char('/') + QString(120, QLatin1Char('x'));
    ASSERT_TRUE(QDir().mkpath(deep));
    QFile::setPermissions(deep, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    const Program program = start(QStringLiteral("device-a"), deep);
    const QByteArray told = line(program);
    EXPECT_FALSE(told.isEmpty());
    EXPECT_NE(told, "first");
    EXPECT_NE(told, "running");
    EXPECT_TRUE(program->waitForFinished());
    EXPECT_EQ(program->exitCode(), 1);
}

} // namespace
} // namespace kivolo
