// The arithmetic of a stack: who gets how much room, and where.
#pragma once

#include <QLayout>
#include <QSet>
#include <memory>
#include <optional>
#include <vector>

namespace kivolo {

/// Lays its items out one after another. Each has the size it would like best; what is left over
/// is shared by those that can grow, or, if none can, lies on both sides of the whole. Where there
/// is too little, those that yield give way first, each down to its least, from the last; then the
/// longest of those that can do with less. Across its direction an item keeps its own size too,
/// unless it can grow. Spacing may be negative: items then overlap, the later on top.
class StackLayout final : public QLayout
{
    Q_OBJECT
public:
    /// `across` is where an item stands across the direction: left, top, centre, right or bottom.
    StackLayout(Qt::Orientation direction, int spacing, Qt::Alignment across);
    ~StackLayout() override;

    /// An item that is nothing but room to grow into.
    void addSpacer();
    /// One that yields.
    void addYielding(QWidget *view);
    /// See Stack::tightening().
    void setLeastSpacing(int least) { leastSpacing_ = least; }

    void addItem(QLayoutItem *item) override; // takes it
    int count() const override { return int(items_.size()); }
    QLayoutItem *itemAt(int index) const override;
    QLayoutItem *takeAt(int index) override; // the caller owns it

    QSize sizeHint() const override;
    QSize minimumSize() const override;
    bool hasHeightForWidth() const override;
    int heightForWidth(int width) const override;
    int minimumHeightForWidth(int width) const override;
    Qt::Orientations expandingDirections() const override;
    void setGeometry(const QRect &rect) override;

private:
    /// An item that is shown, with its extent along the direction.
    struct Part
    {
        QLayoutItem *item;
        int least;
        int wanted;
        bool grows;
        bool yields;
        int length = 0;
        int gap = 0; // before it
    };
    bool isVertical() const { return direction_ == Qt::Vertical; }
    int along(const QSize &size) const { return isVertical() ? size.height() : size.width(); }
    int across(const QSize &size) const { return isVertical() ? size.width() : size.height(); }
    QSize sized(int along, int across) const;
    int widthOf(const QLayoutItem &item, int available) const;
    int heightOf(const QLayoutItem &item, int width) const;
    std::vector<Part> parts(int width) const;
    void tighten(std::vector<Part> &parts, int room) const;
    /// Shares `room` between the parts and returns what is left.
    int share(std::vector<Part> &parts, int room) const;
    static void shrink(std::vector<Part> &parts, int room);
    QSize total(QSize (QLayoutItem::*of)() const) const;

    Qt::Orientation direction_;
    int spacing_;
    std::optional<int> leastSpacing_;
    Qt::Alignment across_;
    std::vector<std::unique_ptr<QLayoutItem>> items_;
    QSet<const QLayoutItem *> yielding_;
};

} // namespace kivolo
