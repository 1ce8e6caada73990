// What must hold on every desktop, tried on the one that this runs on. scripts/desktops makes a
// table of it; the names of the tests are its columns.
#include "end_to_end/circle.h"
#include "end_to_end/desktop.h"

#include <QDBusInterface>
#include <QElapsedTimer>
#include <QPlainTextEdit>
#include <QProcess>
#include <QTest>
#include <gtest/gtest.h>

using namespace kivolo;
using namespace Qt::StringLiterals;

namespace {

const QColor foreign(0, 255, 0); // of other programs' windows, nothing in a card is so green

/// The deadline is there to fail instead of hanging.
template<typename Condition>
bool soon(Condition condition, int milliseconds = 8'000)
{
    return QTest::qWaitFor(std::move(condition), milliseconds);
}

/// Waits for something that not every desktop knows.
constexpr int staging = 3'000;
template<typename Condition>
bool canBe(Condition condition)
{
    return soon(std::move(condition), staging);
}

/// Waits until a value has stopped changing.
template<typename Value>
auto settled(Value value)
{
    auto last = value();
    QElapsedTimer unchanged;
    unchanged.start();
    soon([&] {
        if (const auto now = value(); now != last) {
            last = now;
            unchanged.restart();
        }
        return unchanged.elapsed() > 300;
    });
    return last;
}

std::string name(const QRect &rect)
{
    return QString::asprintf("%d,%d %d x %d", rect.x(), rect.y(), rect.width(), rect.height())
        .toStdString();
}

/// Another program's window, all in one colour.
class Foreign final : public QWidget
{
public:
    explicit Foreign(const Desktop &desktop, Qt::WindowFlags flags = Qt::Dialog)
        : QWidget(nullptr, flags)
        , desktop_(desktop)
    {
        setPalette(foreign);
        setWindowTitle(u"Another program"_s);
    }
    /// Over `area`. Whether the desktop lets it, and it shows and goes on showing at `point`.
    bool showOver(const QRect &area, const QPoint &point)
    {
        hide();
        setGeometry(area.adjusted(-60, -40, 10, 10));
        show();
        [[maybe_unused]] const bool exposed = QTest::qWaitForWindowExposed(this);
        raise();
        const auto shows = [&] { return desktop_.colorAt(point) == foreign; };
        return soon(shows, staging) && settled(shows);
    }

private:
    const Desktop &desktop_;
};

class DesktopTest : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        desktop = std::make_unique<Desktop>();
        // It is there once the window manager has made itself at home.
        if (desktop->supports("_NET_WORKAREA"))
            canBe([] { return !x().values(x().root(), "_NET_WORKAREA").empty(); });
        desktop->addPanel();
        canBe([] { return desktop->workArea() != x().geometry(x().root()); });
        circle = std::make_unique<Circle>();
        ASSERT_TRUE(circle->start() && circle->startAna());
    }
    static void TearDownTestSuite()
    {
        EXPECT_TRUE(circle->stop());
        circle.reset();
        desktop.reset();
    }

    static const XServer &x() { return desktop->x(); }
    static QRect area() { return desktop->workArea(); }
    static QColor seen(const QPoint &point) { return desktop->colorAt(point); }
    static bool isCovered(const QRect &frame) { return seen(frame.center()) == foreign; }

    static void sendNote(const QString &text) { ASSERT_TRUE(circle->sendText(text)); }
    static void sendCapsule() { ASSERT_TRUE(circle->sendCapsule(3600)); }
    /// The lowest capsule's card, which stays until the end.
    static Card lastingCard()
    {
        if (desktop->cards(capsule).isEmpty())
            sendCapsule();
        EXPECT_TRUE(soon([] { return !desktop->cards(capsule).isEmpty(); })) << "no card came";
        const QList<Card> cards = desktop->cards(capsule);
        return cards.isEmpty() ? Card() : cards.constLast();
    }
    static bool popupsAre(const QList<QRect> &frames)
    {
        const QList<Card> cards = desktop->cards(popup);
        return std::equal(cards.begin(), cards.end(), frames.begin(), frames.end(),
                          [](const Card &card, const QRect &frame) { return card.frame == frame; });
    }
    static std::string popupsNow()
    {
        std::string all = "popups at";
        for (const QRect &frame : desktop->frames())
            all += " [" + name(frame) + "]";
        return all + " in a work area of " + name(area());
    }

    /// The program's window shows, and nothing of another program's where it is.
    static bool isInFront() { return whatIsInFront() == "not covered, with the keys"; }
    static std::string whatIsInFront()
    {
        const xcb_window_t window = desktop->mainWindow();
        if (!window)
            return "it does not show";
        return std::string(isCovered(x().geometry(window)) ? "covered" : "not covered") +
               (desktop->hasKeys(window) ? ", with the keys" : ", without the keys");
    }
    static void openWindow()
    {
        ASSERT_TRUE(circle->startAgain());
        ASSERT_TRUE(soon([] { return desktop->mainWindow() != XCB_WINDOW_NONE; }));
    }

    static std::unique_ptr<Desktop> desktop;
    static std::unique_ptr<Circle> circle;
};

std::unique_ptr<Desktop> DesktopTest::desktop;
std::unique_ptr<Circle> DesktopTest::circle;

TEST_F(DesktopTest, Slots)
{
    QWidget other;
    other.resize(500, 400);
    other.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&other));
    const QRect before = settled([&] { return x().geometry(other); });
    QList<QRect> column;
    for (int i = 0; i < 7; ++i) { // more than there is room for
        sendNote(u"note %1"_s.arg(i));
        column.append(desktop->popupSlot(i));
    }
    sendCapsule();
    sendCapsule();
    EXPECT_TRUE(soon([&] { return popupsAre(column); })) << popupsNow();
    EXPECT_TRUE(soon([] {
        const QList<Card> cards = desktop->cards(capsule);
        return cards.size() == 2 && cards[1].frame == desktop->capsuleSlot(0) &&
               cards[0].frame == desktop->capsuleSlot(1);
    })) << popupsNow();
    EXPECT_EQ(name(x().geometry(other)), name(before)) << "another window had to move";
}

TEST_F(DesktopTest, SecondStart)
{
    openWindow();
    Foreign other(*desktop, Qt::Window);
    const std::pair<const char *, std::function<bool()>> whereabouts[] = {
        {"covered", [] { return true; }},
        {"minimised",
         [] {
             constexpr std::uint32_t iconic = 3;
             x().ask(desktop->mainWindow(), "WM_CHANGE_STATE", {iconic});
             return canBe([] { return !desktop->mainWindow(); });
         }},
        {"on another virtual desktop",
         [] {
             x().ask(desktop->mainWindow(), "_NET_WM_DESKTOP", {1, 2});
             return canBe([] { return !desktop->mainWindow(); });
         }},
        {"closed",
         [] {
             x().close(desktop->mainWindow());
             return soon([] { return !desktop->mainWindow(); });
         }},
    };
    for (const auto &[where, go] : whereabouts) {
        SCOPED_TRACE(where);
        const QRect place = settled([] { return x().geometry(desktop->mainWindow()); });
        if (!go())
            continue; // the desktop knows no such thing
        if (!other.showOver(place, place.center()))
            continue; // nor that one window covers another
        EXPECT_TRUE(circle->startAgain({u"--hidden"_s}));
        EXPECT_TRUE(isCovered(place)) << "a hidden start disturbs";

        EXPECT_TRUE(circle->startAgain());
        EXPECT_TRUE(soon(isInFront)) << "the window is not in front; " << whatIsInFront();
    }
}

TEST_F(DesktopTest, WindowsPlace)
{
    openWindow();
    const auto place = [] { return x().geometry(desktop->mainWindow()); };
    x().move(desktop->mainWindow(), {130, 120});
    const QRect before = settled(place);
    for (int round = 1; round <= 5; ++round) {
        x().close(desktop->mainWindow());
        ASSERT_TRUE(soon([] { return !desktop->mainWindow(); }));
        openWindow();
        const QRect now = settled(place);
        constexpr int border = 2; // is where some window managers count from
        EXPECT_LE((now.topLeft() - before.topLeft()).manhattanLength(), 2 * border)
            << name(now) << " instead of " << name(before) << " the " << round << ". time";
        EXPECT_EQ(now.size(), before.size());
    }
    x().close(desktop->mainWindow());
    ASSERT_TRUE(soon([] { return !desktop->mainWindow(); }));
}

TEST_F(DesktopTest, Drag)
{
    ASSERT_TRUE(soon([] { return desktop->cards(popup).isEmpty(); }, 12'000));
    sendNote(u"to be dragged"_s);
    const QRect slot = desktop->popupSlot(0);
    ASSERT_TRUE(soon([&] { return popupsAre({slot}); })) << popupsNow();
    const QPoint by(-310, 170);
    desktop->drag(slot.center(), slot.center() + by);
    EXPECT_EQ(name(settled([] { return desktop->cards(popup).value(0).frame; })),
              name(slot.translated(by)));
    sendNote(u"to be closed"_s);
    EXPECT_TRUE(soon([&] {
        return popupsAre({slot, desktop->popupSlot(1)});
    })) << "it goes back; "
        << popupsNow();
    const QList<Card> cards = desktop->cards(popup);
    ASSERT_EQ(cards.size(), 2);
    QElapsedTimer shown;
    shown.start();
    desktop->click(cards[1].frame.topLeft() + QPoint(279, 27));
    EXPECT_TRUE(soon([&] { return !x().isViewable(cards[1].window); }) && shown.elapsed() < 5'000)
        << "its button closes it long before its time";
}

TEST_F(DesktopTest, Focus)
{
    QPlainTextEdit editor;
    editor.setGeometry(100, 100, 500, 400);
    editor.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&editor));
    const QPoint text = settled([&] { return x().geometry(editor); }).topLeft() + QPoint(150, 150);
    desktop->click(text);
    ASSERT_TRUE(soon([&] { return desktop->hasKeys(idOf(editor)); })) << "a click gives the keys";
    QString typed;
    const auto type = [&](const QString &letters) {
        // Where the keys follow the pointer, they are the user's to lead.
        if (desktop->keysFollowPointer())
            desktop->input({u"mousemove"_s, QString::number(text.x()), QString::number(text.y())});
        desktop->input({u"type"_s, u"--delay"_s, u"15"_s, letters});
        typed += letters;
    };
    type(u"before "_s);
    const Card card = lastingCard();
    sendNote(u"typed meanwhile"_s);
    EXPECT_TRUE(soon([&] {
        type(u"coming "_s);
        return !desktop->cards(popup).isEmpty();
    })) << popupsNow();
    type(u"come "_s);
    desktop->click(card.frame.center());
    type(u"clicked "_s);
    desktop->drag(card.frame.center(), card.frame.center() - QPoint(40, 30));
    type(u"dragged "_s);
    EXPECT_TRUE(soon([&] { return editor.toPlainText() == typed; }, 3'000))
        << qPrintable(editor.toPlainText()) << "\ninstead of\n"
        << qPrintable(typed);
}

TEST_F(DesktopTest, Stacking)
{
    const Card card = lastingCard();
    bool couldBeTried = false;
    for (const Qt::WindowFlags kind :
         {Qt::WindowFlags(), Qt::WindowFlags(Qt::Dialog), Qt::Dialog | Qt::WindowStaysOnTopHint}) {
        SCOPED_TRACE(kind.testFlag(Qt::WindowStaysOnTopHint) ? "a window kept above"
                                                             : "an ordinary window");
        Foreign other(*desktop, kind);
        const QPoint beside = card.frame.topLeft() - QPoint(50, 30);
        if (!other.showOver(card.frame, beside))
            continue; // the desktop has put it elsewhere
        couldBeTried = true;
        EXPECT_TRUE(soon([&] { return !isCovered(card.frame); })) << "raised by its program";
        desktop->click(beside);
        EXPECT_TRUE(soon([&] { return !isCovered(card.frame); })) << "raised by a click";
        EXPECT_FALSE(settled([&] { return isCovered(card.frame); })) << "it does not last";
    }
    if (!couldBeTried)
        GTEST_SKIP() << "no window can be put there";
}

TEST_F(DesktopTest, FullScreen)
{
    const Card before = lastingCard();
    Foreign film(*desktop, Qt::Window);
    film.showFullScreen();
    const QRect screen = x().geometry(x().root());
    if (!canBe([&] {
            return seen(screen.topLeft() + QPoint(2, 2)) == foreign &&
                   seen(screen.bottomRight() - QPoint(2, 2)) == foreign;
        }))
        GTEST_SKIP() << "no window can fill the screen";
    EXPECT_TRUE(soon([&] { return !isCovered(before.frame); })) << "a card from before is hidden";
    const qsizetype shown = desktop->cards(capsule).size();
    sendCapsule();
    ASSERT_TRUE(soon([&] { return desktop->cards(capsule).size() > shown; })) << popupsNow();
    const QRect place = desktop->cards(capsule).constFirst().frame;
    EXPECT_TRUE(soon([&] { return !isCovered(place); }, 1'000)) << "a new card is hidden";
    EXPECT_EQ(seen(screen.bottomLeft() + QPoint(2, -2)), foreign) << "and the film has gone";
}

TEST_F(DesktopTest, Buzz)
{
    openWindow();
    const QRect window = settled([] { return x().geometry(desktop->mainWindow()); });
    Foreign other(*desktop, Qt::Window);
    const bool covered = other.showOver(window, window.center());
    const XServer witness;
    witness.followPlaces();
    ASSERT_TRUE(circle->sendText(u"look!"_s, {{u"effect"_s, u"shake"_s}}));
    const QRect place = desktop->buzzPlace();
    ASSERT_TRUE(soon([] { return !desktop->cards(buzz).isEmpty(); }));
    const xcb_window_t card = desktop->cards(buzz).constFirst().window;
    const QRect rest = settled([&] { return x().geometry(card); });
    const auto steps = witness.placesGiven();
    const auto goes = [&](int from, int to) {
        return std::any_of(steps.begin(), steps.end(), [&](const auto &step) {
            const int off = step.second.x() - rest.x();
            return step.first == card && off >= from && off <= to && step.second.y() == rest.y();
        });
    };
    EXPECT_TRUE(goes(-26, -10) && goes(10, 26)) << "it does not shake";
    EXPECT_EQ(name(desktop->cards(buzz).value(0).frame), name(place));
    EXPECT_TRUE(soon([&] { return !isCovered(place); })) << "it is hidden";
    desktop->drag(place.center(), place.center() + QPoint(60, 40));
    EXPECT_EQ(name(desktop->cards(buzz).value(0).frame), name(place)) << "it is no card to move";
    if (covered) {
        desktop->click(place.topLeft() + QPoint(420 - 28, 36));
        EXPECT_TRUE(soon([&] { return !isCovered(window); })) << "the window stays behind";
    }
}

TEST_F(DesktopTest, ScreenLock)
{
    if (desktop->isGuest())
        GTEST_SKIP() << "these lock an X display only";
    const std::pair<const char *, QStringList> locks[] = {
        {"i3lock", {u"--nofork"_s, u"--color=00ff00"_s}}, {"xsecurelock", {}}};
    for (const auto &[program, arguments] : locks) {
        SCOPED_TRACE(program);
        QProcess lock;
        lock.start(QString::fromLatin1(program), arguments);
        ASSERT_TRUE(lock.waitForStarted()) << "it is not installed";
        const QRect screen = x().geometry(x().root());
        const auto colors = [&] {
            QList<QColor> all;
            for (int i = 1; i < 8; ++i)
                all.append(seen({screen.width() * i / 8, 3}));
            return all;
        };
        const QColor locked = settled(colors).constFirst();
        ASSERT_EQ(colors(), QList<QColor>(7, locked)) << "it does not lock";
        const qsizetype shown = desktop->cards(capsule).size();
        sendCapsule();
        ASSERT_TRUE(soon([&] { return desktop->cards(capsule).size() > shown; })) << popupsNow();
        const QRect newest = desktop->cards(capsule).constFirst().frame;
        EXPECT_EQ(settled([&] { return desktop->colorsIn(newest); }), 1)
            << "something of the card shows in front of it";
        lock.terminate();
        ASSERT_TRUE(lock.waitForFinished());
        EXPECT_TRUE(soon([&] { return desktop->colorsIn(newest) > 1; })) << "it is gone for good";
    }
}

TEST_F(DesktopTest, Compositing)
{
    QDBusInterface compositing(u"org.kde.KWin"_s, u"/Compositor"_s, u"org.kde.kwin.Compositing"_s);
    if (desktop->isGuest() || !compositing.isValid() || !compositing.property("active").toBool())
        GTEST_SKIP() << "this desktop has no compositor that can be told to rest";
    const QRect before = lastingCard().frame;
    for (const bool active : {false, true}) {
        const QString call = active ? u"resume"_s : u"suspend"_s;
        compositing.call(call);
        ASSERT_TRUE(soon([&] { return compositing.property("active").toBool() == active; }));
        EXPECT_EQ(name(settled([] { return lastingCard().frame; })), name(before))
            << call.toStdString();
    }
}

} // namespace
