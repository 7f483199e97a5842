// Every input of the catalogue through the core, as the window and
// kestrova-cli use it: read under the picture limits, then the edge map and
// every effect, at the start settings and at the ends of every slider.

#include "catalogue.h"

#include "coloursketch.h"
#include "edgemap.h"
#include "pencilsketch.h"
#include "pensketch.h"
#include "picturelimits.h"
#include "postersketch.h"
#include "randomsequence.h"
#include "workingformat.h"

#include <QImageReader>
#include <QTest>

#include <optional>
#include <vector>

using namespace catalogue;

Q_DECLARE_METATYPE(catalogue::Input)

class TestBadInputsCore : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void readAndDraw_data();
    void readAndDraw();
    void sizeLimit();

private:
    QTemporaryDir m_dir;
};

namespace {

QImage read(const Input &input, QString *error)
{
    std::optional<AsUnprivileged> user;
    if (input.unprivileged)
        user.emplace();
    QImageReader reader(input.path);
    return readWithinLimits(reader, error);
}

// The effects at one set of slider positions; each result must have the
// picture's size (the colour sketch may make none).
void drawAll(const QImage &picture, const unsigned char *edges, int low, int high)
{
    QCOMPARE(pensketch(picture, edges, {low, high}).size(), picture.size());
    RandomSequence random;
    PencilSettings pencil;
    pencil.density = low < high ? 1 : 10;
    pencil.black = low;
    pencil.white = high;
    pencil.contours.black = high;
    pencil.contours.white = low;
    QCOMPARE(pencilSketch(picture, edges, pencil, random).size(), picture.size());
    PosterSettings poster;
    poster.colours = low < high ? 2 : 30;
    poster.contours.black = low;
    poster.contours.white = high;
    QCOMPARE(posterSketch(picture, edges, poster, random).size(), picture.size());
    const QImage colour = colourSketch(picture, {low < high ? 99 : 0, low < high ? 500 : 0});
    if (!colour.isNull())
        QCOMPARE(colour.width(), picture.width());
}

} // namespace

void TestBadInputsCore::initTestCase()
{
    QVERIFY(m_dir.isValid());
    QVERIFY2(!committedInputs().empty(), "the catalogue tests/data/bad/catalogue.txt is missing");
}

void TestBadInputsCore::readAndDraw_data()
{
    QTest::addColumn<Input>("input");
    std::vector<Input> inputs = committedInputs();
    for (const Input &input : madeInputs(m_dir))
        inputs.push_back(input);
    for (const Input &input : inputs)
        QTest::newRow(qPrintable(input.name)) << input;
}

void TestBadInputsCore::readAndDraw()
{
    QFETCH(Input, input);
    const Expectation expectation = input.expectation;
    QString error;
    const QImage read = ::read(input, &error);
    if (expectation == Expectation::Draws)
        QVERIFY2(!read.isNull(), qPrintable(error));
    if (expectation == Expectation::Refused || expectation == Expectation::TooLarge)
        QVERIFY(read.isNull());
    if (expectation == Expectation::TooLarge)
        QVERIFY2(error.endsWith(QLatin1String("pictures of up to 256 megapixels are drawn")),
                 qPrintable(error));
    if (read.isNull()) {
        QVERIFY(!error.isEmpty());
        return;
    }
    const QImage picture = toWorkingFormat(read);
    QVERIFY(isWorkingFormat(picture.format()));
    std::vector<unsigned char> edges(size_t(picture.width()) * size_t(picture.height()));
    labsobellight2(picture, edges.data());
    drawAll(picture, edges.data(), 150, 255);
    drawAll(picture, edges.data(), 0, 255);
    drawAll(picture, edges.data(), 255, 0);
}

// The limit itself: 256 megapixels pass, one row more does not, and no
// product of two sides overflows.
void TestBadInputsCore::sizeLimit()
{
    QVERIFY(pictureSizeProblem(QSize(16000, 16000)).isEmpty());
    QVERIFY(pictureSizeProblem(QSize(16384, 12288)).isEmpty());
    QVERIFY(pictureSizeProblem(QSize(1, 256000000)).isEmpty());
    QVERIFY(pictureSizeProblem(QSize()).isEmpty());
    QCOMPARE(pictureSizeProblem(QSize(16000, 16001)),
             QStringLiteral("the picture is 16000 x 16001 pixels; pictures of up to 256 "
                            "megapixels are drawn"));
    QVERIFY(!pictureSizeProblem(QSize(65536, 65536)).isEmpty());
    QVERIFY(!pictureSizeProblem(QSize(INT_MAX, INT_MAX)).isEmpty());
    // Four 32-bit floats a pixel, 256 megapixels: 3906.25 MiB.
    QCOMPARE(pictureAllocationLimit(), 3907);
}

QTEST_GUILESS_MAIN(TestBadInputsCore)
#include "tst_badinputs_core.moc"
