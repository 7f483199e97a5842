// Folders among the inputs with -r: every picture in them drawn, their tree
// kept under the output folder, name clashes refused before any work.

#include "clitest.h"

#include <QDir>
#include <QFileInfo>
#include <QImageWriter>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace clitest;

class CliFoldersTest : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void treeIsMirrored();
    void filesAndFoldersTogether();
    void clashInOneFolderRefused();
    void clashWithLooseFileRefused();
    void folderNeedsRecursive_data();
    void folderNeedsRecursive();
    void recursiveNeedsOutputFolder();
    void outputFolderInsideInput();
    void folderWithoutPictures();

private:
    // Saves a generated picture at `path` under the test's folder, making
    // its folders.
    bool addPicture(const QString &path, int seed);
    // Checks a refused command line: exit status 2, the message, and the
    // test's folder as it was.
    void expectRefusal(const QStringList &arguments, const QString &message);
    // Checks that every drawing in `expected` (paths under "out") is the pen
    // drawing of its input.
    void expectPenDrawings(const QList<QPair<QString, QString>> &expected);

    std::unique_ptr<QTemporaryDir> m_dir;
};

namespace {

bool canWrite(const char *format)
{
    return QImageWriter::supportedImageFormats().contains(format);
}

} // namespace

void CliFoldersTest::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

bool CliFoldersTest::addPicture(const QString &path, int seed)
{
    const QString full = m_dir->filePath(path);
    return QDir().mkpath(QFileInfo(full).path()) && savePicture(makePicture(30, 20, seed), full);
}

void CliFoldersTest::expectRefusal(const QStringList &arguments, const QString &message)
{
    const QStringList before = folderTree(m_dir->path());
    const RunResult result = runCli(arguments, m_dir->path());
    CLI_EXPECT_EXIT(result, 2);
    QVERIFY2(result.err.contains(message),
             qPrintable(QStringLiteral("'%1' not in: %2").arg(message, result.err)));
    QCOMPARE(folderTree(m_dir->path()), before);
}

void CliFoldersTest::expectPenDrawings(const QList<QPair<QString, QString>> &expected)
{
    for (const auto &pair : expected) {
        const QImage drawing = readWorking(m_dir->filePath(pair.second));
        QVERIFY2(!drawing.isNull(), qPrintable(pair.second));
        CLI_COMPARE_PIXELS(drawing, corePen(readWorking(m_dir->filePath(pair.first))));
    }
}

void CliFoldersTest::treeIsMirrored()
{
    QList<QPair<QString, QString>> drawings = {
            {"photos/x.png", "out/x.png"},
            {"photos/Beach.JPG", "out/Beach.png"},
            {"photos/trip/x.png", "out/trip/x.png"},
            {"photos/trip/day 2/y.jpeg", "out/trip/day 2/y.png"},
            {"photos/trip/day 2/z.bmp", "out/trip/day 2/z.png"},
    };
    // The other readers, where this Qt can write a test picture for them.
    if (canWrite("tif"))
        drawings.append(
                qMakePair(QStringLiteral("photos/trip/w.tif"), QStringLiteral("out/trip/w.png")));
    if (canWrite("webp"))
        drawings.append(
                qMakePair(QStringLiteral("photos/trip/v.webp"), QStringLiteral("out/trip/v.png")));
    for (int i = 0; i < drawings.size(); ++i)
        QVERIFY(addPicture(drawings.at(i).first, i));
    // Left alone: what is not a picture, hidden files and folders, an empty
    // folder.
    QVERIFY(writeBytes(m_dir->filePath(QStringLiteral("photos/notes.txt")), "notes"));
    QVERIFY(addPicture(QStringLiteral("photos/.thumbnails/x.png"), 20));
    QVERIFY(addPicture(QStringLiteral("photos/trip/.hidden.png"), 21));
    QVERIFY(QDir(m_dir->path()).mkpath(QStringLiteral("photos/trip/empty")));

    const RunResult result
            = runCli({QStringLiteral("pen"), QStringLiteral("-r"), QStringLiteral("photos"),
                      QStringLiteral("-o"), QStringLiteral("out"), QStringLiteral("-j"),
                      QStringLiteral("2")},
                     m_dir->path());
    CLI_EXPECT_EXIT(result, 0);
    QCOMPARE(result.err, QString());
    QStringList expected = {QStringLiteral("trip"), QStringLiteral("trip/day 2")};
    for (const auto &pair : std::as_const(drawings))
        expected << pair.second.mid(4);
    expected.sort();
    QCOMPARE(folderTree(m_dir->filePath(QStringLiteral("out"))), expected);
    expectPenDrawings(drawings);
}

void CliFoldersTest::filesAndFoldersTogether()
{
    QVERIFY(addPicture(QStringLiteral("loose.png"), 1));
    QVERIFY(addPicture(QStringLiteral("photos/a.png"), 2));
    QVERIFY(addPicture(QStringLiteral("photos/sub/b.png"), 3));
    const RunResult result
            = runCli({QStringLiteral("pen"), QStringLiteral("--recursive"),
                      QStringLiteral("loose.png"), m_dir->filePath(QStringLiteral("photos")),
                      QStringLiteral("-o"), QStringLiteral("out")},
                     m_dir->path());
    CLI_EXPECT_EXIT(result, 0);
    QCOMPARE(folderTree(m_dir->filePath(QStringLiteral("out"))),
             QStringList({QStringLiteral("a.png"), QStringLiteral("loose.png"),
                          QStringLiteral("sub"), QStringLiteral("sub/b.png")}));
    expectPenDrawings({{"loose.png", "out/loose.png"},
                       {"photos/a.png", "out/a.png"},
                       {"photos/sub/b.png", "out/sub/b.png"}});
}

void CliFoldersTest::clashInOneFolderRefused()
{
    QVERIFY(addPicture(QStringLiteral("photos/a/x.png"), 1));
    QVERIFY(addPicture(QStringLiteral("photos/a/x.jpg"), 2));
    QVERIFY(addPicture(QStringLiteral("photos/b/x.png"), 3));
    expectRefusal({QStringLiteral("pen"), QStringLiteral("-r"), QStringLiteral("photos"),
                   QStringLiteral("-o"), QStringLiteral("out")},
                  QStringLiteral("kestrova-cli: 'photos/a/x.jpg' and 'photos/a/x.png' would "
                                 "both be written to 'out/a/x.png'"));
}

void CliFoldersTest::clashWithLooseFileRefused()
{
    QVERIFY(addPicture(QStringLiteral("photos/x.png"), 1));
    QVERIFY(addPicture(QStringLiteral("other/x.bmp"), 2));
    expectRefusal({QStringLiteral("pencil"), QStringLiteral("-r"), QStringLiteral("photos"),
                   QStringLiteral("other/x.bmp"), QStringLiteral("-o"), QStringLiteral("out")},
                  QStringLiteral("'photos/x.png' and 'other/x.bmp' would both be written to "
                                 "'out/x.png'"));
}

// Without -r a folder is a file that cannot be read: it fails in one line
// naming it, and the other inputs are still drawn.
void CliFoldersTest::folderNeedsRecursive_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QStringList>("drawn");
    QTest::newRow("batch") << QStringList {"pen", "photos", "loose.png", "-o", "out"}
                           << QStringList {"out", "out/loose.png"};
    QTest::newRow("one file") << QStringList {"pen", "photos", "out.png"} << QStringList {};
}

void CliFoldersTest::folderNeedsRecursive()
{
    QFETCH(QStringList, arguments);
    QFETCH(QStringList, drawn);
    QVERIFY(addPicture(QStringLiteral("photos/a.png"), 1));
    QVERIFY(addPicture(QStringLiteral("loose.png"), 2));
    const QStringList before = folderTree(m_dir->path());
    const RunResult result = runCli(arguments, m_dir->path());
    CLI_EXPECT_EXIT(result, 1);
    QVERIFY2(result.err.startsWith(QStringLiteral(
                     "kestrova-cli: cannot read 'photos': it is a folder: add -r to draw the "
                     "pictures in it\n")),
             qPrintable(result.err));
    QCOMPARE(result.err.count(QLatin1String("photos")), 1);
    QStringList after = before + drawn;
    after.sort();
    QCOMPARE(folderTree(m_dir->path()), after);
    if (!drawn.isEmpty())
        expectPenDrawings({{"loose.png", "out/loose.png"}});
}

void CliFoldersTest::recursiveNeedsOutputFolder()
{
    QVERIFY(addPicture(QStringLiteral("photos/a.png"), 1));
    expectRefusal({QStringLiteral("pen"), QStringLiteral("-r"), QStringLiteral("photos"),
                   QStringLiteral("out.png")},
                  QStringLiteral("-r needs -o DIR"));
}

// A second run must not take the first run's drawings for photographs.
void CliFoldersTest::outputFolderInsideInput()
{
    QVERIFY(addPicture(QStringLiteral("photos/a.png"), 1));
    QVERIFY(addPicture(QStringLiteral("photos/sub/b.png"), 2));
    const QStringList arguments
            = {QStringLiteral("pen"), QStringLiteral("-r"), QStringLiteral("photos"),
               QStringLiteral("-o"), QStringLiteral("photos/sketches")};
    for (int run = 0; run < 2; ++run) {
        const RunResult result = runCli(arguments, m_dir->path());
        CLI_EXPECT_EXIT(result, 0);
        QCOMPARE(folderTree(m_dir->filePath(QStringLiteral("photos/sketches"))),
                 QStringList({QStringLiteral("a.png"), QStringLiteral("sub"),
                              QStringLiteral("sub/b.png")}));
    }
}

void CliFoldersTest::folderWithoutPictures()
{
    QVERIFY(QDir(m_dir->path()).mkpath(QStringLiteral("empty/inner")));
    QVERIFY(writeBytes(m_dir->filePath(QStringLiteral("empty/readme.txt")), "text"));
    const RunResult result
            = runCli({QStringLiteral("pen"), QStringLiteral("-r"), QStringLiteral("empty"),
                      QStringLiteral("-o"), QStringLiteral("out")},
                     m_dir->path());
    CLI_EXPECT_EXIT(result, 0);
    QCOMPARE(result.err, QStringLiteral("kestrova-cli: no pictures in 'empty'\n"));
}

QTEST_GUILESS_MAIN(CliFoldersTest)
#include "tst_cli_folders.moc"
