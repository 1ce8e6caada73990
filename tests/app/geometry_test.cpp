// Where everything stands on every screen, in points.
#include "app/window_on_show.h"
#include "doodle/drawing_ns_view.h"
#include "feed/beam_bubble.h"
#include "feed/feed_view.h"
#include "style/activity_indicator.h"
#include "style/palette.h"
#include "style/symbols.h"
#include "style/text_style.h"
#include "support/contrast.h"
#include "views/feature_guide.h"

#include <QApplication>
#include <QFontMetricsF>
#include <cmath>

namespace kivolo {
namespace {

const QString code = QStringLiteral("HX7K2M4P");

double line(const QFont &font)
{
    return std::ceil(QFontMetricsF(font).height());
}

QFont body()
{
    return textFont(TextStyle::Body);
}
QFont callout()
{
    return textFont(TextStyle::Callout);
}
QFont caption()
{
    return textFont(TextStyle::Caption);
}
QFont caption2()
{
    return textFont(TextStyle::Caption2);
}

struct Number
{
    const char *what;
    double is;
    double should;
};

void expectEach(std::initializer_list<Number> numbers)
{
    for (const auto &[what, is, should] : numbers)
        EXPECT_NEAR(is, should, 1) << what;
}

class GeometryTest : public WindowTest, public testing::WithParamInterface<QSize>
{};

INSTANTIATE_TEST_SUITE_P(Size, GeometryTest, testing::Values(idealSize, panelSize),
                         [](const auto &of) { return of.param == idealSize ? "Window" : "Panel"; });

TEST_P(GeometryTest, ComposeHeader)
{
    for (const auto &[state, title, status, avatars] :
         {std::tuple("feed", "You & Mia", "Connected · 2/5", 2),
          std::tuple("five", "You & 4 others", "Connected · 5/5", 4)}) {
        SCOPED_TRACE(state);
        const WindowOnShow on(state, GetParam());
        const Frame header = on.part("ComposeHeader");
        const Frame upper = on.text(title);
        const Frame lower = on.text(status);
        const Frame pill = on.button("Copy your invite code");
        const Frame menu = on.button("Menu");
        expectEach({
            {"left edge", header.left, 0},
            {"top edge", header.top, 0},
            {"width", header.width(), on.width},
            {"height", header.height(), 34 + 2 * 12},
            {"title, after avatars of 34 that overlap by 10", upper.left,
             14 + 34. * avatars - 10 * (avatars - 1) + 12},
            {"status, under the title", lower.left, upper.left},
            {"status, 2 below the title", lower.top - upper.bottom, 2},
            {"title and status, in the middle", upper.top + lower.bottom, 58},
            {"title's line", upper.height(), line(textFont(TextStyle::Headline))},
            {"status' line", lower.height(), line(caption())},
            {"menu, 14 from the edge", on.width - menu.right, 14},
            {"menu's width", menu.width(), 22},
            {"menu, in the middle", menu.middle(), 29},
            {"pill, 12 before the menu", menu.left - pill.right, 12},
            {"pill, in the middle", pill.middle(), 29},
            {"pill, 6 above and below its text", pill.height(), line(bold(caption())) + 2 * 6},
            {"code, 11 from the pill's edge", pill.right - on.text(code).right, 11},
            {"pill's symbol, 11 from its edge",
             on.only<Symbol>("Copy your invite code").left - pill.left, 11},
        });
    }
}

TEST_F(WindowTest, RingOfAnAvatarIsWhole)
{
    const WindowOnShow on("feed", idealSize);
    constexpr int scale = 8;
    QImage image(QSize(120, 58) * scale, QImage::Format_RGB32);
    image.setDevicePixelRatio(scale);
    on.window.view().render(&image, {}, QRect(0, 0, 120, 58));
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
    const QPalette before = QApplication::palette();
    for (const Palette *each : {&Palette::standardLight(), &Palette::standardDark()}) {
        QApplication::setPalette(each->toQPalette());
        const WindowOnShow on("sending-doodle", idealSize);
        const QImage button = on.named<Button>(QStringLiteral("Sending…"))
                                  ->grab()
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
    QApplication::setPalette(before);
}

TEST_P(GeometryTest, ComposerToWrite)
{
    const WindowOnShow on("feed", GetParam());
    const Frame feed = on.part("FeedView");
    const Frame composer = on.part("Composer");
    const Frame buzz = on.button("Buzz");
    const Frame capsule = on.button("Capsule");
    const Frame doodle = on.button("Doodle");
    const Frame field = on.field("Send a little hi…");
    const Frame send = on.button("Send");
    const auto *edit = on.named<Field>(QStringLiteral("Send a little hi…"));
    expectEach({
        {"feed, under the header", feed.top, 58},
        {"feed's width", feed.width(), on.width},
        {"composer, under the feed", composer.top, feed.bottom},
        {"composer, down to the edge", composer.bottom, on.height},
        {"chips, 12 below the composer's edge", buzz.top - composer.top, 12},
        {"chips, 6 apart", capsule.left - buzz.right, 6},
        {"chips, 6 apart", doodle.left - capsule.right, 6},
        {"chips, in the centre", (buzz.left + doodle.right) / 2, on.width / 2},
        {"chip, 6 above and below its text", buzz.height(), line(bold(caption())) + 2 * 6},
        {"chip's text, 10 from its edge", buzz.right - on.text("Buzz").right, 10},
        {"chip's symbol, 10 from its edge", on.only<Symbol>("Buzz").left - buzz.left, 10},
        {"input row, 10 below the chips", send.top - buzz.bottom, 10},
        {"input row, 12 above the edge", on.height - send.bottom, 12},
        {"send button's width", send.width(), 40},
        {"send button's height", send.height(), 40},
        {"send button, 12 from the edge", on.width - send.right, 12},
        {"field, 12 from the edge", field.left, 12},
        {"field, 8 before the button", send.left - field.right, 8},
        {"field, in the middle of its row", field.middle(), send.middle()},
        {"field, 10 above and below its text", field.height(), line(body()) + 2 * 10},
        {"what is typed, 14 from the field's edge",
         double(edit->inputMethodQuery(Qt::ImCursorRectangle).toRectF().center().x()), 14},
    });
}

TEST_P(GeometryTest, ComposerToSeal)
{
    const WindowOnShow on("capsule", GetParam());
    const Frame composer = on.part("Composer");
    const Frame question = on.text("Time capsule — when should it open?");
    const Frame cancel = on.button("Cancel");
    const Frame hour = on.button("1 hour");
    const Frame day = on.button("24 hours");
    const Frame week = on.button("1 week");
    const double rowBottom = std::max(question.bottom, cancel.bottom);
    const Frame panel =
        on.frame(*on.named<Button>(QStringLiteral("Cancel"))->parentWidget()->parentWidget());
    expectEach({
        {"panel, 12 below the composer's edge", panel.top - composer.top, 12},
        {"panel, 12 from the left", panel.left, 12},
        {"panel, 12 from the right", on.width - panel.right, 12},
        {"question, 10 within the panel", std::min(question.top, cancel.top) - panel.top, 10},
        {"Cancel, 10 within the panel", panel.right - cancel.right, 10},
        {"Cancel, in the middle of its row", cancel.middle(), question.middle()},
        {"durations, 8 below the question", hour.top - rowBottom, 8},
        {"durations, 6 apart", day.left - hour.right, 6},
        {"durations, 6 apart", week.left - day.right, 6},
        {"durations, in the centre", (hour.left + week.right) / 2, on.width / 2},
        {"duration, 6 above and below its text", hour.height(), line(bold(caption())) + 2 * 6},
        {"duration's text, 12 from its edge", on.text("1 hour").left - hour.left, 12},
        {"durations, 10 within the panel", panel.bottom - hour.bottom, 10},
        {"input row, 10 below the panel", on.button("Send time capsule").top - panel.bottom, 10},
    });
}

TEST_P(GeometryTest, ComposerToDraw)
{
    const WindowOnShow on("doodle", GetParam());
    const Frame composer = on.part("Composer");
    const Frame canvas = on.only<DrawingNSView>();
    const Frame text = on.button("Text");
    const Frame clear = on.button("Clear");
    const Frame send = on.button("Send doodle");
    expectEach({
        {"canvas, 12 below the composer's edge", canvas.top - composer.top, 12},
        {"canvas, 12 from the left", canvas.left, 12},
        {"canvas, 12 from the right", on.width - canvas.right, 12},
        {"canvas' height", canvas.height(), 180},
        {"row, 10 below the canvas", send.top - canvas.bottom, 10},
        {"row, 12 above the edge", on.height - send.bottom, 12},
        {"Text, 12 from the edge", text.left, 12},
        {"Text, as high as its neighbour", text.height(), send.height()},
        {"Clear, 8 after Text", clear.left - text.right, 8},
        {"Clear, in the middle of its row", clear.middle(), send.middle()},
        {"Send, 12 from the edge", on.width - send.right, 12},
    });
}

TEST_F(WindowTest, FeedAndItsRows)
{
    const WindowOnShow on("feed", idealSize);
    auto *feed = on.window.view().findChild<FeedView *>();
    const auto row = [&](int index) {
        return Frame(feed->visualRect(feed->model()->index(index, 0)));
    };
    const double age = line(systemFont(9));
    const double badge = line(bold(callout())) + 1 + line(caption2()) + 2 * 10;
    expectEach({
        {"first row, 14 below the feed's edge", row(0).top, 14},
        {"rows, 14 from the left", row(0).left, 14},
        {"rows, 14 from the right", on.width - row(0).right, 14},
        {"rows, 10 apart", row(1).top - row(0).bottom, 10},
        {"note: 9 above and below, its age 3 below", row(0).height(),
         line(body()) + 2 * 9 + 3 + age},
        {"buzz", row(3).height(), badge + 3 + age},
        {"capsule", row(4).height(), badge + 3 + age},
        {"doodle of 496 by 180 in 190 by 140", row(2).height(), 190. * 180 / 496 + 3 + age},
    });
    const auto bubble = [&](int index) {
        const Beam &beam = on.window.store().feed->at(index);
        const bool mine = beam.from_member == *on.window.store().memberId;
        return BeamBubble(beam, mine, {}, 492).bubble({});
    };
    const QString note = on.window.store().feed->at(0).body;
    expectEach({
        {"their bubble, after an emoji of 26 and 6", bubble(0).left(), 26 + 6},
        {"their bubble, 13 left and right of its text", bubble(0).width(),
         QFontMetricsF(body()).horizontalAdvance(note) + 2 * 13},
        {"my bubble, at the right", bubble(1).right(), 492},
        {"badge: 14 left and right, 8 after its symbol", bubble(4).width(),
         QFontMetricsF(bold(callout())).horizontalAdvance(QStringLiteral("Time capsule")) +
             symbolSide(16) + 8 + 2 * 14},
    });
    EXPECT_LE(bubble(6).right(), 492 - 44 - 6) << "a long note keeps away from the far edge";
}

TEST_P(GeometryTest, EmptyFeed)
{
    const WindowOnShow on("empty", GetParam());
    const Frame picture = on.only<Illustration>();
    const Frame explanation =
        on.text("Your first note or doodle shows up here — and pops live on their screen.");
    expectEach({
        {"picture, 14 and 44 below the header", picture.top - 58, 14 + 44},
        {"picture's height", picture.height(), 110},
        {"title, in the centre", on.text("Say hi to your people").centre(), on.width / 2},
        {"explanation, in the centre", explanation.centre(), on.width / 2},
    });
    EXPECT_GE(explanation.left, 14);
}

TEST_P(GeometryTest, Guide)
{
    for (const auto &[state, title, primary] :
         {std::tuple("guide-buzz", "Buzz", "Send a Buzz"),
          std::tuple("guide-capsule", "Time capsule", "Make a capsule"),
          std::tuple("guide-doodle", "Doodle", "Start a doodle")}) {
        SCOPED_TRACE(state);
        const WindowOnShow on(state, GetParam());
        const auto *guide = on.window.view().findChild<FeatureGuideCard *>();
        const auto text = [&](const QString &name) {
            for (const Text *each : guide->findChildren<Text *>()) {
                if (each->text() == name)
                    return on.frame(*each);
            }
            throw std::runtime_error("not shown");
        };
        const Frame headline = text(QString::fromUtf8(title));
        const Frame description = text(guide->accessibleDescription());
        const Frame button = on.button(primary);
        const Frame later = on.button("Maybe later");
        const Frame symbol = on.frame(*guide->findChild<Symbol *>());
        const Frame card =
            on.frame(*guide->findChild<Stack *>(QString(), Qt::FindDirectChildrenOnly));
        expectEach({
            {"card's width", card.width(), 290},
            {"card, in the centre", card.centre(), on.width / 2},
            {"card, in the middle", card.middle(), on.height / 2},
            {"title, 12 below a symbol of 46, 20 within the card", headline.top - card.top,
             20 + 46 + 12},
            {"later, 20 above the card's edge", card.bottom - later.bottom, 20},
            {"button, 20 within 290", button.width(), 290 - 2 * 20},
            {"button, in the centre", button.centre(), on.width / 2},
            {"symbol, in the middle of 46", symbol.middle(), card.top + 20 + 46. / 2},
            {"description, 12 below the title", description.top - headline.bottom, 12},
            {"description, in the centre", description.centre(), on.width / 2},
            {"description, whole lines",
             std::remainder(description.height(), QFontMetricsF(callout()).height()), 0},
            {"button, 12 and 2 below", button.top - description.bottom, 12 + 2},
            {"later, 12 below the button", later.top - button.bottom, 12},
        });
        EXPECT_LE(description.width(), 250);
    }
}

TEST_P(GeometryTest, Welcome)
{
    const WindowOnShow on("welcome-2", GetParam());
    const Frame picture = on.only<Illustration>();
    const Frame title = on.text("A note or a doodle");
    const Frame text = on.text("Scribble something or type a line from your menu bar. Hit send — "
                               "and you never left your work.");
    const Frame next = on.button("Next");
    const auto dot = [&](int page) {
        const auto *button = on.named<Button>(QStringLiteral("Page %1 of 4").arg(page));
        return on.frame(*button->findChild<Stack *>());
    };
    expectEach({
        {"picture's height", picture.height(), 150},
        {"title, 18 below", title.top - picture.bottom, 18},
        {"text, 18 below", text.top - title.bottom, 18},
        {"text, in the centre", text.centre(), on.width / 2},
        {"slide, in the middle of its area", picture.top + text.bottom, dot(1).top},
        {"dot's width", dot(1).width(), 7},
        {"dot's height", dot(1).height(), 7},
        {"dots, 7 apart", dot(2).left - dot(1).right, 7},
        {"dots, in the centre", (dot(1).left + dot(4).right) / 2, on.width / 2},
        {"buttons, 18 below the dots", next.top - dot(1).bottom, 18},
        {"Next, 24 from the edge", on.width - next.right, 24},
        {"Next, 22 above the edge", on.height - next.bottom, 22},
        {"Back, 24 from the edge", on.button("Back").left, 24},
        {"Back, in the middle of its row", on.button("Back").middle(), next.middle()},
    });
    EXPECT_GE(text.left, 30);
}

TEST_P(GeometryTest, CreateOrJoin)
{
    const WindowOnShow on("join-error", GetParam());
    const Frame column[] = {
        on.text("kivolo"),           on.text("Be with your people, right from your desk"),
        on.field("your name"),       on.field("invite code"),
        on.button("Join"),           on.text("or"),
        on.button("Start a circle"), on.text("Enter your name and a code."),
    };
    for (size_t i = 1; i < std::size(column); ++i)
        EXPECT_NEAR(column[i].top - column[i - 1].bottom, 12, 1) << i;
    for (const size_t wide : {2, 3, 4, 6}) {
        EXPECT_NEAR(column[wide].left, 18, 1) << wide;
        EXPECT_NEAR(column[wide].right, on.width - 18, 1) << wide;
    }
    for (const Frame &each : column)
        EXPECT_NEAR(each.centre(), on.width / 2, 1);
    for (const size_t control : {2, 3, 4, 6})
        EXPECT_EQ(column[control].height(), 32) << control;
    EXPECT_EQ(on.named<Field>(QStringLiteral("invite code"))->cornerRadius(),
              on.named<Button>(QStringLiteral("Start a circle"))->cornerRadius());
    EXPECT_NEAR(column[0].height(), line(systemFont(30, QFont::ExtraBold)), 1);
    EXPECT_NEAR(column[0].top + column[7].bottom, on.height, 1) << "in the middle";
}

TEST_F(WindowTest, Waiting)
{
    const WindowOnShow on("waiting", idealSize);
    const Frame menu = on.button("Menu");
    const Frame box = on.button(QStringLiteral("Invite code ") + code);
    const Frame heading = on.text("YOUR INVITE CODE");
    const Frame shown = on.text(code);
    const Frame hint = on.text("Tap to copy");
    const Frame indicator = on.only<ActivityIndicator>();
    const Frame waiting = on.text("Waiting for them to join…  1/5");
    const Frame first = on.only<Illustration>();
    const Frame title = on.text("Invite your person");
    const Frame text =
        on.text("Kivolo is better together. Share this code with the one\nyou want to be with — "
                "the moment they join, you’re connected.");
    const Frame last = on.text("Make sure they download Kivolo first:\nkivolo.example");
    const double band = 12 + std::max(menu.height(), line(textFont(TextStyle::Headline))) + 12;
    expectEach({
        {"name, 14 from the edge", on.text("Kivolo").left, 14},
        {"menu, 14 from the edge", on.width - menu.right, 14},
        {"menu's width", menu.width(), 22},
        {"menu, in the middle of the band", menu.middle(), band / 2},
        {"name, in the middle of the band", on.text("Kivolo").middle(), band / 2},
        {"content, in the middle of what is left", first.top + last.bottom, band + on.height},
        {"picture's height", first.height(), 130},
        {"title, 18 below", title.top - first.bottom, 18},
        {"text, 18 below", text.top - title.bottom, 18},
        {"box, 18 below", box.top - text.bottom, 18},
        {"box, 20 and 30 from the edge", box.left, 20 + 30},
        {"box, 20 and 30 from the edge", on.width - box.right, 20 + 30},
        {"heading, 16 below the box's edge", heading.top - box.top, 16},
        {"code, 6 below the heading", shown.top - heading.bottom, 6},
        {"hint, 6 below the code", hint.top - shown.bottom, 6},
        {"hint, 16 above the box's edge", box.bottom - hint.bottom, 16},
        {"waiting, 18 below the box", std::min(indicator.top, waiting.top) - box.bottom, 18},
        {"waiting, 7 after the indicator", waiting.left - indicator.right, 7},
        {"waiting, in the middle of its row", waiting.middle(), indicator.middle()},
        {"last text, 18 below", last.top - std::max(indicator.bottom, waiting.bottom), 18},
    });
}

TEST_P(GeometryTest, Banner)
{
    const WindowOnShow on("banner", GetParam());
    const Frame banner = on.part("UpdateBanner");
    const Frame version = on.text("Version 1.4.0 is out");
    const Frame notes = on.text(*on.window.store().update->value().notes);
    const Frame update = on.button("Update");
    const Frame cross = on.only<Symbol>("Close");
    const Frame arrow = on.only<Symbol>();
    expectEach({
        {"at the top", banner.top, 0},
        {"width", banner.width(), on.width},
        {"symbol, 12 from the edge", arrow.left, 12},
        {"symbol, in the middle", arrow.middle(), banner.middle()},
        {"version, 8 after the symbol", version.left - arrow.right, 8},
        {"version, 8 below the edge", version.top, 8},
        {"notes, right below", notes.top, version.bottom},
        {"notes, 8 above the edge", banner.bottom - notes.bottom, 8},
        {"header, below the banner", on.part("ComposeHeader").top, banner.bottom},
        {"Update, 9 left of its text", on.text("Update").left - update.left, 9},
        {"Update, 4 above and below its text", update.height(), line(bold(caption2())) + 2 * 4},
        {"Update, in the middle", update.middle(), banner.middle()},
        {"cross, 8 after Update", cross.left - update.right, 8},
        {"cross, 12 from the edge", on.width - cross.right, 12},
    });
    const WindowOnShow without("banner-short", GetParam());
    EXPECT_NEAR(without.part("UpdateBanner").height(), update.height() + 2 * 8, 1);
}

TEST_P(GeometryTest, BlockingUpdate)
{
    const WindowOnShow on("update-required", GetParam());
    const Frame symbol = on.only<Symbol>();
    const Frame title = on.text("Update required");
    const Frame text = on.text("Update to the latest Kivolo\nto keep going.");
    const Frame button = on.button("Update now");
    expectEach({
        {"title, 16 below", title.top - symbol.bottom, 16},
        {"text, 16 below", text.top - title.bottom, 16},
        {"text, two lines", text.height(), 2 * QFontMetricsF(callout()).height()},
        {"button, 16 below", button.top - text.bottom, 16},
        {"button, 30 and 44 from the left", button.left, 30 + 44},
        {"button, 30 and 44 from the right", on.width - button.right, 30 + 44},
        {"in the middle", symbol.top + button.bottom, on.height},
    });
    EXPECT_GE(symbol.height(), 52);
    EXPECT_LE(symbol.height(), 52 * 1.25) << "as a font's lines are higher than its size";
}

TEST_P(GeometryTest, Loading)
{
    const WindowOnShow on("loading", GetParam());
    const Frame indicator = on.only<ActivityIndicator>();
    EXPECT_NEAR(indicator.centre(), on.width / 2, 1);
    EXPECT_NEAR(indicator.middle(), on.height / 2, 1);
}

} // namespace
} // namespace kivolo
