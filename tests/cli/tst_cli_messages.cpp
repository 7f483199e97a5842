// The messages that tell a user what to do: suggestions for slips, British
// spellings, one effect's help, refusals before any work, warnings for
// options a format ignores, and --report - as JSON lines.

#include "clitest.h"

#include <QDir>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace clitest;

class CliMessagesTest : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void suggestions_data();
    void suggestions();
    void britishSpellings();
    void effectHelp_data();
    void effectHelp();
    void secondEffectRefused();
    void fileNamedLikeEffectIsAnInput();
    void outputFoldersCheckedFirst_data();
    void outputFoldersCheckedFirst();
    void failedRunLeavesNoFolder();
    void optionsTheFormatIgnores_data();
    void optionsTheFormatIgnores();
    void reportOnStderrIsJsonLines();

private:
    QString path(const QString &name) const { return m_dir->filePath(name); }
    QStringList tree() const;
    void expectUsageError(const QStringList &arguments, const QString &message);

    std::unique_ptr<QTemporaryDir> m_dir;
};

QStringList CliMessagesTest::tree() const
{
    return folderTree(m_dir->path());
}

void CliMessagesTest::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    QVERIFY(savePicture(makePicture(20, 16, 1), path("in.png")));
    QVERIFY(writeBytes(path("notes.txt"), "not a folder"));
}

void CliMessagesTest::expectUsageError(const QStringList &arguments, const QString &message)
{
    const QStringList before = tree();
    const RunResult result = runCli(arguments, m_dir->path());
    CLI_EXPECT_EXIT(result, 2);
    QCOMPARE(result.err,
             QStringLiteral("kestrova-cli: %1\nTry 'kestrova-cli --help' for more information.\n")
                     .arg(message));
    QCOMPARE(tree(), before);
}

void CliMessagesTest::suggestions_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("message");
    QTest::newRow("option") << QStringList {"pen", "--blak", "9", "in.png", "out.png"}
                            << "unknown option '--blak' (did you mean --black?)";
    QTest::newRow("letter left out") << QStringList {"poster", "--colrs", "9", "in.png", "out.png"}
                                     << "unknown option '--colrs' (did you mean --colors?)";
    QTest::newRow("general option") << QStringList {"pen", "--skip-exisitng", "in.png", "-o", "d"}
                                    << "unknown option '--skip-exisitng' (did you mean "
                                       "--skip-existing?)";
    QTest::newRow("setting of a poster")
            << QStringList {"poster", "--contour-blakc", "9", "in.png", "out.png"}
            << "unknown option '--contour-blakc' (did you mean --contour-black?)";
    QTest::newRow("far from all") << QStringList {"pen", "--sharpness", "3", "in.png", "out.png"}
                                  << "unknown option '--sharpness'";
    QTest::newRow("effect") << QStringList {"pne", "in.png", "out.png"}
                            << "unknown effect 'pne' (did you mean pen?)";
    QTest::newRow("effect, one letter off") << QStringList {"pencel", "in.png", "out.png"}
                                            << "unknown effect 'pencel' (did you mean pencil?)";
    QTest::newRow("no effect close")
            << QStringList {"charcoal", "in.png", "out.png"}
            << "unknown effect 'charcoal' (choose pen, pencil, poster, color)";
}

void CliMessagesTest::suggestions()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, message);
    expectUsageError(arguments, message);
}

void CliMessagesTest::britishSpellings()
{
    RunResult result = runCli({"poster", "--colors", "5", "in.png", "us.png"}, m_dir->path());
    CLI_EXPECT_EXIT(result, 0);
    result = runCli({"poster", "--colours", "5", "in.png", "uk.png"}, m_dir->path());
    CLI_EXPECT_EXIT(result, 0);
    QCOMPARE(fileBytes(path("uk.png")), fileBytes(path("us.png")));
    result = runCli({"colour", "in.png", "colour.png"}, m_dir->path());
    CLI_EXPECT_EXIT(result, 0);
    CLI_COMPARE_PIXELS(readWorking(path("colour.png")),
                       coreDrawing("color", readWorking(path("in.png"))));
    expectUsageError({"pencil", "--colours", "5", "in.png", "out.png"},
                     "the pencil effect has no option --colors");
}

void CliMessagesTest::effectHelp_data()
{
    QTest::addColumn<QString>("effect");
    QTest::addColumn<QString>("text");
    QTest::newRow("pen") << "pen"
                         << "Usage: kestrova-cli pen [options] INPUT OUTPUT\n"
                            "       kestrova-cli pen [options] INPUT... -o DIR\n"
                            "\n"
                            "pen: %1\n"
                            "\n"
                            "Settings:\n"
                            "      --black <N>            black level, 0..255 (default %2)\n"
                            "      --white <N>            white level, 0..255 (default %3)\n"
                            "      --transparent          black lines on a transparent layer "
                            "(PNG only)\n"
                            "      --auto-levels          choose the black and white levels "
                            "from each picture\n"
                            "      SVG: the ink as black shapes\n"
                            "\n"
                            "The options for every effect: kestrova-cli --help\n";
}

void CliMessagesTest::effectHelp()
{
    QFETCH(QString, effect);
    QFETCH(QString, text);
    const Effect *pen = findEffect(effect);
    QVERIFY(pen);
    const EffectValues defaults = pen->defaults();
    const QString expected = text.arg(QLatin1String(pen->description))
                                     .arg(defaults.numbers.value(QStringLiteral("black")))
                                     .arg(defaults.numbers.value(QStringLiteral("white")));
    for (const QStringList &arguments :
         {QStringList {effect, "--help"}, QStringList {"--help", effect, "in.png"}}) {
        const RunResult result = runCli(arguments, m_dir->path());
        CLI_EXPECT_EXIT(result, 0);
        QCOMPARE(result.out, expected);
        QCOMPARE(result.err, QString());
    }
    // Every effect has its own, with each setting's range.
    for (const Effect &each : effects()) {
        const RunResult result = runCli({QLatin1String(each.name), "-h"}, m_dir->path());
        CLI_EXPECT_EXIT(result, 0);
        for (const EffectSetting &setting : each.settings)
            QVERIFY(result.out.contains(
                    QStringLiteral("--%1 <N>").arg(QLatin1String(setting.name))));
        QVERIFY(result.out.contains(QLatin1String(each.description)));
    }
}

void CliMessagesTest::secondEffectRefused()
{
    expectUsageError({"pen", "pencil", "in.png", "-o", "d"},
                     "'pencil' is an effect, not a file: a run draws one effect; run "
                     "kestrova-cli once for each");
    expectUsageError({"pen", "in.png", "poster"},
                     "'poster' is an effect, not a file: a run draws one effect; run "
                     "kestrova-cli once for each");
}

// A photo may be called "pen" after all.
void CliMessagesTest::fileNamedLikeEffectIsAnInput()
{
    QVERIFY(QFile::copy(path("in.png"), path("pencil")));
    const RunResult result = runCli({"pen", "pencil", "in.png", "-o", "d"}, m_dir->path());
    CLI_EXPECT_EXIT(result, 0);
    QCOMPARE(QDir(path("d")).entryList(QDir::Files), QStringList({"in.png", "pencil.png"}));
}

void CliMessagesTest::outputFoldersCheckedFirst_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("message");
    QTest::newRow("no folder") << QStringList {"pen", "in.png", "nodir/out.png"}
                               << "cannot write 'nodir/out.png': the folder 'nodir' does not "
                                  "exist";
    QTest::newRow("a file as folder")
            << QStringList {"pen", "in.png", "notes.txt/out.png"}
            << "cannot write 'notes.txt/out.png': 'notes.txt' is not a folder";
    QTest::newRow("-o names a file") << QStringList {"pen", "in.png", "-o", "notes.txt"}
                                     << "cannot write 'notes.txt/in.png': 'notes.txt' is not a "
                                        "folder";
    QTest::newRow("-o below a file")
            << QStringList {"pen", "in.png", "-o", "notes.txt/a/b"}
            << "cannot write 'notes.txt/a/b/in.png': 'notes.txt' is not a folder";
    QTest::newRow("output is a folder")
            << QStringList {"pen", "in.png", "sub.png"} << "cannot write 'sub.png': it is a folder";
}

void CliMessagesTest::outputFoldersCheckedFirst()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, message);
    QVERIFY(QDir(m_dir->path()).mkdir("sub.png"));
    expectUsageError(arguments, message);
}

// A run that draws nothing makes no folder.
void CliMessagesTest::failedRunLeavesNoFolder()
{
    const QStringList before = tree();
    const RunResult result = runCli({"pen", "holiday", "-o", "e1/deeper"}, m_dir->path());
    CLI_EXPECT_EXIT(result, 1);
    QCOMPARE(result.err, QStringLiteral("kestrova-cli: cannot read 'holiday': File not found\n"));
    QCOMPARE(tree(), before);
}

void CliMessagesTest::optionsTheFormatIgnores_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("warnings");
    QTest::newRow("quality with PNG")
            << QStringList {"--quality", "80", "in.png", "out.png"}
            << "kestrova-cli: warning: --quality does not apply to PNG: ignored\n";
    QTest::newRow("png-level with JPEG")
            << QStringList {"--png-level", "small", "--quality", "90", "in.png", "out.jpg"}
            << "kestrova-cli: warning: --png-level applies to PNG only, not JPEG: ignored\n";
    QTest::newRow("both, batch")
            << QStringList {"--png-level", "small",  "--quality", "9", "--format",
                            "png",         "in.png", "-o",        "d"}
            << "kestrova-cli: warning: --quality does not apply to PNG: ignored\n";
    QTest::newRow("each where it applies")
            << QStringList {"--quality", "90", "in.png", "out.jpeg"} << "";
}

void CliMessagesTest::optionsTheFormatIgnores()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, warnings);
    const RunResult result = runCli(QStringList {"pen"} + arguments, m_dir->path());
    CLI_EXPECT_EXIT(result, 0);
    QCOMPARE(result.err, warnings);
}

// Every line on stderr is JSON, the failures' messages included.
void CliMessagesTest::reportOnStderrIsJsonLines()
{
    QVERIFY(writeBytes(path("broken.png"), "not a picture"));
    const RunResult result = runCli({"pen", "--report", "-", "-j", "1", "--quality", "5", "in.png",
                                     "broken.png", "missing.png", "-o", "d"},
                                    m_dir->path());
    CLI_EXPECT_EXIT(result, 1);
    const QStringList lines = result.err.split(QLatin1Char('\n'));
    QCOMPARE(lines.last(), QString());
    QStringList statuses;
    QStringList messages;
    for (const QString &line : lines.mid(0, lines.size() - 1)) {
        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(line.toUtf8(), &error);
        QVERIFY2(error.error == QJsonParseError::NoError && document.isObject(), qPrintable(line));
        const QJsonObject object = document.object();
        if (object.contains(QLatin1String("message")))
            messages << object.value(QLatin1String("message")).toString();
        else
            statuses << object.value(QLatin1String("input")).toString() + QLatin1Char(' ')
                            + object.value(QLatin1String("status")).toString();
    }
    QCOMPARE(statuses, QStringList({"in.png written", "broken.png failed", "missing.png failed"}));
    QCOMPARE(messages.size(), 3);
    QCOMPARE(messages.at(0),
             QStringLiteral("kestrova-cli: warning: --quality does not apply to PNG: ignored"));
    QVERIFY(messages.at(1).startsWith(QLatin1String("kestrova-cli: cannot read 'broken.png'")));
    QCOMPARE(messages.at(2),
             QStringLiteral("kestrova-cli: cannot read 'missing.png': File not "
                            "found"));
}

QTEST_GUILESS_MAIN(CliMessagesTest)
#include "tst_cli_messages.moc"
