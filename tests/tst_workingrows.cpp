#include "effect.h"
#include "fixedposter.h"
#include "parallel.h"
#include "testsupport.h"
#include "workingformat.h"

#include <QTest>

#include <algorithm>
#include <cstring>

using namespace testsupport;

// Pictures read a row at a time: the rows converted as they are read are
// the rows of the converted picture, and an effect that reads pictures of
// any format draws exactly what it draws from the converted picture.

namespace {

const QImage::Format RowFormats[]
        = {QImage::Format_Grayscale8, QImage::Format_RGB888, QImage::Format_RGBA8888};

// Noise with every alpha, in `format`.
QImage noise(int width, int height, quint32 seed, QImage::Format format)
{
    return randomPicture(width, height, seed, QImage::Format_ARGB32).convertToFormat(format);
}

// The picture as the effects read a file of the same pixels: a picture
// without alpha is read as RGB32, whose pixels are opaque ARGB32 ones.
QImage convertedAsFile(const QImage &picture)
{
    QImage converted = toWorkingFormat(picture);
    if (!picture.hasAlphaChannel() && picture.format() != QImage::Format_Grayscale8)
        converted.reinterpretAsFormat(QImage::Format_RGB32);
    return converted;
}

struct Drawn
{
    QImage drawing;
    std::vector<int> progress;
};

// Fixed colours for the effects that take them.
QList<PaletteColour> somePalette()
{
    return {PaletteColour::ofRgb(0xFF204060u), PaletteColour::ofRgb(0xFFE0C090u),
            PaletteColour::ofRgb(0xFF808080u), PaletteColour::ofRgb(0xFF10A010u)};
}

Drawn draw(const Effect &effect, const QImage &picture, const QList<PaletteColour> &palette)
{
    ProgressRecorder recorder;
    const Progress progress = recorder.progress();
    QString problem;
    EffectValues values = effect.defaults();
    values.palette = palette;
    Drawn drawn;
    drawn.drawing = makeDrawing(effect, picture, values, progress, progress, &problem);
    drawn.progress = recorder.values;
    return drawn;
}

} // namespace

class TestWorkingRows : public QObject
{
    Q_OBJECT

private slots:
    void rowsOfEveryFormat();
    void workingPicturesAreReadInPlace();
    void effectsOfAnyFormat_data();
    void effectsOfAnyFormat();

private:
    void compareDrawings(const Effect &drawn, const QList<PaletteColour> &palette, quint32 seed,
                         QImage::Format format, QSize size);
};

void TestWorkingRows::rowsOfEveryFormat()
{
    for (int format = QImage::Format_Mono; format < QImage::NImageFormats; ++format) {
        const bool byRows = workingRowFunction(QImage::Format(format)) != nullptr;
        const bool listed
                = std::find(std::begin(RowFormats), std::end(RowFormats), QImage::Format(format))
                != std::end(RowFormats);
        QCOMPARE(byRows, listed);
    }
    for (const QImage::Format format : RowFormats) {
        for (const QSize size : {QSize(1, 1), QSize(3, 7), QSize(517, 33)}) {
            // Rows of a width that leaves padding at the end of each line.
            const QImage picture = noise(size.width(), size.height(), 3, format);
            const QImage expected = picture.convertToFormat(QImage::Format_ARGB32);
            QCOMPARE(readableByRows(picture).constBits(), picture.constBits());
            WorkingRows rows(picture);
            for (int y = 0; y < size.height(); ++y) {
                if (memcmp(rows.row(y), expected.constScanLine(y), size_t(size.width()) * 4))
                    QFAIL(qPrintable(QString("format %1, %2 x %3: row %4 differs")
                                             .arg(format)
                                             .arg(size.width())
                                             .arg(size.height())
                                             .arg(y)));
            }
        }
    }
}

void TestWorkingRows::workingPicturesAreReadInPlace()
{
    for (const QImage::Format format : {QImage::Format_RGB32, QImage::Format_ARGB32}) {
        const QImage picture = noise(40, 9, 5, format);
        QCOMPARE(readableByRows(picture).constBits(), picture.constBits());
        WorkingRows rows(picture);
        for (int y = 0; y < picture.height(); ++y)
            QCOMPARE(static_cast<const void *>(rows.row(y)),
                     static_cast<const void *>(picture.constScanLine(y)));
    }
    // Any other format is converted whole.
    const QImage indexed = noise(40, 9, 5, QImage::Format_Indexed8);
    const QImage readable = readableByRows(indexed);
    QCOMPARE(readable.format(), QImage::Format_ARGB32);
    KESTROVA_COMPARE_PICTURES(readable, indexed.convertToFormat(QImage::Format_ARGB32));
}

void TestWorkingRows::effectsOfAnyFormat_data()
{
    QTest::addColumn<QString>("effect");
    QTest::addColumn<int>("format");
    QTest::addColumn<QSize>("size");
    int flagged = 0;
    for (const Effect &effect : effects()) {
        if (!effect.readsAnyFormat)
            continue;
        ++flagged;
        for (const QImage::Format format : RowFormats) {
            // 331 x 211 is large enough for the poster's table of every
            // RGB value.
            for (const QSize size :
                 {QSize(1, 1), QSize(2, 9), QSize(7, 7), QSize(301, 203), QSize(331, 211)})
                QTest::addRow("%s, format %d, %dx%d", effect.name, int(format), size.width(),
                              size.height())
                        << QString::fromLatin1(effect.name) << int(format) << size;
        }
    }
    // The fast path of the front ends is taken by some effects at least.
    QVERIFY(flagged >= 2);
}

void TestWorkingRows::effectsOfAnyFormat()
{
    QFETCH(QString, effect);
    QFETCH(int, format);
    QFETCH(QSize, size);
    const Effect &drawn = *findEffect(effect);
    QList<QList<PaletteColour>> palettes = {{}};
    if (drawn.paletteColours)
        palettes.append(somePalette());
    for (const QList<PaletteColour> &palette : std::as_const(palettes)) {
        for (const quint32 seed : {1u, 2u})
            compareDrawings(drawn, palette, seed, QImage::Format(format), size);
    }
}

void TestWorkingRows::compareDrawings(const Effect &drawn, const QList<PaletteColour> &palette,
                                      quint32 seed, QImage::Format format, QSize size)
{
    const QImage picture = seed == 1
            ? blockyPicture(size.width(), size.height(), 8).convertToFormat(format)
            : noise(size.width(), size.height(), 8, format);
    for (const int threads : {1, 3}) {
        const ThreadBudget budget(threads);
        const Drawn expected = draw(drawn, convertedAsFile(picture), palette);
        const Drawn actual = draw(drawn, picture, palette);
        QVERIFY(!expected.drawing.isNull());
        // The same pixels in the same format: the format tells a front end
        // whether the drawing has alpha.
        QCOMPARE(actual.drawing.size(), expected.drawing.size());
        QCOMPARE(actual.drawing.format(), expected.drawing.format());
        for (int y = 0; y < size.height(); ++y) {
            if (memcmp(actual.drawing.constScanLine(y), expected.drawing.constScanLine(y),
                       size_t(size.width()) * 4))
                QFAIL(qPrintable(QString("seed %1, %2 threads, %3 palette colours: row %4 "
                                         "differs")
                                         .arg(seed)
                                         .arg(threads)
                                         .arg(palette.size())
                                         .arg(y)));
        }
        QCOMPARE(actual.progress, expected.progress);
    }
}

QTEST_GUILESS_MAIN(TestWorkingRows)
#include "tst_workingrows.moc"
