// What the user copies.
#pragma once

class QImage;
class QString;

namespace kivolo::pasteboard {

/// Replaces whatever was copied before by plain text.
void setString(const QString &text);
/// Replaces whatever was copied before by a picture.
void setImage(const QImage &image);

} // namespace kivolo::pasteboard
