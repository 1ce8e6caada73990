#include "style/avatar.h"

#include "style/brand.h"
#include "style/text_style.h"

#include <QPainter>
#include <QPainterPath>
#include <QTextBoundaryFinder>

namespace kivolo {

static QString withoutSpacesAndTabs(const QString &name)
{
    const auto isTrimmed = [](QChar c) { return c == u' ' || c == u'\t'; };
    qsizetype begin = 0;
    qsizetype end = name.size();
    while (begin < end && isTrimmed(name.at(begin)))
        ++begin;
    while (end > begin && isTrimmed(name.at(end - 1)))
        --end;
    return name.mid(begin, end - begin);
}

Avatar::Avatar(QString name, qreal size)
    : initial_(initial(name))
    , size_(size)
{}

QString Avatar::initial(const QString &name)
{
    constexpr qsizetype longestCharacter = 64; // longer ones are made of marks to do harm
    const QString trimmed = withoutSpacesAndTabs(name).left(longestCharacter);
    if (trimmed.isEmpty())
        return QStringLiteral("·");
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, trimmed);
    const qsizetype end = finder.toNextBoundary();
    return trimmed.left(end > 0 ? end : trimmed.size()).toUpper();
}

void Avatar::paint(QPainter &painter, const QPointF &topLeft) const
{
    const QRectF circle(topLeft, QSizeF(size_, size_));
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Brand::gradient(circle));
    painter.drawEllipse(circle);

    // Qt's fonts have whole pixels.
    const qreal fontSize = size_ * 0.44;
    const QFont font = systemFont(fontSize, QFont::Bold);
    painter.save();
    painter.translate(circle.center());
    painter.scale(fontSize / font.pixelSize(), fontSize / font.pixelSize());
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(circle.translated(-circle.center()),
                     Qt::AlignCenter | Qt::TextSingleLine | Qt::TextDontClip, initial_);
    painter.restore();

    QColor ring = Qt::white;
    ring.setAlphaF(0.55f);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(ring, 1.2));
    painter.drawEllipse(circle);
}

} // namespace kivolo
