// The poster in fixed colours and the GIMP palette files that carry them:
// the fast painting against the literal one, a poster's own colours through
// a file and back to the same poster, a clip's frames in one palette, and
// every kind of malformed file.

#include "colour.h"
#include "fixedposter.h"
#include "gimppalette.h"
#include "poster.h"
#include "postersketch.h"
#include "reference_poster.h"
#include "testsupport.h"

#include <QRandomGenerator>
#include <QSet>
#include <QTest>

using namespace testsupport;

namespace {

QList<reference::PaletteEntry> entries(const QList<PaletteColour> &palette)
{
    QList<reference::PaletteEntry> list;
    for (const PaletteColour &colour : palette)
        list.append({colour.rgb, colour.l, colour.a, colour.b});
    return list;
}

// `count` colours drawn from `seed`, matched by their own Lab values.
QList<PaletteColour> randomPalette(int count, quint32 seed)
{
    QRandomGenerator random(seed);
    QList<PaletteColour> palette;
    for (int i = 0; i < count; ++i)
        palette.append(PaletteColour::ofRgb(random.generate() | 0xFF000000u));
    return palette;
}

// The poster's own colours, as posterSketch() hands them back.
QList<PaletteColour> foundColours(const QImage &picture, int colours, QImage *plain)
{
    PosterSettings settings;
    settings.colours = colours;
    settings.contours.on = false;
    RandomSequence random;
    QList<PaletteColour> found;
    *plain = posterSketch(picture, nullptr, settings, random, {}, nullptr, &found);
    return found;
}

QSet<QRgb> coloursOf(const QImage &image)
{
    QSet<QRgb> colours;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            colours.insert(image.pixel(x, y));
    return colours;
}

// Frame `n` of a clip: one scene, fresh noise on every frame, and a square
// that moves across it.
QImage clipFrame(int n)
{
    QImage frame = blockyPicture(96, 64, 7);
    QRandomGenerator noise(1000 + quint32(n));
    for (int y = 0; y < frame.height(); ++y) {
        for (int x = 0; x < frame.width(); ++x) {
            const QRgb c = frame.pixel(x, y);
            const int d = int(noise.bounded(17)) - 8;
            frame.setPixel(x, y,
                           qRgb(qBound(0, qRed(c) + d, 255), qBound(0, qGreen(c) - d, 255),
                                qBound(0, qBlue(c) + d / 2, 255)));
        }
    }
    for (int y = 20; y < 36; ++y)
        for (int x = 4 + 9 * n; x < 20 + 9 * n && x < frame.width(); ++x)
            frame.setPixel(x, y, qRgb(230, 40, 30));
    return frame;
}

QList<PaletteColour> parsed(const QByteArray &text)
{
    QList<PaletteColour> colours;
    PaletteProblem problem;
    const bool ok = parseGimpPalette(text, &colours, &problem);
    if (!ok)
        qWarning("line %d: %s", problem.line, qPrintable(problem.text));
    return ok ? colours : QList<PaletteColour>();
}

} // namespace

class TestPalette : public QObject
{
    Q_OBJECT

private slots:
    void nearestColour();
    void matchesReference_data();
    void matchesReference();
    void samePosterThroughFile_data();
    void samePosterThroughFile();
    void clipFramesUseOnlyThePalette();
    void contoursGoOverIt();
    void progressAsPoster();
    void emptyPictureAndPalette();
    void readsFile();
    void labFromName();
    void fileRoundTrip();
    void malformed_data();
    void malformed();
};

void TestPalette::nearestColour()
{
    const QList<PaletteColour> palette
            = {PaletteColour::ofLab(50, 0, 0), PaletteColour::ofLab(60, 0, 0),
               PaletteColour::ofLab(50, 0, 0)};
    QCOMPARE(nearestPaletteColour(palette, 54, 0, 0), 0);
    // Equally far from both: the first wins.
    QCOMPARE(nearestPaletteColour(palette, 55, 0, 0), 0);
    QCOMPARE(nearestPaletteColour(palette, 56, 0, 0), 1);
    QCOMPARE(nearestPaletteColour({}, 56, 0, 0), 0);
}

void TestPalette::matchesReference_data()
{
    QTest::addColumn<QImage>("picture");
    QTest::addColumn<int>("colours");
    QTest::newRow("random 40x30, 1 colour") << randomPicture(40, 30, 1) << 1;
    QTest::newRow("random 40x30, 7 colours") << randomPicture(40, 30, 2) << 7;
    QTest::newRow("blocky 120x80, 16 colours") << blockyPicture(120, 80, 3) << 16;
    QTest::newRow("transparent 33x17, 5 colours")
            << randomPicture(33, 17, 4, QImage::Format_ARGB32) << 5;
    QTest::newRow("indexed 20x20, 3 colours")
            << blockyPicture(20, 20, 5).convertToFormat(QImage::Format_Indexed8) << 3;
    QTest::newRow("1 x 50, 4 colours") << randomPicture(1, 50, 6) << 4;
    QTest::newRow("300 x 200, 255 colours") << blockyPicture(300, 200, 8) << 255;
}

void TestPalette::matchesReference()
{
    QFETCH(QImage, picture);
    QFETCH(int, colours);
    const QList<PaletteColour> palette = randomPalette(colours, quint32(colours));
    const QImage fast = fixedPoster(picture, palette);
    const QImage literal = reference::palettePoster(picture, entries(palette));
    QVERIFY(!fast.isNull());
    KESTROVA_COMPARE_PICTURES(fast, literal);
    const QImage::Format expected = picture.format() == QImage::Format_RGB32
            ? QImage::Format_RGB32
            : QImage::Format_ARGB32;
    QCOMPARE(fast.format(), expected);
}

void TestPalette::samePosterThroughFile_data()
{
    QTest::addColumn<QImage>("picture");
    QTest::addColumn<int>("colours");
    QTest::newRow("blocky, 3") << blockyPicture(120, 90, 11) << 3;
    QTest::newRow("blocky, 8") << blockyPicture(160, 100, 12) << 8;
    QTest::newRow("random, 30") << randomPicture(64, 64, 13) << 30;
    QTest::newRow("one colour, 6") << filled(10, 10, qRgb(10, 200, 30)) << 6;
    QTest::newRow("transparent, 5") << randomPicture(50, 40, 14, QImage::Format_ARGB32) << 5;
}

// The colours a poster found, written to a file and read back, paint the
// same picture again, pixel for pixel.
void TestPalette::samePosterThroughFile()
{
    QFETCH(QImage, picture);
    QFETCH(int, colours);
    QImage poster;
    const QList<PaletteColour> found = foundColours(picture, colours, &poster);
    QCOMPARE(found.size(), colours);
    const QList<PaletteColour> read = parsed(gimpPaletteText(found, QStringLiteral("test")));
    QCOMPARE(read.size(), found.size());
    for (int i = 0; i < read.size(); ++i) {
        QCOMPARE(read[i].rgb, found[i].rgb);
        QCOMPARE(read[i].l, found[i].l);
        QCOMPARE(read[i].a, found[i].a);
        QCOMPARE(read[i].b, found[i].b);
    }
    const QImage again = fixedPoster(picture, read);
    QCOMPARE(again.format(), poster.format());
    KESTROVA_COMPARE_PICTURES(again, poster);
    KESTROVA_COMPARE_PICTURES(again, reference::palettePoster(picture, entries(read)));
}

// A poster of every frame with one frame's palette has only the palette's
// colours, however the noise and the moving square change the frame.
void TestPalette::clipFramesUseOnlyThePalette()
{
    QImage first;
    const QList<PaletteColour> palette = foundColours(clipFrame(0), 6, &first);
    QSet<QRgb> allowed;
    for (const PaletteColour &colour : palette)
        allowed.insert(colour.rgb);
    QCOMPARE(allowed.size(), 6);
    QSet<QRgb> used;
    for (int n = 0; n < 8; ++n) {
        PosterSettings settings;
        settings.palette = palette;
        settings.contours.on = false;
        RandomSequence random;
        const QImage frame = clipFrame(n);
        const QImage poster = posterSketch(frame, nullptr, settings, random);
        const QSet<QRgb> colours = coloursOf(poster);
        QVERIFY2(colours.size() >= 2, qPrintable(QString::number(n)));
        QVERIFY2(allowed.contains(colours), qPrintable(QStringLiteral("frame %1").arg(n)));
        used.unite(colours);
        KESTROVA_COMPARE_PICTURES(poster, reference::palettePoster(frame, entries(palette)));
        // The random sequence is left alone: nothing is drawn from it.
        QCOMPARE(random.state(), RandomSequence().state());
    }
    QCOMPARE(used, allowed);
    KESTROVA_COMPARE_PICTURES(fixedPoster(clipFrame(0), palette), first);
}

void TestPalette::contoursGoOverIt()
{
    const QImage picture = blockyPicture(40, 30, 21);
    std::vector<unsigned char> edges(40 * 30);
    for (size_t i = 0; i < edges.size(); ++i)
        edges[i] = (unsigned char)(i * 37 % 256);
    PosterSettings settings;
    settings.palette = randomPalette(4, 22);
    RandomSequence random;
    QImage plain;
    const QImage poster = posterSketch(picture, edges.data(), settings, random, {}, &plain);
    KESTROVA_COMPARE_PICTURES(plain, fixedPoster(picture, settings.palette));
    QImage expected = plain.copy();
    multiplyContours(expected, edges.data(), settings.contours.black, settings.contours.white);
    KESTROVA_COMPARE_PICTURES(poster, expected);
}

void TestPalette::progressAsPoster()
{
    const QImage picture = blockyPicture(57, 20, 31);
    ProgressRecorder own, fixed;
    RandomSequence random;
    Poster(picture, 4, random, own.progress());
    fixedPoster(picture, randomPalette(4, 32), fixed.progress());
    QCOMPARE(fixed.values, own.values);
}

void TestPalette::emptyPictureAndPalette()
{
    const QImage empty(0, 0, QImage::Format_RGB32);
    QVERIFY(fixedPoster(empty, randomPalette(3, 1)).isNull());
    const QImage picture = randomPicture(5, 5, 41);
    KESTROVA_COMPARE_PICTURES(fixedPoster(picture, {}), picture);
}

void TestPalette::readsFile()
{
    const QByteArray text = "\xEF\xBB\xBFGIMP Palette\r\n"
                            "Name: inks\r\n"
                            "Columns: 4\r\n"
                            "# a comment\r\n"
                            "\r\n"
                            "  0   0   0\tblack ink\r\n"
                            "255 255 255 paper white\r\n"
                            "12 34 56\r\n"
                            "\t200\t10\t10   \tred  \r\n";
    const QList<PaletteColour> colours = parsed(text);
    QCOMPARE(colours.size(), 4);
    QCOMPARE(colours[0].rgb, qRgb(0, 0, 0));
    QCOMPARE(colours[0].name, QStringLiteral("black ink"));
    QCOMPARE(colours[1].rgb, qRgb(255, 255, 255));
    QCOMPARE(colours[1].name, QStringLiteral("paper white"));
    QCOMPARE(colours[2].rgb, qRgb(12, 34, 56));
    QCOMPARE(colours[2].name, QString());
    QCOMPARE(colours[3].rgb, qRgb(200, 10, 10));
    QCOMPARE(colours[3].name, QStringLiteral("red"));
    for (const PaletteColour &colour : colours) {
        int l, a, b;
        rgbtolab(colour.rgb, &l, &a, &b);
        QCOMPARE(int(colour.l), l);
        QCOMPARE(int(colour.a), a);
        QCOMPARE(int(colour.b), b);
    }
}

// A name gives the Lab value only when that value paints the line's colour.
void TestPalette::labFromName()
{
    const QRgb painted = lab2rgb(44, 8, -41);
    const QByteArray line = QByteArray::number(qRed(painted)) + ' '
            + QByteArray::number(qGreen(painted)) + ' ' + QByteArray::number(qBlue(painted));
    QList<PaletteColour> colours = parsed("GIMP Palette\n" + line + "\tLab 44 8 -41\n");
    QCOMPARE(colours.size(), 1);
    QCOMPARE(int(colours[0].l), 44);
    QCOMPARE(int(colours[0].a), 8);
    QCOMPARE(int(colours[0].b), -41);
    QCOMPARE(colours[0].rgb, painted);

    // Changed in an editor, the name no longer paints the colour.
    colours = parsed("GIMP Palette\n200 10 10\tLab 44 8 -41\n");
    QCOMPARE(colours.size(), 1);
    QCOMPARE(colours[0], PaletteColour::ofRgb(qRgb(200, 10, 10), QStringLiteral("Lab 44 8 -41")));
    // Out of the range of Lab values, or not quite the form.
    for (const QByteArray &name : {QByteArray("Lab 144 8 -41"), QByteArray("Lab 44 8"),
                                   QByteArray("lab 44 8 -41"), QByteArray("Lab 44 8 -41 x")}) {
        colours = parsed("GIMP Palette\n" + line + '\t' + name + '\n');
        QCOMPARE(colours.size(), 1);
        QCOMPARE(colours[0], PaletteColour::ofRgb(painted, QString::fromLatin1(name)));
    }
}

void TestPalette::fileRoundTrip()
{
    QList<PaletteColour> colours;
    for (int i = 0; i < 255; ++i)
        colours.append(
                PaletteColour::ofLab(i * 100 / 254, (i * 7) % 200 - 100, (i * 13) % 200 - 100));
    const QByteArray text = gimpPaletteText(colours, QStringLiteral("frame\n0001"));
    QVERIFY(text.startsWith("GIMP Palette\nName: frame 0001\nColumns: 0\n#\n"));
    const QList<PaletteColour> read = parsed(text);
    QCOMPARE(read.size(), 255);
    QCOMPARE(gimpPaletteText(read, QStringLiteral("frame 0001")), text);
    for (int i = 0; i < 255; ++i) {
        QCOMPARE(read[i].rgb, colours[i].rgb);
        QCOMPARE(read[i].l, colours[i].l);
    }
    const QByteArray small
            = gimpPaletteText({PaletteColour::ofLab(53, 80, 67)}, QStringLiteral("x"));
    const QRgb red = lab2rgb(53, 80, 67);
    QCOMPARE(small,
             QStringLiteral("GIMP Palette\nName: x\nColumns: 0\n#\n%1 %2 %3\tLab 53 80 67\n")
                     .arg(qRed(red), 3)
                     .arg(qGreen(red), 3)
                     .arg(qBlue(red), 3)
                     .toUtf8());
}

void TestPalette::malformed_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<int>("line");
    QTest::addColumn<QString>("problem");
    const QString colourLine
            = QStringLiteral("expected a colour: red, green and blue from 0 to 255, then a name");
    QTest::newRow("empty") << QByteArray() << 1
                           << "not a GIMP palette: the first line must be 'GIMP Palette'";
    QTest::newRow("other header") << QByteArray("JASC-PAL\n0100\n") << 1
                                  << "not a GIMP palette: the first line must be 'GIMP Palette'";
    QTest::newRow("no colours") << QByteArray("GIMP Palette\nName: x\n# none\n") << 0
                                << "no colours";
    QTest::newRow("two numbers") << QByteArray("GIMP Palette\n1 2 3\n4 5\n") << 3 << colourLine;
    QTest::newRow("a word") << QByteArray("GIMP Palette\nred\n") << 2 << colourLine;
    QTest::newRow("256") << QByteArray("GIMP Palette\n1 256 3 x\n") << 2
                         << "'256' is not a whole number from 0 to 255";
    QTest::newRow("negative") << QByteArray("GIMP Palette\n-1 2 3\n") << 2
                              << "'-1' is not a whole number from 0 to 255";
    QTest::newRow("not a number") << QByteArray("GIMP Palette\n1 2 3a\n") << 2
                                  << "'3a' is not a whole number from 0 to 255";
    QTest::newRow("fraction") << QByteArray("GIMP Palette\n1.5 2 3\n") << 2
                              << "'1.5' is not a whole number from 0 to 255";
    QByteArray many = "GIMP Palette\n";
    for (int i = 0; i < 256; ++i)
        many += "1 2 3\n";
    QTest::newRow("256 colours") << many << 257
                                 << "more than 255 colours, the most a poster tells apart";
    QTest::newRow("zero byte") << QByteArray("GIMP Palette\n1 2 3 a\0b\n", 23) << 2
                               << "a zero byte: not a text file";
    QTest::newRow("not UTF-8") << QByteArray("GIMP Palette\n1 2 3 \xff\xfe\n") << 2
                               << "not UTF-8 text";
    QTest::newRow("cut UTF-8") << QByteArray("GIMP Palette\n1 2 3 caf\xc3\n") << 2
                               << "not UTF-8 text";
    QByteArray large = "GIMP Palette\n";
    large += QByteArray(MaxPaletteFileBytes, '#');
    QTest::newRow("too large")
            << large << 0
            << QStringLiteral("larger than %1 bytes: not a palette").arg(MaxPaletteFileBytes);
}

void TestPalette::malformed()
{
    QFETCH(QByteArray, text);
    QFETCH(int, line);
    QFETCH(QString, problem);
    QList<PaletteColour> colours = {PaletteColour::ofRgb(1)};
    PaletteProblem found;
    QVERIFY(!parseGimpPalette(text, &colours, &found));
    QCOMPARE(found.text, problem);
    QCOMPARE(found.line, line);
}

QTEST_GUILESS_MAIN(TestPalette)
#include "tst_palette.moc"
