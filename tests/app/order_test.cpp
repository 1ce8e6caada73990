// Nothing on any screen is cut off or in the way of something else, in any language.
#include "app/translations.h"
#include "app/window_on_show.h"
#include "doodle/drawing_ns_view.h"
#include "feed/feed_view.h"
#include "views/compose_header.h"
#include "views/feature_guide.h"
#include "views/scroll_view.h"

#include <QApplication>
#include <QScrollBar>
#include <QTranslator>

namespace kivolo {
namespace {

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

bool isWithin(const QWidget &widget, const QByteArray &type)
{
    for (const QWidget *at = &widget; at; at = at->parentWidget()) {
        if (at->metaObject()->className() == "kivolo::" + type)
            return true;
    }
    return false;
}

const ScrollView *scrollViewAround(const QWidget &widget)
{
    const QWidget *at = &widget;
    while (at && !qobject_cast<const ScrollView *>(at))
        at = at->parentWidget();
    return qobject_cast<const ScrollView *>(at);
}

/// Nothing reaches beyond what it lies in, lies on its neighbour or is cut off.
/// Single lines in a view of the type `mayCut` may be cut off.
void expectOrder(const WindowOnShow &on, const QByteArray &mayCut)
{
    const auto *card = on.window.view().findChild<FeatureGuideCard *>();
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
        const ScrollView *scroll = scrollViewAround(*widget);
        return scroll ? place(widget) & place(scroll) : place(widget);
    };
    const auto name = [](const QWidget *widget) {
        return nameOf(*widget).toStdString() + " " + widget->metaObject()->className();
    };
    for (qsizetype i = 0; i < shown.size(); ++i) {
        const QWidget *each = shown[i];
        const ScrollView *scroll = scrollViewAround(*each);
        const QWidget *outermost = scroll ? scroll->widget() : &on.window.view();
        for (const QWidget *around = each->parentWidget(); around != outermost->parentWidget();
             around = around->parentWidget())
            EXPECT_TRUE(place(around).contains(place(each)))
                << name(each) << " reaches beyond " << name(around);
        const auto *text = qobject_cast<const Text *>(each);
        const auto *field = qobject_cast<const Field *>(each);
        const bool mayBeCut = text && !text->hasHeightForWidth() && isWithin(*text, mayCut);
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
class OrderTest : public WindowTest, public testing::WithParamInterface<const char *>
{
protected:
    void SetUp() override
    {
        WindowTest::SetUp();
        QLocale::setDefault(QLocale(QLatin1String(GetParam())));
        installTranslations(QLocale());
    }
    void TearDown() override
    {
        qDeleteAll(qApp->findChildren<QTranslator *>());
        QLocale::setDefault(QLocale::c());
        WindowTest::TearDown();
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
            expectOrder(WindowOnShow(state, size),
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
        const WindowOnShow on(QLatin1String(state), panelSize);
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
    const WindowOnShow on(QLatin1String(state), size);
    on.window.store().code = code;
    on.window.settle();
    const auto texts = on.window.view().findChild<ComposeHeader *>()->findChildren<Text *>();
    const Text &title = *texts[0];
    const Text &status = *texts[1];
    const Text &shown = *texts[2];
    ASSERT_EQ(shown.text(), code);
    const bool isLong = state == std::string("long-name");
    EXPECT_TRUE(isWhole(shown) && isWhole(status) && (isLong || isWhole(title)));
    const bool crowded = isLong || (size == panelSize && state != std::string("feed"));
    EXPECT_TRUE(code.size() != 8 || (shown.width() == 0) == crowded);

    const QString tip = ComposeHeader::tr("Copy your invite code");
    const auto &button = on.named<Button>(tip);
    const QRect before = on.frame(button);
    on.window.press(tip);
    on.window.settle();
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
