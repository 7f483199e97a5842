// Ctrl-C and SIGTERM in the middle of a batch: the files in progress are
// abandoned without a partial or temporary file, the summary tells how far
// the run went, and the same command with --skip-existing finishes it.

#include "clitest.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <memory>
#include <unistd.h>

using namespace clitest;

class CliSignalsTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void interruptWhileWriting();
    void terminateWhileDrawing();
    void interruptThenResume();
    void interruptWhileWaitingForInput();
    void skipExistingTouchesNothing();

private:
    // Copies `picture` to in1.jpg .. inN.jpg and returns their names.
    QStringList inputs(const QString &picture, int count);
    // Checks the folder of drawings after a stopped run: complete drawings
    // of `size` only, as many as the summary counts, that number in `written`.
    void expectOnlyCompleteDrawings(const QString &stderrText, const QString &signalName, int total,
                                    const QSize &size, int *written);

    QTemporaryDir m_picturesDir;
    // Its drawings take a second or more to draw and, at the small PNG level
    // on one thread, a tenth of a second or more to write; the smaller one a
    // fraction of that.
    QString m_slowPicture;
    QString m_smallerPicture;
    std::unique_ptr<QTemporaryDir> m_dir;
};

namespace {

const QDateTime LongAgo(QDate(2001, 2, 3), QTime(4, 5, 6), Qt::UTC);

// Whether process `pid` has a file open in `folder`: a drawing being
// written, under a temporary name or under none.
bool writesInto(qint64 pid, const QString &folder)
{
    const QString prefix = QFileInfo(folder).canonicalFilePath() + QLatin1Char('/');
    const QDir descriptors(QStringLiteral("/proc/%1/fd").arg(pid));
    for (const QString &name : descriptors.entryList(QDir::AllEntries | QDir::System)) {
        char target[4096];
        const QByteArray link = QFile::encodeName(descriptors.filePath(name));
        const ssize_t size = readlink(link.constData(), target, sizeof target - 1);
        if (size > 0 && QString::fromLocal8Bit(target, size).startsWith(prefix))
            return true;
    }
    return false;
}

// Waits until `ready` or until the tool ends.
// Five minutes at the most: under ThreadSanitizer, on a machine busy with
// other builds, the tool has been seen to take more than one to reach its
// first write.
bool waitFor(QProcess &process, const std::function<bool()> &ready)
{
    QElapsedTimer clock;
    clock.start();
    while (!ready()) {
        if (process.waitForFinished(5) || clock.elapsed() > 300000)
            return false;
    }
    return true;
}

bool setModified(const QString &path, const QDateTime &time)
{
    QFile file(path);
    return file.open(QIODevice::ReadWrite)
            && file.setFileTime(time, QFileDevice::FileModificationTime);
}

QDateTime modified(const QString &path)
{
    return QFileInfo(path).fileTime(QFileDevice::FileModificationTime);
}

} // namespace

void CliSignalsTest::initTestCase()
{
    QVERIFY(m_picturesDir.isValid());
    m_slowPicture = m_picturesDir.filePath(QStringLiteral("slow.jpg"));
    QVERIFY(savePicture(makePicture(3000, 2000, 7), m_slowPicture));
    m_smallerPicture = m_picturesDir.filePath(QStringLiteral("smaller.jpg"));
    QVERIFY(savePicture(makePicture(1500, 1000, 8), m_smallerPicture));
}

void CliSignalsTest::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
}

QStringList CliSignalsTest::inputs(const QString &picture, int count)
{
    QStringList names;
    for (int i = 1; i <= count; ++i) {
        names << QStringLiteral("in%1.jpg").arg(i);
        if (!QFile::copy(picture, m_dir->filePath(names.last())))
            return {};
    }
    return names;
}

void CliSignalsTest::expectOnlyCompleteDrawings(const QString &stderrText,
                                                const QString &signalName, int total,
                                                const QSize &size, int *written)
{
    const QRegularExpression summary(
            QStringLiteral("kestrova-cli: stopped by %1: (\\d+) written, 0 skipped, 0 failed, "
                           "(\\d+) not done in \\d+\\.\\d s\\r?\\n")
                    .arg(signalName));
    const QRegularExpressionMatch match = summary.match(stderrText);
    QVERIFY2(match.hasMatch(), qPrintable(stderrText));
    *written = match.captured(1).toInt();
    QCOMPARE(*written + match.captured(2).toInt(), total);
    const QStringList entries = folderEntries(m_dir->filePath(QStringLiteral("out")));
    QCOMPARE(entries.size(), *written);
    for (const QString &entry : entries) {
        QVERIFY2(QRegularExpression(QStringLiteral("^in\\d\\.png$")).match(entry).hasMatch(),
                 qPrintable(entry));
        const QImage drawing = readWorking(m_dir->filePath(QStringLiteral("out/") + entry));
        QCOMPARE(drawing.size(), size);
    }
}

// The signal comes while a drawing is being written: its temporary file goes.
// The PNG writer looks at the stop between its bands of rows and between its
// chunks; the slowest write it has keeps the file open long enough for the
// signal to come in the middle.
void CliSignalsTest::interruptWhileWriting()
{
    const QStringList names = inputs(m_slowPicture, 4);
    QVERIFY(!names.isEmpty());
    QVERIFY(QDir(m_dir->path()).mkdir(QStringLiteral("out")));
    QProcess process;
    startCli(process,
             QStringList {QStringLiteral("pencil"), QStringLiteral("-j"), QStringLiteral("2"),
                          QStringLiteral("--png-level"), QStringLiteral("small"),
                          QStringLiteral("--threads"), QStringLiteral("1")}
                     + names + QStringList {QStringLiteral("-o"), QStringLiteral("out")},
             m_dir->path());
    const QString out = m_dir->filePath(QStringLiteral("out"));
    QVERIFY2(waitFor(process, [&] { return writesInto(process.processId(), out); }),
             "the tool never wrote a drawing");
    ::kill(pid_t(process.processId()), SIGINT);
    QVERIFY(process.waitForFinished(60000));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 130);
    int written = -1;
    expectOnlyCompleteDrawings(QString::fromLocal8Bit(process.readAllStandardError()),
                               QStringLiteral("SIGINT"), 4, QSize(3000, 2000), &written);
    // The write under way was cut short.
    QCOMPARE(written, 0);
}

// The signal comes while a picture is drawn, on a terminal: the summary
// comes after the progress line is cleared. The line is redrawn at most ten
// times a second, so on a busy machine it may never show the short edge
// stage: either drawing stage will do. One thread draws, so that the
// drawing lasts long enough to be seen.
void CliSignalsTest::terminateWhileDrawing()
{
    const QStringList names = inputs(m_slowPicture, 3);
    QVERIFY(!names.isEmpty());
    PseudoTerminal terminal;
    QVERIFY(terminal.isOpen());
    QProcess process;
    startCli(process,
             QStringList {QStringLiteral("pencil"), QStringLiteral("-j"), QStringLiteral("1"),
                          QStringLiteral("--threads"), QStringLiteral("1")}
                     + names + QStringList {QStringLiteral("-o"), QStringLiteral("out")},
             m_dir->path(), terminal.attach());
    QByteArray line;
    QVERIFY2(waitFor(process,
                     [&] {
                         line += terminal.read();
                         return line.contains(", edges ") || line.contains(", pencil ");
                     }),
             line.constData());
    ::kill(pid_t(process.processId()), SIGTERM);
    QVERIFY(process.waitForFinished(60000));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 143);
    line += terminal.read();
    QVERIFY2(line.contains("\r\033[Kkestrova-cli: stopped by SIGTERM: "), line.constData());
    int written = -1;
    expectOnlyCompleteDrawings(QString::fromLocal8Bit(line), QStringLiteral("SIGTERM"), 3,
                               QSize(3000, 2000), &written);
}

// Stopped after the first drawing, then the same command again.
void CliSignalsTest::interruptThenResume()
{
    const QStringList names = inputs(m_smallerPicture, 3);
    QVERIFY(!names.isEmpty());
    const QStringList arguments
            = QStringList {QStringLiteral("pen"),      QStringLiteral("--skip-existing"),
                           QStringLiteral("-j"),       QStringLiteral("1"),
                           QStringLiteral("--report"), QStringLiteral("report.json")}
            + names + QStringList {QStringLiteral("-o"), QStringLiteral("out")};
    QProcess process;
    startCli(process, arguments, m_dir->path());
    const QString first = m_dir->filePath(QStringLiteral("out/in1.png"));
    QVERIFY(waitFor(process, [&] { return QFileInfo::exists(first); }));
    ::kill(pid_t(process.processId()), SIGINT);
    QVERIFY(process.waitForFinished(60000));
    QCOMPARE(process.exitCode(), 130);
    int written = -1;
    expectOnlyCompleteDrawings(QString::fromLocal8Bit(process.readAllStandardError()),
                               QStringLiteral("SIGINT"), 3, QSize(1500, 1000), &written);
    QVERIFY(written >= 1);
    // The report lists the files that ran, each with its outcome.
    const QJsonArray records
            = QJsonDocument::fromJson(fileBytes(m_dir->filePath(QStringLiteral("report.json"))))
                      .array();
    QVERIFY(records.size() >= written);
    QCOMPARE(records.at(0).toObject().value("status").toString(), QStringLiteral("written"));
    if (records.size() > written)
        QCOMPARE(records.at(written).toObject().value("error").toString(),
                 QStringLiteral("stopped by SIGINT"));

    QVERIFY(setModified(first, LongAgo));
    const RunResult again = runCli(arguments, m_dir->path());
    CLI_EXPECT_EXIT(again, 0);
    QCOMPARE(folderEntries(m_dir->filePath(QStringLiteral("out"))),
             QStringList({QStringLiteral("in1.png"), QStringLiteral("in2.png"),
                          QStringLiteral("in3.png")}));
    QCOMPARE(modified(first), LongAgo);
    CLI_COMPARE_PIXELS(readWorking(m_dir->filePath(QStringLiteral("out/in3.png"))),
                       corePen(readWorking(m_smallerPicture)));
}

void CliSignalsTest::interruptWhileWaitingForInput()
{
    QProcess process;
    startCli(process, {QStringLiteral("pen"), QStringLiteral("-"), QStringLiteral("out.png")},
             m_dir->path());
    QVERIFY(process.waitForStarted());
    // Standard input stays open and empty: the tool waits for it.
    QVERIFY(!process.waitForFinished(300));
    ::kill(pid_t(process.processId()), SIGINT);
    QVERIFY(process.waitForFinished(10000));
    QCOMPARE(process.exitCode(), 130);
    QCOMPARE(QString::fromLocal8Bit(process.readAllStandardError())
                     .section(QLatin1String(" in "), 0, 0),
             QStringLiteral("kestrova-cli: stopped by SIGINT: 0 written, 0 skipped, 0 failed, 1 "
                            "not done"));
    QCOMPARE(folderEntries(m_dir->path()), QStringList());
}

// A second run over a folder whose drawings are all there writes nothing:
// their modification times stay as they were.
void CliSignalsTest::skipExistingTouchesNothing()
{
    QDir dir(m_dir->path());
    QVERIFY(dir.mkpath(QStringLiteral("photos/sub")));
    QVERIFY(savePicture(makePicture(30, 20, 1), dir.filePath(QStringLiteral("photos/a.png"))));
    QVERIFY(savePicture(makePicture(20, 30, 2), dir.filePath(QStringLiteral("photos/sub/b.jpg"))));
    const QStringList arguments = {QStringLiteral("pencil"), QStringLiteral("--skip-existing"),
                                   QStringLiteral("-r"),     QStringLiteral("photos"),
                                   QStringLiteral("-o"),     QStringLiteral("out")};
    const RunResult first = runCli(arguments, m_dir->path());
    CLI_EXPECT_EXIT(first, 0);
    const QStringList drawings = {dir.filePath(QStringLiteral("out/a.png")),
                                  dir.filePath(QStringLiteral("out/sub/b.png"))};
    QList<QByteArray> bytes;
    for (const QString &drawing : drawings) {
        QVERIFY(setModified(drawing, LongAgo));
        bytes << fileBytes(drawing);
    }
    const RunResult second = runCli(
            arguments + QStringList {QStringLiteral("--report"), QStringLiteral("report.json")},
            m_dir->path());
    CLI_EXPECT_EXIT(second, 0);
    QCOMPARE(second.err, QString());
    for (int i = 0; i < drawings.size(); ++i) {
        QCOMPARE(modified(drawings.at(i)), LongAgo);
        QCOMPARE(fileBytes(drawings.at(i)), bytes.at(i));
    }
    const QJsonArray records
            = QJsonDocument::fromJson(fileBytes(dir.filePath(QStringLiteral("report.json"))))
                      .array();
    QCOMPARE(records.size(), 2);
    for (const QJsonValue &record : records)
        QCOMPARE(record.toObject().value("status").toString(), QStringLiteral("skipped"));
}

QTEST_GUILESS_MAIN(CliSignalsTest)
#include "tst_cli_signals.moc"
