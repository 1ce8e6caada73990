// Where the rows of the feed are.
#pragma once

#include <QtGlobal>
#include <span>
#include <vector>

namespace kivolo {

/// The heights of all rows, in points, and the places that follow from them. A height is a guess
/// until the row has been laid out. A change of one and a question for a place cost the logarithm
/// of the number of rows.
class FeedGeometry
{
public:
    static constexpr int padding = 14; ///< On all sides of the column.
    static constexpr int spacing = 10; ///< Below each row.
    static constexpr int marker = 1;   ///< What the feed scrolls to: nothing, below the last row.

    int count() const { return int(rows_.size()); }
    /// Inserts rows of the guessed `heights` before `row`.
    void insert(int row, std::span<const int> heights);
    void remove(int row, int count);
    void set(int row, int height, bool exact);

    int height(int row) const { return rows_[size_t(row)].height; }
    bool isExact(int row) const { return rows_[size_t(row)].exact; }
    qint64 top(int row) const;
    qint64 bottom(int row) const { return top(row) + height(row); }
    /// The row at `y` or, between two rows, the upper one; above all rows the first. There has to
    /// be one.
    int rowAt(qint64 y) const;
    qint64 markerBottom() const { return top(count()) + marker; }
    qint64 contentHeight() const { return markerBottom() + padding; }

private:
    struct Row
    {
        int height;
        bool exact;
        bool operator==(const Row &) const = default;
    };
    void rebuild(int from);
    qint64 pitch(int row) const { return qint64(height(row)) + spacing; }

    std::vector<Row> rows_;
    std::vector<qint64> sums_; // a binary indexed tree over the pitches, from index 1
};

} // namespace kivolo
