#include "platform/desktop/menu_bar_extra.h"

#include "platform/desktop/screen.h"
#include "staging/manual_main_queue.h"
#include "support/blank_content.h"
#include "support/eventually.h"
#include "support/x_server.h"

#include <QApplication>
#include <QLineEdit>
#include <QProcess>
#include <QScopeGuard>
#include <QScreen>
#include <QTest>
#include <algorithm>
#include <gtest/gtest.h>

using namespace kivolo;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

QIcon redIcon()
{
    QPixmap pixmap(64, 64);
    pixmap.fill(Qt::red);
    return pixmap;
}

class Presses final : public QObject
{
public:
    explicit Presses(QObject &of) { of.installEventFilter(this); }
    int count = 0;

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        count += event->type() == QEvent::MouseButtonPress;
        return false;
    }
};

/// A tray as many desktops have one, at the top right.
class Trayer
{
public:
    Trayer()
    {
        process_.start(
            u"trayer"_s,
            u"--edge top --align right --widthtype request --height 24"_s.split(QLatin1Char(' ')));
    }
    ~Trayer()
    {
        process_.kill();
        process_.waitForFinished();
    }

private:
    QProcess process_;
};

class MenuBarExtraTest : public testing::Test
{
protected:
    // Two clicks in a row are to be two clicks.
    static void SetUpTestSuite() { QApplication::setDoubleClickInterval(0); }

    static QWidget *icon()
    {
        const auto windows = QApplication::topLevelWidgets();
        const auto found = std::find_if(windows.begin(), windows.end(), [](const QWidget *widget) {
            return qstrcmp(widget->metaObject()->className(), "QSystemTrayIconSys") == 0;
        });
        return found == windows.end() ? nullptr : *found;
    }
    bool iconShows() const
    {
        return eventually([&] {
            if (!icon())
                return false;
            const auto seen = x.pixels({x.geometry(*icon()).center(), QSize(1, 1)});
            return !seen.empty() && QColor(seen.front()) == QColor(Qt::red);
        });
    }
    static void clickAt(QPoint at, int button)
    {
        ASSERT_TRUE(input(u"mousemove %1 %2 click %3"_s.arg(at.x()).arg(at.y()).arg(button)));
    }
    void clickIcon(int button = 1) const { clickAt(x.geometry(*icon()).center(), button); }
    bool isOpen(bool open) const
    {
        return eventually(
            [&] { return extra.isOpen() == open && (!open || extra.panel()->isActiveWindow()); });
    }

    ManualMainQueue queue;
    SystemScreen screen;
    const XServer x;
    int made = 0;
    QLineEdit *field = nullptr;
    MenuBarExtra extra{u"title"_s, redIcon(),
                       [this] {
                           ++made;
                           auto content = std::make_unique<BlankContent>();
                           field = std::make_unique<QLineEdit>(content.get()).release();
                           return content;
                       },
                       screen, queue};
};

TEST(MenuBarPanelFrame, OpensBesideItsIconOrInTheNearestCorner)
{
    const Rect desktop{0, 40, 1440, 830}; // a bar of 40 at the bottom and one of 30 at the top
    const Rect small{0, 0, 300, 400};
    const std::optional<Rect> unknown;
    const struct
    {
        const char *what;
        Rect visible;
        std::optional<Rect> icon;
        Point click;
        Rect frame;
    } cases[] = {
        {"top bar", desktop, Rect{700, 875, 20, 20}, {}, {550, 390, 320, 480}},
        {"top bar, far right", desktop, Rect{1415, 875, 20, 20}, {}, {1120, 390, 320, 480}},
        {"top bar, far left", desktop, Rect{5, 875, 20, 20}, {}, {0, 390, 320, 480}},
        {"bottom bar", desktop, Rect{700, 10, 20, 20}, {}, {550, 40, 320, 480}},
        {"no bar", desktop, Rect{700, 820, 20, 20}, {}, {550, 336, 320, 480}},
        {"clicked top right", desktop, unknown, {1400, 890}, {1120, 390, 320, 480}},
        {"clicked bottom left", desktop, unknown, {10, 5}, {0, 40, 320, 480}},
        {"screen too small", small, unknown, {10, 5}, {0, 0, 300, 400}},
    };
    for (const auto &c : cases)
        EXPECT_EQ(menuBarPanelFrame(c.icon, c.click, c.visible), c.frame) << c.what;
}

TEST_F(MenuBarExtraTest, AClickOpensThePanelBesideTheIconWhicheverTimeTheTrayComes)
{
    int changes = 0;
    QObject::connect(&extra, &MenuBarExtra::availabilityChanged, &extra, [&] { ++changes; });
    for (int round = 0; round < 2; ++round) {
        SCOPED_TRACE(round);
        EXPECT_TRUE(eventually([&] { return !extra.isAvailable(); }));
        const Trayer trayer;
        ASSERT_TRUE(iconShows());
        EXPECT_TRUE(eventually([&] { return extra.isAvailable(); }));
        EXPECT_EQ(changes, 2 * round + 1);
        EXPECT_EQ(made, round) << "the same content";
        clickIcon();
        EXPECT_TRUE(isOpen(true));
        const int right = qApp->primaryScreen()->size().width() - 1;
        const int below = x.geometry(*icon()).bottom() + 1;
        EXPECT_TRUE(eventually([&] {
            const QRect at = x.geometry(*extra.panel());
            return at.size() == QSize(320, 480) && at.right() == right && at.top() >= below &&
                   at.top() <= below + 4;
        })) << "stands at "
            << x.geometry(*extra.panel()).x() << ", " << x.geometry(*extra.panel()).y();
        clickIcon();
        EXPECT_TRUE(isOpen(false));
    }
}

TEST_F(MenuBarExtraTest, OpensByItsMenuStaysForAMenuOfItsOwnAndClosesForAllElse)
{
    const Trayer trayer;
    ASSERT_TRUE(iconShows());
    clickIcon(3);
    auto &own = const_cast<QMenu &>(*extra.menu());
    ASSERT_TRUE(eventually([&] { return own.isVisible(); }));
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&own));
    QAction *first = own.actions().front();
    EXPECT_EQ(first->text(), u"Open"_s);
    clickAt(own.mapToGlobal(own.actionGeometry(first).center()), 1);
    ASSERT_TRUE(isOpen(true));
    field->setFocus();

    const std::unique_ptr<QMenu> menu(field->createStandardContextMenu());
    menu->popup(field->mapToGlobal(QPoint(20, 20)));
    ASSERT_TRUE(QTest::qWaitForWindowExposed(menu.get()));
    QTest::keyClick(menu.get(), Qt::Key_Escape);
    ASSERT_TRUE(eventually([&] { return !menu->isVisible(); }));
    EXPECT_TRUE(isOpen(true));
    QTest::keyClick(field, Qt::Key_Escape);
    EXPECT_TRUE(isOpen(false));

    extra.open();
    EXPECT_TRUE(isOpen(true));
    QWidget other;
    other.show();
    other.activateWindow();
    EXPECT_TRUE(isOpen(false)) << "open without the focus";
    // Where the click takes the focus away first, it has closed the panel already.
    const Presses presses(*icon());
    clickIcon();
    EXPECT_TRUE(eventually([&] { return presses.count == 1; }));
    EXPECT_FALSE(extra.isOpen());
    queue.advance(1s);
    clickIcon();
    EXPECT_TRUE(isOpen(true));
}

} // namespace
