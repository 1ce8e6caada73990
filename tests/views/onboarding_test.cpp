#include "core/store_fixture.h"
#include "staging/finders.h"
#include "style/button.h"
#include "style/field.h"
#include "style/theme.h"
#include "views/download_address.h"
#include "views/invite_waiting_view.h"
#include "views/onboarding_view.h"
#include "views/update_banner.h"
#include "views/welcome_carousel.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QInputMethodEvent>
#include <QTest>

namespace kivolo {
namespace {

using namespace std::chrono_literals;

Button *button(QWidget &view, const char *name)
{
    return &shown<Button>(view, QLatin1String(name));
}
Field *field(QWidget &view, const char *name)
{
    return &shown<Field>(view, QLatin1String(name));
}

/// Every text that is shown, from top to bottom, line breaks as bars.
QString texts(QWidget &view)
{
    QStringList all;
    for (const Text *each : allShown<Text>(view))
        all.append(QString(each->text()).replace(u'\n', u'|'));
    return all.join(u'/');
}

void show(QWidget &view, const QSize &size = {420, 560})
{
    view.resize(size);
    view.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));
    view.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&view));
}

TEST(WelcomeTest, TurnsItsPagesByKeysAndClicks)
{
    int done = 0;
    WelcomeCarousel view([&] { ++done; });
    show(view);
    Theme::shared().setReducedMotion(true);
    const auto press = [&](Qt::Key key) { QTest::keyClick(QApplication::focusWidget(), key); };
    const auto slide = [&](const char *expected) {
        EXPECT_EQ(texts(view).section(u'/', 0, 0), QLatin1String(expected));
    };
    press(Qt::Key_Left);
    slide("Be with your people");
    press(Qt::Key_Return);
    slide("A note or a doodle");
    for (int i = 0; i < 3; ++i)
        press(Qt::Key_Right); // nothing lies beyond the last
    slide("Your circle, up to 5");
    EXPECT_EQ(done, 0);
    button(view, "Connect now")->clearFocus();
    QTest::keyClick(&view, Qt::Key_Enter); // the default action needs no focus
    EXPECT_EQ(done, 1);

    button(view, "Page 1 of 4")->click();
    EXPECT_FALSE(shows<Button>(view, QStringLiteral("Back")));
    button(view, "Page 3 of 4")->click();
    slide("Live on their screen");
    QTest::mouseClick(button(view, "Back"), Qt::LeftButton);
    slide("A note or a doodle");
    button(view, "Page 4 of 4")->setFocus();
    press(Qt::Key_Return); // its own, not the default action's
    slide("Your circle, up to 5");
    EXPECT_EQ(done, 1);

    // Of slides that fade into each other the last one stays.
    Theme::shared().setReducedMotion(false);
    button(view, "Page 1 of 4")->click();
    button(view, "Page 3 of 4")->click();
    EXPECT_TRUE(eventually([&] { return view.findChildren<Illustration *>().size() == 1; }));
    slide("Live on their screen");
}

/// A session before it has a circle.
class SessionTest : public StoreFixture
{
protected:
    void SetUp() override
    {
        StoreFixture::SetUp();
        server.answer("/me", R"({"joined":false})");
        start();
        ASSERT_TRUE(eventually([&] { return *store->screen == Store::Screen::onboarding; }));
    }
};

TEST_F(SessionTest, CodeIsInCapitalsHoweverItArrives)
{
    OnboardingView view(store);
    show(view);
    Field *code = field(view, "invite code");
    QTest::keyClicks(code, QStringLiteral("abx"));
    code->setCursorPosition(1);
    QTest::keyClicks(code, QStringLiteral("ßi"));
    EXPECT_EQ(*store->code, QStringLiteral("ASSIBX"));
    EXPECT_EQ(code->text(), *store->code);
    EXPECT_EQ(code->cursorPosition(), 4);
    code->undo();
    EXPECT_EQ(code->text(), QStringLiteral("ABX"));

    QInputMethodEvent composing(QStringLiteral("k"), {});
    QCoreApplication::sendEvent(code, &composing);
    store->handle = QStringLiteral("Mia"); // renders, and leaves what is being composed alone
    QCoreApplication::processEvents();
    EXPECT_EQ(code->text(), QStringLiteral("ABX"));
    QInputMethodEvent committed;
    committed.setCommitString(QStringLiteral("k"));
    QCoreApplication::sendEvent(code, &committed);
    EXPECT_EQ(*store->code, QStringLiteral("AKBX"));

    code->selectAll();
    QGuiApplication::clipboard()->setText(QStringLiteral("straße").repeated(100'000));
    code->paste();
    EXPECT_TRUE(store->code->startsWith(QLatin1String("STRASSE")));
    EXPECT_LE(store->code->size(), 256);
    store->code = QStringLiteral("ab12");
    EXPECT_TRUE(eventually([&] { return *store->code == QLatin1String("AB12"); }));
    EXPECT_EQ(code->text(), QStringLiteral("AB12"));
}

TEST_F(SessionTest, TwoWindowsShowTheSameWithoutDisturbingTyping)
{
    OnboardingView other(store);
    show(other);
    OnboardingView view(store);
    show(view);
    Field *name = field(view, "your name");
    Field *code = field(view, "invite code");
    EXPECT_TRUE(name->hasFocus());
    QTest::keyClicks(name, QStringLiteral("Aa"));
    name->setCursorPosition(1);
    QTest::keyClick(name, Qt::Key_N);
    QCoreApplication::processEvents();
    EXPECT_EQ(field(other, "your name")->text(), QStringLiteral("Ana"));
    QTest::keyClick(name, Qt::Key_N);
    EXPECT_EQ(*store->handle, QStringLiteral("Anna"));
    EXPECT_EQ(name->cursorPosition(), 3);

    QTest::keyClick(name, Qt::Key_Return);
    EXPECT_TRUE(code->hasFocus());
    QTest::keyClick(code, Qt::Key_Return);
    QCoreApplication::processEvents();
    EXPECT_TRUE(texts(other).endsWith(QStringLiteral("/Enter your name and a code.")));
    QTest::keyClicks(code, QStringLiteral("nope"));
    server.answer("/join", R"({"error":"<b>Unknown</b>\ncode"})", 404);
    button(view, "Join")->click();
    EXPECT_TRUE(eventually([&] { return store->errorText->has_value(); }));
    EXPECT_TRUE(server.requestsTo("/join").last().body.contains("NOPE"));
    QCoreApplication::processEvents();
    EXPECT_TRUE(texts(view).endsWith(QStringLiteral("/<b>Unknown</b> code")));
}

TEST_F(SessionTest, WaitingRefreshesWhileShownAndAlone)
{
    store->members = {Member{QStringLiteral("me"), QStringLiteral("Ana"), {}, {}}};
    const auto status = [](const char *more) {
        return QByteArray(R"({"joined":true,"max_seats":5,"members":[{"id":"me","handle":"Ana",)"
                          R"("emoji":"x"})") +
               more + "]}";
    };
    const auto asked = [&] { return server.requestsTo("/me").size(); };
    const auto before = asked();
    const auto settled = [&](qsizetype requests) {
        return eventually([&] { return asked() == before + requests && queue.pending() == 1; });
    };
    server.answer("/me", {}, 500);
    server.answer("/me", status(""));
    server.answer("/me", status(R"(,{"id":"m2","handle":"Mia","emoji":"x"})"));
    InviteWaitingView view(store, queue);
    show(view);
    ASSERT_TRUE(settled(1)); // failed, in silence
    EXPECT_TRUE(texts(view).contains(QStringLiteral("/Waiting for them to join…  1/5/")));
    queue.advance(3s);
    ASSERT_TRUE(settled(2));
    view.hide();
    queue.advance(30s);
    EXPECT_EQ(queue.pending(), 0);
    EXPECT_EQ(asked(), before + 2);
    view.show();
    ASSERT_TRUE(settled(3));
    queue.advance(30s); // nobody is awaited any more
    EXPECT_EQ(queue.pending(), 0);
    EXPECT_EQ(asked(), before + 3);

    store->code = QStringLiteral("AB12CD34");
    QCoreApplication::processEvents();
    button(view, "Invite code AB12CD34")->click();
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("AB12CD34"));
}

TEST(DownloadAddressTest, AlwaysLeadsToAWebSite)
{
    qputenv("KIVOLO_SITE_URL", "https://site.example");
    const char *const given = "https://dl.example/a%20b?c=d#e";
    EXPECT_EQ(downloadAddress(QString::fromLatin1(given)).toEncoded(), given);
    for (const char *none :
         {"", "https://", "/Kivolo.dmg", "file:///etc/passwd", "javascript:a(1)"})
        EXPECT_EQ(downloadAddress(QString::fromLatin1(none)).toEncoded(), "https://site.example/")
            << none;
    qunsetenv("KIVOLO_SITE_URL");
}

TEST(UpdateBannerTest, ShowsWhatItIsGivenInOneLine)
{
    UpdateBanner named({QStringLiteral("2\n<b>0"), {}, QStringLiteral("<i>a</i>\nb")}, [] {});
    show(named, {320, named.sizeHint().height()});
    EXPECT_EQ(texts(named), QStringLiteral("Version 2 <b>0 is out/<i>a</i> b/Update"));
}

} // namespace
} // namespace kivolo
