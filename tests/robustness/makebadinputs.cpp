// Writes the catalogue of bad and odd input files into a folder, with
// catalogue.txt, one line per file: its name, what reading it must give
// (draws, refused, too-large) and what it is. The same bytes on every run:
//   kestrova-bad-inputs tests/data/bad
// scripts/bad-inputs.sh builds it and remakes tests/data/bad.

#include "badbytes.h"

#include <QBuffer>
#include <QColorSpace>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QImageWriter>
#include <QPainter>

#include <cstdio>
#include <cstring>
#include <functional>
#include <vector>

using namespace badbytes;

namespace {

struct Entry
{
    QString name;
    const char *expectation;
    const char *what;
    QByteArray bytes;
};

// A picture with smooth gradients, a few sharp blocks and a thin line: every
// effect has edges and several colours to work on.
QImage scene(int width, int height, QImage::Format format = QImage::Format_ARGB32)
{
    QImage image(width, height, QImage::Format_ARGB32);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            image.setPixel(x, y,
                           qRgba((x * 255) / qMax(1, width - 1), (y * 255) / qMax(1, height - 1),
                                 ((x + 2 * y) * 37) % 256, 255));
    }
    QPainter painter(&image);
    painter.fillRect(QRect(width / 5, height / 4, width / 3 + 1, height / 3 + 1),
                     QColor(200, 40, 60));
    painter.fillRect(QRect(width / 2, height / 2, width / 4 + 1, height / 3 + 1),
                     QColor(20, 30, 90));
    painter.setPen(QColor(250, 250, 210));
    painter.drawLine(0, height - 1, width - 1, 0);
    painter.end();
    return format == QImage::Format_ARGB32 ? image : image.convertToFormat(format);
}

// The same scene with alpha falling from opaque at the left to clear at the
// right.
QImage fadingScene(int width, int height)
{
    QImage image = scene(width, height);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const QRgb p = image.pixel(x, y);
            image.setPixel(
                    x, y,
                    qRgba(qRed(p), qGreen(p), qBlue(p), 255 - (x * 255) / qMax(1, width - 1)));
        }
    }
    return image;
}

// The bytes past the last pixel of each row, which QImage leaves as they
// come and the BMP writer copies, set to zero: the same file every run.
QImage withClearRowEnds(QImage image)
{
    const qsizetype used = (qsizetype(image.width()) * image.depth() + 7) / 8;
    for (int y = 0; y < image.height(); ++y)
        memset(image.scanLine(y) + used, 0, size_t(image.bytesPerLine() - used));
    return image;
}

QByteArray encoded(const QImage &image, const char *format, int quality = -1)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, format);
    if (quality >= 0)
        writer.setQuality(quality);
    if (QByteArray(format) == "tiff")
        writer.setCompression(1);
    if (!writer.write(image))
        std::fprintf(stderr, "cannot encode %s: %s\n", format, qPrintable(writer.errorString()));
    return bytes;
}

// Several offsets at which a file is cut: inside the signature, inside the
// header, early, halfway and late in the data, and short of the end.
std::vector<int> cuts(int size)
{
    return {4, 30, size / 4, size / 2, size * 9 / 10, size - 2};
}

void formats(std::vector<Entry> &entries)
{
    const QImage base = scene(40, 30);
    QImage indexed = base.convertToFormat(QImage::Format_Indexed8);
    QImage indexedAlpha = fadingScene(40, 30).convertToFormat(QImage::Format_Indexed8);
    entries.push_back({"mono.png", "draws", "1 bit per pixel (QImage::Format_Mono)",
                       encoded(base.convertToFormat(QImage::Format_Mono), "png")});
    entries.push_back(
            {"mono.bmp", "draws", "1 bit per pixel BMP",
             encoded(withClearRowEnds(base.convertToFormat(QImage::Format_Mono)), "bmp")});
    entries.push_back({"indexed.png", "draws", "palette without alpha (Format_Indexed8)",
                       encoded(indexed, "png")});
    entries.push_back({"indexed-alpha.png", "draws", "palette with alpha (Format_Indexed8)",
                       encoded(indexedAlpha, "png")});
    entries.push_back({"indexed.bmp", "draws", "8-bit palette BMP", encoded(indexed, "bmp")});
    entries.push_back({"grey8.png", "draws", "8-bit grey (Format_Grayscale8)",
                       encoded(base.convertToFormat(QImage::Format_Grayscale8), "png")});
    entries.push_back({"grey16.png", "draws", "16-bit grey (Format_Grayscale16)",
                       encoded(base.convertToFormat(QImage::Format_Grayscale16), "png")});
    entries.push_back({"rgb16.png", "draws", "16 bits per channel RGB (Format_RGBX64)",
                       encoded(base.convertToFormat(QImage::Format_RGBX64), "png")});
    entries.push_back({"rgba16.png", "draws", "16 bits per channel RGBA (Format_RGBA64)",
                       encoded(fadingScene(40, 30).convertToFormat(QImage::Format_RGBA64), "png")});
    entries.push_back({"rgba.png", "draws", "8 bits per channel RGBA (Format_ARGB32)",
                       encoded(fadingScene(40, 30), "png")});
    entries.push_back({"premultiplied.tif", "draws",
                       "TIFF with associated alpha (Format_ARGB32_Premultiplied)",
                       encoded(fadingScene(40, 30), "tiff")});
    entries.push_back(
            {"rgba16-premultiplied.tif", "draws",
             "16-bit TIFF with associated alpha (Format_RGBA64_Premultiplied)",
             encoded(fadingScene(40, 30).convertToFormat(QImage::Format_RGBA64_Premultiplied),
                     "tiff")});
    entries.push_back(
            {"float16.tif", "draws", "half-float TIFF (Format_RGBA16FPx4)",
             encoded(fadingScene(40, 30).convertToFormat(QImage::Format_RGBA16FPx4), "tiff")});
    entries.push_back(
            {"float32.tif", "draws", "float TIFF (Format_RGBA32FPx4)",
             encoded(fadingScene(40, 30).convertToFormat(QImage::Format_RGBA32FPx4), "tiff")});
    entries.push_back({"rgb.tif", "draws", "8-bit RGB TIFF", encoded(base, "tiff")});
    entries.push_back({"rgb.jpg", "draws", "baseline JPEG (Format_RGB32)",
                       encoded(base.convertToFormat(QImage::Format_RGB32), "jpeg", 90)});
    entries.push_back({"grey.jpg", "draws", "grey JPEG (Format_Grayscale8)",
                       encoded(base.convertToFormat(QImage::Format_Grayscale8), "jpeg", 90)});
    entries.push_back(
            {"frames.gif", "draws", "GIF of three frames of different sizes", gifOfFrames(40, 30)});
}

void shapes(std::vector<Entry> &entries)
{
    entries.push_back({"1x1.png", "draws", "one pixel", encoded(scene(1, 1), "png")});
    entries.push_back({"2x2.png", "draws", "2 x 2 pixels", encoded(scene(2, 2), "png")});
    entries.push_back({"1x300.png", "draws", "one column", encoded(scene(1, 300), "png")});
    entries.push_back({"300x1.png", "draws", "one row", encoded(scene(300, 1), "png")});
    entries.push_back({"3x500.png", "draws", "three columns", encoded(scene(3, 500), "png")});
    entries.push_back({"500x6.png", "draws", "six rows, below the blur's reach",
                       encoded(scene(500, 6), "png")});
    entries.push_back({"1x1100000.tif", "draws",
                       "one column of 1.1 million pixels: the colour sketch reduces it to nothing",
                       encoded(scene(1, 1100000, QImage::Format_RGB32), "tiff")});
    QImage clear = scene(24, 16);
    clear.fill(Qt::transparent);
    entries.push_back({"transparent.png", "draws", "every pixel fully transparent, all zero",
                       encoded(clear, "png")});
    QImage hidden = scene(24, 16);
    for (int y = 0; y < hidden.height(); ++y) {
        for (int x = 0; x < hidden.width(); ++x)
            hidden.setPixel(x, y, hidden.pixel(x, y) & 0x00FFFFFFu);
    }
    entries.push_back({"transparent-colours.png", "draws",
                       "every pixel fully transparent over varied colours",
                       encoded(hidden, "png")});
    QImage flat(32, 24, QImage::Format_RGB32);
    flat.fill(qRgb(90, 120, 150));
    entries.push_back({"one-colour.png", "draws", "one colour everywhere", encoded(flat, "png")});
}

void truncations(std::vector<Entry> &entries)
{
    const QByteArray png = encoded(scene(64, 48), "png");
    const QByteArray jpeg
            = encoded(scene(64, 48).convertToFormat(QImage::Format_RGB32), "jpeg", 90);
    for (int cut : cuts(int(png.size())))
        entries.push_back({QStringLiteral("png-cut-at-%1.png").arg(cut), "either",
                           "a PNG cut short", png.left(cut)});
    for (int cut : cuts(int(jpeg.size())))
        entries.push_back({QStringLiteral("jpeg-cut-at-%1.jpg").arg(cut), "either",
                           "a JPEG cut short", jpeg.left(cut)});
    const QByteArray gif = gifOfFrames(40, 30);
    entries.push_back(
            {"gif-cut.gif", "either", "a GIF cut in its first frame", gif.left(gif.size() / 3)});
    const QByteArray tiff = encoded(scene(40, 30), "tiff");
    entries.push_back({"tiff-cut.tif", "either", "a TIFF cut halfway", tiff.left(tiff.size() / 2)});
    entries.push_back({"empty.png", "refused", "no bytes at all", QByteArray()});
    entries.push_back({"png-header-only.png", "refused",
                       "the PNG signature and IHDR of a 64 x 48 picture, nothing after",
                       pngHeaderOnly(64, 48)});
    entries.push_back({"jpeg-header-only.jpg", "either",
                       "a JPEG's markers up to the start of scan, no scan data (libjpeg "
                       "gives a grey picture)",
                       jpegHeaderOnly(jpeg)});
    const QByteArray bmp = encoded(scene(20, 10).convertToFormat(QImage::Format_RGB32), "bmp");
    entries.push_back(
            {"bmp-header-only.bmp", "refused", "a BMP's two headers, no pixels", bmp.left(54)});
}

void corruptions(std::vector<Entry> &entries)
{
    const QByteArray png = encoded(scene(64, 48), "png");
    entries.push_back({"png-bad-crc-idat.png", "either", "a PNG whose IDAT CRC is wrong",
                       withBadCrc(png, "IDAT")});
    entries.push_back({"png-bad-crc-ihdr.png", "either", "a PNG whose IHDR CRC is wrong",
                       withBadCrc(png, "IHDR")});
    entries.push_back(
            {"png-zero-width.png", "refused", "a PNG header of width 0", pngWithHeader(0, 48)});
    entries.push_back({"png-huge-chunk.png", "refused", "a PNG whose second chunk claims 2 GB",
                       pngWithHugeChunk(64, 48)});
    const QByteArray jpeg
            = encoded(scene(64, 48).convertToFormat(QImage::Format_RGB32), "jpeg", 90);
    entries.push_back({"jpeg-zero-height.jpg", "refused", "a JPEG frame of height 0",
                       withJpegSize(jpeg, 0, 64)});
    entries.push_back({"png-named.jpg", "draws", "a PNG named .jpg", png});
    entries.push_back({"jpeg-named.png", "draws", "a JPEG named .png", jpeg});
    entries.push_back({"text-named.jpg", "refused", "a text file named .jpg",
                       QByteArray("These are notes, not a photograph.\nSecond line.\n")});
    entries.push_back({"name with spaces ü é 写真.png", "draws",
                       "a name with spaces and non-ASCII characters",
                       encoded(scene(20, 14), "png")});
}

void bombs(std::vector<Entry> &entries)
{
    entries.push_back({"bomb-100000x100000.png", "too-large",
                       "a PNG header claiming 100000 x 100000 pixels, a little data",
                       pngWithHeader(100000, 100000)});
    const QByteArray jpeg
            = encoded(scene(64, 48).convertToFormat(QImage::Format_RGB32), "jpeg", 90);
    entries.push_back({"bomb-65500x65500.jpg", "too-large",
                       "a JPEG frame claiming 65500 x 65500 pixels, the most JPEG allows",
                       withJpegSize(jpeg, 65500, 65500)});
    entries.push_back({"jpeg-over-65500.jpg", "refused",
                       "a JPEG frame claiming 65535 x 65535 pixels, past what JPEG allows",
                       withJpegSize(jpeg, 65535, 65535)});
    entries.push_back({"bomb-65535x65535.gif", "too-large",
                       "a GIF screen and frame claiming 65535 x 65535 pixels",
                       gifBomb(65535, 65535)});
    entries.push_back({"bomb-100000x100000.bmp", "refused",
                       "a BMP header claiming 100000 x 100000 pixels", bmpBomb(100000, 100000)});
    entries.push_back({"bomb-100000x100000.tif", "too-large",
                       "a TIFF directory claiming 100000 x 100000 pixels",
                       tiffBomb(100000, 100000)});
    entries.push_back({"over-limit-16001x16000.png", "too-large",
                       "a PNG header just over 256 megapixels", pngWithHeader(16001, 16000)});
}

bool writeAll(const QString &folder, const std::vector<Entry> &entries)
{
    QDir().mkpath(folder);
    QByteArray catalogue;
    for (const Entry &entry : entries) {
        QFile file(QDir(folder).filePath(entry.name));
        if (!file.open(QIODevice::WriteOnly) || file.write(entry.bytes) != entry.bytes.size()) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(file.fileName()));
            return false;
        }
        catalogue += entry.name.toUtf8() + '\t' + entry.expectation + '\t' + entry.what + '\n';
    }
    QFile list(QDir(folder).filePath(QStringLiteral("catalogue.txt")));
    return list.open(QIODevice::WriteOnly) && list.write(catalogue) == catalogue.size();
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    std::vector<Entry> entries;
    formats(entries);
    shapes(entries);
    truncations(entries);
    corruptions(entries);
    bombs(entries);
    return writeAll(QString::fromLocal8Bit(argv[1]), entries) ? 0 : 1;
}
