// The round badge with a name's initial.
#pragma once

#include <QString>

class QPainter;
class QPointF;

namespace kivolo {

/// A value that paints itself: a circle on the brand's gradient.
class Avatar
{
public:
    /// `size` is the diameter in points.
    Avatar(QString name, qreal size);

    /// What stands in the circle: the first character of the name as a reader counts characters, in
    /// upper case by the rules of no language in particular (which may make two of it), or "·" for
    /// a name of nothing but spaces and tabs.
    static QString initial(const QString &name);

    qreal size() const { return size_; }
    void paint(QPainter &painter, const QPointF &topLeft) const;

private:
    QString initial_;
    qreal size_;
};

} // namespace kivolo
