// Settings and colours kept in files (--preset, --save-preset, --palette,
// --save-palette) and levels chosen from each picture (--auto-levels): the
// round trips, the refusals with their messages and exit codes, and a
// clip's frames in one palette.

#include "clitest.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

using namespace clitest;

namespace {

const QString Usage = QStringLiteral("\nTry 'kestrova-cli --help' for more information.\n");

// Frame `n` of a clip: one scene, fresh noise, and a square moving across.
QImage clipFrame(int n)
{
    QImage frame = makePicture(80, 60, 5).convertToFormat(QImage::Format_RGB32);
    QRandomGenerator noise(500 + quint32(n));
    for (int y = 0; y < frame.height(); ++y) {
        for (int x = 0; x < frame.width(); ++x) {
            const QRgb c = frame.pixel(x, y);
            const int d = int(noise.bounded(13)) - 6;
            frame.setPixel(x, y,
                           qRgb(qBound(0, qRed(c) + d, 255), qBound(0, qGreen(c) + d, 255),
                                qBound(0, qBlue(c) - d, 255)));
        }
    }
    for (int y = 10; y < 30; ++y)
        for (int x = 6 * n; x < 6 * n + 20 && x < frame.width(); ++x)
            frame.setPixel(x, y, qRgb(20, 60, 220));
    return frame;
}

QSet<QRgb> coloursOf(const QImage &image)
{
    QSet<QRgb> colours;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            colours.insert(image.pixel(x, y) | 0xFF000000u);
    return colours;
}

// The red, green and blue of every colour line of a palette file.
QSet<QRgb> paletteColours(const QByteArray &text)
{
    QSet<QRgb> colours;
    const QList<QByteArray> lines = text.split('\n');
    static const QRegularExpression line(QStringLiteral("^ *([0-9]+) +([0-9]+) +([0-9]+)\t"));
    for (const QByteArray &bytes : lines) {
        const QRegularExpressionMatch match = line.match(QString::fromUtf8(bytes));
        if (match.hasMatch())
            colours.insert(qRgb(match.captured(1).toInt(), match.captured(2).toInt(),
                                match.captured(3).toInt()));
    }
    return colours;
}

// "black 41, white 228" from a --timings line.
QPair<int, int> levelsOf(const QString &timings)
{
    static const QRegularExpression pattern(QStringLiteral(", black ([0-9]+), white ([0-9]+)\n"));
    const QRegularExpressionMatch match = pattern.match(timings);
    if (!match.hasMatch())
        return {-1, -1};
    return {match.captured(1).toInt(), match.captured(2).toInt()};
}

} // namespace

class CliSettingsTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void presetRoundTrip_data();
    void presetRoundTrip();
    void commandLineOverridesPreset();
    void badPresets_data();
    void badPresets();
    void paletteRoundTrip();
    void clipInOnePalette();
    void badPalettes_data();
    void badPalettes();
    void autoLevelsReproduce_data();
    void autoLevelsReproduce();
    void autoLevelsInReport();
    void refusals_data();
    void refusals();

private:
    QString path(const QString &name) const { return m_dir.filePath(name); }
    RunResult run(const QStringList &arguments) { return runCli(arguments, m_dir.path()); }

    QTemporaryDir m_dir;
};

void CliSettingsTest::initTestCase()
{
    QVERIFY(m_dir.isValid());
    QVERIFY(savePicture(makePicture(64, 48, 1), path(QStringLiteral("photo.png"))));
    QImage dark = makePicture(60, 40, 3).convertToFormat(QImage::Format_RGB32);
    for (int y = 0; y < dark.height(); ++y)
        for (int x = 0; x < dark.width(); ++x) {
            const QRgb c = dark.pixel(x, y);
            dark.setPixel(x, y, qRgb(qRed(c) / 5, qGreen(c) / 5, qBlue(c) / 5));
        }
    QVERIFY(savePicture(dark, path(QStringLiteral("dark.png"))));
    QVERIFY(QDir(m_dir.path()).mkpath(QStringLiteral("frames")));
    for (int n = 0; n < 8; ++n)
        QVERIFY(savePicture(clipFrame(n),
                            path(QStringLiteral("frames/%1.png").arg(n, 4, 10, QLatin1Char('0')))));
}

void CliSettingsTest::presetRoundTrip_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::newRow("pen") << QStringList {QStringLiteral("pen"), QStringLiteral("--black"),
                                         QStringLiteral("180")};
    QTest::newRow("pencil") << QStringList {QStringLiteral("pencil"), QStringLiteral("--density"),
                                            QStringLiteral("3"), QStringLiteral("--no-contour"),
                                            QStringLiteral("--auto-levels")};
    QTest::newRow("poster") << QStringList {QStringLiteral("poster"), QStringLiteral("--colors"),
                                            QStringLiteral("5"), QStringLiteral("--contour-black"),
                                            QStringLiteral("120")};
    QTest::newRow("color") << QStringList {QStringLiteral("color"), QStringLiteral("--brush"),
                                           QStringLiteral("100")};
}

// --save-preset, then --preset alone: the same drawing, and saving again
// gives the same bytes.
void CliSettingsTest::presetRoundTrip()
{
    QFETCH(QStringList, options);
    const QString effect = options.first();
    const QString first = effect + QStringLiteral("-1.preset");
    RunResult result
            = run(options
                  + QStringList {QStringLiteral("--save-preset"), first,
                                 QStringLiteral("photo.png"), effect + QStringLiteral("-1.png")});
    CLI_EXPECT_EXIT(result, 0);
    const QByteArray saved = fileBytes(path(first));
    QVERIFY(saved.contains("effect = " + effect.toUtf8() + '\n'));
    result = run({effect, QStringLiteral("--preset"), first, QStringLiteral("--save-preset"),
                  effect + QStringLiteral("-2.preset"), QStringLiteral("photo.png"),
                  effect + QStringLiteral("-2.png")});
    CLI_EXPECT_EXIT(result, 0);
    QCOMPARE(fileBytes(path(effect + QStringLiteral("-2.preset"))), saved);
    CLI_COMPARE_PIXELS(readWorking(path(effect + QStringLiteral("-2.png"))),
                       readWorking(path(effect + QStringLiteral("-1.png"))));
}

void CliSettingsTest::commandLineOverridesPreset()
{
    QVERIFY(writeBytes(path(QStringLiteral("réglages sombres.preset")),
                       "effect = pencil\ndensity = 2\ncontours = on\nauto-levels = on\n"));
    // --density, --no-contour and --black win; --black turns the automatic levels off.
    RunResult result = run({QStringLiteral("pencil"), QStringLiteral("--preset"),
                            QStringLiteral("réglages sombres.preset"), QStringLiteral("--density"),
                            QStringLiteral("7"), QStringLiteral("--no-contour"),
                            QStringLiteral("--black"), QStringLiteral("40"),
                            QStringLiteral("--save-preset"), QStringLiteral("over-saved.preset"),
                            QStringLiteral("photo.png"), QStringLiteral("over.png")});
    CLI_EXPECT_EXIT(result, 0);
    QCOMPARE(fileBytes(path(QStringLiteral("over-saved.preset"))),
             QByteArray("# kestrova-cli settings: kestrova-cli pencil --preset FILE ...\n"
                        "effect = pencil\n"
                        "density = 7\n"
                        "black = 40\n"
                        "white = 180\n"
                        "contour-black = 200\n"
                        "contour-white = 255\n"
                        "contours = off\n"
                        "auto-levels = off\n"));
    EffectValues values = findEffect(QStringLiteral("pencil"))->defaults();
    values.numbers[QStringLiteral("density")] = 7;
    values.numbers[QStringLiteral("black")] = 40;
    values.contours = false;
    CLI_COMPARE_PIXELS(readWorking(path(QStringLiteral("over.png"))),
                       coreDrawing(QStringLiteral("pencil"),
                                   readWorking(path(QStringLiteral("photo.png"))), values));
}

void CliSettingsTest::badPresets_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("message");
    QTest::newRow("out of range") << QByteArray("effect = pencil\n\ndensity = 11\n")
                                  << "--preset 'bad.preset', line 3: 'density' must be a whole "
                                     "number from 1 to 10, not '11'";
    QTest::newRow("syntax") << QByteArray("effect = pencil\ndensity: 3\n")
                            << "--preset 'bad.preset', line 2: expected 'setting = value', not "
                               "'density: 3'";
    QTest::newRow("twice") << QByteArray("effect = pencil\nblack = 3\nblack = 4\n")
                           << "--preset 'bad.preset', line 3: 'black' is given twice (first on "
                              "line 2)";
    QTest::newRow("other effect's") << QByteArray("effect = pencil\ncolors = 3\n")
                                    << "--preset 'bad.preset', line 2: the pencil effect has no "
                                       "setting 'colors'";
    QTest::newRow("no effect") << QByteArray("density = 3\n")
                               << "--preset 'bad.preset': no 'effect = NAME' line (NAME one of "
                                  "pen, pencil, poster, color)";
    QTest::newRow("another effect") << QByteArray("effect = pen\n")
                                    << "--preset 'bad.preset' holds settings of the pen effect, "
                                       "not of pencil";
    QTest::newRow("binary") << QByteArray("\x89PNG\r\n\x1a\n\0\0", 10)
                            << "--preset 'bad.preset', line 1: not UTF-8 text";
}

// A bad settings file is a usage error naming the file, the line and the
// problem; nothing is drawn or saved.
void CliSettingsTest::badPresets()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, message);
    QVERIFY(writeBytes(path(QStringLiteral("bad.preset")), text));
    const RunResult result = run({QStringLiteral("pencil"), QStringLiteral("--preset"),
                                  QStringLiteral("bad.preset"), QStringLiteral("--save-preset"),
                                  QStringLiteral("never.preset"), QStringLiteral("photo.png"),
                                  QStringLiteral("never.png")});
    CLI_EXPECT_EXIT(result, 2);
    QCOMPARE(result.err, QStringLiteral("kestrova-cli: ") + message + Usage);
    QVERIFY(!QFile::exists(path(QStringLiteral("never.png"))));
    QVERIFY(!QFile::exists(path(QStringLiteral("never.preset"))));
}

// --save-palette, then --palette with that file: the same poster, pixel
// for pixel, with and without the contours.
void CliSettingsTest::paletteRoundTrip()
{
    for (const QString &contours :
         {QStringLiteral("--contour-black=200"), QStringLiteral("--no-contour")}) {
        RunResult result
                = run({QStringLiteral("poster"), QStringLiteral("--colors"), QStringLiteral("7"),
                       contours, QStringLiteral("--save-palette"), QStringLiteral("photo.gpl"),
                       QStringLiteral("photo.png"), QStringLiteral("own.png")});
        CLI_EXPECT_EXIT(result, 0);
        const QByteArray palette = fileBytes(path(QStringLiteral("photo.gpl")));
        QVERIFY(palette.startsWith("GIMP Palette\nName: photo\nColumns: 0\n#\n"));
        QCOMPARE(palette.count('\n'), 4 + 7);
        result = run({QStringLiteral("poster"), QStringLiteral("--palette"),
                      QStringLiteral("photo.gpl"), contours, QStringLiteral("photo.png"),
                      QStringLiteral("fixed.png")});
        CLI_EXPECT_EXIT(result, 0);
        const QImage own = readWorking(path(QStringLiteral("own.png")));
        CLI_COMPARE_PIXELS(readWorking(path(QStringLiteral("fixed.png"))), own);
        CLI_COMPARE_PIXELS(
                own,
                coreDrawing(QStringLiteral("poster"),
                            readWorking(path(QStringLiteral("photo.png"))), [&] {
                                EffectValues values
                                        = findEffect(QStringLiteral("poster"))->defaults();
                                values.numbers[QStringLiteral("colors")] = 7;
                                values.contours = contours != QLatin1String("--no-contour");
                                return values;
                            }()));
        if (contours == QLatin1String("--no-contour"))
            QCOMPARE(coloursOf(own), paletteColours(palette));
    }
}

// A palette from the first frame, then every frame with it: each poster
// holds the palette's colours only.
void CliSettingsTest::clipInOnePalette()
{
    RunResult result = run({QStringLiteral("poster"), QStringLiteral("--colors"),
                            QStringLiteral("6"), QStringLiteral("--no-contour"),
                            QStringLiteral("--save-palette"), QStringLiteral("clip.gpl"),
                            QStringLiteral("frames/0000.png"), QStringLiteral("first.png")});
    CLI_EXPECT_EXIT(result, 0);
    const QSet<QRgb> palette = paletteColours(fileBytes(path(QStringLiteral("clip.gpl"))));
    QCOMPARE(palette.size(), 6);
    QStringList frames;
    for (int n = 0; n < 8; ++n)
        frames << QStringLiteral("frames/%1.png").arg(n, 4, 10, QLatin1Char('0'));
    result = run(QStringList {QStringLiteral("poster"), QStringLiteral("--palette"),
                              QStringLiteral("clip.gpl"), QStringLiteral("--no-contour"),
                              QStringLiteral("-j"), QStringLiteral("2")}
                 + frames + QStringList {QStringLiteral("-o"), QStringLiteral("posters")});
    CLI_EXPECT_EXIT(result, 0);
    QSet<QRgb> used;
    for (int n = 0; n < 8; ++n) {
        const QImage poster = readWorking(
                path(QStringLiteral("posters/%1.png").arg(n, 4, 10, QLatin1Char('0'))));
        QCOMPARE(poster.size(), QSize(80, 60));
        const QSet<QRgb> colours = coloursOf(poster);
        QVERIFY2(palette.contains(colours), qPrintable(QStringLiteral("frame %1").arg(n)));
        used.unite(colours);
    }
    QCOMPARE(used, palette);
    CLI_COMPARE_PIXELS(readWorking(path(QStringLiteral("posters/0000.png"))),
                       readWorking(path(QStringLiteral("first.png"))));
}

void CliSettingsTest::badPalettes_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QString>("message");
    QTest::newRow("header") << QByteArray("Palette\n1 2 3\n")
                            << "--palette 'bad.gpl', line 1: not a GIMP palette: the first line "
                               "must be 'GIMP Palette'";
    QTest::newRow("range") << QByteArray("GIMP Palette\n# inks\n1 2 300 blue\n")
                           << "--palette 'bad.gpl', line 3: '300' is not a whole number from 0 "
                              "to 255";
    QTest::newRow("short") << QByteArray("GIMP Palette\n1 2\n")
                           << "--palette 'bad.gpl', line 2: expected a colour: red, green and "
                              "blue from 0 to 255, then a name";
    QTest::newRow("empty") << QByteArray("GIMP Palette\nName: none\n")
                           << "--palette 'bad.gpl': no colours";
}

void CliSettingsTest::badPalettes()
{
    QFETCH(QByteArray, text);
    QFETCH(QString, message);
    QVERIFY(writeBytes(path(QStringLiteral("bad.gpl")), text));
    const RunResult result
            = run({QStringLiteral("poster"), QStringLiteral("--palette"), QStringLiteral("bad.gpl"),
                   QStringLiteral("photo.png"), QStringLiteral("never.png")});
    CLI_EXPECT_EXIT(result, 2);
    QCOMPARE(result.err, QStringLiteral("kestrova-cli: ") + message + Usage);
    QVERIFY(!QFile::exists(path(QStringLiteral("never.png"))));
}

void CliSettingsTest::autoLevelsReproduce_data()
{
    QTest::addColumn<QString>("effect");
    QTest::addColumn<QString>("input");
    QTest::newRow("pen") << QStringLiteral("pen") << QStringLiteral("photo.png");
    QTest::newRow("pen, dark") << QStringLiteral("pen") << QStringLiteral("dark.png");
    QTest::newRow("pencil") << QStringLiteral("pencil") << QStringLiteral("photo.png");
    QTest::newRow("pencil, dark") << QStringLiteral("pencil") << QStringLiteral("dark.png");
}

// The levels --timings reports, passed as plain settings, draw the same
// picture.
void CliSettingsTest::autoLevelsReproduce()
{
    QFETCH(QString, effect);
    QFETCH(QString, input);
    RunResult result = run({effect, QStringLiteral("--auto-levels"), QStringLiteral("--timings"),
                            input, QStringLiteral("auto.png")});
    CLI_EXPECT_EXIT(result, 0);
    const QPair<int, int> levels = levelsOf(result.err);
    QVERIFY2(levels.first >= 0 && levels.first < levels.second, qPrintable(result.err));
    QVERIFY(result.err.startsWith(input + QStringLiteral(": read ")));
    result = run({effect, QStringLiteral("--black"), QString::number(levels.first),
                  QStringLiteral("--white"), QString::number(levels.second), input,
                  QStringLiteral("plain.png")});
    CLI_EXPECT_EXIT(result, 0);
    CLI_COMPARE_PIXELS(readWorking(path(QStringLiteral("auto.png"))),
                       readWorking(path(QStringLiteral("plain.png"))));
    EffectValues values = findEffect(effect)->defaults();
    values.numbers[QStringLiteral("black")] = levels.first;
    values.numbers[QStringLiteral("white")] = levels.second;
    CLI_COMPARE_PIXELS(readWorking(path(QStringLiteral("auto.png"))),
                       coreDrawing(effect, readWorking(path(input)), values));
}

// Each file's own levels in the report, the same as --timings gives.
void CliSettingsTest::autoLevelsInReport()
{
    const RunResult result = run(
            {QStringLiteral("pencil"), QStringLiteral("--auto-levels"), QStringLiteral("--timings"),
             QStringLiteral("--report"), QStringLiteral("levels.json"), QStringLiteral("photo.png"),
             QStringLiteral("dark.png"), QStringLiteral("missing.png"), QStringLiteral("-o"),
             QStringLiteral("levels"), QStringLiteral("-j"), QStringLiteral("1")});
    CLI_EXPECT_EXIT(result, 1);
    const QJsonArray records
            = QJsonDocument::fromJson(fileBytes(path(QStringLiteral("levels.json")))).array();
    QCOMPARE(records.size(), 3);
    const QStringList lines = result.err.split(QLatin1Char('\n'));
    for (int i = 0; i < 2; ++i) {
        const QJsonObject settings = records.at(i).toObject().value("settings").toObject();
        QCOMPARE(settings.value("auto-levels").toBool(), true);
        const QString timings = lines.filter(records.at(i).toObject().value("input").toString()
                                             + QStringLiteral(": read "))
                                        .value(0);
        const QPair<int, int> levels = levelsOf(timings + QLatin1Char('\n'));
        QCOMPARE(settings.value("black").toInt(-1), levels.first);
        QCOMPARE(settings.value("white").toInt(-1), levels.second);
        QVERIFY(levels.first >= 0);
    }
    const QJsonObject missing = records.at(2).toObject().value("settings").toObject();
    QVERIFY(missing.value("black").isNull());
    QVERIFY(missing.value("white").isNull());
    QCOMPARE(missing.value("density").toInt(), 6);
}

void CliSettingsTest::refusals_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("message");
    const QString photo = QStringLiteral("photo.png");
    const QString out = QStringLiteral("refused.png");
    QTest::newRow("auto levels of the poster")
            << QStringList {QStringLiteral("poster"), QStringLiteral("--auto-levels"), photo, out}
            << "the poster effect has no option --auto-levels: it has no tone levels";
    QTest::newRow("auto levels and black")
            << QStringList {QStringLiteral("pen"),
                            QStringLiteral("--auto-levels"),
                            QStringLiteral("--black"),
                            QStringLiteral("3"),
                            photo,
                            out}
            << "--auto-levels chooses --black and --white; give one or the other";
    QTest::newRow("palette of the pen")
            << QStringList {QStringLiteral("pen"), QStringLiteral("--palette"),
                            QStringLiteral("photo.gpl"), photo, out}
            << "the pen effect has no option --palette: only the poster's colours come from a "
               "palette";
    QTest::newRow("palette and colors") << QStringList {QStringLiteral("poster"),
                                                        QStringLiteral("--palette"),
                                                        QStringLiteral("photo.gpl"),
                                                        QStringLiteral("--colors"),
                                                        QStringLiteral("4"),
                                                        photo,
                                                        out}
                                        << "--palette gives the colours; leave --colors out";
    QTest::newRow("missing palette")
            << QStringList {QStringLiteral("poster"), QStringLiteral("--palette"),
                            QStringLiteral("nowhere.gpl"), photo, out}
            << "--palette 'nowhere.gpl': cannot read it: No such file or directory";
    QTest::newRow("palette a folder")
            << QStringList {QStringLiteral("poster"), QStringLiteral("--palette"),
                            QStringLiteral("frames"), photo, out}
            << "--palette 'frames': a folder, not a file";
    QTest::newRow("missing preset")
            << QStringList {QStringLiteral("pen"), QStringLiteral("--preset"),
                            QStringLiteral("nowhere.preset"), photo, out}
            << "--preset 'nowhere.preset': cannot read it: No such file or directory";
    QTest::newRow("save palette of two")
            << QStringList {QStringLiteral("poster"),   QStringLiteral("--save-palette"),
                            QStringLiteral("two.gpl"),  photo,
                            QStringLiteral("dark.png"), QStringLiteral("-o"),
                            QStringLiteral("two")}
            << "--save-palette saves the colours of one picture; give one INPUT";
    QTest::newRow("save palette over the input")
            << QStringList {QStringLiteral("poster"), QStringLiteral("--save-palette"), photo,
                            photo, out}
            << "--save-palette 'photo.png' is also an input; refusing to overwrite it";
    QTest::newRow("save preset over the drawing")
            << QStringList {QStringLiteral("pen"), QStringLiteral("--save-preset"), out, photo, out}
            << "--save-preset 'refused.png' would overwrite the drawing of 'photo.png'";
    QTest::newRow("save preset over the report") << QStringList {QStringLiteral("pen"),
                                                                 QStringLiteral("--save-preset"),
                                                                 QStringLiteral("r.json"),
                                                                 QStringLiteral("--report"),
                                                                 QStringLiteral("r.json"),
                                                                 photo,
                                                                 out}
                                                 << "--save-preset 'r.json' is also the report";
    QTest::newRow("save preset to a folder")
            << QStringList {QStringLiteral("pen"), QStringLiteral("--save-preset"),
                            QStringLiteral("frames"), photo, out}
            << "--save-preset 'frames' is a folder";
    QTest::newRow("save both to one file") << QStringList {QStringLiteral("poster"),
                                                           QStringLiteral("--save-preset"),
                                                           QStringLiteral("same"),
                                                           QStringLiteral("--save-palette"),
                                                           QStringLiteral("same"),
                                                           photo,
                                                           out}
                                           << "--save-preset and --save-palette name the same file";
}

void CliSettingsTest::refusals()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, message);
    QVERIFY(writeBytes(path(QStringLiteral("photo.gpl")), "GIMP Palette\n1 2 3\n"));
    const RunResult result = run(arguments);
    CLI_EXPECT_EXIT(result, 2);
    QCOMPARE(result.err, QStringLiteral("kestrova-cli: ") + message + Usage);
    QVERIFY(!QFile::exists(path(QStringLiteral("refused.png"))));
    QVERIFY(!QFile::exists(path(QStringLiteral("same"))));
    QVERIFY(!QFile::exists(path(QStringLiteral("two"))));
}

QTEST_GUILESS_MAIN(CliSettingsTest)
#include "tst_cli_settings.moc"
