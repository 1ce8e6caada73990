// What stands where on every screen, in points, and that nothing is cut off or in the way of
// something else, in any language.
#include "app/contrast.h"
#include "app/translations.h"
#include "doodle/drawing_ns_view.h"
#include "feed/beam_bubble.h"
#include "feed/feed_view.h"
#include "pictures/staged_window.h"
#include "staging/finders.h"
#include "style/button.h"
#include "style/field.h"
#include "style/symbols.h"
#include "style/text_style.h"
#include "style/theme.h"
#include "views/compose_header.h"
#include "views/feature_guide.h"
#include "views/scroll_view.h"

#include <QApplication>
#include <QFontMetricsF>
#include <QScrollBar>
#include <QTranslator>
#include <cmath>
#include <gtest/gtest.h>

namespace kivolo {
namespace {

constexpr QSize idealSize(520, 720);
constexpr QSize panelSize(320, 480);

/// The window in one of its states, and where what is on it stands.
struct Window : StagedWindow
{
    using StagedWindow::StagedWindow;

    template<typename Kind>
    QList<Kind *> all() const
    {
        return allShown<Kind>(view());
    }
    QRect frame(const QWidget &widget) const
    {
        return {widget.mapTo(&view(), QPoint()), widget.size()};
    }
};

struct WindowTest : testing::Test
{
    WindowTest() { Theme::shared().setReducedMotion(true); }
    ~WindowTest() override { Theme::shared().setReducedMotion(false); }
};

/// The nearest view of this type around `widget`, which may be that itself; null if there is none.
const QWidget *around(const QWidget *widget, const QByteArray &type)
{
    while (widget && widget->metaObject()->className() != "kivolo::" + type)
        widget = widget->parentWidget();
    return widget;
}

constexpr double any = std::numeric_limits<double>::quiet_NaN();

double line(const QFont &font)
{
    return std::ceil(QFontMetricsF(font).height());
}

void expectNear(double is, double should, const std::string &what)
{
    EXPECT_TRUE(std::isnan(should) || std::abs(is - should) <= 1)
        << what << ": " << is << " instead of " << should;
}

/// By its name, else by its type; among several the one that comes first.
QRectF frameOf(const Window &on, const char *what)
{
    const QString name = QString::fromUtf8(what);
    if (shows<QWidget>(on.view(), name))
        return on.frame(shown<QWidget>(on.view(), name)).toRectF();
    for (const QWidget *each : on.all<QWidget>()) {
        if (around(each, what) == each)
            return on.frame(*each).toRectF();
    }
    throw std::runtime_error(std::string("not shown: ") + what);
}

struct Place
{
    const char *what;
    double left = any, top = any, right = any, bottom = any; ///< From the window's edges.
    double width = any, height = any;
    bool centred = false;            ///< From left to right.
    double below = any, after = any; ///< How far from the one before.
};

struct Screen
{
    const char *state;
    std::vector<Place> places;
};

const Screen everywhere[] = {
    {"feed",
     {{.what = "ComposeHeader", .left = 0, .top = 0, .right = 0, .height = 34 + 2 * 12},
      {.what = "FeedView", .below = 0},
      {.what = "Composer", .left = 0, .right = 0, .bottom = 0, .below = 0},
      {.what = "Send a little hi…", .left = 12},
      {.what = "Send", .right = 12, .bottom = 12, .width = 40, .height = 40},
      {.what = "Copy your invite code"},
      {.what = "Menu", .right = 14, .width = 22, .after = 12}}},
    {"guide-doodle",
     {{.what = "Start a doodle", .width = 290 - 2 * 20, .centred = true},
      {.what = "Maybe later", .centred = true, .below = 12}}},
    {"join-error",
     {{.what = "kivolo", .centred = true},
      {.what = "Be with your people, right from your desk", .below = 12},
      {.what = "your name", .left = 18, .right = 18, .height = 32, .below = 12},
      {.what = "invite code", .left = 18, .right = 18, .height = 32, .below = 12},
      {.what = "Join", .left = 18, .right = 18, .height = 32, .below = 12},
      {.what = "or", .below = 12},
      {.what = "Start a circle", .left = 18, .right = 18, .height = 32, .below = 12},
      {.what = "Enter your name and a code.", .centred = true, .below = 12}}},
    {"banner",
     {{.what = "UpdateBanner", .left = 0, .top = 0, .right = 0},
      {.what = "ComposeHeader", .below = 0},
      {.what = "Version 1.4.0 is out", .top = 8}}},
};

// In the panel its gaps are smaller.
const Screen waiting{"waiting",
                     {{.what = "Illustration", .height = 130, .centred = true},
                      {.what = "Invite your person", .centred = true, .below = 18},
                      {.what = "Invite code HX7K2M4P", .left = 50, .right = 50},
                      {.what = "ActivityIndicator", .below = 18},
                      {.what = "Waiting for them to join…  1/5", .after = 7}}};

void expectPlaces(const Screen &screen, const QSize &size)
{
    const Window on(QLatin1String(screen.state), size);
    QRectF before;
    for (const Place &place : screen.places) {
        const QRectF is = frameOf(on, place.what);
        const std::string name = std::string(screen.state) + ": " + place.what;
        expectNear(is.left(), place.left, name + ", left");
        expectNear(is.top(), place.top, name + ", top");
        expectNear(size.width() - is.right(), place.right, name + ", right");
        expectNear(size.height() - is.bottom(), place.bottom, name + ", bottom");
        expectNear(is.width(), place.width, name + ", width");
        expectNear(is.height(), place.height, name + ", height");
        expectNear(is.center().x(), place.centred ? size.width() / 2. : any, name + ", centre");
        expectNear(is.top() - before.bottom(), place.below, name + ", below the one before");
        expectNear(is.left() - before.right(), place.after, name + ", right of the one before");
        before = is;
    }
}

TEST_F(WindowTest, EverythingStandsWhereItIsLookedFor)
{
    for (const QSize &size : {idealSize, panelSize}) {
        for (const Screen &screen : everywhere)
            expectPlaces(screen, size);
    }
    expectPlaces(waiting, idealSize);
}

TEST_F(WindowTest, Rows)
{
    const Window on(QStringLiteral("feed"), idealSize);
    auto *feed = on.all<FeedView>().first();
    const auto row = [&](int index) { return QRectF(feed->visualRect(index)); };
    const auto bubble = [&](int index) {
        const Beam &beam = on.store().feed->at(index);
        return BeamBubble(beam, beam.from_member == *on.store().memberId, {}, 492).bubble({});
    };
    const double age = line(systemFont(9));
    const QFont body = textFont(TextStyle::Body);
    const QFont title = bold(textFont(TextStyle::Callout));
    const double badge = line(title) + 1 + line(textFont(TextStyle::Caption2)) + 2 * 10;
    const std::tuple<const char *, double, double> numbers[] = {
        {"first row, below the feed's edge", row(0).top(), 14},
        {"rows, from the left", row(0).left(), 14},
        {"rows, from the right", row(0).right(), 520 - 14},
        {"rows, apart", row(1).top() - row(0).bottom(), 10},
        {"note", row(0).height(), line(body) + 2 * 9 + 3 + age},
        {"buzz", row(3).height(), badge + 3 + age},
        {"capsule", row(4).height(), badge + 3 + age},
        {"doodle of 496 by 180 in 190 by 140", row(2).height(), 190. * 180 / 496 + 3 + age},
        {"their bubble, after an emoji of 26 and 6", bubble(0).left(), 26 + 6},
        {"my bubble, at the right", bubble(1).right(), 492},
        {"badge: 14 left and right, 8 after its symbol", bubble(4).width(),
         QFontMetricsF(title).horizontalAdvance(QStringLiteral("Time capsule")) + symbolSide(16) +
             8 + 2 * 14},
    };
    for (const auto &[what, is, should] : numbers)
        expectNear(is, should, what);
    EXPECT_LE(bubble(6).right(), 492 - 44 - 6) << "a long note keeps away from the far edge";
}

TEST_F(WindowTest, RingOfAnAvatarIsWhole)
{
    const Window on(QStringLiteral("feed"), idealSize);
    constexpr int scale = 8;
    QImage image(QSize(120, 58) * scale, QImage::Format_RGB32);
    image.setDevicePixelRatio(scale);
    on.view().render(&image, {}, QRect(0, 0, 120, 58));
    const auto at = [&](double x, double y) {
        return image.pixelColor(int(x * scale), int(y * scale)).lightness();
    };
    // Half of the line of 1.2 lies beyond the circle from 14 to 48 and from 12 to 46.
    EXPECT_GT(at(14 - 0.4, 29), at(14 - 1, 29) + 20);
    EXPECT_GT(at(31, 12 - 0.4), at(31, 12 - 1) + 20);
    EXPECT_GT(at(31, 46 + 0.4), at(31, 46 + 1) + 20);
}

TEST_F(WindowTest, WhatIsBeingSentCanBeRead)
{
    for (const Palette *each : {&Palette::standardLight(), &Palette::standardDark()}) {
        Theme::shared().show(*each);
        const Window on(QStringLiteral("sending-doodle"), idealSize);
        const QImage button = on.button(QStringLiteral("Sending…"))
                                  .grab()
                                  .toImage()
                                  .convertedTo(QImage::Format_RGB32);
        const QColor face = button.pixelColor(10, button.height() / 2);
        double most = 1;
        for (int x = 10; x < button.width() - 10; ++x) {
            for (int y = 8; y < button.height() - 8; ++y)
                most = std::max(most, contrast(button.pixelColor(x, y), face));
        }
        EXPECT_GE(most, 4.5) << (each->dark ? "dark" : "light");
    }
    Theme::shared().follow({});
}

/// Whether a text is shown whole, or makes way for its symbol.
bool isWhole(const Text &text)
{
    if (text.width() == 0 && qobject_cast<Label *>(text.parentWidget()))
        return true;
    if (text.hasHeightForWidth())
        return text.heightForWidth(text.width()) <= text.height();
    return text.sizeHint().width() <= text.width();
}

bool isWhole(const Field &field)
{
    const QString shown = field.text().isEmpty() ? field.placeholderText() : field.text();
    const double start = field.inputMethodQuery(Qt::ImCursorRectangle).toRectF().left();
    return field.fontMetrics().horizontalAdvance(shown) <=
           field.width() - (field.text().isEmpty() ? start : 0);
}

/// Nothing reaches beyond what it lies in, lies on its neighbour or is cut off.
/// Single lines in a view of the type `mayCut` may be cut off.
void expectOrder(const Window &on, const QByteArray &mayCut)
{
    const auto *card = on.view().findChild<FeatureGuideCard *>();
    QList<QWidget *> shown;
    for (QWidget *each : on.all<QWidget>()) {
        const bool leaf = qobject_cast<Text *>(each) || qobject_cast<Symbol *>(each) ||
                          qobject_cast<Button *>(each) || qobject_cast<Field *>(each) ||
                          qobject_cast<Illustration *>(each) || qobject_cast<FeedView *>(each) ||
                          qobject_cast<DrawingNSView *>(each);
        if (leaf && (!card || card->isAncestorOf(each)))
            shown.append(each);
    }
    const auto place = [&](const QWidget *widget) { return on.frame(*widget); };
    const auto seen = [&](const QWidget *widget) {
        const QWidget *scroll = around(widget, "ScrollView");
        return scroll ? place(widget) & place(scroll) : place(widget);
    };
    const auto name = [](const QWidget *widget) {
        return nameOf(*widget).toStdString() + " " + widget->metaObject()->className();
    };
    for (qsizetype i = 0; i < shown.size(); ++i) {
        const QWidget *each = shown[i];
        const auto *scroll = qobject_cast<const ScrollView *>(around(each, "ScrollView"));
        const QWidget *outermost = scroll ? scroll->widget() : &on.view();
        for (const QWidget *outer = each->parentWidget(); outer != outermost->parentWidget();
             outer = outer->parentWidget())
            EXPECT_TRUE(place(outer).contains(place(each)))
                << name(each) << " reaches beyond " << name(outer);
        const auto *text = qobject_cast<const Text *>(each);
        const auto *field = qobject_cast<const Field *>(each);
        const bool mayBeCut = text && !text->hasHeightForWidth() && around(text, mayCut);
        EXPECT_TRUE(mayBeCut || ((!text || isWhole(*text)) && (!field || isWhole(*field))))
            << name(each) << " is cut off";
        for (const QWidget *other : shown.first(i)) {
            const bool apart = !seen(each).intersects(seen(other));
            EXPECT_TRUE(apart || each->isAncestorOf(other) || other->isAncestorOf(each))
                << name(each) << " lies on " << name(other);
        }
    }
}

/// In every language.
struct OrderTest : WindowTest, testing::WithParamInterface<const char *>
{
    OrderTest()
    {
        QLocale::setDefault(QLocale(QLatin1String(GetParam())));
        installTranslations(QLocale());
    }
    ~OrderTest() override
    {
        qDeleteAll(qApp->findChildren<QTranslator *>());
        QLocale::setDefault(QLocale::c());
    }
};

INSTANTIATE_TEST_SUITE_P(Language, OrderTest,
                         testing::Values("en", "de", "es", "fr", "ja", "pt_BR"),
                         [](const auto &of) { return std::string(of.param); });

TEST_P(OrderTest, EverythingHasItsPlace)
{
    for (const QString &state : StagedWindow::states()) {
        for (const QSize &size : {idealSize, panelSize}) {
            SCOPED_TRACE(state.toStdString() + " " + std::to_string(size.width()));
            expectOrder(Window(state, size),
                        state == QLatin1String("long-name") ? "ComposeHeader" : "UpdateBanner");
        }
    }
}

TEST_P(OrderTest, WhatHasNoRoomInThePanelCanBeScrolledTo)
{
    const struct
    {
        const char *state;
        int pictureHeight;
        int below; // the last text
        bool scrolls;
    } cases[] = {
        {"waiting", 130, 5, false},
        {"banner-long", 130, 5, GetParam() == std::string("de")},
        {"empty", 110, 25, false},
        {"empty-doodle", 110, 25, true},
    };
    for (const auto &[state, pictureHeight, below, scrolls] : cases) {
        SCOPED_TRACE(state);
        const Window on(QLatin1String(state), panelSize);
        auto *scroll = on.all<ScrollView>().first();
        EXPECT_EQ(on.all<Illustration>().first()->height(), pictureHeight);
        EXPECT_EQ(scroll->verticalScrollBar()->isVisible(), scrolls);
        EXPECT_EQ(scroll->focusPolicy() != Qt::NoFocus, scrolls);
        scroll->verticalScrollBar()->triggerAction(QScrollBar::SliderToMaximum);
        const QRect last = on.frame(*scroll->findChildren<Text *>().last());
        EXPECT_LE(last.bottom(), on.frame(*scroll).bottom() - below);
    }
}

/// `state` with a circle's `code`.
void expectCodeWholeOrNotAtAll(const char *state, const QString &code, const QSize &size)
{
    SCOPED_TRACE(std::string(state) + " " + code.toStdString() + " " +
                 std::to_string(size.width()));
    const Window on(QLatin1String(state), size);
    on.store().code = code;
    on.settle();
    const auto texts = on.view().findChild<ComposeHeader *>()->findChildren<Text *>();
    const Text &title = *texts[0];
    const Text &status = *texts[1];
    const Text &shown = *texts[2];
    ASSERT_EQ(shown.text(), code);
    const bool isLong = state == std::string("long-name");
    EXPECT_TRUE(isWhole(shown) && isWhole(status) && (isLong || isWhole(title)));
    const bool crowded = isLong || (size == panelSize && state != std::string("feed"));
    EXPECT_TRUE(code.size() != 8 || (shown.width() == 0) == crowded);

    const QString tip = ComposeHeader::tr("Copy your invite code");
    const auto &button = on.button(tip);
    const QRect before = on.frame(button);
    on.press(tip);
    on.settle();
    EXPECT_NE(shown.text(), code);
    EXPECT_TRUE(isWhole(shown));
    EXPECT_EQ(on.frame(button).left(), before.left()) << "it jumps";
    EXPECT_EQ(on.frame(button).right(), before.right()) << "it jumps";
}

TEST_P(OrderTest, HeaderShowsTheCodeWholeOrNotAtAll)
{
    for (const char *state : {"feed", "three", "four", "five", "long-name"}) {
        for (const QSize &size : {idealSize, QSize(420, 560), panelSize}) {
            for (const char *code : {"AB", "HX7K2M4P", "HX7K2M4PQ9RT"})
                expectCodeWholeOrNotAtAll(state, QLatin1String(code), size);
        }
    }
}

} // namespace
} // namespace kivolo
