#include "feed/feed_geometry.h"

#include <bit>

namespace kivolo {

static size_t lowestBit(size_t i)
{
    return i & (~i + 1);
}

void FeedGeometry::insert(int row, std::span<const int> heights)
{
    std::vector<Row> fresh;
    for (const int height : heights)
        fresh.push_back({height, false});
    rows_.insert(rows_.begin() + row, fresh.begin(), fresh.end());
    rebuild(row);
}

void FeedGeometry::remove(int row, int count)
{
    rows_.erase(rows_.begin() + row, rows_.begin() + row + count);
    rebuild(row);
}

/// Sums anew what covers rows from `from` on. For rows at the end that is little.
void FeedGeometry::rebuild(int from)
{
    sums_.resize(rows_.size() + 1);
    for (size_t i = size_t(from) + 1; i < sums_.size(); ++i) {
        sums_[i] = pitch(int(i) - 1);
        for (size_t part = 1; part < lowestBit(i); part *= 2)
            sums_[i] += sums_[i - part];
    }
}

void FeedGeometry::set(int row, int height, bool exact)
{
    const int change = height - rows_[size_t(row)].height;
    rows_[size_t(row)] = {height, exact};
    if (change == 0)
        return;
    for (size_t i = size_t(row) + 1; i < sums_.size(); i += lowestBit(i))
        sums_[i] += change;
}

qint64 FeedGeometry::top(int row) const
{
    qint64 sum = padding;
    for (size_t i = size_t(row); i > 0; i -= lowestBit(i))
        sum += sums_[i];
    return sum;
}

int FeedGeometry::rowAt(qint64 y) const
{
    qint64 rest = y - padding;
    size_t row = 0;
    for (size_t step = std::bit_floor(rows_.size()); step > 0; step /= 2) {
        if (row + step <= rows_.size() && sums_[row + step] <= rest) {
            row += step;
            rest -= sums_[row];
        }
    }
    return int(qMin(row, rows_.size() - 1));
}

} // namespace kivolo
