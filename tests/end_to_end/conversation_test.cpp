// Two people, each at a window of their own, from the first start on. Controls are pressed and
// filled through the accessibility bus; the doodle is drawn with the mouse.
#include "end_to_end/client_process.h"
#include "end_to_end/desktop.h"
#include "servers/server_process.h"
#include "ui/user_interface.h"

#include <QTemporaryDir>
#include <gtest/gtest.h>

using namespace kivolo;
using namespace Qt::StringLiterals;

namespace {

struct Member
{
    Member(const QString &whose, const AccessibilityBus &bus, const QString &server)
        : name(whose)
        , program(whose, folder.path(), server)
    {
        program.setEnvironment(u"QT_LINUX_ACCESSIBILITY_ALWAYS_ON"_s, u"1"_s);
        program.start();
        ui.emplace(bus, program.processId());
    }

    void passWelcome()
    {
        for (const QString &next :
             {u"A note or a doodle"_s, u"Live on their screen"_s, u"Your circle, up to 5"_s}) {
            ui->press(u"Next"_s);
            ui->await(next);
        }
        ui->press(u"Connect now"_s);
    }

    /// Taps a feature for the first time, which explains it first.
    void tryFeature(const QString &chip, const QString &primary)
    {
        ui->press(chip);
        ui->press(u"Maybe later"_s);
        ui->press(chip);
        ui->press(primary);
    }

    void awaitLastRow(const QString &start)
    {
        ui->await("a last row that begins with " + start.toStdString(), [&] {
            const QStringList rows = ui->rows();
            return !rows.isEmpty() && rows.constLast().startsWith(start);
        });
    }

    /// `description` may be the beginning of it.
    void awaitCard(const Desktop &desktop, const QString &title, const QString &description,
                   const QRect &place)
    {
        ui->await("a card of " + title.toStdString() + ": " + description.toStdString(), [&] {
            return ui->shows(title, description) && desktop.frames().contains(place);
        });
    }

    QString name;
    QTemporaryDir folder;
    ClientProcess program;
    std::optional<UserInterface> ui;
};

} // namespace

TEST(ConversationTest, TwoPeopleFromTheFirstStartUntilOneLeaves)
{
    const QTemporaryDir folder;
    ServerProcess server(servingFrom(folder.filePath(u"x.sqlite"_s).toStdString()));
    const QString origin = u"http://127.0.0.1:%1"_s.arg(server.port());
    const Desktop desktop;
    const AccessibilityBus bus;
    Member ana(u"Ana"_s, bus, origin);
    Member ben(u"Ben"_s, bus, origin);

    ana.passWelcome();
    ana.ui->fill(u"your name"_s, ana.name);
    ana.ui->press(u"Start a circle"_s);
    ana.ui->await(u"Waiting for them to join…  1/5"_s);
    const QStringList waiting = ana.ui->texts();
    const QString code = waiting.value(waiting.indexOf(u"YOUR INVITE CODE"_s) + 1);

    ben.passWelcome();
    ben.ui->fill(u"your name"_s, ben.name);
    ben.ui->fill(u"invite code"_s, code.toLower());
    ben.ui->press(u"Join"_s);
    for (auto &[member, other] : {std::pair(&ana, &ben), std::pair(&ben, &ana)}) {
        member->ui->await(u"You & "_s + other->name);
        member->ui->await(u"Connected · 2/5"_s);
        member->ui->await(u"Say hi to your people"_s);
    }

    ana.ui->fill(u"Send a little hi…"_s, u"  Soup at noon?  "_s);
    ana.ui->press(u"Send"_s);
    ana.awaitLastRow(u"You: Soup at noon?, "_s);
    ben.awaitLastRow(u"Ana: Soup at noon?, "_s);
    ben.awaitCard(desktop, u"Ana"_s, u"Soup at noon?"_s, desktop.popupSlot(0));

    ben.tryFeature(u"Doodle"_s, u"Start a doodle"_s);
    ben.ui->draw();
    ben.ui->press(u"Send doodle"_s);
    ben.awaitLastRow(u"You: Doodle, "_s);
    ana.awaitLastRow(u"Ben: Doodle, "_s);
    ana.awaitCard(desktop, u"Ben"_s, u"Doodle"_s, desktop.popupSlot(0));
    const QRect picture = desktop.popupSlot(0).adjusted(60, 60, -60, -20);
    ana.ui->await("a violet line on the card", [&] {
        const auto pixels = desktop.pixels(picture);
        return std::any_of(pixels.begin(), pixels.end(), [](QRgb pixel) {
            const auto [low, high] = std::minmax({qRed(pixel), qGreen(pixel), qBlue(pixel)});
            return high - low > 50;
        });
    });

    ana.tryFeature(u"Buzz"_s, u"Send a Buzz"_s);
    ana.awaitLastRow(u"You: Buzz, Buzzed you!, "_s);
    ben.awaitLastRow(u"Ana: Buzz, Buzzed you!, "_s);
    ben.awaitCard(desktop, u"Ana"_s, u"Buzzed you!"_s, desktop.buzzPlace());

    ben.tryFeature(u"Capsule"_s, u"Make a capsule"_s);
    ben.ui->press(u"1 hour"_s);
    ben.ui->fill(u"Message to seal in the capsule…"_s, u"time to go home"_s);
    ben.ui->press(u"Send time capsule"_s);
    ben.awaitLastRow(u"You: time to go home, "_s);
    ana.awaitLastRow(u"Ben: Time capsule, opening soon, "_s);
    ana.awaitCard(desktop, u"Ben's time capsule"_s, u"Opens in 59m"_s, desktop.capsuleSlot(0));

    ana.ui->press(u"Menu"_s);
    ana.ui->press(u"Leave circle"_s);
    ana.ui->await(u"Start a circle"_s);

    ben.ui->fill(u"Send a little hi…"_s, u"still here"_s);
    ben.ui->press(u"Send"_s);
    ben.awaitLastRow(u"You: still here, "_s);
    EXPECT_EQ(ben.ui->rows().size(), 5);
    EXPECT_TRUE(ana.ui->rows().isEmpty());

    EXPECT_TRUE(ana.program.stop());
    EXPECT_TRUE(ben.program.stop());
    EXPECT_EQ(server.end(SIGTERM), 0);
}
