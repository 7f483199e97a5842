// Command lines kestrova-cli refuses before it reads or writes anything, and
// its help and version.

#include "clitest.h"
#include "kestrova_version.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace clitest;

class CliUsageTest : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void helpListsEffectsAndOptions();
    void helpDocumentsEveryOption();
    void versionIsPrinted();
    void valueOutOfRange_data();
    void valueOutOfRange();
    void unknownEffect();
    void optionOfAnotherEffect_data();
    void optionOfAnotherEffect();
    void unknownOption();
    void missingArguments_data();
    void missingArguments();
    void unknownOutputSuffix_data();
    void unknownOutputSuffix();
    void outputIsAnInput_data();
    void outputIsAnInput();
    void batchOutputIsAnInput();
    void batchNamesCollide();
    void formatWithoutOutputFolder();
    void unknownBatchFormat();
    void transparentRefused_data();
    void transparentRefused();

private:
    // Checks a refused command line: exit status 2, the message on stderr,
    // and the folder exactly as it was.
    void expectUsageError(const QStringList &arguments, const QString &message);

    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_input;
};

void CliUsageTest::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    m_input = m_dir->filePath(QStringLiteral("in.png"));
    QVERIFY(savePicture(makePicture(20, 16), m_input));
}

void CliUsageTest::expectUsageError(const QStringList &arguments, const QString &message)
{
    const QStringList before = folderEntries(m_dir->path());
    const QByteArray input = fileBytes(m_input);
    const RunResult result = runCli(arguments, m_dir->path());
    CLI_EXPECT_EXIT(result, 2);
    QVERIFY2(result.err.contains(message),
             qPrintable(QStringLiteral("'%1' not in: %2").arg(message, result.err)));
    QVERIFY2(result.err.startsWith(QLatin1String("kestrova-cli: ")), qPrintable(result.err));
    QCOMPARE(folderEntries(m_dir->path()), before);
    QCOMPARE(fileBytes(m_input), input);
}

void CliUsageTest::helpListsEffectsAndOptions()
{
    const RunResult result = runCli({QStringLiteral("--help")});
    CLI_EXPECT_EXIT(result, 0);
    QVERIFY(result.out.startsWith(QLatin1String("Usage: kestrova-cli ")));
    const char *expected[] = {"  pen ",
                              "  pencil ",
                              "  poster ",
                              "  color ",
                              "--black <N>",
                              "--density <N>",
                              "--no-contour",
                              "--contour-black <N>",
                              "--colors <N>",
                              "--threshold <N>",
                              "--brush <N>",
                              "--transparent",
                              "--auto-levels",
                              "--palette <FILE>",
                              "--save-palette <FILE>",
                              "0..255 (default 150)",
                              "1..10 (default 6)"};
    for (const char *text : expected)
        QVERIFY2(result.out.contains(QLatin1String(text)), text);
}

// Every option of the tool, each with its description, and what the
// options and arguments mean together.
void CliUsageTest::helpDocumentsEveryOption()
{
    const RunResult result = runCli({QStringLiteral("--help")});
    CLI_EXPECT_EXIT(result, 0);
    const QString options = result.out.section(QLatin1String("\nOptions:\n"), 1)
                                    .section(QLatin1String("\nArguments:\n"), 0, 0);
    const char *documented[] = {"-o, --output-dir <DIR>  Batch mode: write every drawing",
                                "-r, --recursive         Batch mode: draw every picture in the "
                                "folders",
                                "--format <FORMAT>       Format of the drawings with -o or "
                                "OUTPUT -",
                                "--quality <N>           JPEG and WebP quality",
                                "--png-level <LEVEL>     PNG compression: fast, or small",
                                "-j, --jobs <N>          Draw <N> files at once",
                                "--threads <N>           Threads the work on each file may use",
                                "--skip-existing         Leave every drawing that already exists",
                                "--shard <I/N>           Batch mode: draw only the <I>-th of <N> "
                                "parts",
                                "--auto-orient           Turn each picture upright",
                                "--report <FILE>         Write a JSON record of every file",
                                "-q, --quiet             No progress line",
                                "--timings               Print the read, effect and write times",
                                "--name <PATTERN>        Batch mode: name every drawing after",
                                "--size <SIZE>           Scale each photo before drawing it",
                                "--dpi <N>               The resolution every drawing carries",
                                "--dry-run               Print what each input would be drawn "
                                "to",
                                "--preset <FILE>         Take the effect's settings from <FILE>",
                                "--save-preset <FILE>    Write the run's settings to <FILE>"};
    for (const char *text : documented)
        QVERIFY2(options.contains(QLatin1String(text)), text);
    // Only these and Qt's own --help, --help-all and --version.
    QCOMPARE(options.count(QRegularExpression(QStringLiteral("^  -"),
                                              QRegularExpression::MultilineOption)),
             int(std::size(documented)) + 3);
    const char *explained[] = {"-r FOLDER... -o DIR",
                               "FOLDER/trip/beach.jpg is drawn to DIR/trip/beach.<format>",
                               "hidden files and folders left out",
                               "INPUT - reads the picture from standard input",
                               "OUTPUT - writes the drawing to standard output",
                               "Off by default: the window shows pictures as stored",
                               "(- for stderr)",
                               "130 or 143 when stopped by SIGINT or SIGTERM"};
    // Qt wraps the descriptions.
    const QString text = result.out.simplified();
    for (const char *phrase : explained)
        QVERIFY2(text.contains(QLatin1String(phrase)), phrase);
}

void CliUsageTest::versionIsPrinted()
{
    const RunResult result = runCli({QStringLiteral("--version")});
    CLI_EXPECT_EXIT(result, 0);
    // The one version of the project, as CMake defines it.
    QCOMPARE(result.out, QStringLiteral("kestrova-cli " KESTROVA_VERSION "\n"));
}

void CliUsageTest::valueOutOfRange_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("message");
    const QString levels = QStringLiteral("from 0 to 255");
    QTest::newRow("pen black 256") << QStringList {"pen", "--black", "256"} << levels;
    QTest::newRow("pen white -1") << QStringList {"pen", "--white", "-1"} << levels;
    QTest::newRow("pen black text") << QStringList {"pen", "--black", "dark"} << levels;
    QTest::newRow("pen black fraction") << QStringList {"pen", "--black=1.5"} << levels;
    QTest::newRow("pencil density 0")
            << QStringList {"pencil", "--density", "0"} << QStringLiteral("from 1 to 10");
    QTest::newRow("pencil density 11")
            << QStringList {"pencil", "--density", "11"} << QStringLiteral("from 1 to 10");
    QTest::newRow("pencil contour white")
            << QStringList {"pencil", "--contour-white", "300"} << levels;
    QTest::newRow("quality 101") << QStringList {"pen", "--quality", "101"}
                                 << QStringLiteral("from 0 to 100");
    QTest::newRow("jobs 0") << QStringList {"pen", "-j", "0"} << QStringLiteral("at least 1");
    QTest::newRow("threads 0") << QStringList {"pen", "--threads", "0"}
                               << QStringLiteral("--threads must be a whole number from 1 to");
    QTest::newRow("png level") << QStringList {"pen", "--png-level", "best"}
                               << QStringLiteral("--png-level must be fast or small, not 'best'");
}

void CliUsageTest::valueOutOfRange()
{
    QFETCH(QStringList, options);
    QFETCH(QString, message);
    expectUsageError(options + QStringList {m_input, m_dir->filePath(QStringLiteral("out.png"))},
                     message);
}

void CliUsageTest::unknownEffect()
{
    expectUsageError({QStringLiteral("charcoal"), m_input, QStringLiteral("out.png")},
                     QStringLiteral("unknown effect 'charcoal'"));
}

void CliUsageTest::optionOfAnotherEffect_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::newRow("pen density") << QStringList {"pen", "--density", "3"};
    QTest::newRow("pen no contour") << QStringList {"pen", "--no-contour"};
    QTest::newRow("pencil colors") << QStringList {"pencil", "--colors", "4"};
}

void CliUsageTest::optionOfAnotherEffect()
{
    QFETCH(QStringList, options);
    expectUsageError(options + QStringList {m_input, QStringLiteral("out.png")},
                     QStringLiteral("effect has no option --"));
}

void CliUsageTest::unknownOption()
{
    expectUsageError({QStringLiteral("pen"), QStringLiteral("--sharpness"), QStringLiteral("3"),
                      m_input, QStringLiteral("out.png")},
                     QStringLiteral("sharpness"));
}

void CliUsageTest::missingArguments_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("nothing") << QStringList {};
    QTest::newRow("effect only") << QStringList {"pen"};
    QTest::newRow("no output") << QStringList {"pen", "in.png"};
    QTest::newRow("two inputs, no folder") << QStringList {"pen", "in.png", "in.png", "out.png"};
    QTest::newRow("folder, no input") << QStringList {"pen", "-o", "out"};
    QTest::newRow("option without value") << QStringList {"pen", "in.png", "out.png", "--black"};
}

void CliUsageTest::missingArguments()
{
    QFETCH(QStringList, arguments);
    expectUsageError(arguments, QStringLiteral("kestrova-cli: "));
}

void CliUsageTest::unknownOutputSuffix_data()
{
    QTest::addColumn<QString>("output");
    QTest::newRow("bmp") << QStringLiteral("out.bmp");
    QTest::newRow("none") << QStringLiteral("out");
    QTest::newRow("png inside the name") << QStringLiteral("out.png.txt");
}

void CliUsageTest::unknownOutputSuffix()
{
    QFETCH(QString, output);
    expectUsageError({QStringLiteral("pen"), QStringLiteral("in.png"), output},
                     QStringLiteral("'%1'").arg(output));
}

void CliUsageTest::outputIsAnInput_data()
{
    QTest::addColumn<QString>("output");
    QTest::newRow("same name") << QStringLiteral("in.png");
    QTest::newRow("absolute") << QStringLiteral("%1/in.png");
    QTest::newRow("through a dot-dot") << QStringLiteral("sub/../in.png");
    QTest::newRow("through a link") << QStringLiteral("link.png");
}

void CliUsageTest::outputIsAnInput()
{
    QFETCH(QString, output);
    QVERIFY(QDir(m_dir->path()).mkdir(QStringLiteral("sub")));
    QVERIFY(QFile::link(m_input, m_dir->filePath(QStringLiteral("link.png"))));
    if (output.contains(QLatin1String("%1")))
        output = output.arg(m_dir->path());
    expectUsageError({QStringLiteral("pencil"), QStringLiteral("in.png"), output},
                     QStringLiteral("is also an input"));
}

void CliUsageTest::batchOutputIsAnInput()
{
    const QString other = m_dir->filePath(QStringLiteral("other.png"));
    QVERIFY(savePicture(makePicture(8, 8, 1), other));
    expectUsageError({QStringLiteral("pen"), other, QStringLiteral("in.png"), QStringLiteral("-o"),
                      QStringLiteral(".")},
                     QStringLiteral("is also an input"));
}

void CliUsageTest::batchNamesCollide()
{
    QDir dir(m_dir->path());
    QVERIFY(dir.mkdir(QStringLiteral("a")) && dir.mkdir(QStringLiteral("b")));
    QVERIFY(savePicture(makePicture(8, 8, 1), dir.filePath(QStringLiteral("a/x.png"))));
    QVERIFY(savePicture(makePicture(8, 8, 2), dir.filePath(QStringLiteral("b/x.jpg"))));
    expectUsageError(
            {QStringLiteral("pen"), QStringLiteral("in.png"), QStringLiteral("a/x.png"),
             QStringLiteral("b/x.jpg"), QStringLiteral("-o"), QStringLiteral("out")},
            QStringLiteral("'a/x.png' and 'b/x.jpg' would both be written to 'out/x.png'"));
    QVERIFY(!dir.exists(QStringLiteral("out")));
}

void CliUsageTest::formatWithoutOutputFolder()
{
    expectUsageError({QStringLiteral("pen"), QStringLiteral("--format"), QStringLiteral("jpg"),
                      QStringLiteral("in.png"), QStringLiteral("out.png")},
                     QStringLiteral("--format"));
}

void CliUsageTest::unknownBatchFormat()
{
    expectUsageError({QStringLiteral("pen"), QStringLiteral("--format"), QStringLiteral("gif"),
                      QStringLiteral("in.png"), QStringLiteral("-o"), QStringLiteral("out")},
                     QStringLiteral("--format must be png, jpg, webp or tif, not 'gif'"));
}

void CliUsageTest::transparentRefused_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("message");
    const QString colours = QStringLiteral("only the grey drawings of pen and pencil come as "
                                           "lines on a transparent layer");
    const QString jpeg = QStringLiteral("--transparent writes PNG only: JPEG has no transparency");
    QTest::newRow("poster") << QStringList {"poster", "--transparent", "in.png", "out.png"}
                            << QStringLiteral("the poster effect has no option --transparent: ")
                    + colours;
    QTest::newRow("color") << QStringList {"color", "--transparent", "in.png", "out.png"}
                           << QStringLiteral("the color effect has no option --transparent: ")
                    + colours;
    QTest::newRow("jpeg file") << QStringList {"pen", "--transparent", "in.png", "out.jpg"} << jpeg;
    QTest::newRow("jpeg batch") << QStringList {"pencil", "--transparent", "--format",
                                                "jpg",    "in.png",        "-o",
                                                "out"}
                                << jpeg;
    QTest::newRow("webp") << QStringList {"pen", "--transparent", "in.png", "out.webp"}
                          << QStringLiteral("--transparent writes PNG only");
}

void CliUsageTest::transparentRefused()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, message);
    expectUsageError(arguments, message);
}

QTEST_GUILESS_MAIN(CliUsageTest)
#include "tst_cli_usage.moc"
