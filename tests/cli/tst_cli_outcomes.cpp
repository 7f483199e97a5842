// A batch run in process with effects made up for the test: an effect that
// makes no picture for an input, and one that runs out of memory, each a
// failure of its file with its reason in the message and the report.

#include "clitest.h"

#include "batch.h"
#include "standardio.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <new>
#include <thread>
#include <unistd.h>

using namespace clitest;

class CliOutcomesTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void effectMakesNoPicture();
    void effectRunsOutOfMemory();
    void standardInputHasABound();

private:
    // Runs `effect` on in.png and a.png, with its report; returns the
    // records.
    QJsonArray runEffect(const Effect &effect, int *status);
    // What the tool wrote to stderr since the last call.
    QByteArray takeMessages();

    QTemporaryDir m_dir;
    QString m_messagesPath;
    qint64 m_messagesRead = 0;
};

namespace {

QImage noMemory(const QImage &, const unsigned char *, const EffectValues &, RandomSequence &,
                const Progress &, QString *)
{
    throw std::bad_alloc();
}

// Draws a.png and nothing else, so that a failure does not stop the others.
QImage onlyWide(const QImage &source, const unsigned char *, const EffectValues &settings,
                RandomSequence &, const Progress &progress, QString *)
{
    progress.report(50);
    if (source.width() < source.height())
        return {};
    QImage copy = source;
    copy.fill(qRgb(settings.value("grey"), settings.value("grey"), settings.value("grey")));
    return copy;
}

} // namespace

// The tool's messages go to stderr, here into a file the test reads.
void CliOutcomesTest::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_messagesPath = m_dir.filePath(QStringLiteral("stderr.txt"));
    QFile messages(m_messagesPath);
    QVERIFY(messages.open(QIODevice::WriteOnly));
    QVERIFY(dup2(messages.handle(), STDERR_FILENO) >= 0);
    QVERIFY(savePicture(makePicture(20, 30, 1), m_dir.filePath(QStringLiteral("in.png"))));
    QVERIFY(savePicture(makePicture(30, 20, 2), m_dir.filePath(QStringLiteral("a.png"))));
}

void CliOutcomesTest::init()
{
    QFile::remove(m_dir.filePath(QStringLiteral("out/in.png")));
    QFile::remove(m_dir.filePath(QStringLiteral("out/a.png")));
}

QByteArray CliOutcomesTest::takeMessages()
{
    const QByteArray all = fileBytes(m_messagesPath);
    const QByteArray recent = all.mid(m_messagesRead);
    m_messagesRead = all.size();
    return recent;
}

QJsonArray CliOutcomesTest::runEffect(const Effect &effect, int *status)
{
    CommandLine commandLine;
    commandLine.effect = &effect;
    commandLine.values = effect.defaults();
    commandLine.outputDir = m_dir.filePath(QStringLiteral("out"));
    commandLine.batch = true;
    commandLine.reportPath = m_dir.filePath(QStringLiteral("report.json"));
    for (const char *name : {"in.png", "a.png"})
        commandLine.jobs.push_back({m_dir.filePath(QLatin1String(name)),
                                    commandLine.outputDir + QLatin1Char('/') + QLatin1String(name),
                                    "png"});
    *status = runBatch(commandLine);
    return QJsonDocument::fromJson(fileBytes(commandLine.reportPath)).array();
}

void CliOutcomesTest::effectMakesNoPicture()
{
    Effect effect;
    effect.name = "wide";
    effect.description = "draws wide pictures only";
    effect.settings = {{"grey", "Grey", 0, 255, 77, "grey"}};
    effect.draw = onlyWide;
    int status = -1;
    const QJsonArray records = runEffect(effect, &status);
    QCOMPARE(status, 1);
    const QString error = QStringLiteral("cannot draw '%1': the wide effect made no picture")
                                  .arg(m_dir.filePath(QStringLiteral("in.png")));
    QCOMPARE(takeMessages(), QByteArray("kestrova-cli: ") + error.toUtf8() + '\n');
    QVERIFY(!QFileInfo::exists(m_dir.filePath(QStringLiteral("out/in.png"))));
    QCOMPARE(readWorking(m_dir.filePath(QStringLiteral("out/a.png"))).pixel(0, 0),
             qRgb(77, 77, 77));

    QCOMPARE(records.size(), 2);
    const QJsonObject failed = records.at(0).toObject();
    QCOMPARE(failed.value("status").toString(), QStringLiteral("failed"));
    QCOMPARE(failed.value("error").toString(), error);
    QCOMPARE(failed.value("effect").toString(), QStringLiteral("wide"));
    QCOMPARE(failed.value("settings").toObject(), QJsonObject({{"grey", 77}}));
    // The picture was read; nothing was drawn or written.
    QCOMPARE(failed.value("width").toInt(), 20);
    QCOMPARE(failed.value("height").toInt(), 30);
    QVERIFY(failed.value("read_ms").isDouble());
    QVERIFY(failed.value("effect_ms").isNull());
    QVERIFY(failed.value("write_ms").isNull());
    QCOMPARE(records.at(1).toObject().value("status").toString(), QStringLiteral("written"));
}

void CliOutcomesTest::effectRunsOutOfMemory()
{
    Effect effect;
    effect.name = "greedy";
    effect.description = "needs more memory than there is";
    effect.needsEdges = true;
    effect.draw = noMemory;
    int status = -1;
    const QJsonArray records = runEffect(effect, &status);
    QCOMPARE(status, 1);
    QCOMPARE(records.size(), 2);
    for (int i = 0; i < 2; ++i) {
        const QJsonObject record = records.at(i).toObject();
        QCOMPARE(record.value("status").toString(), QStringLiteral("failed"));
        QVERIFY2(record.value("error").toString().endsWith(QLatin1String(": not enough memory")),
                 qPrintable(record.value("error").toString()));
    }
    QVERIFY(takeMessages().contains("kestrova-cli: cannot draw '"));
}

// An endless stream on standard input is cut off at the limit, not read
// until memory runs out.
void CliOutcomesTest::standardInputHasABound()
{
    // The writer learns that nobody reads any more from a failed write.
    std::signal(SIGPIPE, SIG_IGN);
    int ends[2];
    QCOMPARE(pipe(ends), 0);
    const int savedInput = dup(STDIN_FILENO);
    QVERIFY(dup2(ends[0], STDIN_FILENO) >= 0);
    close(ends[0]);
    std::thread writer([out = ends[1]] {
        const QByteArray block(1000, 'x');
        for (int i = 0; i < 100; ++i) {
            if (write(out, block.constData(), size_t(block.size())) < 0)
                break;
        }
        close(out);
    });
    QByteArray bytes;
    QString error;
    const bool read = readStandardInput(&bytes, &error, 4096);
    dup2(savedInput, STDIN_FILENO);
    close(savedInput);
    writer.join();
    QVERIFY(!read);
    QVERIFY(bytes.isEmpty());
    QCOMPARE(error,
             QStringLiteral("more than 4096 bytes came in; no picture that is drawn takes "
                            "that many"));
}

QTEST_GUILESS_MAIN(CliOutcomesTest)
#include "tst_cli_outcomes.moc"
