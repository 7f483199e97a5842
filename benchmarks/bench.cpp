// Times one effect or core operation on a photograph or a generated
// picture. The picture is decoded before the clock starts; each operation
// runs `repeat` times and the fastest run is printed, with the time of every
// stage the operations log.

#include "coloursketch.h"
#include "edgemap.h"
#include "effect.h"
#include "levelpictures.h"
#include "parallel.h"
#include "pngwriter.h"
#include "segmentor.h"
#include "threadsbench.h"

#include <QBuffer>
#include <QElapsedTimer>
#include <QImage>
#include <QImageReader>
#include <QImageWriter>
#include <QLoggingCategory>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <functional>
#include <memory>
#include <vector>

namespace {

double fastestMs(int repeat, const std::function<void()> &work)
{
    double best = 1e300;
    for (int i = 0; i < repeat; ++i) {
        QElapsedTimer timer;
        timer.start();
        work();
        best = std::min(best, timer.nsecsElapsed() / 1e6);
    }
    return best;
}

double threadCpuMs()
{
    timespec now {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec * 1e3 + now.tv_nsec / 1e6;
}

QImage generated(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < width; ++x)
            line[x] = qRgb((x * 7 + y) & 255, (y * 3) & 255, ((x ^ y) * 5) & 255);
    }
    return image;
}

int usage()
{
    fprintf(stderr,
            "usage: kestrova-bench EFFECT PICTURE|WIDTHxHEIGHT [REPEAT [SETTING=N ...]]\n"
            "       kestrova-bench edges PICTURE|WIDTHxHEIGHT [REPEAT]\n"
            "       kestrova-bench levels PICTURE|WIDTHxHEIGHT [REPEAT [THRESHOLD [BRUSH]]]\n"
            "       kestrova-bench merge PICTURE|WIDTHxHEIGHT [REPEAT [THRESHOLD [BRUSH]]]\n"
            "       kestrova-bench photo PICTURE WIDTHxHEIGHT OUT.jpg\n"
            "       kestrova-bench write PICTURE|WIDTHxHEIGHT [REPEAT]\n"
            "       kestrova-bench threads PICTURE|WIDTHxHEIGHT [REPEAT]\n"
            "EFFECT is one of kestrova-cli's effects, at its defaults unless SETTING=N\n"
            "(an option of the effect, e.g. colors=8) says otherwise.\n"
            "KESTROVA_BENCH_THREADS=N: the threads the operations may use (default: every "
            "core)\n");
    return 2;
}

// A photograph of any size for the command-line tool's figures: PICTURE
// scaled smoothly to the size and written as a JPEG of quality 90, so that
// the file decodes like a camera's.
int makePhoto(int argc, char *argv[])
{
    int width = 0, height = 0;
    if (argc != 5 || sscanf(argv[3], "%dx%d", &width, &height) != 2 || width < 1 || height < 1)
        return usage();
    const QImage source = QImageReader(QString::fromLocal8Bit(argv[2])).read();
    if (source.isNull()) {
        fprintf(stderr, "kestrova-bench: cannot read '%s'\n", argv[2]);
        return 1;
    }
    const QImage photo
            = source.convertToFormat(QImage::Format_RGB32)
                      .scaled(width, height, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    if (photo.isNull() || !photo.save(QString::fromLocal8Bit(argv[4]), "JPEG", 90)) {
        fprintf(stderr, "kestrova-bench: cannot write '%s'\n", argv[4]);
        return 1;
    }
    return 0;
}

const char *colourTypeName(PngColourType type)
{
    switch (type) {
    case PngColourType::Grey:
        return "grey";
    case PngColourType::GreyAlpha:
        return "grey+alpha";
    case PngColourType::Rgb:
        return "RGB";
    case PngColourType::Rgba:
        break;
    }
    return "RGBA";
}

const char *filterName(PngFilter filter)
{
    switch (filter) {
    case PngFilter::None:
        return "none";
    case PngFilter::Sub:
        return "sub";
    case PngFilter::Up:
        break;
    }
    return "up";
}

// One write of the drawing writer into memory; its time in milliseconds.
double timedPngWrite(const QImage &drawing, PngLevel level, int threads, QByteArray *bytes,
                     PngLayout *layout)
{
    bytes->clear();
    QBuffer buffer(bytes);
    buffer.open(QIODevice::WriteOnly);
    PngWriteOptions options;
    options.level = level;
    options.threads = threads;
    QString error;
    QElapsedTimer timer;
    timer.start();
    writePng(drawing, &buffer, options, &error, layout);
    return timer.nsecsElapsed() / 1e6;
}

// Qt's PNG writer at its defaults, then the drawing writer at both levels on
// one and two threads, all into memory: the write alone, without the disk.
// The one- and two-thread writes take turns, so that a burst of other work
// on the machine does not fall on one of them only; the fastest of each is
// printed.
void timeWrites(const char *name, const QImage &drawing, int repeat)
{
    QByteArray reference;
    const double qtMs = fastestMs(1, [&] {
        reference.clear();
        QBuffer buffer(&reference);
        buffer.open(QIODevice::WriteOnly);
        QImageWriter(&buffer, "png").write(drawing);
    });
    printf("%s: QImageWriter %.1f ms, %lld bytes\n", name, qtMs, qint64(reference.size()));
    for (const PngLevel level : {PngLevel::Fast, PngLevel::Small}) {
        double best[2] = {1e300, 1e300};
        QByteArray bytes;
        PngLayout layout;
        for (int run = 0; run < repeat; ++run) {
            for (const int threads : {1, 2})
                best[threads - 1] = std::min(
                        best[threads - 1], timedPngWrite(drawing, level, threads, &bytes, &layout));
        }
        for (const int threads : {1, 2})
            printf("  %s, %d thread%s: %.1f ms (%.3f x), %lld bytes (%.3f x), %s, %s filter, "
                   "%d bands\n",
                   level == PngLevel::Fast ? "fast" : "small", threads, threads > 1 ? "s" : "",
                   best[threads - 1], best[threads - 1] / qtMs, qint64(bytes.size()),
                   double(bytes.size()) / reference.size(), colourTypeName(layout.colourType),
                   filterName(layout.filter), layout.bands);
        printf("    two threads: %.2f x the one-thread time\n", best[1] / best[0]);
    }
}

// The drawing of every effect at its defaults, written both ways.
int timeAllWrites(const QImage &image, int repeat)
{
    for (const Effect &effect : effects()) {
        const QImage drawing = makeDrawing(effect, image, effect.defaults(), {}, {}, nullptr);
        if (!drawing.isNull())
            timeWrites(effect.name, drawing, repeat);
    }
    return 0;
}

// One effect of the table: the edge map once, then the effect alone, each
// run from the start of the random sequence. Its stages are logged as it
// runs.
int timeEffect(const Effect &effect, const QImage &image, int repeat, int argc, char *argv[])
{
    EffectValues values = effect.defaults();
    for (int i = 4; i < argc; ++i) {
        const QString pair = QString::fromLocal8Bit(argv[i]);
        const QString name = pair.section(QLatin1Char('='), 0, 0);
        const EffectSetting *setting = effect.setting(name);
        if (!setting || !pair.contains(QLatin1Char('=')))
            return usage();
        values.numbers[name] = pair.section(QLatin1Char('='), 1).toInt();
    }
    std::vector<unsigned char> edges(size_t(image.width()) * image.height());
    if (effect.needsEdges)
        labsobellight2(image, edges.data());
    QString problem;
    printf("%s: %.1f ms\n", effect.name, fastestMs(repeat, [&] {
               RandomSequence random;
               effect.draw(image, edges.data(), values, random, {}, &problem);
           }));
    return 0;
}

// The colour sketch's stages: the segmenter's construction, the merging up
// to every level, the picture of each level and its scaling back.
int timeLevels(const QImage &image, int repeat, int argc, char *argv[])
{
    const int threshold = argc > 4 ? atoi(argv[4]) : ColourSketchSettings().threshold;
    const int brush = argc > 5 ? atoi(argv[5]) : ColourSketchSettings().brush;
    const QImage working = colourSketchWorkingPicture(image);
    printf("working picture %dx%d, threshold %d, brush %d\n", working.width(), working.height(),
           threshold, brush);
    double construction = 1e300, merging = 1e300, picture = 1e300, scaling = 1e300;
    double mergingCpu = 1e300;
    qint64 merges = 0;
    int levels = 0;
    for (int run = 0; run < repeat; ++run) {
        QElapsedTimer timer;
        timer.start();
        CSegmentor segmentor(working, brush);
        construction = std::min(construction, timer.nsecsElapsed() / 1e6);
        merges = 0;
        segmentor.setYield([&merges] { ++merges; });
        double mergeTime = 0, pictureTime = 0, scaleTime = 0, mergeCpu = 0;
        levels = 0;
        for (;;) {
            timer.restart();
            const double cpu = threadCpuMs();
            const bool level = segmentor.Next(threshold);
            mergeTime += timer.nsecsElapsed() / 1e6;
            mergeCpu += threadCpuMs() - cpu;
            if (!level)
                break;
            ++levels;
            timer.restart();
            const QImage current = segmentor.CurrentImage();
            pictureTime += timer.nsecsElapsed() / 1e6;
            timer.restart();
            const QImage shown = current.scaledToWidth(image.width(), Qt::SmoothTransformation);
            Q_UNUSED(shown);
            scaleTime += timer.nsecsElapsed() / 1e6;
        }
        merging = std::min(merging, mergeTime);
        mergingCpu = std::min(mergingCpu, mergeCpu);
        picture = std::min(picture, levels ? pictureTime / levels : 0);
        scaling = std::min(scaling, levels ? scaleTime / levels : 0);
    }
    printf("construction: %.1f ms\nmerging: %.1f ms (%lld merges, %d levels)\n"
           "merging, processor time: %.1f ms\n"
           "one CurrentImage: %.1f ms\none scaling back: %.1f ms\n",
           construction, merging, merges, levels, mergingCpu, picture, scaling);
    // The window's pictures: kept from level to level, each level's held
    // until the next is made, as the window's pixmap holds it.
    double levelPictures = 1e300;
    for (int run = 0; run < repeat; ++run) {
        CSegmentor segmentor(working, brush);
        segmentor.setJournaling(true);
        LevelPictures pictures(working, image.width());
        QImage shown;
        double total = 0;
        while (segmentor.Next(threshold)) {
            QElapsedTimer timer;
            timer.start();
            shown = pictures.picture(segmentor);
            total += timer.nsecsElapsed() / 1e6;
        }
        levelPictures = std::min(levelPictures, total);
    }
    printf("the window's level pictures, all %d: %.1f ms\n", levels, levelPictures);
    return 0;
}

// The merging alone, without pictures: for instruction and cache counts
// under valgrind (--toggle-collect='CSegmentor::Next*').
int timeMerging(const QImage &image, int repeat, int argc, char *argv[])
{
    const int threshold = argc > 4 ? atoi(argv[4]) : ColourSketchSettings().threshold;
    const int brush = argc > 5 ? atoi(argv[5]) : ColourSketchSettings().brush;
    const QImage working = colourSketchWorkingPicture(image);
    qint64 merges = 0;
    int levels = 0;
    // On a shared machine the processor time of the merging says more
    // than the time on the clock, which counts the waits for a processor.
    double cpu = 1e300;
    const double best = fastestMs(repeat, [&] {
        CSegmentor segmentor(working, brush);
        merges = 0;
        levels = 0;
        segmentor.setYield([&merges] { ++merges; });
        const double start = threadCpuMs();
        while (segmentor.Next(threshold))
            ++levels;
        cpu = std::min(cpu, threadCpuMs() - start);
    });
    printf("construction and merging: %.1f ms (%lld merges, %d levels)\n"
           "merging alone, processor time: %.1f ms\n",
           best, merges, levels, cpu);
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc < 3)
        return usage();
    const char *operation = argv[1];
    if (!strcmp(operation, "photo"))
        return makePhoto(argc, argv);
    // The operations log the time of each of their stages.
    QLoggingCategory::setFilterRules("kestrova.timing.debug=true");
    std::unique_ptr<ThreadBudget> budget;
    if (qEnvironmentVariableIsSet("KESTROVA_BENCH_THREADS"))
        budget = std::make_unique<ThreadBudget>(
                qEnvironmentVariableIntValue("KESTROVA_BENCH_THREADS"));
    const int repeat = argc > 3 ? atoi(argv[3]) : 5;
    QImage image;
    int width = 0, height = 0;
    if (sscanf(argv[2], "%dx%d", &width, &height) == 2)
        image = generated(width, height);
    else
        image = QImageReader(QString::fromLocal8Bit(argv[2])).read();
    if (image.isNull()) {
        fprintf(stderr, "kestrova-bench: cannot read '%s'\n", argv[2]);
        return 1;
    }
    if (image.format() != QImage::Format_RGB32 && image.format() != QImage::Format_ARGB32)
        image = image.convertToFormat(QImage::Format_ARGB32);
    printf("%s, %dx%d (%.1f MP), %d thread%s\n", operation, image.width(), image.height(),
           image.width() * double(image.height()) / 1e6, threadBudget(),
           threadBudget() > 1 ? "s" : "");
    if (!strcmp(operation, "write"))
        return timeAllWrites(image, repeat);
    if (!strcmp(operation, "threads"))
        return timeThreads(image, repeat);
    if (!strcmp(operation, "edges")) {
        std::vector<unsigned char> edges(size_t(image.width()) * image.height());
        printf("edge map: %.1f ms\n",
               fastestMs(repeat, [&] { labsobellight2(image, edges.data()); }));
        return 0;
    }
    if (!strcmp(operation, "levels"))
        return timeLevels(image, repeat, argc, argv);
    if (!strcmp(operation, "merge"))
        return timeMerging(image, repeat, argc, argv);
    if (const Effect *effect = findEffect(QString::fromLocal8Bit(operation)))
        return timeEffect(*effect, image, repeat, argc, argv);
    return usage();
}
