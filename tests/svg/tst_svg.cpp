// The SVG of traced drawings, drawn back by Qt's renderer and by
// rsvg-convert and checked by xmllint: exact along the pixels, without gaps
// when simplified, and with no background showing through when smoothed.

#include "drawingtrace.h"
#include "effect.h"
#include "parallel.h"
#include "regions.h"
#include "svgdocument.h"
#include "svgpath.h"
#include "svgsupport.h"
#include "testsupport.h"
#include "tracesupport.h"

#include <QtTest>

using namespace svgsupport;
using namespace tracesupport;

Q_DECLARE_METATYPE(LabelMap)

namespace {

// No label of the maps has this colour.
constexpr QRgb Background = 0xFFFF00FF;

VectorDrawing traceFills(const LabelMap &map, bool curves)
{
    VectorLayers layers;
    layers.size = QSize(map.width, map.height);
    layers.fills = pictureOf(map);
    VectorSettings settings;
    settings.curves = curves;
    return traceDrawing(layers, settings);
}

void addMaps()
{
    QTest::addColumn<LabelMap>("map");
    for (const auto &[name, map] : awkwardMaps())
        QTest::newRow(qPrintable(name)) << map;
}

// Every pixel of `drawn` that is not its label's colour lies within
// `tolerance` of a boundary and is no gap.
QString firstStray(const QImage &drawn, const LabelMap &map, double tolerance)
{
    const Regions regions = findRegions(map);
    for (int y = 0; y < map.height; ++y) {
        for (int x = 0; x < map.width; ++x) {
            const QRgb got = drawn.pixel(x, y);
            if (got == Background)
                return QStringLiteral("gap at (%1, %2)").arg(x).arg(y);
            if ((got & 0xFFFFFFu) != map.at(x, y)
                && distanceToBoundary(regions, x, y, 2) > tolerance)
                return QStringLiteral("(%1, %2) is %3 from a boundary, #%4 for #%5")
                        .arg(x)
                        .arg(y)
                        .arg(distanceToBoundary(regions, x, y, 3))
                        .arg(got & 0xFFFFFFu, 6, 16)
                        .arg(map.at(x, y), 6, 16);
        }
    }
    return {};
}

} // namespace

class TestSvg : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void exactShapesDrawTheLabels_data() { addMaps(); }
    void exactShapesDrawTheLabels();
    void curvesLeaveNoGap_data() { addMaps(); }
    void curvesLeaveNoGap();
    void noBackgroundShowsThrough_data() { addMaps(); }
    void noBackgroundShowsThrough();
    void inkAtTheThreshold();
    void numbers();
    void document();
    void sameFileOnAnyThreads();
    void effects_data();
    void effects();
};

void TestSvg::initTestCase()
{
    const QString missing = missingPrograms();
    if (!missing.isEmpty())
        QFAIL(qPrintable("missing: " + missing
                         + "; scripts/install-deps.sh --tests installs "
                           "them"));
}

void TestSvg::exactShapesDrawTheLabels()
{
    QFETCH(LabelMap, map);
    const QByteArray svg = svgDocument(traceFills(map, false));
    QCOMPARE(xmllintProblem(svg), QString());
    const QByteArray shapes = withoutBackdrop(svg);
    const QSize size(map.width, map.height);
    QCOMPARE(firstWrongPixel(renderWithQt(shapes, size, Background), map), QString());
    QString error;
    const QImage rsvg = renderWithRsvg(shapes, size, Background, true, &error);
    QVERIFY2(!rsvg.isNull(), qPrintable(error));
    QCOMPARE(firstWrongPixel(rsvg, map), QString());
}

void TestSvg::curvesLeaveNoGap()
{
    QFETCH(LabelMap, map);
    const QByteArray svg = svgDocument(traceFills(map, true));
    QCOMPARE(xmllintProblem(svg), QString());
    const QSize size(map.width, map.height);
    QString error;
    const QImage rsvg = renderWithRsvg(svg, size, Background, true, &error);
    QVERIFY2(!rsvg.isNull(), qPrintable(error));
    QCOMPARE(firstStray(rsvg, map, 1.0), QString());
}

void TestSvg::noBackgroundShowsThrough()
{
    QFETCH(LabelMap, map);
    for (const bool curves : {false, true}) {
        const QByteArray svg = svgDocument(traceFills(map, curves));
        const QSize size(map.width * 3, map.height * 3);
        QString error;
        const QImage onWhite = renderWithRsvg(svg, size, 0xFFFFFFFF, false, &error);
        QVERIFY2(!onWhite.isNull(), qPrintable(error));
        const QImage onBlack = renderWithRsvg(svg, size, 0xFF000000, false, &error);
        QVERIFY2(!onBlack.isNull(), qPrintable(error));
        KESTROVA_COMPARE_PICTURES(onWhite, onBlack);
        KESTROVA_COMPARE_PICTURES(renderWithQt(svg, size, 0xFFFFFFFF),
                                  renderWithQt(svg, size, 0xFF000000));
    }
}

void TestSvg::inkAtTheThreshold()
{
    const QImage grey = testsupport::randomPicture(37, 23, 5)
                                .convertToFormat(QImage::Format_Grayscale8)
                                .convertToFormat(QImage::Format_RGB32);
    for (const int threshold : {1, 128, 200, 256}) {
        VectorLayers layers;
        layers.size = grey.size();
        layers.ink = grey;
        VectorSettings settings;
        settings.curves = false;
        settings.threshold = threshold;
        const QByteArray svg = svgDocument(traceDrawing(layers, settings));
        QCOMPARE(xmllintProblem(svg), QString());
        const QImage drawn = renderWithQt(svg, grey.size(), Background);
        for (int y = 0; y < grey.height(); ++y) {
            for (int x = 0; x < grey.width(); ++x) {
                const QRgb expected = qGray(grey.pixel(x, y)) < threshold ? 0xFF000000 : 0xFFFFFFFF;
                QCOMPARE(drawn.pixel(x, y), expected);
            }
        }
    }
}

void TestSvg::numbers()
{
    const std::vector<std::pair<qint64, const char *>> cases
            = {{0, "0"},   {1, ".5"},  {-1, "-.5"},  {2, "1"},
               {-2, "-1"}, {3, "1.5"}, {-7, "-3.5"}, {20480, "10240"}};
    for (const auto &[halves, text] : cases) {
        QByteArray out;
        appendHalves(out, halves);
        QCOMPARE(out, QByteArray(text));
    }
    // One pixel: a square from the top left corner, counter-clockwise.
    LabelMap map = filledMap(1, 1, 0x336699);
    QByteArray path;
    VectorDrawing drawing = traceFills(map, false);
    appendRegionPath(path, drawing.fills, 0);
    QCOMPARE(path, QByteArray("M1 0h-1v1h1z"));
}

void TestSvg::document()
{
    // A colour sketch traced at half size is scaled up by the view box.
    LabelMap map = checkerboard(4, 2, 2);
    VectorLayers layers;
    layers.size = QSize(8, 4);
    layers.fills = pictureOf(map);
    VectorSettings settings;
    settings.curves = false;
    const VectorDrawing drawing = traceDrawing(layers, settings);
    const QByteArray svg = svgDocument(drawing);
    QVERIFY(svg.startsWith("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<svg "
                           "xmlns=\"http://www.w3.org/2000/svg\" version=\"1.1\" width=\"8\" "
                           "height=\"4\" viewBox=\"0 0 4 2\">\n<rect id=\"backdrop\" width=\"4\" "
                           "height=\"2\" fill=\"#102030\"/>\n"));
    QCOMPARE(svg.count("<path "), 2);
    QVERIFY(svg.contains("<g id=\"colours\">\n<g fill=\"#102030\">\n<path d=\"M"));
    QCOMPARE(xmllintProblem(svg), QString());
    const QImage drawn = renderWithQt(svg, QSize(8, 4), Background);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 8; ++x)
            QCOMPARE(drawn.pixel(x, y) & 0xFFFFFFu, map.at(x / 2, y / 2));
    // At 300 dots per inch the size is given in millimetres; at 96, in pixels.
    const QByteArray printed = svgDocument(drawing, {11811, 11811});
    QVERIFY(printed.contains("width=\"0.68mm\" height=\"0.34mm\""));
    QVERIFY(svgDocument(drawing, {3780, 3780}).contains("width=\"8\" height=\"4\""));
}

void TestSvg::sameFileOnAnyThreads()
{
    const LabelMap map = blobMap(400, 300, 6, 11);
    QByteArray first;
    for (const int threads : {1, 2, 3, 8}) {
        const ThreadBudget budget(threads);
        const QByteArray svg = svgDocument(traceFills(map, true));
        if (threads == 1)
            first = svg;
        else
            QVERIFY2(svg == first, qPrintable(QString::number(threads)));
    }
}

void TestSvg::effects_data()
{
    QTest::addColumn<QString>("effect");
    QTest::addColumn<QString>("file");
    for (const char *effect : {"pen", "poster", "color"}) {
        QTest::addRow("%s, blocks", effect) << effect << QString();
        for (const char *file : {"evening-glow-2560x1600.jpg", "coffee.png"})
            QTest::addRow("%s, %s", effect, file) << effect << QString::fromLatin1(file);
    }
}

// Each effect's layers, exact along the pixels, draw its raster's regions;
// smoothed, they leave no gap and no pixel far from a boundary.
void TestSvg::effects()
{
    QFETCH(QString, effect);
    QFETCH(QString, file);
    QImage picture = testsupport::blockyPicture(160, 120, 3);
    if (!file.isEmpty()) {
        const QString path = testsupport::photo(file);
        if (path.isEmpty())
            QSKIP("the photographs are not beside the repository");
        picture = QImage(path).scaledToWidth(240).convertToFormat(QImage::Format_RGB32);
    }
    const Effect &chosen = *findEffect(effect);
    EffectValues values = chosen.defaults();
    values.contours = false;
    QString problem;
    const VectorLayers layers = makeVectorLayers(chosen, picture, values, {}, {}, &problem);
    QVERIFY2(problem.isEmpty(), qPrintable(problem));
    const QImage raster = layers.fills.isNull() ? layers.ink : layers.fills;
    QCOMPARE(raster.size(), picture.size());
    VectorSettings settings;
    settings.curves = false;
    const QByteArray exact = withoutBackdrop(svgDocument(traceDrawing(layers, settings)));
    QCOMPARE(xmllintProblem(exact), QString());
    const QImage drawn = renderWithQt(exact, picture.size(), Background);
    const LabelMap map = layers.fills.isNull() ? inkLabels(layers.ink, settings.threshold)
                                               : colourLabels(layers.fills);
    for (int y = 0; y < map.height; ++y) {
        for (int x = 0; x < map.width; ++x) {
            const QRgb got = drawn.pixel(x, y);
            if (layers.fills.isNull())
                QCOMPARE(got == 0xFF000000, map.at(x, y) == 1);
            else
                QCOMPARE(got & 0xFFFFFFu, map.at(x, y));
        }
    }
    settings.curves = true;
    const QByteArray smooth = svgDocument(traceDrawing(layers, settings));
    QCOMPARE(xmllintProblem(smooth), QString());
    QString error;
    if (!layers.fills.isNull()) {
        const QImage crisp = renderWithRsvg(smooth, picture.size(), Background, true, &error);
        QVERIFY2(!crisp.isNull(), qPrintable(error));
        QCOMPARE(firstStray(crisp, map, 1.0), QString());
    }
    const QImage onWhite = renderWithRsvg(smooth, picture.size(), 0xFFFFFFFF, false, &error);
    const QImage onBlack = renderWithRsvg(smooth, picture.size(), 0xFF000000, false, &error);
    QVERIFY2(!onWhite.isNull() && !onBlack.isNull(), qPrintable(error));
    KESTROVA_COMPARE_PICTURES(onWhite, onBlack);
    KESTROVA_COMPARE_PICTURES(renderWithQt(smooth, picture.size(), 0xFFFFFFFF),
                              renderWithQt(smooth, picture.size(), 0xFF000000));
}

QTEST_MAIN(TestSvg)
#include "tst_svg.moc"
