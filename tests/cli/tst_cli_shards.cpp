// --shard I/N: the N parts of a batch, drawn separately, write exactly the
// drawings of the whole batch, each once; the part of a file depends on its
// relative path alone.

#include "clitest.h"
#include "shard.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace clitest;

class CliShardsTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void partsMakeTheWholeBatch_data();
    void partsMakeTheWholeBatch();
    void looseFilesByName();
    void partOfAPathIsFixed();
    void badShardRefused_data();
    void badShardRefused();
    void shardNeedsOutputFolder();
    void clashRefusedInEveryPart();
    void transparentJpegRefusedInEveryPart();

private:
    // Draws the batch of the test's pictures into `folder` (under the test's
    // own), with `extra` arguments; expects exit status 0.
    void drawBatch(const QString &folder, const QStringList &extra);

    std::unique_ptr<QTemporaryDir> m_dir;
    QString m_whole;
};

namespace {

// Every file under `path`, relative and sorted.
QStringList filesUnder(const QString &path)
{
    QStringList files;
    QDirIterator it(path, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext())
        files << QDir(path).relativeFilePath(it.next());
    files.sort();
    return files;
}

} // namespace

void CliShardsTest::initTestCase()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    // Enough pictures, in nested folders, that every part of seven gets some.
    for (int i = 0; i < 40; ++i) {
        const QString path = m_dir->filePath(
                QStringLiteral("in/%1/p%2.png").arg(QStringLiteral("abcd").at(i % 4)).arg(i));
        QVERIFY(QDir().mkpath(QFileInfo(path).path()));
        QVERIFY(savePicture(makePicture(12 + i % 5, 9 + i % 3, i), path));
    }
    m_whole = m_dir->filePath(QStringLiteral("whole"));
    drawBatch(m_whole, {});
    QCOMPARE(filesUnder(m_whole).size(), 40);
}

void CliShardsTest::drawBatch(const QString &folder, const QStringList &extra)
{
    const RunResult result
            = runCli(QStringList {QStringLiteral("pen"), QStringLiteral("-r"), QStringLiteral("in"),
                                  QStringLiteral("-o"), folder, QStringLiteral("--quiet")}
                             + extra,
                     m_dir->path());
    CLI_EXPECT_EXIT(result, 0);
}

void CliShardsTest::partsMakeTheWholeBatch_data()
{
    QTest::addColumn<int>("count");
    for (int count : {1, 2, 3, 7})
        QTest::addRow("%d parts", count) << count;
}

void CliShardsTest::partsMakeTheWholeBatch()
{
    QFETCH(int, count);
    const QStringList whole = filesUnder(m_whole);
    QSet<QString> seen;
    int nonEmpty = 0;
    for (int index = 1; index <= count; ++index) {
        const QString folder
                = m_dir->filePath(QStringLiteral("part-%1-of-%2").arg(index).arg(count));
        drawBatch(folder,
                  {QStringLiteral("--shard"), QStringLiteral("%1/%2").arg(index).arg(count)});
        const QStringList part = filesUnder(folder);
        nonEmpty += part.isEmpty() ? 0 : 1;
        for (const QString &file : part) {
            QVERIFY2(!seen.contains(file), qPrintable(file + QStringLiteral(" drawn twice")));
            seen.insert(file);
            QVERIFY2(shardOf(QFileInfo(file).path() + QLatin1Char('/')
                                     + QFileInfo(file).completeBaseName() + QStringLiteral(".png"),
                             count)
                             == index,
                     qPrintable(file));
            QCOMPARE(fileBytes(folder + QLatin1Char('/') + file),
                     fileBytes(m_whole + QLatin1Char('/') + file));
        }
    }
    QCOMPARE(QStringList(seen.begin(), seen.end()).size(), whole.size());
    for (const QString &file : whole)
        QVERIFY2(seen.contains(file), qPrintable(file + QStringLiteral(" drawn by no part")));
    // Forty files spread over every part, not all into one.
    QCOMPARE(nonEmpty, count);
}

// Loose files are shared by their names, whatever folder holds them.
void CliShardsTest::looseFilesByName()
{
    const QString input = m_dir->filePath(QStringLiteral("in/a/p0.png"));
    const int part = shardOf(QStringLiteral("p0.png"), 3);
    for (int index = 1; index <= 3; ++index) {
        const QString folder = m_dir->filePath(QStringLiteral("loose-%1").arg(index));
        const RunResult result = runCli({QStringLiteral("pen"), input, QStringLiteral("-o"), folder,
                                         QStringLiteral("--quiet"), QStringLiteral("--shard"),
                                         QStringLiteral("%1/3").arg(index)},
                                        m_dir->path());
        CLI_EXPECT_EXIT(result, 0);
        QCOMPARE(QFileInfo::exists(folder + QStringLiteral("/p0.png")), index == part);
    }
}

// Machines running different builds must agree: the rule is 64-bit FNV-1a of
// the path's UTF-8 bytes modulo N, plus one.
void CliShardsTest::partOfAPathIsFixed()
{
    // FNV-1a("a") = 0xaf63dc4c8601ec8c; FNV-1a("") is the offset basis.
    QCOMPARE(shardOf(QStringLiteral("a"), 1000), int(0xaf63dc4c8601ec8cULL % 1000) + 1);
    QCOMPARE(shardOf(QString(), 7), int(14695981039346656037ULL % 7) + 1);
    QCOMPARE(shardOf(QStringLiteral("trip/beach.jpg"), 1), 1);
    // Not ASCII: the UTF-8 bytes count, not the UTF-16 units.
    QVERIFY(shardOf(QStringLiteral("é.png"), 1000) != shardOf(QStringLiteral("e.png"), 1000));
}

void CliShardsTest::badShardRefused_data()
{
    QTest::addColumn<QString>("shard");
    for (const char *bad :
         {"0/3", "4/3", "1/0", "3", "a/b", "-1/2", "1/2/3", "", " 1/2", "1/ 2", "99999999999/3"})
        QTest::newRow(bad) << QString::fromLatin1(bad);
}

void CliShardsTest::badShardRefused()
{
    QFETCH(QString, shard);
    const QString folder = m_dir->filePath(QStringLiteral("refused"));
    const RunResult result
            = runCli({QStringLiteral("pen"), QStringLiteral("-r"), QStringLiteral("in"),
                      QStringLiteral("-o"), folder, QStringLiteral("--shard"), shard},
                     m_dir->path());
    CLI_EXPECT_EXIT(result, 2);
    QVERIFY2(result.err.startsWith(
                     QStringLiteral("kestrova-cli: --shard must be I/N with 1 <= I <= N (the "
                                    "I-th of N parts), not '%1'\n")
                             .arg(shard)),
             qPrintable(result.err));
    QVERIFY(!QFileInfo::exists(folder));
}

void CliShardsTest::shardNeedsOutputFolder()
{
    const RunResult result
            = runCli({QStringLiteral("pen"), QStringLiteral("in/a/p0.png"), QStringLiteral("x.png"),
                      QStringLiteral("--shard"), QStringLiteral("1/2")},
                     m_dir->path());
    CLI_EXPECT_EXIT(result, 2);
    QVERIFY2(result.err.startsWith(
                     QStringLiteral("kestrova-cli: --shard applies with -o or --name only\n")),
             qPrintable(result.err));
    QVERIFY(!QFileInfo::exists(m_dir->filePath(QStringLiteral("x.png"))));
}

// Two inputs that would write the same drawing are refused by every part,
// even by the one that holds neither.
void CliShardsTest::clashRefusedInEveryPart()
{
    for (int index = 1; index <= 3; ++index) {
        const RunResult result = runCli({QStringLiteral("pen"), QStringLiteral("in/a/p0.png"),
                                         QStringLiteral("in/b/p0.png"), QStringLiteral("-o"),
                                         QStringLiteral("clash"), QStringLiteral("--shard"),
                                         QStringLiteral("%1/3").arg(index)},
                                        m_dir->path());
        QVERIFY2(result.exitCode == 2, qPrintable(result.err));
        QVERIFY2(result.err.contains(QStringLiteral("would both be written")),
                 qPrintable(result.err));
    }
}

// One file in three parts: two of them hold nothing, and still refuse.
void CliShardsTest::transparentJpegRefusedInEveryPart()
{
    for (int index = 1; index <= 3; ++index) {
        const RunResult result
                = runCli({QStringLiteral("pen"), QStringLiteral("in/a/p0.png"),
                          QStringLiteral("-o"), QStringLiteral("jpegs"), QStringLiteral("--format"),
                          QStringLiteral("jpg"), QStringLiteral("--transparent"),
                          QStringLiteral("--shard"), QStringLiteral("%1/3").arg(index)},
                         m_dir->path());
        QVERIFY2(result.exitCode == 2, qPrintable(result.err));
        QVERIFY2(result.err.contains(QStringLiteral("--transparent writes PNG only")),
                 qPrintable(result.err));
    }
}

QTEST_GUILESS_MAIN(CliShardsTest)
#include "tst_cli_shards.moc"
