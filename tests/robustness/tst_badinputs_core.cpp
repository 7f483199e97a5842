// Every input of the catalogue through the core, as the window and
// kestrova-cli use it: read under the picture limits, then the edge map and
// every effect of the table, at the start settings and at the ends of every
// slider.

#include "catalogue.h"

#include "edgemap.h"
#include "effect.h"
#include "picturelimits.h"
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

// Every effect with every setting at its default, its least or its
// greatest value, the contour layers on or off, from one random sequence as
// in the window. A drawing has the picture's size (a colour sketch of a
// picture reduced first has its width), or there is none and the effect
// says why.
void drawAll(const QImage &picture, const unsigned char *edges)
{
    enum Ends { Defaults, Least, Greatest };
    RandomSequence random;
    for (const Ends ends : {Defaults, Least, Greatest}) {
        for (const Effect &effect : effects()) {
            EffectValues values = effect.defaults();
            for (const EffectSetting &setting : effect.settings) {
                if (ends != Defaults)
                    values.numbers[QLatin1String(setting.name)]
                            = ends == Least ? setting.minimum : setting.maximum;
            }
            values.contours = ends != Least;
            QString problem;
            const QImage drawing = effect.draw(picture, effect.needsEdges ? edges : nullptr, values,
                                               random, {}, &problem);
            if (drawing.isNull()) {
                QVERIFY2(!problem.isEmpty(), effect.name);
                continue;
            }
            QCOMPARE(drawing.width(), picture.width());
            if (qint64(picture.width()) * picture.height() <= 1000000)
                QCOMPARE(drawing.height(), picture.height());
        }
    }
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
    drawAll(picture, edges.data());
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
