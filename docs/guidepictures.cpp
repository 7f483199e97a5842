// The two picture steps of scripts/guide-pictures.sh, both exact integer
// work so that every run gives the same bytes:
//
//   kestrova-guide-pictures shrink INPUT WIDTH OUTPUT
//       INPUT reduced to WIDTH pixels (height in proportion) by averaging
//       the area each new pixel covers, written as PNG.
//   kestrova-guide-pictures compact INPUT OUTPUT
//       the same pixels in the smallest PNG kind that holds them exactly:
//       grey, a palette of up to 256 colours, or full colour.
//
// Qt's own smooth scaling is not used: its results may depend on the
// processor's vector instructions.

#include <QCoreApplication>
#include <QHash>
#include <QImage>
#include <QImageReader>
#include <QImageWriter>
#include <QStringList>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <vector>

namespace {

// The source pixels one target pixel covers, with the length of each overlap
// in units of 1/target of a source pixel; the lengths add up to `source`.
struct Share
{
    int index;
    std::int64_t weight;
};

std::vector<std::vector<Share>> shares(int source, int target)
{
    std::vector<std::vector<Share>> result(static_cast<size_t>(target));
    for (int i = 0; i < target; ++i) {
        const std::int64_t begin = std::int64_t(i) * source;
        const std::int64_t end = begin + source;
        for (std::int64_t j = begin / target; j * target < end; ++j) {
            const std::int64_t from = std::max(j * target, begin);
            const std::int64_t to = std::min((j + 1) * target, end);
            result[size_t(i)].push_back({int(j), to - from});
        }
    }
    return result;
}

QImage shrink(const QImage &input, int width)
{
    const QImage source = input.convertToFormat(QImage::Format_RGB32);
    const int height = int((std::int64_t(source.height()) * width * 2 + source.width())
                           / (std::int64_t(source.width()) * 2));
    const auto across = shares(source.width(), width);
    const auto down = shares(source.height(), height);

    // Row sums first, kept whole; one rounding at the very end.
    std::vector<std::uint64_t> rows(size_t(source.height()) * size_t(width) * 3);
    for (int y = 0; y < source.height(); ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(source.constScanLine(y));
        std::uint64_t *sum = &rows[size_t(y) * size_t(width) * 3];
        for (int x = 0; x < width; ++x, sum += 3) {
            for (const Share &share : across[size_t(x)]) {
                const QRgb pixel = line[share.index];
                sum[0] += std::uint64_t(qRed(pixel)) * std::uint64_t(share.weight);
                sum[1] += std::uint64_t(qGreen(pixel)) * std::uint64_t(share.weight);
                sum[2] += std::uint64_t(qBlue(pixel)) * std::uint64_t(share.weight);
            }
        }
    }
    const std::uint64_t area = std::uint64_t(source.width()) * std::uint64_t(source.height());
    QImage result(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        auto *line = reinterpret_cast<QRgb *>(result.scanLine(y));
        for (int x = 0; x < width; ++x) {
            std::uint64_t sum[3] = {0, 0, 0};
            for (const Share &share : down[size_t(y)]) {
                const std::uint64_t *row
                        = &rows[(size_t(share.index) * size_t(width) + size_t(x)) * 3];
                for (int c = 0; c < 3; ++c)
                    sum[c] += row[c] * std::uint64_t(share.weight);
            }
            line[x] = qRgb(int((sum[0] + area / 2) / area), int((sum[1] + area / 2) / area),
                           int((sum[2] + area / 2) / area));
        }
    }
    return result;
}

bool isGrey(const QImage &image)
{
    for (int y = 0; y < image.height(); ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(image.constScanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = line[x];
            if (qAlpha(pixel) != 255 || qRed(pixel) != qGreen(pixel)
                || qGreen(pixel) != qBlue(pixel))
                return false;
        }
    }
    return true;
}

QImage greyImage(const QImage &image)
{
    QImage grey(image.size(), QImage::Format_Grayscale8);
    for (int y = 0; y < image.height(); ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(image.constScanLine(y));
        uchar *out = grey.scanLine(y);
        for (int x = 0; x < image.width(); ++x)
            out[x] = uchar(qGreen(line[x]));
    }
    return grey;
}

// A palette picture when there are at most 256 colours, in the order they
// are first met; a null picture otherwise.
QImage paletteImage(const QImage &image)
{
    QHash<QRgb, int> indices;
    QList<QRgb> palette;
    QImage indexed(image.size(), QImage::Format_Indexed8);
    for (int y = 0; y < image.height(); ++y) {
        const auto *line = reinterpret_cast<const QRgb *>(image.constScanLine(y));
        uchar *out = indexed.scanLine(y);
        for (int x = 0; x < image.width(); ++x) {
            auto found = indices.constFind(line[x]);
            if (found == indices.constEnd()) {
                if (palette.size() == 256)
                    return QImage();
                found = indices.insert(line[x], int(palette.size()));
                palette.append(line[x]);
            }
            out[x] = uchar(found.value());
        }
    }
    indexed.setColorTable(palette);
    return indexed;
}

QImage compact(const QImage &input)
{
    const QImage pixels = input.convertToFormat(input.hasAlphaChannel() ? QImage::Format_ARGB32
                                                                        : QImage::Format_RGB32);
    if (isGrey(pixels))
        return greyImage(pixels);
    const QImage indexed = paletteImage(pixels);
    return indexed.isNull() ? pixels : indexed;
}

QImage read(const QString &path)
{
    QImageReader reader(path);
    const QImage image = reader.read();
    if (image.isNull())
        std::fprintf(stderr, "cannot read %s: %s\n", qPrintable(path),
                     qPrintable(reader.errorString()));
    return image;
}

// Most compression; no time stamp or other varying chunk is written.
bool write(const QImage &image, const QString &path)
{
    QImageWriter writer(path, "png");
    writer.setQuality(0);
    if (writer.write(image))
        return true;
    std::fprintf(stderr, "cannot write %s: %s\n", qPrintable(path),
                 qPrintable(writer.errorString()));
    return false;
}

int usage()
{
    std::fputs("usage: kestrova-guide-pictures shrink INPUT WIDTH OUTPUT\n"
               "       kestrova-guide-pictures compact INPUT OUTPUT\n",
               stderr);
    return 2;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const QStringList args = QCoreApplication::arguments();
    if (args.size() == 5 && args.at(1) == QLatin1String("shrink")) {
        bool ok = false;
        const int width = args.at(3).toInt(&ok);
        const QImage input = read(args.at(2));
        if (!ok || width < 1)
            return usage();
        if (input.isNull())
            return 1;
        return write(shrink(input, qMin(width, input.width())), args.at(4)) ? 0 : 1;
    }
    if (args.size() == 4 && args.at(1) == QLatin1String("compact")) {
        const QImage input = read(args.at(2));
        if (input.isNull())
            return 1;
        const QImage output = compact(input);
        if (output.convertToFormat(QImage::Format_ARGB32)
            != input.convertToFormat(QImage::Format_ARGB32)) {
            std::fprintf(stderr, "%s: the compact picture differs\n", qPrintable(args.at(2)));
            return 1;
        }
        return write(output, args.at(3)) ? 0 : 1;
    }
    return usage();
}
