// The files kestrova-cli writes: the same pixels as the core functions give
// in process and as the committed reference drawings, JPEG bytes, batches.

#include "clitest.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace clitest;

Q_DECLARE_METATYPE(EffectValues)

class CliOutputTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void everyEffectIsMappedHere();
    void matchesReference_data();
    void matchesReference();
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

// The drawings below are made by the core functions with records filled in
// the test helpers, apart from the table of effects.
void CliOutputTest::everyEffectIsMappedHere()
{
    for (const Effect &effect : effects())
        QVERIFY2(coreKnows(QLatin1String(effect.name)),
                 qPrintable(QStringLiteral("clitest::coreDrawing() does not know the %1 effect")
                                    .arg(QLatin1String(effect.name))));
}

void CliOutputTest::matchesReference_data()
{
    QTest::addColumn<QString>("effect");
    for (const Effect &effect : effects())
        QTest::newRow(effect.name) << QString::fromLatin1(effect.name);
}

// Each effect at its defaults: the committed golden picture (made by
// kestrova-cli-goldens, see tests/cli/CMakeLists.txt), and what the core
// functions draw in this process.
void CliOutputTest::matchesReference()
{
    QFETCH(QString, effect);
    const QString golden = dataPath(effect + QStringLiteral("-golden.png"));
    QVERIFY2(QFileInfo::exists(golden),
             qPrintable(golden + QStringLiteral(" is missing: run kestrova-cli-goldens")));
    QTemporaryDir dir;
    const QString output = effect + QStringLiteral(".png");
    const QImage drawing
            = drawWithCli(dir, {effect, dataPath(QStringLiteral("input.png")), output}, output);
    CLI_COMPARE_PIXELS(drawing, readWorking(golden));
    CLI_COMPARE_PIXELS(drawing,
                       coreDrawing(effect, readWorking(dataPath(QStringLiteral("input.png")))));
}

void CliOutputTest::optionsReachTheEffect_data()
{
    QTest::addColumn<QString>("effect");
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<EffectValues>("values");
    for (const Effect &effect : effects()) {
        const QString name = QLatin1String(effect.name);
        EffectValues all = effect.defaults();
        QStringList allOptions;
        // Each setting alone, half-way from its default to the farther end of
        // its range, then all of them at once.
        for (const EffectSetting &setting : effect.settings) {
            const int end = setting.defaultValue - setting.minimum
                            > setting.maximum - setting.defaultValue
                    ? setting.minimum
                    : setting.maximum;
            const int value = (setting.defaultValue + end) / 2;
            EffectValues values = effect.defaults();
            values.numbers[QLatin1String(setting.name)] = value;
            all.numbers[QLatin1String(setting.name)] = value;
            const QString option = QStringLiteral("--") + QLatin1String(setting.name);
            QTest::addRow("%s %s", effect.name, setting.name)
                    << name << QStringList {option, QString::number(value)} << values;
            allOptions << option + QLatin1Char('=') + QString::number(value);
        }
        if (effect.contourLayer) {
            EffectValues values = effect.defaults();
            values.contours = false;
            QTest::addRow("%s without contours", effect.name)
                    << name << QStringList {QStringLiteral("--no-contour")} << values;
        }
        QTest::addRow("%s, every setting", effect.name) << name << allOptions << all;
    }
}

// Every option reaches its setting: the tool draws what the core functions
// draw with it, and not what they draw at the defaults.
void CliOutputTest::optionsReachTheEffect()
{
    QFETCH(QString, effect);
    QFETCH(QStringList, options);
    QFETCH(EffectValues, values);
    QTemporaryDir dir;
    const QString input = dir.filePath(QStringLiteral("in.png"));
    QVERIFY(savePicture(makePicture(40, 30, 3), input));
    const QImage drawing = drawWithCli(
            dir, QStringList {effect} + options + QStringList {input, QStringLiteral("out.png")},
            QStringLiteral("out.png"));
    const QImage working = readWorking(input);
    CLI_COMPARE_PIXELS(drawing, coreDrawing(effect, working, values));
    QVERIFY(drawing.convertToFormat(QImage::Format_ARGB32)
            != coreDrawing(effect, working).convertToFormat(QImage::Format_ARGB32));
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
    for (const Effect &effect : effects()) {
        const QString name = QLatin1String(effect.name);
        const QString output = name + QStringLiteral(".png");
        const QImage drawing = drawWithCli(dir, {name, input, output}, output);
        CLI_COMPARE_PIXELS(drawing, coreDrawing(name, readWorking(input)));
    }
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
    // A drawing has the picture's size, or there is none and no file.
    for (const Effect &effect : effects()) {
        const QString name = QLatin1String(effect.name);
        const QString output = name + QStringLiteral(".png");
        const RunResult result = runCli({name, input, output}, dir.path());
        if (coreDrawing(name, readWorking(input)).isNull()) {
            CLI_EXPECT_EXIT(result, 1);
            QVERIFY(!QFileInfo::exists(dir.filePath(output)));
            continue;
        }
        CLI_EXPECT_EXIT(result, 0);
        QCOMPARE(readWorking(dir.filePath(output)).size(), size);
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
