// Tracing and SVG writing timed as whole processes, for comparison with
// other tracers run on the same file:
//
//   kestrova-svg-bench [--threshold N] [--curves none|fit] [--tolerance T]
//                      [--min-area N] [--colours] INPUT OUTPUT.svg
//   kestrova-svg-bench --pbm [--threshold N] INPUT OUTPUT.pbm
//
// INPUT is any picture Qt reads (PBM included). Without --colours its ink,
// the pixels darker than the threshold, is traced as black shapes; with
// --colours every region of one colour becomes a shape. Prints the
// counts of paths and path nodes and the stages' times on standard error.
// --pbm writes the ink as a PBM bitmap instead, for the other tracers.

#include "drawingtrace.h"
#include "svgdocument.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QImageReader>

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

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QStringList args = app.arguments().mid(1);
    VectorSettings settings;
    bool colours = false;
    bool pbm = false;
    QStringList files;
    while (!args.isEmpty()) {
        const QString arg = args.takeFirst();
        if (arg == "--pbm")
            pbm = true;
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
