// The files kestrova-cli writes: the same pixels as the core functions give
// in process and as the committed reference drawings, JPEG bytes, batches.

#include "clitest.h"

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace clitest;

class CliOutputTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void matchesReference_data();
    void matchesReference();
    void posterOptionsReachTheEffect_data();
    void posterOptionsReachTheEffect();
    void colourOptionsReachTheEffect();
    void optionsReachTheEffect_data();
    void optionsReachTheEffect();
    void otherPixelFormats_data();
    void otherPixelFormats();
    void tinyPictures_data();
    void tinyPictures();
    void jpegMatchesQImageSave_data();
    void jpegMatchesQImageSave();
    void batchCreatesFolder();
    void batchJpegNames();
    void jobsDoNotChangeResults();
    void timingsLine();
    void noProgressLineWithoutTerminal();

private:
    // Runs the tool with `arguments` in `dir` and reads the drawing back.
    QImage drawWithCli(const QTemporaryDir &dir, const QStringList &arguments,
                       const QString &output);
};

QImage CliOutputTest::drawWithCli(const QTemporaryDir &dir, const QStringList &arguments,
                                  const QString &output)
{
    const RunResult result = runCli(arguments, dir.path());
    if (!result.finished || result.exitStatus != QProcess::NormalExit || result.exitCode != 0) {
        qWarning("kestrova-cli failed (%d): %s", result.exitCode, qPrintable(result.err));
        return {};
    }
    return readWorking(dir.filePath(output));
}

void CliOutputTest::initTestCase()
{
    // QTest gives new pictures 96 dpi; the tool, like any application without
    // a screen, gives them Qt's default. JPEG files record the resolution.
    QCoreApplication::setAttribute(Qt::AA_Use96Dpi, false);
}

void CliOutputTest::matchesReference_data()
{
    QTest::addColumn<QString>("effect");
    QTest::addColumn<QImage>("core");
    const QImage input = readWorking(dataPath(QStringLiteral("input.png")));
    QTest::newRow("pen") << QStringLiteral("pen") << corePen(input);
    QTest::newRow("pencil") << QStringLiteral("pencil") << corePencil(input);
    QTest::newRow("poster") << QStringLiteral("poster") << corePoster(input);
    QTest::newRow("color") << QStringLiteral("color") << coreColour(input);
}

// Each effect at its defaults: the committed golden picture, and what the
// core functions draw in this process.
void CliOutputTest::matchesReference()
{
    QFETCH(QString, effect);
    QFETCH(QImage, core);
    QTemporaryDir dir;
    const QString output = effect + QStringLiteral(".png");
    const QImage drawing
            = drawWithCli(dir, {effect, dataPath(QStringLiteral("input.png")), output}, output);
    CLI_COMPARE_PIXELS(drawing, readWorking(dataPath(effect + QStringLiteral("-golden.png"))));
    CLI_COMPARE_PIXELS(drawing, core);
}

void CliOutputTest::posterOptionsReachTheEffect_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<int>("colours");
    QTest::addColumn<bool>("contours");
    QTest::addColumn<int>("contourBlack");
    QTest::addColumn<int>("contourWhite");
    QTest::newRow("colours and levels")
            << QStringList {"--colors", "7", "--contour-black", "120", "--contour-white", "230"}
            << 7 << true << 120 << 230;
    QTest::newRow("without contours")
            << QStringList {"--no-contour", "--colors=30"} << 30 << false << 200 << 255;
}

void CliOutputTest::posterOptionsReachTheEffect()
{
    QFETCH(QStringList, options);
    QFETCH(int, colours);
    QFETCH(bool, contours);
    QFETCH(int, contourBlack);
    QFETCH(int, contourWhite);
    QTemporaryDir dir;
    const QString input = dir.filePath(QStringLiteral("in.png"));
    QVERIFY(savePicture(makePicture(40, 30, 3), input));
    const QImage drawing = drawWithCli(
            dir, QStringList {"poster"} + options + QStringList {input, QStringLiteral("out.png")},
            QStringLiteral("out.png"));
    const QImage working = readWorking(input);
    const PosterSettings settings {colours, {contours, contourBlack, contourWhite}};
    CLI_COMPARE_PIXELS(drawing, corePoster(working, settings));
    QVERIFY(drawing.convertToFormat(QImage::Format_ARGB32)
            != corePoster(working).convertToFormat(QImage::Format_ARGB32));
}

void CliOutputTest::colourOptionsReachTheEffect()
{
    QTemporaryDir dir;
    const QString input = dir.filePath(QStringLiteral("in.png"));
    QVERIFY(savePicture(makePicture(40, 30, 3), input));
    const QImage drawing = drawWithCli(
            dir, {"color", "--threshold", "45", "--brush=200", input, QStringLiteral("out.png")},
            QStringLiteral("out.png"));
    const QImage working = readWorking(input);
    CLI_COMPARE_PIXELS(drawing, coreColour(working, 45, 200));
    QVERIFY(drawing.convertToFormat(QImage::Format_ARGB32)
            != coreColour(working).convertToFormat(QImage::Format_ARGB32));
}

void CliOutputTest::optionsReachTheEffect_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<int>("black");
    QTest::addColumn<int>("white");
    QTest::addColumn<int>("density");
    QTest::addColumn<bool>("contours");
    QTest::addColumn<int>("contourBlack");
    QTest::addColumn<int>("contourWhite");
    // density 0 stands for the pen effect.
    QTest::newRow("pen levels") << QStringList {"pen", "--black", "100", "--white=200"} << 100
                                << 200 << 0 << false << 0 << 0;
    QTest::newRow("pencil settings")
            << QStringList {"pencil", "--density",       "3",  "--black",         "40", "--white",
                            "220",    "--contour-black", "90", "--contour-white", "230"}
            << 40 << 220 << 3 << true << 90 << 230;
    QTest::newRow("pencil without contours")
            << QStringList {"pencil", "--no-contour", "--density", "10"} << 60 << 180 << 10 << false
            << 200 << 255;
}

void CliOutputTest::optionsReachTheEffect()
{
    QFETCH(QStringList, options);
    QFETCH(int, black);
    QFETCH(int, white);
    QFETCH(int, density);
    QFETCH(bool, contours);
    QFETCH(int, contourBlack);
    QFETCH(int, contourWhite);
    QTemporaryDir dir;
    const QString input = dir.filePath(QStringLiteral("in.png"));
    QVERIFY(savePicture(makePicture(40, 30, 3), input));
    const QImage drawing
            = drawWithCli(dir, options + QStringList {input, QStringLiteral("out.png")},
                          QStringLiteral("out.png"));
    const QImage working = readWorking(input);
    if (density == 0) {
        CLI_COMPARE_PIXELS(drawing, corePen(working, black, white));
        // And not the defaults: the options made a difference.
        QVERIFY(drawing.convertToFormat(QImage::Format_ARGB32)
                != corePen(working).convertToFormat(QImage::Format_ARGB32));
        return;
    }
    const PencilSettings settings {density, black, white, {contours, contourBlack, contourWhite}};
    CLI_COMPARE_PIXELS(drawing, corePencil(working, settings));
    QVERIFY(drawing.convertToFormat(QImage::Format_ARGB32)
            != corePencil(working).convertToFormat(QImage::Format_ARGB32));
}

void CliOutputTest::otherPixelFormats_data()
{
    QTest::addColumn<int>("format");
    QTest::newRow("grey") << int(QImage::Format_Grayscale8);
    QTest::newRow("indexed") << int(QImage::Format_Indexed8);
    QTest::newRow("with alpha") << int(QImage::Format_ARGB32);
    QTest::newRow("16 bits per channel") << int(QImage::Format_RGBA64);
}

void CliOutputTest::otherPixelFormats()
{
    QFETCH(int, format);
    QTemporaryDir dir;
    const QString input = dir.filePath(QStringLiteral("in.png"));
    QImage picture = makePicture(30, 20, 4).convertToFormat(QImage::Format(format));
    if (picture.hasAlphaChannel())
        picture.setPixel(3, 3, qRgba(10, 20, 30, 40));
    QVERIFY(savePicture(picture, input));
    const QImage drawing
            = drawWithCli(dir, {QStringLiteral("pencil"), input, QStringLiteral("out.png")},
                          QStringLiteral("out.png"));
    CLI_COMPARE_PIXELS(drawing, corePencil(readWorking(input)));
    const QImage poster
            = drawWithCli(dir, {QStringLiteral("poster"), input, QStringLiteral("poster.png")},
                          QStringLiteral("poster.png"));
    CLI_COMPARE_PIXELS(poster, corePoster(readWorking(input)));
}

void CliOutputTest::tinyPictures_data()
{
    QTest::addColumn<QSize>("size");
    QTest::newRow("1x1") << QSize(1, 1);
    QTest::newRow("2x2") << QSize(2, 2);
    QTest::newRow("1x40") << QSize(1, 40);
    QTest::newRow("40x1") << QSize(40, 1);
    QTest::newRow("6x6") << QSize(6, 6);
}

void CliOutputTest::tinyPictures()
{
    QFETCH(QSize, size);
    QTemporaryDir dir;
    const QString input = dir.filePath(QStringLiteral("in.png"));
    QVERIFY(savePicture(makePicture(size.width(), size.height(), 5), input));
    for (const QString &effect :
         {QStringLiteral("pen"), QStringLiteral("pencil"), QStringLiteral("poster")}) {
        const QImage drawing = drawWithCli(dir, {effect, input, effect + QStringLiteral(".png")},
                                           effect + QStringLiteral(".png"));
        QCOMPARE(drawing.size(), size);
    }
}

void CliOutputTest::jpegMatchesQImageSave_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("output");
    QTest::addColumn<int>("quality");
    QTest::newRow("default quality") << QStringList {} << QStringLiteral("out.jpg") << 100;
    QTest::newRow("quality 40") << QStringList {"--quality", "40"} << QStringLiteral("out.jpeg")
                                << 40;
    QTest::newRow("capital suffix") << QStringList {} << QStringLiteral("OUT.JPG") << 100;
}

void CliOutputTest::jpegMatchesQImageSave()
{
    QFETCH(QStringList, options);
    QFETCH(QString, output);
    QFETCH(int, quality);
    QTemporaryDir dir;
    const QString input = dataPath(QStringLiteral("input.png"));
    const RunResult result
            = runCli(QStringList {QStringLiteral("pen")} + options + QStringList {input, output},
                     dir.path());
    CLI_EXPECT_EXIT(result, 0);
    const QString expectedPath = dir.filePath(QStringLiteral("expected.jpg"));
    QVERIFY(corePen(readWorking(input)).save(expectedPath, "jpg", quality));
    const QByteArray written = fileBytes(dir.filePath(output));
    QVERIFY(written.startsWith("\xff\xd8"));
    QVERIFY2(written == fileBytes(expectedPath), "the JPEG files differ");
}

void CliOutputTest::batchCreatesFolder()
{
    QTemporaryDir dir;
    const QString first = dir.filePath(QStringLiteral("first.png"));
    const QString second = dir.filePath(QStringLiteral("second.photo.jpg"));
    QVERIFY(savePicture(makePicture(24, 18, 6), first));
    QVERIFY(savePicture(makePicture(18, 24, 7), second));
    const RunResult result = runCli({QStringLiteral("pen"), first, second, QStringLiteral("-o"),
                                     QStringLiteral("new/deeper")},
                                    dir.path());
    CLI_EXPECT_EXIT(result, 0);
    const QString folder = dir.filePath(QStringLiteral("new/deeper"));
    QCOMPARE(folderEntries(folder),
             QStringList({QStringLiteral("first.png"), QStringLiteral("second.photo.png")}));
    CLI_COMPARE_PIXELS(readWorking(folder + QStringLiteral("/first.png")),
                       corePen(readWorking(first)));
    CLI_COMPARE_PIXELS(readWorking(folder + QStringLiteral("/second.photo.png")),
                       corePen(readWorking(second)));
}

void CliOutputTest::batchJpegNames()
{
    QTemporaryDir dir;
    const QString input = dir.filePath(QStringLiteral("scene.png"));
    QVERIFY(savePicture(makePicture(24, 18, 8), input));
    const RunResult result
            = runCli({QStringLiteral("pencil"), QStringLiteral("--format"), QStringLiteral("jpg"),
                      input, QStringLiteral("-o"), QStringLiteral("out")},
                     dir.path());
    CLI_EXPECT_EXIT(result, 0);
    QCOMPARE(folderEntries(dir.filePath(QStringLiteral("out"))),
             QStringList {QStringLiteral("scene.jpg")});
    const QString expectedPath = dir.filePath(QStringLiteral("expected.jpg"));
    QVERIFY(corePencil(readWorking(input)).save(expectedPath, "jpg", 100));
    QVERIFY(fileBytes(dir.filePath(QStringLiteral("out/scene.jpg"))) == fileBytes(expectedPath));
}

void CliOutputTest::jobsDoNotChangeResults()
{
    QTemporaryDir dir;
    QStringList inputs;
    for (int i = 0; i < 5; ++i) {
        inputs << dir.filePath(QStringLiteral("in%1.png").arg(i));
        QVERIFY(savePicture(makePicture(30 + 7 * i, 40 - 3 * i, i), inputs.last()));
    }
    QStringList reversed(inputs.crbegin(), inputs.crend());
    const struct
    {
        QString folder;
        QStringList arguments;
    } runs[] = {{QStringLiteral("one"), QStringList {"-j", "1"} + inputs},
                {QStringLiteral("two"), QStringList {"-j", "2"} + inputs},
                {QStringLiteral("three"), QStringList {"--jobs=3"} + reversed}};
    for (const auto &run : runs) {
        const RunResult result = runCli(QStringList {QStringLiteral("pencil")} + run.arguments
                                                + QStringList {QStringLiteral("-o"), run.folder},
                                        dir.path());
        CLI_EXPECT_EXIT(result, 0);
    }
    for (int i = 0; i < inputs.size(); ++i) {
        const QString name = QStringLiteral("/in%1.png").arg(i);
        const QByteArray one = fileBytes(dir.filePath(QStringLiteral("one")) + name);
        QVERIFY(!one.isEmpty());
        QVERIFY2(fileBytes(dir.filePath(QStringLiteral("two")) + name) == one, qPrintable(name));
        QVERIFY2(fileBytes(dir.filePath(QStringLiteral("three")) + name) == one, qPrintable(name));
        CLI_COMPARE_PIXELS(readWorking(dir.filePath(QStringLiteral("two")) + name),
                           corePencil(readWorking(inputs.at(i))));
    }
}

void CliOutputTest::timingsLine()
{
    QTemporaryDir dir;
    QVERIFY(savePicture(makePicture(20, 20), dir.filePath(QStringLiteral("a.png"))));
    QVERIFY(savePicture(makePicture(20, 20, 1), dir.filePath(QStringLiteral("b.png"))));
    const RunResult result
            = runCli({QStringLiteral("pen"), QStringLiteral("--timings"), QStringLiteral("a.png"),
                      QStringLiteral("b.png"), QStringLiteral("-o"), QStringLiteral("out")},
                     dir.path());
    CLI_EXPECT_EXIT(result, 0);
    QStringList lines = result.err.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    lines.sort();
    QCOMPARE(lines.size(), 2);
    const QRegularExpression format(
            QStringLiteral("^(.+): read \\d+ ms, effect \\d+ ms, write \\d+ ms$"));
    const QString names[] = {QStringLiteral("a.png"), QStringLiteral("b.png")};
    for (int i = 0; i < 2; ++i) {
        const QRegularExpressionMatch match = format.match(lines.at(i));
        QVERIFY2(match.hasMatch(), qPrintable(lines.at(i)));
        QCOMPARE(match.captured(1), names[i]);
    }
}

void CliOutputTest::noProgressLineWithoutTerminal()
{
    QTemporaryDir dir;
    QVERIFY(savePicture(makePicture(300, 200), dir.filePath(QStringLiteral("a.png"))));
    const RunResult result
            = runCli({QStringLiteral("pencil"), QStringLiteral("a.png"), QStringLiteral("b.png")},
                     dir.path());
    CLI_EXPECT_EXIT(result, 0);
    QCOMPARE(result.err, QString());
    QCOMPARE(result.out, QString());
}

QTEST_GUILESS_MAIN(CliOutputTest)
#include "tst_cli_output.moc"
