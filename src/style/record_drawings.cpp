// record_drawings FOLDER SVG...: turns drawings into what a painter does for them, at build time.
//
// Each becomes a file of its own in FOLDER that `Drawing` reads, named after it and its folder. So
// the program needs no library that reads SVG, which would cost it half a megabyte at each start.
#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPainter>
#include <QPicture>
#include <QSvgRenderer>
#include <cstdio>

static bool record(const QFileInfo &source, const QDir &folder)
{
    QSvgRenderer drawing(source.filePath());
    if (!drawing.isValid())
        return false;
    const QSizeF size = drawing.viewBoxF().size();
    QPicture picture;
    QPainter painter(&picture);
    drawing.render(&painter, QRectF(QPointF(), size));
    painter.end();

    const QString kind = source.dir().dirName();
    QFile file(folder.filePath(kind + QLatin1Char('/') + source.completeBaseName()));
    if (!folder.mkpath(kind) || !file.open(QIODevice::WriteOnly))
        return false;
    QDataStream stream(&file);
    stream << size << picture;
    return stream.status() == QDataStream::Ok && file.flush();
}

int main(int argc, char **argv)
{
    for (int i = 2; i < argc; ++i) {
        if (!record(QFileInfo(QFile::decodeName(argv[i])), QDir(QFile::decodeName(argv[1])))) {
            std::fprintf(stderr, "record_drawings: %s cannot be recorded\n", argv[i]);
            return 1;
        }
    }
    return 0;
}
