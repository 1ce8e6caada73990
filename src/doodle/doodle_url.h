// A drawing as the text that travels: a PNG data URL, both ways.
#pragma once

#include <QFuture>
#include <QImage>
#include <QSize>
#include <QString>
#include <optional>

namespace kivolo {

/// A decoded drawing.
struct Doodle
{
    QImage image;
    QSize size; ///< In the pixels it was sent in; `image` may hold fewer.
};

/// "data:image/png;base64," followed by the standard Base64 of `image` as a PNG; nothing if the
/// image cannot be encoded.
std::optional<QString> encodeDoodle(const QImage &image);

/// The picture in the body of a doodle, or nothing if there is none. Every occurrence of the prefix
/// is removed, the rest has to be standard Base64 with its padding and without any other character,
/// and what it holds a raster image. A picture larger than `bounds` pixels is scaled down to fit.
///
/// The body comes from someone else's machine: pictures of more than 8192 pixels a side or
/// 16 megapixels are refused before their pixels are read, and vector formats are no pictures.
std::optional<Doodle> decodeDoodle(const QString &body, const QSize &bounds);

/// The same on the thread pool: the largest body takes longer than a frame of the screen.
QFuture<std::optional<Doodle>> decodeDoodleLater(const QString &body, const QSize &bounds);

// All three may be called on any thread.

} // namespace kivolo
