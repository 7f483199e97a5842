// INPUT - and OUTPUT -: a picture from standard input, a drawing to standard
// output with nothing else there, errors on stderr as usual.

#include "clitest.h"

#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

using namespace clitest;

class CliPipelineTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void sameBytesAsFiles_data();
    void sameBytesAsFiles();
    void onlyThePictureOnStdout();
    void stdinToFile();
    void fileToStdout();
    void unreadableInput_data();
    void unreadableInput();
    void refusedCommandLines_data();
    void refusedCommandLines();
    void noPictureOnATerminal();

private:
    QTemporaryDir m_dir;
    QByteArray m_png;
    QByteArray m_jpeg;
};

void CliPipelineTest::initTestCase()
{
    QVERIFY(m_dir.isValid());
    QVERIFY(savePicture(makePicture(64, 48, 1), m_dir.filePath(QStringLiteral("in.png"))));
    QVERIFY(savePicture(makePicture(64, 48, 2), m_dir.filePath(QStringLiteral("in.jpg"))));
    m_png = fileBytes(m_dir.filePath(QStringLiteral("in.png")));
    m_jpeg = fileBytes(m_dir.filePath(QStringLiteral("in.jpg")));
}

void CliPipelineTest::sameBytesAsFiles_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("input");
    // The OUTPUT of the file-to-file run.
    QTest::addColumn<QString>("output");
    QTest::newRow("pen png") << QStringList {"pen"} << QStringLiteral("in.png")
                             << QStringLiteral("file.png");
    QTest::newRow("pencil png, from a JPEG")
            << QStringList {"pencil", "--density", "4"} << QStringLiteral("in.jpg")
            << QStringLiteral("file.png");
    QTest::newRow("pen jpg") << QStringList {"pen", "--format", "jpg"} << QStringLiteral("in.png")
                             << QStringLiteral("file.jpg");
    QTest::newRow("pencil jpeg, quality 30")
            << QStringList {"pencil", "--format", "jpeg", "--quality", "30"}
            << QStringLiteral("in.jpg") << QStringLiteral("file.jpg");
}

void CliPipelineTest::sameBytesAsFiles()
{
    QFETCH(QStringList, options);
    QFETCH(QString, input);
    QFETCH(QString, output);
    QStringList fileOptions = options;
    const int format = fileOptions.indexOf(QStringLiteral("--format"));
    if (format >= 0)
        fileOptions.remove(format, 2);
    const RunResult file = runCli(fileOptions + QStringList {input, output}, m_dir.path());
    CLI_EXPECT_EXIT(file, 0);
    const QByteArray expected = fileBytes(m_dir.filePath(output));
    QVERIFY(!expected.isEmpty());
    const RunResult piped = runCliWithInput(options + QStringList {"-", "-"},
                                            fileBytes(m_dir.filePath(input)), m_dir.path());
    CLI_EXPECT_EXIT(piped, 0);
    QCOMPARE(piped.err, QString());
    QVERIFY2(piped.outBytes == expected, "standard output differs from the file");
}

// The progress line, the timings, the report and Qt's warnings all go to
// stderr.
void CliPipelineTest::onlyThePictureOnStdout()
{
    const RunResult file = runCli(
            {QStringLiteral("pencil"), QStringLiteral("in.png"), QStringLiteral("expected.png")},
            m_dir.path());
    CLI_EXPECT_EXIT(file, 0);
    PseudoTerminal terminal;
    QVERIFY(terminal.isOpen());
    const RunResult piped = runCli({QStringLiteral("pencil"), QStringLiteral("--timings"),
                                    QStringLiteral("--report"), QStringLiteral("-"),
                                    QStringLiteral("in.png"), QStringLiteral("-")},
                                   m_dir.path(), terminal.attach());
    CLI_EXPECT_EXIT(piped, 0);
    QVERIFY(piped.outBytes == fileBytes(m_dir.filePath(QStringLiteral("expected.png"))));
    const QByteArray err = terminal.read();
    QVERIFY2(err.contains("in.png: read "), err.constData());
    QVERIFY2(err.contains("\"status\":\"written\""), err.constData());
}

void CliPipelineTest::stdinToFile()
{
    const RunResult result = runCliWithInput(
            {QStringLiteral("pen"), QStringLiteral("-"), QStringLiteral("fromstdin.png")}, m_jpeg,
            m_dir.path());
    CLI_EXPECT_EXIT(result, 0);
    QCOMPARE(result.outBytes, QByteArray());
    CLI_COMPARE_PIXELS(readWorking(m_dir.filePath(QStringLiteral("fromstdin.png"))),
                       corePen(readWorking(m_dir.filePath(QStringLiteral("in.jpg")))));
}

void CliPipelineTest::fileToStdout()
{
    const RunResult result = runCli(
            {QStringLiteral("pen"), QStringLiteral("in.png"), QStringLiteral("-")}, m_dir.path());
    CLI_EXPECT_EXIT(result, 0);
    QImage drawing;
    QVERIFY(drawing.loadFromData(result.outBytes, "PNG"));
    CLI_COMPARE_PIXELS(drawing, corePen(readWorking(m_dir.filePath(QStringLiteral("in.png")))));
}

void CliPipelineTest::unreadableInput_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<QString>("reason");
    QTest::newRow("nothing") << QByteArray() << QStringLiteral("nothing came in");
    QTest::newRow("text") << QByteArray("not a picture\n") << QString();
    QTest::newRow("half a png") << QByteArray() << QString();
}

void CliPipelineTest::unreadableInput()
{
    QFETCH(QByteArray, input);
    QFETCH(QString, reason);
    if (QByteArray(QTest::currentDataTag()) == "half a png")
        input = m_png.left(m_png.size() / 2);
    const RunResult result = runCliWithInput(
            {QStringLiteral("pen"), QStringLiteral("-"), QStringLiteral("-")}, input, m_dir.path());
    CLI_EXPECT_EXIT(result, 1);
    QCOMPARE(result.outBytes, QByteArray());
    QVERIFY2(result.err.contains(QStringLiteral("kestrova-cli: cannot read standard input: ")
                                 + reason),
             qPrintable(result.err));
}

void CliPipelineTest::refusedCommandLines_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("message");
    QTest::newRow("stdin with -o") << QStringList {"pen", "in.png", "-", "-o", "out"}
                                   << QStringLiteral("standard input ('-') takes one OUTPUT");
    QTest::newRow("--format with a file OUTPUT")
            << QStringList {"pen", "--format", "jpg", "-", "out.png"}
            << QStringLiteral("--format applies with -o or OUTPUT - only");
    QTest::newRow("unknown --format for stdout")
            << QStringList {"pen", "--format", "gif", "in.png", "-"}
            << QStringLiteral("--format must be png, jpg, webp or tif, not 'gif'");
}

void CliPipelineTest::refusedCommandLines()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, message);
    const RunResult result = runCliWithInput(arguments, m_png, m_dir.path());
    CLI_EXPECT_EXIT(result, 2);
    QCOMPARE(result.outBytes, QByteArray());
    QVERIFY2(result.err.contains(message), qPrintable(result.err));
    QVERIFY(!QFileInfo::exists(m_dir.filePath(QStringLiteral("out"))));
}

void CliPipelineTest::noPictureOnATerminal()
{
    PseudoTerminal terminal;
    QVERIFY(terminal.isOpen());
    const RunResult result
            = runCli({QStringLiteral("pen"), QStringLiteral("in.png"), QStringLiteral("-")},
                     m_dir.path(), terminal.attach(STDOUT_FILENO));
    CLI_EXPECT_EXIT(result, 2);
    QVERIFY2(result.err.contains(QLatin1String("standard output is a terminal")),
             qPrintable(result.err));
    QCOMPARE(terminal.read(), QByteArray());
}

QTEST_GUILESS_MAIN(CliPipelineTest)
#include "tst_cli_pipeline.moc"
