#include "app/menu_root_view.h"

#include "core/store_fixture.h"
#include "style/button.h"
#include "style/motion.h"

#include <QTest>

using namespace kivolo;
using namespace Qt::StringLiterals;

namespace {

class MenuRootViewTest : public StoreFixture
{
protected:
    void SetUp() override
    {
        StoreFixture::SetUp();
        motion::setReduced(true);
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
        motion::setReduced(false);
        StoreFixture::TearDown();
    }

    static QStringList screens(const QWidget &view)
    {
        static const QStringList all{u"UpdateBanner"_s,      u"ForceUpdateView"_s,
                                     u"ActivityIndicator"_s, u"WelcomeCarousel"_s,
                                     u"OnboardingView"_s,    u"InviteWaitingView"_s,
                                     u"ComposeView"_s};
        const auto name = [](const QWidget *widget) {
            return QString::fromLatin1(widget->metaObject()->className())
                .mid(int(qstrlen("kivolo::")));
        };
        const auto isPart = [&](const QWidget *widget) {
            while (widget != &view && !all.contains(name(widget)))
                widget = widget->parentWidget();
            return widget != &view;
        };
        QStringList visible;
        for (const QWidget *each : view.findChildren<QWidget *>()) {
            if (each->isVisible() && all.contains(name(each)) && !isPart(each->parentWidget()))
                visible.append(name(each));
        }
        visible.sort();
        return visible;
    }
    /// Both views show these and no others.
    bool bothShow(const QStringList &expected) const
    {
        const auto agree = [&] {
            return screens(*window) == expected && screens(*panel) == expected;
        };
        return eventually(agree);
    }
    static void press(QWidget &view, const QString &name)
    {
        for (Button *each : view.findChildren<Button *>()) {
            if (each->accessibleName() == name && each->isVisible())
                return QTest::mouseClick(each, Qt::LeftButton);
        }
        FAIL() << "no button " << qPrintable(name);
    }

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

    Member ana;
    ana.id = u"me"_s;
    ana.handle = u"Ana"_s;
    Member mia;
    mia.id = u"m2"_s;
    mia.handle = u"Mia"_s;
    store->members = {ana};
    store->screen = Store::Screen::joined;
    EXPECT_TRUE(bothShow({u"InviteWaitingView"_s}));
    store->update = VersionInfo{u"9.9"_s, u"https://kivolo.example"_s, {}};
    EXPECT_TRUE(bothShow({u"InviteWaitingView"_s, u"UpdateBanner"_s}));
    press(*window, u"Close"_s);
    EXPECT_TRUE(bothShow({u"InviteWaitingView"_s}));
    store->members = {ana, mia};
    EXPECT_TRUE(bothShow({u"ComposeView"_s}));
    store->update = VersionInfo{u"9.9"_s, u"https://kivolo.example"_s, {}};
    EXPECT_TRUE(bothShow({u"ComposeView"_s, u"UpdateBanner"_s}));
    store->forceUpdate = u"https://kivolo.example"_s;
    EXPECT_TRUE(bothShow({u"ForceUpdateView"_s}));
}

} // namespace
