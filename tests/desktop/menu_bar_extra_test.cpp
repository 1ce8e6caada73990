#include "platform/desktop/menu_bar_extra.h"

#include "desktop/x_server.h"
#include "platform/desktop/screen.h"
#include "support/manual_main_queue.h"

#include <QApplication>
#include <QProcess>
#include <QScopeGuard>
#include <QScreen>
#include <QTest>
#include <algorithm>
#include <gtest/gtest.h>

namespace kivolo {
namespace {

using namespace std::chrono_literals;

TEST(MenuBarPanelFrame, StandsByTheIconInsideTheVisibleFrame)
{
    const Rect frame{0, 0, 1440, 870};
    const Rect small{0, 0, 300, 400};
    const std::optional<Rect> unknown;
    struct Case
    {
        const char *what;
        Rect visible;
        std::optional<Rect> icon;
        Point pointer;
        Point origin;
    };
    for (const Case &c : {
             Case{"below", frame, Rect{700, 870, 20, 30}, {}, {550, 386}},
             Case{"below at the right edge", frame, Rect{1400, 870, 20, 30}, {}, {1120, 386}},
             Case{"above at the left edge", frame, Rect{10, 0, 24, 24}, {}, {0, 28}},
             Case{"outside the frame", frame, Rect{1500, -40, 24, 24}, {}, {1120, 0}},
             Case{"corner top right", frame, unknown, {1000, 800}, {1120, 390}},
             Case{"corner bottom left", frame, unknown, {10, 10}, {0, 0}},
             Case{"frame too small", small, unknown, {10, 10}, {0, -80}},
         }) {
        EXPECT_EQ(menuBarPanelFrame(c.visible, c.icon, c.pointer),
                  (Rect{c.origin.x, c.origin.y, 320, 480}))
            << c.what;
    }
}

QIcon plain(Qt::GlobalColor colour)
{
    QPixmap pixmap(64, 64);
    pixmap.fill(colour);
    return pixmap;
}

struct PressCounter : QObject
{
    int count = 0;
    bool eventFilter(QObject *, QEvent *event) override
    {
        count += event->type() == QEvent::MouseButtonPress;
        return false;
    }
};

bool run(const QString &program, const QString &arguments)
{
    return QProcess::execute(program, arguments.split(QLatin1Char(' '))) == 0;
}

TEST(MenuBarExtra, OpensItsPanelFromATrayThatAppearsLate)
{
    ManualMainQueue queue;
    const SystemScreen screen;
    const XServer x;
    int made = 0;
    MenuBarExtra extra(
        QStringLiteral("title"), {plain(Qt::red), plain(Qt::blue)},
        [&] {
            ++made;
            return std::make_unique<QWidget>();
        },
        queue, screen);
    int appeared = 0;
    QObject::connect(&extra, &MenuBarExtra::availabilityChanged, &extra, [&] { ++appeared; });
    queue.advance(2s);
    ASSERT_FALSE(extra.isAvailable());

    QProcess tray;
    tray.start(QStringLiteral("trayer"),
               QStringLiteral("--edge top --align right --widthtype request --height 24")
                   .split(QLatin1Char(' ')));
    const auto noTray = qScopeGuard([&] {
        tray.kill();
        tray.waitForFinished();
    });
    ASSERT_TRUE(QTest::qWaitFor([&] {
        queue.advance(2s);
        return extra.isAvailable();
    }));
    EXPECT_EQ(appeared, 1);
    EXPECT_EQ(queue.pending(), 0) << "still looking";

    const auto windows = QApplication::topLevelWidgets();
    const auto icon = std::find_if(windows.begin(), windows.end(), [](const QWidget *widget) {
        return qstrcmp(widget->metaObject()->className(), "QSystemTrayIconSys") == 0;
    });
    ASSERT_NE(icon, windows.end());
    const auto looks = [&](Qt::GlobalColor colour) {
        return QTest::qWaitFor([&] {
            const QPoint middle = x.geometry(**icon).center();
            const QImage seen =
                qApp->primaryScreen()->grabWindow(0, middle.x(), middle.y(), 1, 1).toImage();
            return seen.pixelColor(0, 0) == QColor(colour);
        });
    };
    EXPECT_TRUE(looks(Qt::red));
    const QPalette usual = QApplication::palette();
    QApplication::setPalette(QPalette(Qt::black));
    EXPECT_TRUE(looks(Qt::blue));
    QApplication::setPalette(usual);
    EXPECT_TRUE(looks(Qt::red));

    const auto clickAt = [](QPoint at, int button) {
        ASSERT_TRUE(
            run(QStringLiteral("xdotool"),
                QStringLiteral("mousemove %1 %2 click %3").arg(at.x()).arg(at.y()).arg(button)));
    };
    const auto click = [&](int button) { clickAt(x.geometry(**icon).center(), button); };
    // Two clicks in a row are to be two clicks.
    const auto doubleClick = qScopeGuard([usualInterval = QApplication::doubleClickInterval()] {
        QApplication::setDoubleClickInterval(usualInterval);
    });
    QApplication::setDoubleClickInterval(0);
    QWidget &panel = extra.panel();
    const auto isOpen = [&](bool open) {
        return QTest::qWaitFor(
            [&] { return panel.isActiveWindow() == open && panel.isVisible() == open; });
    };
    click(1);
    EXPECT_TRUE(isOpen(true));
    const QSize whole = qApp->primaryScreen()->size();
    const int bottom = x.geometry(**icon).bottom() + 1;
    EXPECT_TRUE(QTest::qWaitFor([&] {
        const QRect at = x.geometry(panel);
        return at.size() == QSize(320, 480) && at.right() == whole.width() - 1 &&
               at.top() >= bottom && at.top() <= bottom + 4;
    })) << "stands at "
        << x.geometry(panel).x() << ", " << x.geometry(panel).y();
    click(1);
    EXPECT_TRUE(isOpen(false));

    click(3);
    QMenu &menu = extra.menu();
    ASSERT_TRUE(QTest::qWaitFor([&] { return menu.isVisible(); }) &&
                QTest::qWaitForWindowExposed(&menu));
    QAction *first = menu.actions().front();
    EXPECT_EQ(first->text(), QStringLiteral("Open"));
    clickAt(menu.mapToGlobal(menu.actionGeometry(first).center()), 1);
    EXPECT_TRUE(isOpen(true));
    EXPECT_EQ(made, 1);
    QWidget other;
    other.show();
    other.activateWindow();
    EXPECT_TRUE(isOpen(false)) << "open without the focus";
    // The click that took the focus away closes; a later one opens.
    PressCounter presses;
    (*icon)->installEventFilter(&presses);
    click(1);
    EXPECT_TRUE(QTest::qWaitFor([&] { return presses.count == 1; }));
    EXPECT_FALSE(panel.isVisible());
    queue.advance(1s);
    click(1);
    EXPECT_TRUE(isOpen(true));
}

} // namespace
} // namespace kivolo
