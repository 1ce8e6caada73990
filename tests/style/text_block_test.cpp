#include "style/text_block.h"

#include "style/text_style.h"

#include <QFontMetricsF>
#include <QImage>
#include <QPainter>
#include <QTextLayout>
#include <gtest/gtest.h>

namespace kivolo {
namespace {

constexpr qreal width = 272;

/// The first and the last column that `block` paints in.
std::pair<int, int> inkedColumns(const TextBlock &block)
{
    QImage image(int(width), int(block.size().height()), QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    {
        QPainter painter(&image);
        block.paint(painter, {}, width, Qt::black, image.rect());
    }
    std::pair<int, int> columns{image.width(), -1};
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (qAlpha(image.pixel(x, y)) > 0)
                columns = {qMin(columns.first, x), qMax(columns.second, x)};
        }
    }
    return columns;
}

TEST(TextBlockTest, LinesAndTheirBreaks)
{
    const QFont body = textFont(TextStyle::Body);
    const qreal line = QFontMetricsF(body).height();
    const struct
    {
        QString text;
        int lines;
    } cases[] = {
        {QStringLiteral("one"), 1},
        {QStringLiteral("one\r\ntwo\rthree\u2029four"), 4},
        {QStringLiteral("one\n\nthree\n"), 4},
        {QStringLiteral("with a ☕ and a 🌈\nand more"), 2}, // emoji do not push lines apart
        {QString(80, u'w'), 4},                            // no place to break at
    };
    for (const auto &[text, lines] : cases) {
        const TextBlock block(text, body, {.width = width});
        EXPECT_NEAR(block.size().height(), lines * line, 0.01) << qPrintable(text);
        EXPECT_LE(block.size().width(), width) << qPrintable(text);
    }
}

TEST(TextBlockTest, PiecesOfALongParagraphMeetWithoutASeam)
{
    const QFont body = textFont(TextStyle::Body);
    const QString text = QStringLiteral("a few words of several lengths, ").repeated(200);
    const TextBlock block(text, body, {.width = width});
    EXPECT_EQ(block.laidOutLength(), text.size());

    QTextLayout whole(text, body);
    whole.beginLayout();
    int lines = 0;
    for (QTextLine line = whole.createLine(); line.isValid(); line = whole.createLine()) {
        line.setLineWidth(width);
        ++lines;
    }
    whole.endLayout();
    EXPECT_NEAR(block.size().height(), lines * QFontMetricsF(body).height(), 0.1);
}

TEST(TextBlockTest, EachParagraphHasItsOwnDirection)
{
    const TextBlock latin(QStringLiteral("short"), textFont(TextStyle::Body), {.width = width});
    EXPECT_LT(inkedColumns(latin).second, 60);
    const TextBlock hebrew(QStringLiteral("שלום"), textFont(TextStyle::Body), {.width = width});
    EXPECT_GT(inkedColumns(hebrew).first, 200);
}

TEST(TextBlockTest, LaysOutNoMoreThanItsBounds)
{
    const QString hostile[] = {
        QString(1'000'000, u'x'),
        QString(1'000'000, u'\n'),
        u'a' + QString(1'000'000, QChar(0x0301)),
        QString(1'000'000, QChar(0x202E)) + QStringLiteral("abc"),
        QStringLiteral("\u202Eab \u2066x ").repeated(100'000),
        QStringLiteral("👩‍👩‍👧‍👦").repeated(50'000),
    };
    const QFont title = textFont(TextStyle::Title3);
    const qreal line = QFontMetricsF(title).height();
    for (const QString &text : hostile) {
        const TextBlock block(text, title, {.width = width, .height = 100, .length = 4096});
        EXPECT_LE(block.laidOutLength(), 4096);
        EXPECT_LT(block.size().height(), 100 + 2 * line);
        EXPECT_LE(block.size().width(), width);
        inkedColumns(block); // painting comes back, too
    }
}

} // namespace
} // namespace kivolo
