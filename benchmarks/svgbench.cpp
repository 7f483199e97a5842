// Tracing and SVG writing timed as whole processes, for comparison with
// other tracers run on the same file:
//
//   kestrova-svg-bench [--threshold N] [--curves none|fit] [--tolerance T]
//                      [--min-area N] [--colours] INPUT OUTPUT.svg
//   kestrova-svg-bench --pbm [--threshold N] INPUT OUTPUT.pbm
//   kestrova-svg-bench --pbm-colours INPUT FOLDER
//   kestrova-svg-bench --compare BITMAP.pbm DRAWN.png
//   kestrova-svg-bench --seams OVER-WHITE.png OVER-BLACK.png
//
// INPUT is any picture Qt reads (PBM included). Without --colours its ink,
// the pixels darker than the threshold, is traced as black shapes; with
// --colours every region of one colour becomes a shape. Prints the
// counts of paths and path nodes and the stages' times on standard error.
// --pbm writes the ink as a PBM bitmap instead, for the other tracers;
// --pbm-colours writes one bitmap per colour of a flat picture (a poster)
// into a folder, named by the colour (rrggbb.pbm); --compare counts the
// pixels of a picture drawn back from an SVG that are not the ink of a
// bitmap, and of those the ones more than a pixel from any edge of the ink;
// --seams counts the pixels where two drawings of one SVG over different
// backgrounds differ: where the background shows through.

#include "drawingtrace.h"
#include "svgdocument.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QSet>

#include <cstdio>

namespace {

int usage()
{
    std::fprintf(stderr,
                 "usage: kestrova-svg-bench [--threshold N] [--curves none|fit] "
                 "[--tolerance T] [--min-area N] [--colours] INPUT OUTPUT.svg\n"
                 "       kestrova-svg-bench --pbm [--threshold N] INPUT OUTPUT.pbm\n");
    return 2;
}

// Paths and nodes (the points a path passes through or is steered by).
void count(const Tracing &tracing, bool inkOnly, qint64 &paths, qint64 &nodes)
{
    for (int r = 0; r < tracing.regionCount(); ++r) {
        if (inkOnly && tracing.regionLabel[size_t(r)] == 0)
            continue;
        ++paths;
        for (qint32 l = tracing.regionLoopStart[size_t(r)];
             l < tracing.regionLoopStart[size_t(r) + 1]; ++l) {
            for (qint32 k = tracing.loopStart[size_t(l)]; k < tracing.loopStart[size_t(l) + 1]; ++k)
                nodes += tracing.chains[size_t(tracing.halves[size_t(k)] / 2)].count - 1;
        }
    }
}

// The ink as a bitmap: 1 (black) below the threshold.
int writeBitmap(const QImage &picture, int threshold, const QString &path)
{
    const QImage rgb = picture.convertToFormat(QImage::Format_RGB32);
    QImage bitmap(rgb.size(), QImage::Format_Mono);
    bitmap.setColorTable({qRgb(255, 255, 255), qRgb(0, 0, 0)});
    for (int y = 0; y < rgb.height(); ++y) {
        const QRgb *row = reinterpret_cast<const QRgb *>(rgb.constScanLine(y));
        for (int x = 0; x < rgb.width(); ++x)
            bitmap.setPixel(x, y, qGray(row[x]) < threshold ? 1 : 0);
    }
    if (!bitmap.save(path, "PBM")) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
        return 1;
    }
    return 0;
}

// One bitmap per colour: 1 where the picture has that colour.
int writeColourBitmaps(const QImage &picture, const QString &folder)
{
    const QImage rgb = picture.convertToFormat(QImage::Format_RGB32);
    QSet<QRgb> colours;
    for (int y = 0; y < rgb.height(); ++y) {
        const QRgb *row = reinterpret_cast<const QRgb *>(rgb.constScanLine(y));
        for (int x = 0; x < rgb.width(); ++x)
            colours.insert(row[x] & 0xFFFFFFu);
    }
    for (const QRgb colour : colours) {
        QImage bitmap(rgb.size(), QImage::Format_Mono);
        bitmap.setColorTable({qRgb(255, 255, 255), qRgb(0, 0, 0)});
        for (int y = 0; y < rgb.height(); ++y) {
            const QRgb *row = reinterpret_cast<const QRgb *>(rgb.constScanLine(y));
            for (int x = 0; x < rgb.width(); ++x)
                bitmap.setPixel(x, y, (row[x] & 0xFFFFFFu) == colour ? 1 : 0);
        }
        const QString path
                = QStringLiteral("%1/%2.pbm").arg(folder).arg(colour, 6, 16, QLatin1Char('0'));
        if (!bitmap.save(path, "PBM")) {
            std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
            return 1;
        }
    }
    return 0;
}

// Prints how many pixels of `drawnPath` (drawn without smoothing over
// white) are not the bitmap's ink, and how many of those lie more than a
// pixel from the ink's edge.
int compareWithInk(const QImage &bitmap, const QString &drawnPath)
{
    const QImage ink = bitmap.convertToFormat(QImage::Format_RGB32);
    const QImage drawn = QImage(drawnPath).convertToFormat(QImage::Format_RGB32);
    if (drawn.size() != ink.size()) {
        std::fprintf(stderr, "%s is not the bitmap's size\n", qPrintable(drawnPath));
        return 1;
    }
    auto dark = [](const QImage &image, int x, int y) { return qGray(image.pixel(x, y)) < 128; };
    qint64 wrong = 0;
    qint64 far = 0;
    for (int y = 0; y < ink.height(); ++y) {
        for (int x = 0; x < ink.width(); ++x) {
            const bool expected = dark(ink, x, y);
            if (dark(drawn, x, y) == expected)
                continue;
            ++wrong;
            bool nearEdge = false;
            for (int dy = -1; dy <= 1 && !nearEdge; ++dy)
                for (int dx = -1; dx <= 1 && !nearEdge; ++dx)
                    nearEdge = ink.rect().contains(x + dx, y + dy)
                            && dark(ink, x + dx, y + dy) != expected;
            far += !nearEdge;
        }
    }
    std::printf("%lld pixels differ from the ink, %lld of them with no pixel of the other "
                "kind among their eight neighbours\n",
                wrong, far);
    return 0;
}

int countSeams(const QImage &overWhite, const QString &overBlackPath)
{
    const QImage white = overWhite.convertToFormat(QImage::Format_RGB32);
    const QImage black = QImage(overBlackPath).convertToFormat(QImage::Format_RGB32);
    if (white.size() != black.size()) {
        std::fprintf(stderr, "the two drawings differ in size\n");
        return 1;
    }
    qint64 seams = 0;
    for (int y = 0; y < white.height(); ++y) {
        const QRgb *a = reinterpret_cast<const QRgb *>(white.constScanLine(y));
        const QRgb *b = reinterpret_cast<const QRgb *>(black.constScanLine(y));
        for (int x = 0; x < white.width(); ++x)
            seams += a[x] != b[x];
    }
    std::printf("%lld pixels where the background shows through\n", seams);
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    VectorSettings settings;
    // kestrova-cli's default.
    settings.minArea = 16;
    bool colours = false;
    bool pbm = false;
    bool pbmColours = false;
    bool compare = false;
    bool seams = false;
    QStringList files;
    while (!args.isEmpty()) {
        const QString arg = args.takeFirst();
        if (arg == "--pbm")
            pbm = true;
        else if (arg == "--pbm-colours")
            pbmColours = true;
        else if (arg == "--compare")
            compare = true;
        else if (arg == "--seams")
            seams = true;
        else if (arg == "--colours")
            colours = true;
        else if (arg == "--threshold" && !args.isEmpty())
            settings.threshold = args.takeFirst().toInt();
        else if (arg == "--curves" && !args.isEmpty())
            settings.curves = args.takeFirst() != "none";
        else if (arg == "--tolerance" && !args.isEmpty())
            settings.tolerance = args.takeFirst().toDouble();
        else if (arg == "--min-area" && !args.isEmpty())
            settings.minArea = args.takeFirst().toLongLong();
        else if (arg.startsWith("--"))
            return usage();
        else
            files << arg;
    }
    if (files.size() != 2)
        return usage();
    QElapsedTimer clock;
    clock.start();
    QImageReader::setAllocationLimit(0);
    const QImage picture = QImage(files[0]);
    if (picture.isNull()) {
        std::fprintf(stderr, "cannot read %s\n", qPrintable(files[0]));
        return 1;
    }
    const double read = clock.nsecsElapsed() / 1e6;
    if (pbm)
        return writeBitmap(picture, settings.threshold, files[1]);
    if (pbmColours)
        return writeColourBitmaps(picture, files[1]);
    if (compare)
        return compareWithInk(picture, files[1]);
    if (seams)
        return countSeams(picture, files[1]);
    VectorLayers layers;
    layers.size = picture.size();
    (colours ? layers.fills : layers.ink) = picture;
    clock.restart();
    const VectorDrawing drawing = traceDrawing(layers, settings);
    const double traced = clock.nsecsElapsed() / 1e6;
    clock.restart();
    const QByteArray text = svgDocument(drawing);
    QFile out(files[1]);
    if (!out.open(QIODevice::WriteOnly) || out.write(text) != text.size()) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(files[1]));
        return 1;
    }
    out.close();
    const double written = clock.nsecsElapsed() / 1e6;
    qint64 paths = 0;
    qint64 nodes = 0;
    count(colours ? drawing.fills : drawing.ink, !colours, paths, nodes);
    std::fprintf(stderr,
                 "read %.0f ms, traced %.0f ms, written %.0f ms; %lld paths, %lld nodes, "
                 "%lld bytes\n",
                 read, traced, written, paths, nodes, qint64(text.size()));
    return 0;
}
