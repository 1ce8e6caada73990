// What views are built of.
#include "style/button.h"
#include "style/scroll_bar.h"
#include "style/stack.h"
#include "style/text.h"
#include "style/text_style.h"
#include "style/theme.h"

#include <QApplication>
#include <QFontMetricsF>
#include <QHelpEvent>
#include <QImage>
#include <QLayout>
#include <QTest>
#include <QToolTip>
#include <algorithm>
#include <gtest/gtest.h>

using namespace kivolo;

namespace {

/// Wants 40 points, can do with `least`, and can grow or not.
class Block : public QWidget
{
public:
    explicit Block(int least = 40, bool grows = false)
        : least_(least)
    {
        const auto policy = grows ? QSizePolicy::Expanding : QSizePolicy::Preferred;
        setSizePolicy(policy, policy);
    }
    QSize sizeHint() const override { return {40, 40}; }
    QSize minimumSizeHint() const override { return {least_, least_}; }

private:
    int least_;
};

/// Where each view of a row begins and how wide it is.
using Extents = QList<std::pair<int, int>>;

Extents laidOut(Stack *stack, int width)
{
    const std::unique_ptr<QWidget> owner(stack);
    stack->resize(width, 50);
    stack->ensurePolished();
    stack->layout()->activate();
    Extents extents;
    for (const QObject *child : stack->children()) {
        if (const auto *view = qobject_cast<const QWidget *>(child); view && !view->isHidden())
            extents.append(std::pair(view->x(), view->width()));
    }
    return extents;
}

TEST(StackTest, SharesRoomTheWayAViewTreeSays)
{
    auto *hidden = new Block;
    hidden->hide();
    struct
    {
        const char *name;
        Stack *stack;
        int width;
        Extents expected;
    } const cases[] = {
        {"kept together", hstack(10, {new Block, new Block}), 200, {{55, 40}, {105, 40}}},
        {"pushed apart", hstack(10, {new Block, spacer(), new Block}), 200, {{0, 40}, {160, 40}}},
        {"grown",
         hstack(10, {new Block, new Block(0, true), new Block(0, true)}),
         200,
         {{0, 40}, {50, 70}, {130, 70}}},
        {"padded", hstack(0, {new Block(0, true)})->padded(14, 12), 200, {{14, 172}}},
        {"overlapping", hstack(-10, {new Block, new Block}), 70, {{0, 40}, {30, 40}}},
        {"without what is hidden", hstack(10, {hidden, new Block, spacer()}), 200, {{0, 40}}},
        {"short of room, the longest",
         hstack(10, {new Block(0), new Block(0)}),
         60,
         {{0, 25}, {35, 25}}},
        {"yielding",
         hstack(10, {new Block(0), yielding(new Block(10)), new Block(0)}),
         110,
         {{0, 40}, {50, 10}, {70, 40}}},
    };
    for (const auto &each : cases)
        EXPECT_EQ(laidOut(each.stack, each.width), each.expected) << each.name;
}

/// Where the ink of each line of `text` begins and ends, `width` points wide.
QList<std::pair<int, int>> inkOfLines(Text *text, int width)
{
    const std::unique_ptr<Stack> column(vstack(0, {text}));
    column->resize(width, text->heightForWidth(width));
    column->layout()->activate();
    QImage image(column->size(), QImage::Format_RGB32);
    image.fill(Qt::white);
    column->render(&image, {}, {}, QWidget::DrawChildren);
    const int lineHeight = QFontMetrics(text->font()).height();
    QList<std::pair<int, int>> lines((image.height() + 1) / lineHeight, {width, 0});
    for (int y = 0; y < image.height(); ++y) {
        auto &[left, right] = lines[std::min(qsizetype(y / lineHeight), lines.size() - 1)];
        for (int x = 0; x < width; ++x) {
            if (qGray(image.pixel(x, y)) <= 200) {
                left = qMin(left, x);
                right = qMax(right, x);
            }
        }
    }
    return lines;
}

TEST(TextTest, WrapsInTheCentreIntoLinesOfAboutOneLength)
{
    const struct
    {
        const char *text;
        int width;
        int lines;
        double leastShare; // of the longest line that the shortest has
    } cases[] = {
        {"Invite the one person you like most", 200, 2, 0.6},
        {"Kivolo is better together. Share this code with the one\nyou want to be with — the "
         "moment they join, you’re connected.",
         300, 4, 0.7},
        {"short", 200, 1, 1},
    };
    for (const auto &[words, width, lines, leastShare] : cases) {
        const QFont font = bold(textFont(TextStyle::Headline));
        const auto ink = inkOfLines(text(QString::fromUtf8(words), font), width);
        ASSERT_EQ(ink.size(), lines) << words;
        int shortest = width;
        int longest = 0;
        for (const auto &[left, right] : ink) {
            EXPECT_NEAR(left, width - 1 - right, 3) << words;
            shortest = qMin(shortest, right - left);
            longest = qMax(longest, right - left);
        }
        EXPECT_GE(shortest, leastShare * longest) << words;
    }
    // Broken, the word would need no more lines.
    const QFont font = textFont(TextStyle::Headline);
    const QString word = QStringLiteral("Lieblingsmenschenverzeichnisse");
    const int length = int(QFontMetricsF(font).horizontalAdvance(word));
    const auto ink = inkOfLines(text(word + QStringLiteral(" ja"), font), length + 10);
    ASSERT_EQ(ink.size(), 2);
    EXPECT_NEAR(ink.first().second - ink.first().first, length, 4);
}

TEST(ButtonTest, IsPressedByKeysAndItsTipIsPlainTextInTheInterfacesFont)
{
    int presses = 0;
    const std::unique_ptr<Button> button(
        plainButton(text(QStringLiteral("Go"), textFont(TextStyle::Body)), [&] { ++presses; }));
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter, Qt::Key_Space})
        QTest::keyClick(button.get(), key);
    EXPECT_EQ(presses, 3);
    EXPECT_EQ(button->focusPolicy(), Qt::TabFocus) << "a press leaves the focus to the field";

    QToolTip::setFont(QFont(QStringLiteral("Monospace"), 30));
    button->tip(QStringLiteral("<b>x"));
    EXPECT_EQ(button->toolTip(), QStringLiteral("&lt;b&gt;x"));
    button->show();
    QHelpEvent hover(QEvent::ToolTip, {}, button->mapToGlobal(QPoint()));
    QCoreApplication::sendEvent(button.get(), &hover);
    const auto widgets = QApplication::topLevelWidgets();
    const auto tip = std::find_if(widgets.begin(), widgets.end(), [](const QWidget *each) {
        return each->windowType() == Qt::ToolTip && each->isVisible();
    });
    ASSERT_NE(tip, widgets.end());
    EXPECT_EQ((*tip)->font().families(), textFont(TextStyle::Subheadline).families());
    EXPECT_EQ((*tip)->font().pixelSize(), 11);
    QToolTip::hideText();
}

TEST(ScrollBarTest, ShowsWhichWayThereIsMoreHoweverLittle)
{
    ScrollBar bar;
    bar.resize(ScrollBar::barWidth, 500);
    bar.setPageStep(496);
    for (const int overflow : {4, 100, 100'000}) {
        bar.setRange(0, overflow);
        bar.setValue(0);
        const QColor track = Theme::shared().colors().window;
        const QImage atTop = bar.grab().toImage();
        EXPECT_NE(atTop.pixelColor(4, 10), track) << overflow;
        EXPECT_EQ(atTop.pixelColor(4, 480), track) << overflow;
        bar.setValue(overflow);
        const QImage atEnd = bar.grab().toImage();
        EXPECT_EQ(atEnd.pixelColor(4, 20), track) << overflow;
        EXPECT_NE(atEnd.pixelColor(4, 490), track) << overflow;
    }
}

} // namespace
