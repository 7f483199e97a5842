// --report: one JSON record per input, in the order of the inputs, checked
// field by field.

#include "clitest.h"

#include <QDir>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <cmath>

using namespace clitest;

class CliReportTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void batchRecords();
    void singleFileToStderr();
    void oneRecordPerLine();
    void reportThatWouldOverwrite_data();
    void reportThatWouldOverwrite();
    void unwritableReport();

private:
    // Parses the report; fails the test unless it is an array of objects.
    QJsonArray parse(const QByteArray &text);
    // `runMs` is how long the whole run took, as the test saw it.
    void expectTimes(const QJsonObject &record, bool read, bool effect, bool write, qint64 runMs);

    QTemporaryDir m_dir;
};

void CliReportTest::initTestCase()
{
    QVERIFY(m_dir.isValid());
    QVERIFY(savePicture(makePicture(40, 30, 1), m_dir.filePath(QStringLiteral("a.png"))));
    QVERIFY(savePicture(makePicture(24, 36, 2), m_dir.filePath(QStringLiteral("c.jpg"))));
    QVERIFY(writeBytes(m_dir.filePath(QStringLiteral("b.png")), "not a picture"));
}

QJsonArray CliReportTest::parse(const QByteArray &text)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(text, &error);
    if (error.error != QJsonParseError::NoError || !document.isArray()) {
        qWarning("not a JSON array (%s): %s", qPrintable(error.errorString()), text.constData());
        return {};
    }
    return document.array();
}

// A stage that ran has a time in tenths of a millisecond, and the stages of
// one file took no longer than the whole run; one that did not run has null.
void CliReportTest::expectTimes(const QJsonObject &record, bool read, bool effect, bool write,
                                qint64 runMs)
{
    const std::pair<const char *, bool> stages[]
            = {{"read_ms", read}, {"effect_ms", effect}, {"write_ms", write}};
    double total = 0;
    for (const auto &stage : stages) {
        const QJsonValue value = record.value(QLatin1String(stage.first));
        if (!stage.second) {
            QVERIFY2(value.isNull(), stage.first);
            continue;
        }
        QVERIFY2(value.isDouble(), stage.first);
        const double ms = value.toDouble();
        QVERIFY2(ms >= 0, stage.first);
        QCOMPARE(std::round(ms * 10) / 10, ms);
        total += ms;
    }
    QVERIFY2(total <= double(runMs),
             qPrintable(QStringLiteral("%1 ms of stages in a %2 ms run").arg(total).arg(runMs)));
}

// A drawing written, a file that cannot be read, a drawing skipped: every
// field of each record, in the order of the inputs whatever order the files
// finish in.
void CliReportTest::batchRecords()
{
    QDir(m_dir.path()).mkpath(QStringLiteral("out"));
    QVERIFY(writeBytes(m_dir.filePath(QStringLiteral("out/c.png")), "an earlier drawing"));
    QElapsedTimer clock;
    clock.start();
    const RunResult result = runCli(
            {QStringLiteral("pencil"), QStringLiteral("--density"), QStringLiteral("3"),
             QStringLiteral("--no-contour"), QStringLiteral("--skip-existing"),
             QStringLiteral("-j"), QStringLiteral("3"), QStringLiteral("--report"),
             QStringLiteral("report.json"), QStringLiteral("a.png"), QStringLiteral("b.png"),
             QStringLiteral("c.jpg"), QStringLiteral("-o"), QStringLiteral("out")},
            m_dir.path());
    const qint64 runMs = clock.elapsed();
    CLI_EXPECT_EXIT(result, 1);
    const QJsonArray records = parse(fileBytes(m_dir.filePath(QStringLiteral("report.json"))));
    QCOMPARE(records.size(), 3);
    const QJsonObject settings {{"density", 3},         {"black", 60},
                                {"white", 180},         {"contour-black", 200},
                                {"contour-white", 255}, {"contours", false}};
    const char *inputs[] = {"a.png", "b.png", "c.jpg"};
    const char *outputs[] = {"out/a.png", "out/b.png", "out/c.png"};
    for (int i = 0; i < 3; ++i) {
        const QJsonObject record = records.at(i).toObject();
        QCOMPARE(record.keys().size(), 11);
        QCOMPARE(record.value("input").toString(), QLatin1String(inputs[i]));
        QCOMPARE(record.value("output").toString(), QLatin1String(outputs[i]));
        QCOMPARE(record.value("effect").toString(), QStringLiteral("pencil"));
        QCOMPARE(record.value("settings").toObject(), settings);
    }
    const QJsonObject written = records.at(0).toObject();
    QCOMPARE(written.value("status").toString(), QStringLiteral("written"));
    QVERIFY(written.value("error").isNull());
    QCOMPARE(written.value("width").toInt(), 40);
    QCOMPARE(written.value("height").toInt(), 30);
    expectTimes(written, true, true, true, runMs);

    const QJsonObject failed = records.at(1).toObject();
    QCOMPARE(failed.value("status").toString(), QStringLiteral("failed"));
    const QString error = failed.value("error").toString();
    QVERIFY2(error.startsWith(QLatin1String("cannot read 'b.png': ")), qPrintable(error));
    // The same words as the message on stderr.
    QVERIFY2(result.err.contains(QStringLiteral("kestrova-cli: ") + error + QLatin1Char('\n')),
             qPrintable(result.err));
    QVERIFY(failed.value("width").isNull() && failed.value("height").isNull());
    expectTimes(failed, false, false, false, runMs);

    const QJsonObject skipped = records.at(2).toObject();
    QCOMPARE(skipped.value("status").toString(), QStringLiteral("skipped"));
    QVERIFY(skipped.value("error").isNull());
    QVERIFY(skipped.value("width").isNull() && skipped.value("height").isNull());
    expectTimes(skipped, false, false, false, runMs);
    QCOMPARE(fileBytes(m_dir.filePath(QStringLiteral("out/c.png"))),
             QByteArray("an earlier drawing"));
}

void CliReportTest::singleFileToStderr()
{
    QElapsedTimer clock;
    clock.start();
    const RunResult result
            = runCli({QStringLiteral("pen"), QStringLiteral("--black"), QStringLiteral("90"),
                      QStringLiteral("--report"), QStringLiteral("-"), QStringLiteral("c.jpg"),
                      QStringLiteral("single.jpg")},
                     m_dir.path());
    const qint64 runMs = clock.elapsed();
    CLI_EXPECT_EXIT(result, 0);
    QCOMPARE(result.out, QString());
    // On stderr, the record alone on its line.
    QVERIFY(result.err.endsWith(QLatin1Char('\n')));
    QCOMPARE(result.err.count(QLatin1Char('\n')), 1);
    const QJsonObject record = QJsonDocument::fromJson(result.err.toUtf8()).object();
    QCOMPARE(record.value("input").toString(), QStringLiteral("c.jpg"));
    QCOMPARE(record.value("output").toString(), QStringLiteral("single.jpg"));
    QCOMPARE(record.value("effect").toString(), QStringLiteral("pen"));
    QCOMPARE(record.value("settings").toObject(), QJsonObject({{"black", 90}, {"white", 255}}));
    QCOMPARE(record.value("status").toString(), QStringLiteral("written"));
    QCOMPARE(record.value("width").toInt(), 24);
    QCOMPARE(record.value("height").toInt(), 36);
    expectTimes(record, true, true, true, runMs);
}

// The report can be read line by line as it grows: the array's brackets
// and one whole record on each line between them.
void CliReportTest::oneRecordPerLine()
{
    const RunResult result
            = runCli({QStringLiteral("pen"), QStringLiteral("--report"),
                      QStringLiteral("lines.json"), QStringLiteral("a.png"),
                      QStringLiteral("c.jpg"), QStringLiteral("-o"), QStringLiteral("lines")},
                     m_dir.path());
    CLI_EXPECT_EXIT(result, 0);
    const QList<QByteArray> lines
            = fileBytes(m_dir.filePath(QStringLiteral("lines.json"))).split('\n');
    QCOMPARE(lines.size(), 5);
    QCOMPARE(lines.at(0), QByteArray("["));
    QVERIFY(lines.at(1).startsWith("{\"input\":\"a.png\",") && lines.at(1).endsWith("},"));
    QVERIFY(lines.at(2).startsWith("{\"input\":\"c.jpg\",") && lines.at(2).endsWith('}'));
    QCOMPARE(lines.at(3), QByteArray("]"));
    QCOMPARE(lines.at(4), QByteArray());
}

void CliReportTest::reportThatWouldOverwrite_data()
{
    QTest::addColumn<QString>("report");
    QTest::addColumn<QString>("message");
    QTest::newRow("an input") << QStringLiteral("a.png")
                              << QStringLiteral("'a.png' is also an input");
    QTest::newRow("a drawing") << QStringLiteral("clash/a.png")
                               << QStringLiteral("the report 'clash/a.png' would overwrite the "
                                                 "drawing of 'a.png'");
}

void CliReportTest::reportThatWouldOverwrite()
{
    QFETCH(QString, report);
    QFETCH(QString, message);
    const QByteArray input = fileBytes(m_dir.filePath(QStringLiteral("a.png")));
    const RunResult result
            = runCli({QStringLiteral("pen"), QStringLiteral("--report"), report,
                      QStringLiteral("a.png"), QStringLiteral("-o"), QStringLiteral("clash")},
                     m_dir.path());
    CLI_EXPECT_EXIT(result, 2);
    QVERIFY2(result.err.contains(message), qPrintable(result.err));
    QCOMPARE(fileBytes(m_dir.filePath(QStringLiteral("a.png"))), input);
    QVERIFY(!QFileInfo::exists(m_dir.filePath(QStringLiteral("clash"))));
}

// Refused before any drawing is made.
void CliReportTest::unwritableReport()
{
    const RunResult result = runCli({QStringLiteral("pen"), QStringLiteral("--report"),
                                     QStringLiteral("missing/r.json"), QStringLiteral("a.png"),
                                     QStringLiteral("unwritten.png")},
                                    m_dir.path());
    CLI_EXPECT_EXIT(result, 1);
    QVERIFY2(result.err.startsWith(
                     QLatin1String("kestrova-cli: cannot write the report 'missing/r.json': ")),
             qPrintable(result.err));
    QVERIFY(!QFileInfo::exists(m_dir.filePath(QStringLiteral("unwritten.png"))));
}

QTEST_GUILESS_MAIN(CliReportTest)
#include "tst_cli_report.moc"
