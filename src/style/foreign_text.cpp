#include "style/foreign_text.h"

#include <QTextBoundaryFinder>
#include <algorithm>

namespace kivolo {

QString singleLine(const QString &name)
{
    constexpr qsizetype longest = 256; // wider than any card at any size
    QString line = cutAtCharacter(name, longest);
    for (QChar &c : line) {
        if (c.category() == QChar::Other_Control || c == QChar::LineSeparator ||
            c == QChar::ParagraphSeparator)
            c = u' ';
    }
    return line;
}

static bool turnsAround(QChar c)
{
    switch (c.direction()) {
    case QChar::DirR:
    case QChar::DirAL:
    case QChar::DirAN:
    case QChar::DirLRE:
    case QChar::DirLRO:
    case QChar::DirRLE:
    case QChar::DirRLO:
    case QChar::DirPDF:
    case QChar::DirLRI:
    case QChar::DirRLI:
    case QChar::DirFSI:
    case QChar::DirPDI:
        return true;
    default:
        return c.isSurrogate(); // scripts of both directions lie up there
    }
}

QString isolated(const QString &text)
{
    if (std::none_of(text.begin(), text.end(), turnsAround))
        return text;
    constexpr QChar firstStrongIsolate(0x2068);
    constexpr QChar popIsolate(0x2069);
    return firstStrongIsolate + text + popIsolate;
}

QString cutAtCharacter(const QString &text, qsizetype maxLength)
{
    if (text.size() <= maxLength)
        return text;
    // One more unit than fits tells whether a character ends at the limit.
    const QString head = text.left(maxLength + 1);
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, head);
    finder.setPosition(maxLength);
    const qsizetype end = finder.isAtBoundary() ? maxLength : finder.toPreviousBoundary();
    // A base with more marks than fit has no boundary to cut at; its first marks have to do.
    return head.left(end > 0 ? end : maxLength - (head.at(maxLength).isLowSurrogate() ? 1 : 0));
}

} // namespace kivolo
