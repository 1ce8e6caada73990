// Text, symbols and illustrations as views.
#pragma once

#include "style/fill.h"
#include "style/fitted.h"
#include "style/stack.h"
#include "style/symbols.h"
#include "style/text_block.h"

#include <QLabel>
#include <QPixmap>
#include <vector>

namespace kivolo {

/// Plain text that wraps, into lines of about one length. It is never taken for markup, and no more
/// of it is laid out than anybody reads, because it may come from someone else's machine.
class Text : public Fitted<Text, QLabel>
{
    Q_OBJECT
public:
    Text(const QString &text, const QFont &font);

    Text *in(Fill fill);
    /// Its lines stand centred one under the other. In a column that centres its views they do.
    Text *centered();
    /// Never wraps: what there is no room for is cut off, with an ellipsis.
    Text *oneLine();
    Text *lineSpacing(qreal points);

    /// Shows another text.
    void replace(const QString &text);

    bool hasHeightForWidth() const override { return !oneLine_; }
    int heightForWidth(int width) const override;
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    /// How wide it would like to be if `text` were its text.
    int widthWith(const QString &text) const;

protected:
    void paintEvent(QPaintEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    const std::vector<TextBlock> &paragraphs(qreal width) const;
    TextBlock wrapped(const QString &paragraph, qreal width) const;
    TextBlock balanced(const QString &paragraph, qreal width) const;
    QSizeF sizeOfText(qreal width) const;
    int padding() const { return contentsMargins().left() + contentsMargins().right(); }

    Fill fill_ = Fill::primary();
    TextBlock::Alignment alignment_ = TextBlock::Alignment::Leading;
    bool oneLine_ = false;
    qreal lineSpacing_ = 0;
    mutable std::vector<TextBlock> paragraphs_; // for laidOutWidth_, while nothing has changed
    mutable qreal laidOutWidth_ = 0;
};

/// One of the program's symbols in a font's size.
class Symbol : public QWidget
{
    Q_OBJECT
public:
    Symbol(SymbolName name, qreal fontSize);

    Symbol *in(Fill fill);
    /// Shows another one.
    void replace(SymbolName name);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    SymbolName name_;
    int side_;
    Fill fill_ = Fill::primary();
};

/// A symbol with a text beside it. Where there is no room for the text, the symbol stands alone.
class Label : public Fitted<Label, Stack>
{
    Q_OBJECT
public:
    Label(const QString &text, SymbolName symbol, const QFont &font);

    Label *in(Fill fill);
    void replace(const QString &text, SymbolName symbol);
    /// Keeps the width that the widest of `texts` needs, whichever of them is shown.
    Label *roomFor(const QStringList &texts);
    QString text() const { return text_->text(); }

    QSize sizeHint() const override;

private:
    Symbol *symbol_;
    Text *text_;
    QStringList roomFor_;
};

/// One of the program's illustrations, `height` points high, as wide as there is room. Where there
/// is too little it is shown smaller.
class Illustration : public QWidget
{
    Q_OBJECT
public:
    Illustration(QString name, int height);

    /// Paints it larger or smaller about its centre, in the same place; cheap enough for every
    /// frame of an animation that stays close to 1.
    void setScale(qreal scale);
    QSize sizeHint() const override { return {0, height_}; }
    QSize minimumSizeHint() const override { return {0, 0}; }

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QString name_;
    int height_;
    qreal scale_ = 1;
    QPixmap moving_; // what a scaled painting is taken from
};

Text *text(const QString &text, const QFont &font);
Symbol *symbol(SymbolName name, qreal fontSize);
Label *label(const QString &text, SymbolName symbol, const QFont &font);
Illustration *illustration(const QString &name, int height);

} // namespace kivolo
