// kestrova-cli's PNG files: the smallest colour type for each effect, the
// same pixels at both levels, the same bytes for any number of threads,
// files pngcheck passes, and pen and pencil lines on a transparent layer.

#include "clitest.h"

#include <QPainter>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

using namespace clitest;

class CliPngTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void colourTypes_data();
    void colourTypes();
    void smallLevelKeepsPixels_data();
    void smallLevelKeepsPixels();
    void threadsDoNotChangeBytes();
    void standardOutputIsTheSameFile();
    void transparentOverWhite_data();
    void transparentOverWhite();

private:
    // Runs the tool in the test's folder; the bytes it wrote to `output`.
    QByteArray draw(const QStringList &arguments, const QString &output);
    void expectPngcheckPasses(const QString &path);

    QTemporaryDir m_dir;
    QString m_input;
    QString m_pngcheck;
};

void CliPngTest::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_pngcheck = QStandardPaths::findExecutable(QStringLiteral("pngcheck"));
    if (m_pngcheck.isEmpty())
        QFAIL("pngcheck is missing: install Debian's package pngcheck "
              "(scripts/install-deps.sh --tests)");
    // Wide enough for several bands of compressed rows, and of a width no
    // band or vector divides.
    m_input = m_dir.filePath(QStringLiteral("in.png"));
    QVERIFY(savePicture(makePicture(1237, 911, 3), m_input));
}

QByteArray CliPngTest::draw(const QStringList &arguments, const QString &output)
{
    const RunResult result = runCli(arguments, m_dir.path());
    if (!result.finished || result.exitStatus != QProcess::NormalExit || result.exitCode != 0) {
        qWarning("kestrova-cli failed (%d): %s", result.exitCode, qPrintable(result.err));
        return {};
    }
    expectPngcheckPasses(m_dir.filePath(output));
    return fileBytes(m_dir.filePath(output));
}

void CliPngTest::expectPngcheckPasses(const QString &path)
{
    QProcess check;
    check.start(m_pngcheck, {path});
    QVERIFY(check.waitForFinished(30000));
    QVERIFY2(check.exitStatus() == QProcess::NormalExit && check.exitCode() == 0,
             check.readAllStandardOutput().constData());
}

void CliPngTest::colourTypes_data()
{
    QTest::addColumn<QString>("effect");
    QTest::addColumn<int>("colourType");
    // Grey drawings take one grey channel, the others RGB.
    for (const Effect &effect : effects())
        QTest::newRow(effect.name)
                << QString::fromLatin1(effect.name) << (effect.greyDrawing ? 0 : 2);
}

// The colour type is byte 25 of the file, in the header that comes first.
void CliPngTest::colourTypes()
{
    QFETCH(QString, effect);
    QFETCH(int, colourType);
    const QString output = effect + QStringLiteral(".png");
    const QByteArray bytes = draw({effect, m_input, output}, output);
    QVERIFY(bytes.size() > 26);
    QCOMPARE(int(quint8(bytes.at(25))), colourType);
    CLI_COMPARE_PIXELS(readWorking(m_dir.filePath(output)),
                       coreDrawing(effect, readWorking(m_input)));
}

void CliPngTest::smallLevelKeepsPixels_data()
{
    QTest::addColumn<QString>("effect");
    QTest::newRow("pencil") << QStringLiteral("pencil");
    QTest::newRow("poster") << QStringLiteral("poster");
}

void CliPngTest::smallLevelKeepsPixels()
{
    QFETCH(QString, effect);
    const QByteArray fast = draw({effect, QStringLiteral("--png-level"), QStringLiteral("fast"),
                                  m_input, QStringLiteral("fast.png")},
                                 QStringLiteral("fast.png"));
    const QByteArray small = draw({effect, QStringLiteral("--png-level"), QStringLiteral("small"),
                                   m_input, QStringLiteral("small.png")},
                                  QStringLiteral("small.png"));
    QVERIFY(!fast.isEmpty() && !small.isEmpty());
    QVERIFY(fast != small);
    CLI_COMPARE_PIXELS(readWorking(m_dir.filePath(QStringLiteral("small.png"))),
                       readWorking(m_dir.filePath(QStringLiteral("fast.png"))));
}

void CliPngTest::threadsDoNotChangeBytes()
{
    for (const QString &effect : {QStringLiteral("pencil"), QStringLiteral("poster")}) {
        const QByteArray one = draw({effect, QStringLiteral("--threads"), QStringLiteral("1"),
                                     m_input, QStringLiteral("one.png")},
                                    QStringLiteral("one.png"));
        QVERIFY(!one.isEmpty());
        for (const char *threads : {"2", "3", "8"}) {
            const QByteArray more
                    = draw({effect, QStringLiteral("--threads"), QLatin1String(threads), m_input,
                            QStringLiteral("more.png")},
                           QStringLiteral("more.png"));
            QVERIFY2(more == one, threads);
        }
    }
}

void CliPngTest::standardOutputIsTheSameFile()
{
    const QByteArray file = draw({QStringLiteral("pen"), m_input, QStringLiteral("pen.png")},
                                 QStringLiteral("pen.png"));
    const RunResult result
            = runCli({QStringLiteral("pen"), m_input, QStringLiteral("-")}, m_dir.path());
    CLI_EXPECT_EXIT(result, 0);
    QVERIFY(!file.isEmpty());
    QVERIFY(result.outBytes == file);
}

void CliPngTest::transparentOverWhite_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QImage>("ordinary");
    const QImage working = readWorking(m_input);
    for (const Effect &effect : effects()) {
        if (!effect.transparentLines)
            continue;
        const QString name = QLatin1String(effect.name);
        QTest::newRow(effect.name) << QStringList {name} << coreDrawing(name, working);
        if (effect.setting(QStringLiteral("black")) && effect.setting(QStringLiteral("white"))) {
            EffectValues darker = effect.defaults();
            darker.numbers[QStringLiteral("black")] = 200;
            darker.numbers[QStringLiteral("white")] = 240;
            QTest::addRow("%s black 200", effect.name)
                    << QStringList {name, "--black", "200", "--white", "240"}
                    << coreDrawing(name, working, darker);
        }
        if (effect.contourLayer) {
            EffectValues plain = effect.defaults();
            plain.contours = false;
            QTest::addRow("%s no contour", effect.name)
                    << QStringList {name, "--no-contour"} << coreDrawing(name, working, plain);
        }
    }
}

// Black lines whose opacity is what the grey lacks of white: laid over white
// with QPainter, the layer is the ordinary drawing again, in grey and alpha.
void CliPngTest::transparentOverWhite()
{
    QFETCH(QStringList, options);
    QFETCH(QImage, ordinary);
    const QByteArray bytes = draw(options
                                          + QStringList {QStringLiteral("--transparent"), m_input,
                                                         QStringLiteral("layer.png")},
                                  QStringLiteral("layer.png"));
    QVERIFY(bytes.size() > 26);
    QCOMPARE(int(quint8(bytes.at(25))), 4);
    const QImage layer = readWorking(m_dir.filePath(QStringLiteral("layer.png")));
    QVERIFY(layer.hasAlphaChannel());
    QImage white(layer.size(), QImage::Format_RGB32);
    white.fill(Qt::white);
    {
        QPainter painter(&white);
        painter.drawImage(0, 0, layer);
    }
    CLI_COMPARE_PIXELS(white, ordinary);
}

QTEST_GUILESS_MAIN(CliPngTest)
#include "tst_cli_png.moc"
