// The sizes and weights of text.
#pragma once

#include <QFont>

namespace kivolo {

enum class TextStyle {
    LargeTitle,
    Title,
    Title2,
    Title3,
    Headline,
    Body,
    Callout,
    Subheadline,
    Caption,
    Caption2,
};

/// The desktop's font in a style's size and weight. Sizes are device-independent pixels, not
/// points of the desktop's resolution: a card holds the same words everywhere.
QFont textFont(TextStyle style);

/// The desktop's font, `size` device-independent pixels.
QFont systemFont(qreal size, QFont::Weight weight = QFont::Normal);

/// Has Qt's own widgets begin with the program's font where the desktop names none: each loads what
/// Qt falls back to before it is given its own. Such a desktop has no font to change later. To be
/// called once, before the first text field is made. Costs some milliseconds.
void beginWithTextFont();

QFont bold(QFont font);

/// The desktop's fixed-width font in the size and weight of `font`.
QFont monospaced(const QFont &font);

/// `font` as it shows an emoji somewhat larger than a letter, the way readers know them.
QFont emojiFont(QFont font);

} // namespace kivolo
