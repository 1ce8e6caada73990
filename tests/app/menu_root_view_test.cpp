#include "app/menu_root_view.h"

#include "core/store_fixture.h"
#include "platform/foundation/user_defaults.h"
#include "staging/finders.h"
#include "style/button.h"
#include "style/theme.h"
#include "views/feature_guide.h"

#include <QDesktopServices>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>

using namespace kivolo;
using namespace Qt::StringLiterals;

namespace {

/// Stands for the program that opens links.
class Browser final : public QObject
{
    Q_OBJECT
public:
    Browser() { QDesktopServices::setUrlHandler(u"https"_s, this, "open"); }
    ~Browser() override { QDesktopServices::unsetUrlHandler(u"https"_s); }
    QList<QUrl> opened;

public Q_SLOTS:
    void open(const QUrl &url) { opened << url; }
};

class MenuRootViewTest : public StoreFixture
{
protected:
    void SetUp() override
    {
        StoreFixture::SetUp();
        Theme::shared().setReducedMotion(true);
        for (const char *path : {"/me", "/history", "/beams", "/version.json"})
            server.hold(path);
        start();
        for (const auto &[view, size] :
             {std::pair(&window, QSize(520, 720)), {&panel, QSize(320, 480)}}) {
            *view = std::make_unique<MenuRootView>(store, defaults, queue);
            (*view)->resize(size);
            (*view)->show();
        }
    }
    void TearDown() override
    {
        window.reset();
        panel.reset();
        Theme::shared().setReducedMotion(false);
        StoreFixture::TearDown();
    }

    /// Those that show, without what they are made of.
    static QStringList screens(const QWidget &view)
    {
        static const QStringList all{u"UpdateBanner"_s,      u"ForceUpdateView"_s,
                                     u"ActivityIndicator"_s, u"WelcomeCarousel"_s,
                                     u"OnboardingView"_s,    u"InviteWaitingView"_s,
                                     u"ComposeView"_s};
        QStringList found;
        for (const QWidget *each : view.findChildren<QWidget *>(Qt::FindDirectChildrenOnly)) {
            const auto name =
                QString::fromLatin1(each->metaObject()->className()).section(u"::"_s, -1);
            if (each->isVisible())
                found += all.contains(name) ? QStringList(name) : screens(*each);
        }
        found.sort();
        return found;
    }
    /// Both views show these and no others.
    bool bothShow(const QStringList &expected) const
    {
        return eventually(
            [&] { return screens(*window) == expected && screens(*panel) == expected; });
    }
    static void press(QWidget &view, const QString &name)
    {
        QTest::mouseClick(&kivolo::shown<Button>(view, name), Qt::LeftButton);
    }

    /// Whatever stands beside them, the controls stay where they can be reached.
    static void expectControlsInside(QWidget &view)
    {
        QTest::qWait(0); // for the layout
        EXPECT_LE(view.minimumSizeHint().width(), view.width());
        for (const Button *each : allShown<Button>(view)) {
            const QRect place(each->mapTo(&view, QPoint()), each->size());
            EXPECT_TRUE(view.rect().contains(place)) << qPrintable(nameOf(*each).left(40));
        }
    }

    QTemporaryDir folder;
    UserDefaults defaults{folder.filePath(u"kivolo.conf"_s)};
    std::unique_ptr<MenuRootView> window;
    std::unique_ptr<MenuRootView> panel;
};

TEST_F(MenuRootViewTest, BothScenesTakeTheSameRouteAtOnce)
{
    EXPECT_TRUE(bothShow({u"ActivityIndicator"_s})) << "not the slides";
    store->screen = Store::Screen::onboarding;
    EXPECT_TRUE(bothShow({u"WelcomeCarousel"_s}));
    for (int slide = 1; slide < 4; ++slide)
        press(*panel, u"Next"_s);
    press(*panel, u"Connect now"_s);
    EXPECT_TRUE(bothShow({u"OnboardingView"_s}));
    EXPECT_TRUE(defaults.boolean(u"kivolo_welcome_seen"_s));

    store->members = QList<Member>(1);
    store->screen = Store::Screen::joined;
    EXPECT_TRUE(bothShow({u"InviteWaitingView"_s}));
    store->update = VersionInfo{u"9.9"_s, u"https://kivolo.example"_s, {}};
    EXPECT_TRUE(bothShow({u"InviteWaitingView"_s, u"UpdateBanner"_s}));
    press(*window, u"Close"_s);
    EXPECT_TRUE(bothShow({u"InviteWaitingView"_s}));
    store->members = QList<Member>(2);
    EXPECT_TRUE(bothShow({u"ComposeView"_s}));
    store->update = VersionInfo{u"9.9"_s, u"https://kivolo.example"_s, {}};
    EXPECT_TRUE(bothShow({u"ComposeView"_s, u"UpdateBanner"_s}));
    for (const QString &download : {u"https://kivolo.example/one"_s, u"https://two.example"_s}) {
        Browser browser;
        store->forceUpdate = download;
        QTest::qWait(0); // for the views to follow
        EXPECT_TRUE(bothShow({u"ForceUpdateView"_s}));
        for (QWidget *view : {window.get(), panel.get()})
            press(*view, u"Update now"_s);
        EXPECT_EQ(browser.opened, QList<QUrl>(2, QUrl(download)));
    }
}

TEST_F(MenuRootViewTest, AGuideCoversTheWholeWindowAndGoesWithItsScreen)
{
    defaults.setBoolean(u"kivolo_welcome_seen"_s, true);
    store->members = QList<Member>(2);
    store->screen = Store::Screen::joined;
    store->update = VersionInfo{u"9.9"_s, u"https://kivolo.example"_s, {}};
    ASSERT_TRUE(bothShow({u"ComposeView"_s, u"UpdateBanner"_s}));
    press(*window, u"Buzz"_s);
    const auto guide = [this] { return window->findChild<FeatureGuideCard *>(); };
    const auto isCovered = [&] {
        for (const Button *each : allShown<Button>(*window)) {
            const QPoint middle = each->mapTo(window.get(), each->rect().center());
            const QWidget *hit = window->childAt(middle);
            if (hit != guide() && !guide()->isAncestorOf(hit))
                return false;
        }
        return guide()->geometry() == window->rect();
    };
    ASSERT_TRUE(guide() && guide()->isVisible());
    EXPECT_TRUE(isCovered());
    window->resize(640, 800);
    store->update = VersionInfo{u"10"_s, u"https://kivolo.example"_s, u"a line more"_s};
    QTest::qWait(0);
    EXPECT_TRUE(isCovered());
    EXPECT_FALSE(panel->findChild<FeatureGuideCard *>());

    window->hide();
    window->show();
    EXPECT_TRUE(guide() && guide()->isVisible());
    store->forceUpdate = u"https://kivolo.example"_s;
    ASSERT_TRUE(bothShow({u"ForceUpdateView"_s}));
    EXPECT_FALSE(guide() && guide()->isVisible());
}

TEST_F(MenuRootViewTest, NothingThatOthersWriteBreaksAScreen)
{
    defaults.setBoolean(u"kivolo_welcome_seen"_s, true);
    const QString hostile[] = {
        u""_s,
        u"<h1>big</h1><img src='file:///dev/zero'>"_s,
        QString(100'000, u'W'),
        u"line\nline\u2028line\r\n"_s.repeated(5'000),
        u"\u202Eevil\u2066"_s.repeated(50),
        u"e"_s + QString(100'000, QChar(0x0301)),
        u"👨‍👩‍👧‍👦"_s.repeated(5'000),
        QString(QChar(0xD83E)), // half a character
    };
    for (const QString &text : hostile) {
        SCOPED_TRACE(text.left(20).toStdString());
        QList<Member> members(500);
        for (Member &each : members)
            each = {.id = text, .handle = text, .emoji = text, .last_seen = {}};
        Beam beam;
        beam.id = text;
        beam.type = u"text"_s;
        beam.body = beam.from_handle = beam.from_emoji = text;
        store->code = text;
        store->handle = text;
        store->errorText = text;
        store->feed = {beam};
        store->update = VersionInfo{text, text, text};
        store->screen = Store::Screen::onboarding;
        ASSERT_TRUE(bothShow({u"OnboardingView"_s, u"UpdateBanner"_s}));
        expectControlsInside(*panel);
        store->screen = Store::Screen::joined;
        for (const qsizetype seats : {1, 2, 500}) {
            store->members = members.first(seats);
            ASSERT_TRUE(bothShow(
                {seats < 2 ? u"InviteWaitingView"_s : u"ComposeView"_s, u"UpdateBanner"_s}));
            expectControlsInside(*panel);
        }
    }
}

} // namespace

#include "menu_root_view_test.moc"
