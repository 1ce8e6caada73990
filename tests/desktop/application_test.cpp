#include "platform/desktop/application.h"
#include "platform/desktop/key_guard.h"
#include "platform/desktop/pasteboard.h"
#include "staging/manual_main_queue.h"
#include "support/eventually.h"
#include "support/x_server.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QGuiApplication>
#include <QLineEdit>
#include <QMimeData>
#include <QProcess>
#include <QPushButton>
#include <QShortcut>
#include <QUrl>
#include <QVBoxLayout>
#include <gtest/gtest.h>

namespace kivolo {
namespace {

using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

// Stands for the desktop's browser.
class Opener final : public QObject
{
    Q_OBJECT
public:
    Opener()
    {
        for (const char *scheme : {"http", "https", "file"})
            QDesktopServices::setUrlHandler(QLatin1String(scheme), this, "open");
    }
    ~Opener() override
    {
        for (const char *scheme : {"http", "https", "file"})
            QDesktopServices::unsetUrlHandler(QLatin1String(scheme));
    }
    QList<QUrl> opened;

public Q_SLOTS:
    void open(const QUrl &url) { opened << url; }
};

TEST(Application, OpensNothingButWebAddresses)
{
    Opener browser;
    const struct
    {
        const char *url;
        bool opens;
    } cases[] = {
        {"https://example.org/Kivolo.dmg", true},
        {"http://example.org", true},
        {"HTTPS://example.org", true},
        {"file:///etc/passwd", false},
        {"example.org", false},
        {"https:", false},
        {"", false},
    };
    for (const auto &[url, opens] : cases) {
        browser.opened.clear();
        EXPECT_EQ(application::openLink(QUrl(QString::fromLatin1(url))), opens) << url;
        EXPECT_EQ(browser.opened.size(), opens ? 1 : 0) << url;
    }
}

TEST(Application, PasteboardHoldsPlainTextOnly)
{
    auto previous = std::make_unique<QMimeData>();
    previous->setHtml(QStringLiteral("<b>old</b>"));
    QGuiApplication::clipboard()->setMimeData(previous.release());
    pasteboard::setString(QStringLiteral("<i>K7M2</i>"));
    EXPECT_EQ(QGuiApplication::clipboard()->text(), QStringLiteral("<i>K7M2</i>"));
    EXPECT_FALSE(QGuiApplication::clipboard()->mimeData()->hasHtml());
}

/// A window like the program's, which somebody used before turning to another program.
class ActivationTest : public testing::Test
{
protected:
    ActivationTest()
    {
        auto *layout = new QVBoxLayout(&window);
        layout->addWidget(&field);
        layout->addWidget(&button);
        QObject::connect(&field, &QLineEdit::returnPressed, &window, [this] { ++presses; });
        QObject::connect(&button, &QPushButton::clicked, &window, [this] { ++presses; });
        new QShortcut(Qt::Key_F2, &window, [this] { ++presses; });
        window.resize(300, 200);
        window.show();
        field.setFocus();
    }
    void SetUp() override
    {
        giveFocusTo(idOf(window));
        giveFocusTo(other);
    }
    void giveFocusTo(xcb_window_t chosen)
    {
        constexpr std::uint32_t byTheUser = 2; // window managers may refuse a program's own wish
        ASSERT_TRUE(eventually([&] { return x.isViewable(chosen); }));
        x.ask(chosen, "_NET_ACTIVE_WINDOW", {byTheUser});
        ASSERT_TRUE(eventually([&] {
            return x.activeWindow() == chosen &&
                   window.isActiveWindow() == (chosen == idOf(window));
        }));
    }
    bool isInFront() const
    {
        return eventually(
            [&] { return window.isActiveWindow() && x.activeWindow() == idOf(window); });
    }
    static void input(const QString &actions)
    {
        ASSERT_EQ(QProcess::execute(u"xdotool"_s, actions.split(QLatin1Char(' '))), 0);
    }

    ManualMainQueue queue;
    XServer x;
    const xcb_window_t other = x.addWindow();
    QWidget window;
    QLineEdit field{&window};
    QPushButton button{&window};
    int presses = 0;
};

TEST_F(ActivationTest, WhatIsTypedElsewhereGetsNowhereUntilTheUserComes)
{
    const QPoint corner = window.geometry().topLeft() + QPoint(3, 3);
    const struct
    {
        const char *what;
        QString comes;
    } cases[] = {
        {"Tab", u"key Tab"_s},
        {"Shift and Tab", u"key shift+Tab"_s},
        {"a click beside the field", u"mousemove %1 %2 click 1"_s.arg(corner.x()).arg(corner.y())},
    };
    for (const auto &[what, comes] : cases) {
        SCOPED_TRACE(what);
        application::activate(queue);
        ASSERT_TRUE(isInFront());
        EXPECT_FALSE(field.hasFocus());
        input(u"key h i space Return F2 BackSpace"_s);
        button.setFocus(); // as a screen does that is shown now
        input(u"key h i space Return"_s);
        ASSERT_TRUE(eventually([&] { return !button.hasFocus(); }));
        input(comes);
        ASSERT_TRUE(eventually([&] { return button.hasFocus(); }));
        EXPECT_EQ(presses, 0);
        EXPECT_EQ(field.text(), QString());
        input(u"key space"_s);
        EXPECT_TRUE(eventually([&] { return presses == 1; }));
        presses = 0;
        field.setFocus();
        giveFocusTo(other);
    }
}

TEST_F(ActivationTest, KeysAreTheUsersWhereTheUserHasBroughtTheWindow)
{
    const auto activate = [&] {
        giveFocusTo(other);
        application::activate(queue);
        ASSERT_TRUE(isInFront());
    };
    const std::pair<const char *, std::function<void()>> ways[] = {
        {"later",
         [&] {
             KeyGuard::watch(window, queue); // and the desktop refuses
             queue.advance(3s);
             giveFocusTo(idOf(window));
         }},
        {"in use", [&] { application::activate(queue); }},
        {"left and come back",
         [&] {
             activate();
             giveFocusTo(other);
             giveFocusTo(idOf(window));
         }},
        {"started once more",
         [&] {
             activate();
             application::raise(window);
         }},
    };
    for (const auto &[way, come] : ways) {
        come();
        field.clear();
        input(u"key a"_s);
        EXPECT_TRUE(eventually([&] { return field.text() == u"a"_s; })) << way;
    }
}

} // namespace
} // namespace kivolo

#include "application_test.moc"
