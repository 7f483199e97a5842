// --name: the drawings' names from a pattern, beside the photos or under -o,
// with every check of a batch made on the names the pattern gives.

#include "clitest.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace clitest;

class CliNamesTest : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void besideThePhotos();
    void underOutputFolder();
    void suffixInPatternChoosesFormat();
    void penAndPencilInOneFolder();
    void skipExistingUsesFinalNames();
    void reportNamesFinalFiles();
    void twoInputsGiveOneName();
    void patternWouldOverwriteInput();
    void badPatterns_data();
    void badPatterns();
    void recursiveOrStdinNeedFolder();
    void dryRunWritesNothing();
    void quietShortOption();

private:
    QString path(const QString &name) const { return m_dir->filePath(name); }
    QStringList tree() const;
    void expectRefusal(const QStringList &arguments, const QString &message);
    // Runs the tool in the test's folder and expects exit status 0.
    RunResult runOk(const QStringList &arguments);

    std::unique_ptr<QTemporaryDir> m_dir;
};

QStringList CliNamesTest::tree() const
{
    return folderTree(m_dir->path());
}

void CliNamesTest::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    QVERIFY(QDir(m_dir->path()).mkpath(QStringLiteral("trip/día 2")));
    QVERIFY(savePicture(makePicture(24, 18, 1), path(QStringLiteral("beach at dusk.png"))));
    QVERIFY(savePicture(makePicture(20, 16, 2), path(QStringLiteral("trip/día 2/Ärmel.jpg"))));
}

void CliNamesTest::expectRefusal(const QStringList &arguments, const QString &message)
{
    const QStringList before = tree();
    const RunResult result = runCli(arguments, m_dir->path());
    CLI_EXPECT_EXIT(result, 2);
    QVERIFY2(result.err.contains(message),
             qPrintable(QStringLiteral("'%1' not in: %2").arg(message, result.err)));
    QCOMPARE(tree(), before);
}

RunResult CliNamesTest::runOk(const QStringList &arguments)
{
    const RunResult result = runCli(arguments, m_dir->path());
    [&] { CLI_EXPECT_EXIT(result, 0); }();
    return result;
}

void CliNamesTest::besideThePhotos()
{
    const RunResult result = runOk({"pencil", "--name", "{stem}-{effect}.{ext}",
                                    "beach at dusk.png", "trip/día 2/Ärmel.jpg"});
    QCOMPARE(result.err, QString());
    QCOMPARE(tree(),
             QStringList({"beach at dusk-pencil.png", "beach at dusk.png", "trip", "trip/día 2",
                          "trip/día 2/Ärmel-pencil.png", "trip/día 2/Ärmel.jpg"}));
    CLI_COMPARE_PIXELS(readWorking(path("trip/día 2/Ärmel-pencil.png")),
                       corePencil(readWorking(path("trip/día 2/Ärmel.jpg"))));
    CLI_COMPARE_PIXELS(readWorking(path("beach at dusk-pencil.png")),
                       corePencil(readWorking(path("beach at dusk.png"))));
}

void CliNamesTest::underOutputFolder()
{
    runOk({"pen", "--name", "{effect} – {stem}.{ext}", "--format", "jpg", "-r", "trip", "-o",
           "drawn"});
    QCOMPARE(QDir(path("drawn/día 2")).entryList(QDir::Files), QStringList({"pen – Ärmel.jpg"}));
}

void CliNamesTest::suffixInPatternChoosesFormat()
{
    runOk({"pen", "--name", "{stem}.pen.JPEG", "beach at dusk.png", "-o", "out"});
    QCOMPARE(QDir(path("out")).entryList(QDir::Files), QStringList({"beach at dusk.pen.JPEG"}));
    QCOMPARE(fileBytes(path("out/beach at dusk.pen.JPEG")).left(2), QByteArray("\xff\xd8"));
    expectRefusal(
            {"pen", "--name", "{stem}.jpg", "--format", "png", "beach at dusk.png", "-o", "out"},
            "--format png and --name '{stem}.jpg' choose different formats");
}

// One folder for every effect: each effect's drawings keep
// their own names.
void CliNamesTest::penAndPencilInOneFolder()
{
    for (const char *effect : {"pen", "pencil"})
        runOk({effect, "--name", "{stem}-{effect}.{ext}", "beach at dusk.png", "-o", "out"});
    QCOMPARE(QDir(path("out")).entryList(QDir::Files),
             QStringList({"beach at dusk-pen.png", "beach at dusk-pencil.png"}));
    CLI_COMPARE_PIXELS(readWorking(path("out/beach at dusk-pen.png")),
                       corePen(readWorking(path("beach at dusk.png"))));
}

void CliNamesTest::skipExistingUsesFinalNames()
{
    runOk({"pencil", "--name", "{stem}-{effect}.{ext}", "beach at dusk.png", "-o", "out"});
    const QByteArray pencil = fileBytes(path("out/beach at dusk-pencil.png"));
    // The pencil's file does not count as the pen's.
    runOk({"pen", "--skip-existing", "--name", "{stem}-{effect}.{ext}", "beach at dusk.png", "-o",
           "out"});
    QVERIFY(QFileInfo::exists(path("out/beach at dusk-pen.png")));
    const QByteArray pen = fileBytes(path("out/beach at dusk-pen.png"));
    QVERIFY(QFile::remove(path("out/beach at dusk-pencil.png")));
    QVERIFY(writeBytes(path("out/beach at dusk-pen.png"), "kept"));
    runOk({"pen", "--skip-existing", "--name", "{stem}-{effect}.{ext}", "beach at dusk.png", "-o",
           "out"});
    QCOMPARE(fileBytes(path("out/beach at dusk-pen.png")), QByteArray("kept"));
    QVERIFY(!pen.isEmpty() && !pencil.isEmpty());
}

void CliNamesTest::reportNamesFinalFiles()
{
    runOk({"poster", "--name", "{stem} ({effect}).{ext}", "beach at dusk.png",
           "trip/día 2/Ärmel.jpg", "--report", "report.json"});
    const QJsonArray records = QJsonDocument::fromJson(fileBytes(path("report.json"))).array();
    QCOMPARE(records.size(), 2);
    QCOMPARE(records.at(0).toObject().value(QLatin1String("output")).toString(),
             QStringLiteral("beach at dusk (poster).png"));
    QCOMPARE(records.at(1).toObject().value(QLatin1String("output")).toString(),
             QStringLiteral("trip/día 2/Ärmel (poster).png"));
}

void CliNamesTest::twoInputsGiveOneName()
{
    QVERIFY(savePicture(makePicture(8, 8, 3), path("trip/beach at dusk.png")));
    // One pattern, two photos of one name in two folders.
    expectRefusal({"pen", "--name", "{stem}.{ext}", "beach at dusk.png", "trip/beach at dusk.png",
                   "-o", "out"},
                  "'beach at dusk.png' and 'trip/beach at dusk.png' would both be written to "
                  "'out/beach at dusk.png'");
    // A pattern without {stem}.
    expectRefusal({"pen", "--name", "{effect}.{ext}", "beach at dusk.png", "trip/día 2/Ärmel.jpg",
                   "-o", "out"},
                  "'beach at dusk.png' and 'trip/día 2/Ärmel.jpg' would both be written to "
                  "'out/pen.png'");
    // Beside the photos, two folders keep them apart.
    runOk({"pen", "--name", "{effect}.{ext}", "beach at dusk.png", "trip/día 2/Ärmel.jpg"});
    QVERIFY(QFileInfo::exists(path("pen.png")) && QFileInfo::exists(path("trip/día 2/pen.png")));
}

void CliNamesTest::patternWouldOverwriteInput()
{
    expectRefusal({"pen", "--name", "{stem}.{ext}", "beach at dusk.png"},
                  "'beach at dusk.png' is also an input; refusing to overwrite it");
}

void CliNamesTest::badPatterns_data()
{
    QTest::addColumn<QString>("pattern");
    QTest::addColumn<QString>("message");
    QTest::newRow("unknown field") << "{name}.{ext}"
                                   << "--name: unknown field '{name}' in '{name}.{ext}'";
    QTest::newRow("unclosed") << "{stem.{ext}"
                              << "unknown field '{stem.{ext}'";
    QTest::newRow("folder") << "pen/{stem}.{ext}"
                            << "holds a '/'";
    QTest::newRow("hidden") << ".{stem}.{ext}"
                            << "would give hidden files";
    QTest::newRow("empty") << ""
                           << "would give hidden files or no name at all";
    QTest::newRow("no format") << "{stem}.txt"
                               << "--name '{stem}.txt' gives names like 'photo.txt', whose "
                                  "suffix names no format written";
}

void CliNamesTest::badPatterns()
{
    QFETCH(QString, pattern);
    QFETCH(QString, message);
    expectRefusal({"pen", "--name", pattern, "beach at dusk.png", "-o", "out"}, message);
}

void CliNamesTest::recursiveOrStdinNeedFolder()
{
    expectRefusal({"pen", "--name", "{stem}-pen.{ext}", "-r", "trip"}, "-r needs -o DIR");
    expectRefusal({"pen", "--name", "{stem}-pen.{ext}", "-"},
                  "standard input ('-') takes one OUTPUT, not -o or --name");
}

void CliNamesTest::dryRunWritesNothing()
{
    QVERIFY(QDir(m_dir->path()).mkdir("out"));
    QVERIFY(writeBytes(path("out/beach at dusk-pen.png"), "kept"));
    const QStringList before = tree();
    const RunResult result
            = runOk({"pen", "--dry-run", "--skip-existing", "--name", "{stem}-{effect}.{ext}",
                     "beach at dusk.png", "trip/día 2/Ärmel.jpg", "missing.png", "-o", "out",
                     "--report", "report.json"});
    QCOMPARE(result.out,
             QStringLiteral("'beach at dusk.png' -> 'out/beach at dusk-pen.png' (exists: "
                            "skipped)\n'trip/día 2/Ärmel.jpg' -> 'out/Ärmel-pen.png'\n"
                            "'missing.png' -> 'out/missing-pen.png'\n"));
    QCOMPARE(result.err, QString());
    QCOMPARE(tree(), before);
}

void CliNamesTest::quietShortOption()
{
    const RunResult result
            = runOk({"pen", "-q", "--name", "{stem}-q.{ext}", "beach at dusk.png", "-o", "out"});
    QCOMPARE(result.err, QString());
    QVERIFY(QFileInfo::exists(path("out/beach at dusk-q.png")));
}

QTEST_GUILESS_MAIN(CliNamesTest)
#include "tst_cli_names.moc"
