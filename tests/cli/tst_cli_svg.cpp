// kestrova-cli writing SVG: the same regions as the PNG, the ink at the
// threshold, --format svg in batches and on standard output, the pencil's
// refusal, and no file left behind by a full disk, an unwritable folder or
// a stop.

#include "clitest.h"
#include "svgsupport.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <sys/resource.h>
#include <unistd.h>

using namespace clitest;
using namespace svgsupport;

namespace {

constexpr QRgb Background = 0xFFFF00FF;

std::function<void()> limitFileSize(rlim_t bytes)
{
    return [bytes] {
        struct rlimit limit;
        limit.rlim_cur = bytes;
        limit.rlim_max = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    };
}

void asUnprivilegedUser()
{
    if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0))
        _exit(99);
}

QStringList exact()
{
    return {QStringLiteral("--svg-curves"), QStringLiteral("none"),
            QStringLiteral("--svg-min-area"), QStringLiteral("0")};
}

} // namespace

class CliSvgTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void exactRegionsAreThePng_data();
    void exactRegionsAreThePng();
    void penInkAtTheThreshold();
    void colourSketchScaledByTheViewBox();
    void fittedPosterShowsNoBackground();
    void batchAndStandardOutput();
    void sameFileOnAnyThreads();
    void pencilRefusesSvg();
    void svgOptionsOutsideSvg();
    void optionsSvgIgnores();
    void namesDryRunAndReport();
    void resolutionFromDpi();
    void autoLevelsAsGiven();
    void savedPaletteAsForPng();
    void fullDiskLeavesNothing();
    void unwritableFolder();
    void stopLeavesNothing();

private:
    QTemporaryDir m_dir;
    QString m_input;
};

void CliSvgTest::initTestCase()
{
    const QString missing = missingPrograms();
    if (!missing.isEmpty())
        QFAIL(qPrintable("missing: " + missing
                         + "; scripts/install-deps.sh --tests installs them"));
    m_input = m_dir.filePath(QStringLiteral("input.png"));
    QVERIFY(savePicture(makePicture(90, 60, 3), m_input));
}

void CliSvgTest::exactRegionsAreThePng_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("poster") << QStringList {QStringLiteral("poster"), QStringLiteral("--colors"),
                                            QStringLiteral("8"), QStringLiteral("--no-contour")};
    QTest::newRow("color") << QStringList {QStringLiteral("color")};
}

// Drawn back at the picture's size without smoothing, every pixel has the
// PNG's colour.
void CliSvgTest::exactRegionsAreThePng()
{
    QFETCH(QStringList, arguments);
    const QString svg = m_dir.filePath(QStringLiteral("exact.svg"));
    const QString png = m_dir.filePath(QStringLiteral("exact.png"));
    CLI_EXPECT_EXIT(runCli(arguments + exact() + QStringList {m_input, svg}), 0);
    CLI_EXPECT_EXIT(runCli(arguments + QStringList {m_input, png}), 0);
    const QByteArray text = fileBytes(svg);
    QCOMPARE(xmllintProblem(text), QString());
    const QImage expected = readWorking(png).convertToFormat(QImage::Format_RGB32);
    QString error;
    const QImage rsvg
            = renderWithRsvg(withoutBackdrop(text), expected.size(), Background, true, &error);
    QVERIFY2(!rsvg.isNull(), qPrintable(error));
    KESTROVA_COMPARE_PICTURES(rsvg, expected);
    KESTROVA_COMPARE_PICTURES(renderWithQt(withoutBackdrop(text), expected.size(), Background),
                              expected);
}

void CliSvgTest::penInkAtTheThreshold()
{
    const QString svg = m_dir.filePath(QStringLiteral("pen.svg"));
    CLI_EXPECT_EXIT(runCli(QStringList {QStringLiteral("pen"), QStringLiteral("--black"),
                                        QStringLiteral("250"), QStringLiteral("--svg-threshold"),
                                        QStringLiteral("100")}
                           + exact() + QStringList {m_input, svg}),
                    0);
    EffectValues values = findEffect(QStringLiteral("pen"))->defaults();
    values.numbers[QStringLiteral("black")] = 250;
    const QImage pen = coreDrawing(QStringLiteral("pen"), readWorking(m_input), values);
    QString error;
    const QImage drawn = renderWithRsvg(fileBytes(svg), pen.size(), Background, true, &error);
    QVERIFY2(!drawn.isNull(), qPrintable(error));
    int ink = 0;
    for (int y = 0; y < pen.height(); ++y) {
        for (int x = 0; x < pen.width(); ++x) {
            const bool dark = qGray(pen.pixel(x, y)) < 100;
            ink += dark;
            QCOMPARE(drawn.pixel(x, y), dark ? 0xFF000000u : 0xFFFFFFFFu);
        }
    }
    QVERIFY(ink > 0);
}

void CliSvgTest::colourSketchScaledByTheViewBox()
{
    const QString input = m_dir.filePath(QStringLiteral("large.png"));
    QVERIFY(savePicture(makePicture(1200, 900, 5), input));
    const QString svg = m_dir.filePath(QStringLiteral("large.svg"));
    CLI_EXPECT_EXIT(runCli({QStringLiteral("color"), input, svg}), 0);
    // 1 080 000 pixels are traced at width trunc(1200 * sqrt(1e6 / 1.08e6)),
    // the height as Qt's scaling rounds it.
    const QByteArray text = fileBytes(svg);
    QVERIFY2(text.contains("width=\"1200\" height=\"900\" viewBox=\"0 0 1154 866\""),
             text.left(300).constData());
    QCOMPARE(xmllintProblem(text), QString());
}

// Smoothed by rsvg-convert over white and over black: the same picture.
void CliSvgTest::fittedPosterShowsNoBackground()
{
    const QString svg = m_dir.filePath(QStringLiteral("fitted.svg"));
    CLI_EXPECT_EXIT(runCli({QStringLiteral("poster"), QStringLiteral("--colors"),
                            QStringLiteral("12"), m_input, svg}),
                    0);
    const QByteArray text = fileBytes(svg);
    QVERIFY(text.contains("<g id=\"ink\" fill=\"#000000\">"));
    QString error;
    const QImage onWhite = renderWithRsvg(text, QSize(180, 120), 0xFFFFFFFF, false, &error);
    const QImage onBlack = renderWithRsvg(text, QSize(180, 120), 0xFF000000, false, &error);
    QVERIFY2(!onWhite.isNull() && !onBlack.isNull(), qPrintable(error));
    KESTROVA_COMPARE_PICTURES(onWhite, onBlack);
}

void CliSvgTest::batchAndStandardOutput()
{
    const QString out = m_dir.filePath(QStringLiteral("batch"));
    CLI_EXPECT_EXIT(runCli({QStringLiteral("pen"), QStringLiteral("--format"),
                            QStringLiteral("svg"), m_input, QStringLiteral("-o"), out}),
                    0);
    QCOMPARE(folderEntries(out), QStringList {QStringLiteral("input.svg")});
    const QByteArray file = fileBytes(out + QStringLiteral("/input.svg"));
    QCOMPARE(xmllintProblem(file), QString());
    const RunResult piped = runCli({QStringLiteral("pen"), QStringLiteral("--format"),
                                    QStringLiteral("svg"), m_input, QStringLiteral("-")});
    CLI_EXPECT_EXIT(piped, 0);
    QVERIFY(piped.outBytes == file);
}

void CliSvgTest::sameFileOnAnyThreads()
{
    QByteArray first;
    for (const char *threads : {"1", "2", "3", "8"}) {
        const QString svg = m_dir.filePath(QStringLiteral("threads-%1.svg").arg(threads));
        CLI_EXPECT_EXIT(runCli({QStringLiteral("poster"), QStringLiteral("--threads"),
                                QString::fromLatin1(threads), m_input, svg}),
                        0);
        if (first.isEmpty())
            first = fileBytes(svg);
        else
            QVERIFY2(fileBytes(svg) == first, threads);
    }
}

void CliSvgTest::pencilRefusesSvg()
{
    const QString svg = m_dir.filePath(QStringLiteral("pencil.svg"));
    const RunResult result = runCli({QStringLiteral("pencil"), m_input, svg});
    CLI_EXPECT_EXIT(result, 2);
    QVERIFY2(result.err.startsWith(QLatin1String(
                     "kestrova-cli: the pencil effect cannot write SVG: its hatching is a texture "
                     "of three-pixel strokes that no outline improves on; write PNG")),
             qPrintable(result.err));
    QVERIFY(!QFileInfo::exists(svg));
}

void CliSvgTest::svgOptionsOutsideSvg()
{
    const RunResult png
            = runCli({QStringLiteral("pen"), QStringLiteral("--svg-threshold"),
                      QStringLiteral("90"), m_input, m_dir.filePath(QStringLiteral("x.png"))});
    CLI_EXPECT_EXIT(png, 0);
    QCOMPARE(png.err,
             QStringLiteral("kestrova-cli: warning: --svg-threshold applies to SVG only, not PNG: "
                            "ignored\n"));
    const RunResult curves
            = runCli({QStringLiteral("pen"), QStringLiteral("--svg-curves"),
                      QStringLiteral("bezier"), m_input, m_dir.filePath(QStringLiteral("x.svg"))});
    CLI_EXPECT_EXIT(curves, 2);
    QVERIFY2(curves.err.contains(QLatin1String("--svg-curves must be fit or none, not 'bezier'")),
             qPrintable(curves.err));
    const RunResult tolerance
            = runCli({QStringLiteral("pen"), QStringLiteral("--svg-tolerance"), QStringLiteral("2"),
                      m_input, m_dir.filePath(QStringLiteral("x.svg"))});
    CLI_EXPECT_EXIT(tolerance, 2);
    QVERIFY2(tolerance.err.contains(QLatin1String("--svg-tolerance must be a number from 0 to 1")),
             qPrintable(tolerance.err));
}

// --quality and --png-level, like the SVG options with PNG, give one
// warning each.
void CliSvgTest::optionsSvgIgnores()
{
    const RunResult result
            = runCli({QStringLiteral("pen"), QStringLiteral("--quality"), QStringLiteral("80"),
                      QStringLiteral("--png-level"), QStringLiteral("small"),
                      QStringLiteral("input.png"), QStringLiteral("ignores.svg")},
                     m_dir.path());
    CLI_EXPECT_EXIT(result, 0);
    QCOMPARE(result.err,
             QStringLiteral("kestrova-cli: warning: --quality does not apply to SVG: ignored\n"
                            "kestrova-cli: warning: --png-level applies to PNG only, not SVG: "
                            "ignored\n"));
}

// A name pattern's {ext} is svg with --format svg; --dry-run lists the
// drawing and writes nothing; the report has its record.
void CliSvgTest::namesDryRunAndReport()
{
    const QStringList arguments = {QStringLiteral("poster"),
                                   QStringLiteral("--name"),
                                   QStringLiteral("{stem}-{effect}.{ext}"),
                                   QStringLiteral("--format"),
                                   QStringLiteral("svg"),
                                   QStringLiteral("input.png"),
                                   QStringLiteral("-o"),
                                   QStringLiteral("named")};
    const RunResult dry
            = runCli(arguments + QStringList {QStringLiteral("--dry-run")}, m_dir.path());
    CLI_EXPECT_EXIT(dry, 0);
    QCOMPARE(dry.out, QStringLiteral("'input.png' -> 'named/input-poster.svg'\n"));
    QVERIFY(!QFileInfo::exists(m_dir.filePath(QStringLiteral("named"))));
    const RunResult run = runCli(
            arguments + QStringList {QStringLiteral("--report"), QStringLiteral("named.json")},
            m_dir.path());
    CLI_EXPECT_EXIT(run, 0);
    QCOMPARE(folderEntries(m_dir.filePath(QStringLiteral("named"))),
             QStringList {QStringLiteral("input-poster.svg")});
    QCOMPARE(xmllintProblem(fileBytes(m_dir.filePath(QStringLiteral("named/input-poster.svg")))),
             QString());
    const QJsonArray records
            = QJsonDocument::fromJson(fileBytes(m_dir.filePath(QStringLiteral("named.json"))))
                      .array();
    QCOMPARE(records.size(), 1);
    const QJsonObject record = records.at(0).toObject();
    QCOMPARE(record.value(QLatin1String("output")).toString(),
             QStringLiteral("named/input-poster.svg"));
    QCOMPARE(record.value(QLatin1String("status")).toString(), QStringLiteral("written"));
}

// --dpi gives the file's size in millimetres: 90 x 60 pixels at 254 dots
// per inch are 9 x 6 mm.
void CliSvgTest::resolutionFromDpi()
{
    const QString svg = m_dir.filePath(QStringLiteral("dpi.svg"));
    CLI_EXPECT_EXIT(runCli({QStringLiteral("pen"), QStringLiteral("--dpi"), QStringLiteral("254"),
                            m_input, svg}),
                    0);
    const QByteArray text = fileBytes(svg);
    QVERIFY2(text.contains("width=\"9.00mm\" height=\"6.00mm\" viewBox=\"0 0 90 60\""),
             text.left(300).constData());
}

// The levels --auto-levels chooses, given as --black and --white, give the
// same file.
void CliSvgTest::autoLevelsAsGiven()
{
    const QString chosen = m_dir.filePath(QStringLiteral("auto.svg"));
    const RunResult result = runCli({QStringLiteral("pen"), QStringLiteral("--auto-levels"),
                                     QStringLiteral("--timings"), m_input, chosen});
    CLI_EXPECT_EXIT(result, 0);
    const QRegularExpressionMatch levels
            = QRegularExpression(QStringLiteral("black (\\d+), white (\\d+)")).match(result.err);
    QVERIFY2(levels.hasMatch(), qPrintable(result.err));
    const QString given = m_dir.filePath(QStringLiteral("given.svg"));
    CLI_EXPECT_EXIT(runCli({QStringLiteral("pen"), QStringLiteral("--black"), levels.captured(1),
                            QStringLiteral("--white"), levels.captured(2), m_input, given}),
                    0);
    QVERIFY(fileBytes(chosen) == fileBytes(given));
}

// --save-palette writes the poster's colours whichever format it goes to.
void CliSvgTest::savedPaletteAsForPng()
{
    for (const char *suffix : {"svg", "png"}) {
        CLI_EXPECT_EXIT(runCli({QStringLiteral("poster"), QStringLiteral("--save-palette"),
                                QStringLiteral("palette-%1.gpl").arg(QLatin1String(suffix)),
                                QStringLiteral("input.png"),
                                QStringLiteral("palette.%1").arg(QLatin1String(suffix))},
                               m_dir.path()),
                        0);
    }
    const QByteArray palette = fileBytes(m_dir.filePath(QStringLiteral("palette-svg.gpl")));
    QVERIFY(palette.startsWith("GIMP Palette\n"));
    QVERIFY(palette == fileBytes(m_dir.filePath(QStringLiteral("palette-png.gpl"))));
}

void CliSvgTest::fullDiskLeavesNothing()
{
    QTemporaryDir folder;
    const RunResult result = runCli({QStringLiteral("poster"), m_input, QStringLiteral("full.svg")},
                                    folder.path(), limitFileSize(100));
    CLI_EXPECT_EXIT(result, 1);
    QVERIFY2(result.err.startsWith(QLatin1String("kestrova-cli: cannot write 'full.svg': ")),
             qPrintable(result.err));
    QCOMPARE(folderEntries(folder.path()), QStringList());
}

void CliSvgTest::unwritableFolder()
{
    QTemporaryDir folder;
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("locked")));
    QFile::setPermissions(folder.filePath(QStringLiteral("locked")),
                          QFileDevice::ReadOwner | QFileDevice::ExeOwner);
    QFile::setPermissions(folder.path(),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner
                                  | QFileDevice::ExeOther | QFileDevice::ReadOther);
    QFile::setPermissions(m_dir.path(),
                          QFile::permissions(m_dir.path()) | QFileDevice::ExeOther
                                  | QFileDevice::ReadOther);
    QFile::setPermissions(m_input, QFile::permissions(m_input) | QFileDevice::ReadOther);
    const RunResult result = runCli(
            {QStringLiteral("pen"), m_input, folder.filePath(QStringLiteral("locked/pen.svg"))}, {},
            asUnprivilegedUser);
    // Refused before the picture is read, as for any format.
    CLI_EXPECT_EXIT(result, 2);
    QVERIFY2(result.err.startsWith(QStringLiteral("kestrova-cli: cannot write '%1': the folder "
                                                  "'%2' is not writable\n")
                                           .arg(folder.filePath(QStringLiteral("locked/pen.svg")),
                                                folder.filePath(QStringLiteral("locked")))),
             qPrintable(result.err));
    QCOMPARE(folderEntries(folder.filePath(QStringLiteral("locked"))), QStringList());
}

// Stopped at any point, the run leaves no file and no temporary file.
void CliSvgTest::stopLeavesNothing()
{
    QTemporaryDir folder;
    const QString input = folder.filePath(QStringLiteral("big.png"));
    QVERIFY(savePicture(makePicture(2400, 1600, 9), input));
    QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("out")));
    for (const int afterMs : {300, 1500}) {
        QProcess process;
        startCli(process,
                 {QStringLiteral("poster"), QStringLiteral("--colors"), QStringLiteral("20"),
                  QStringLiteral("--svg-min-area"), QStringLiteral("0"),
                  QStringLiteral("--threads"), QStringLiteral("1"), input,
                  folder.filePath(QStringLiteral("out/big.svg"))});
        QVERIFY(process.waitForStarted());
        QTest::qWait(afterMs);
        if (process.state() == QProcess::NotRunning)
            QSKIP("the drawing was written before the signal could come");
        ::kill(pid_t(process.processId()), SIGINT);
        QVERIFY(process.waitForFinished(60000));
        QCOMPARE(process.exitCode(), 130);
        QCOMPARE(folderEntries(folder.filePath(QStringLiteral("out"))), QStringList());
    }
}

QTEST_MAIN(CliSvgTest)
#include "tst_cli_svg.moc"
