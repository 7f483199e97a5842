// The progress line kestrova-cli draws when stderr is a terminal, and the
// summary line at the end of a batch.

#include "clitest.h"

#include <QDir>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

using namespace clitest;

class CliTerminalTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void progressLineOnTerminal();
    void quietTerminal_data();
    void quietTerminal();
    void errorsClearTheLine();
    void summaryCountsSkipped();

private:
    // Runs the tool with stderr on a pseudo-terminal and returns what it wrote
    // there.
    QByteArray runOnTerminal(const QStringList &arguments, int *exitCode);

    QTemporaryDir m_dir;
};

namespace {

// Splits off the summary line that ends a batch on a terminal, after the
// progress line is cleared for good. Empty when it is not there.
QByteArray takeSummary(QByteArray *written)
{
    static const QRegularExpression summary(
            QStringLiteral("\\r\\x1b\\[K(kestrova-cli: \\d+ written, \\d+ skipped, \\d+ failed in "
                           "\\d+\\.\\d s)\\r\\n$"));
    const QRegularExpressionMatch match = summary.match(QString::fromUtf8(*written));
    if (!match.hasMatch())
        return {};
    written->truncate(match.capturedStart(1));
    return match.captured(1).toUtf8();
}

} // namespace

void CliTerminalTest::initTestCase()
{
    QVERIFY(m_dir.isValid());
    for (int i = 0; i < 3; ++i)
        QVERIFY(savePicture(makePicture(120, 90, i),
                            m_dir.filePath(QStringLiteral("in%1.png").arg(i))));
}

QByteArray CliTerminalTest::runOnTerminal(const QStringList &arguments, int *exitCode)
{
    PseudoTerminal terminal;
    if (!terminal.isOpen())
        return "openpty failed";
    const RunResult result = runCli(arguments, m_dir.path(), terminal.attach());
    *exitCode = result.finished && result.exitStatus == QProcess::NormalExit ? result.exitCode : -1;
    return terminal.read();
}

void CliTerminalTest::progressLineOnTerminal()
{
    int exitCode = -1;
    QByteArray written = runOnTerminal({QStringLiteral("pencil"), QStringLiteral("-j"),
                                        QStringLiteral("1"), QStringLiteral("in0.png"),
                                        QStringLiteral("in1.png"), QStringLiteral("in2.png"),
                                        QStringLiteral("-o"), QStringLiteral("out")},
                                       &exitCode);
    QCOMPARE(exitCode, 0);
    QVERIFY2(written.startsWith("kestrova-cli: 0/3 files"), written.constData());
    // Every redraw starts by clearing the line, and the line is gone before
    // the summary.
    const QByteArray summary = takeSummary(&written);
    QVERIFY2(summary.startsWith("kestrova-cli: 3 written, 0 skipped, 0 failed in "),
             written.constData());
    QVERIFY2(written.endsWith("\r\033[K"), written.constData());
    QVERIFY(!written.contains('\n'));
    const QList<QByteArray> lines = written.split('\r');
    for (const QByteArray &line : lines) {
        if (!line.isEmpty())
            QVERIFY2(line.startsWith("\033[K") || line.startsWith("kestrova-cli: "),
                     line.constData());
    }
}

void CliTerminalTest::quietTerminal_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("one file") << QStringList {"pen", "--quiet", "in0.png", "q.png"};
    QTest::newRow("batch") << QStringList {"pen", "--quiet", "in0.png", "in1.png", "-o", "quiet"};
}

void CliTerminalTest::quietTerminal()
{
    QFETCH(QStringList, arguments);
    int exitCode = -1;
    const QByteArray written = runOnTerminal(arguments, &exitCode);
    QCOMPARE(exitCode, 0);
    QCOMPARE(written, QByteArray());
}

void CliTerminalTest::errorsClearTheLine()
{
    int exitCode = -1;
    QByteArray written = runOnTerminal({QStringLiteral("pen"), QStringLiteral("-j"),
                                        QStringLiteral("1"), QStringLiteral("in0.png"),
                                        QStringLiteral("missing.png"), QStringLiteral("in1.png"),
                                        QStringLiteral("-o"), QStringLiteral("errors")},
                                       &exitCode);
    QCOMPARE(exitCode, 1);
    // The message starts at the beginning of a cleared line and ends it.
    QVERIFY2(
            written.contains("\r\033[Kkestrova-cli: cannot read 'missing.png': File not found\r\n"),
            written.constData());
    QVERIFY2(takeSummary(&written).startsWith("kestrova-cli: 2 written, 0 skipped, 1 failed in "),
             written.constData());
    QVERIFY2(written.endsWith("\r\033[K"), written.constData());
}

void CliTerminalTest::summaryCountsSkipped()
{
    const QStringList arguments {QStringLiteral("pen"),     QStringLiteral("--skip-existing"),
                                 QStringLiteral("in0.png"), QStringLiteral("in1.png"),
                                 QStringLiteral("in2.png"), QStringLiteral("-o"),
                                 QStringLiteral("skipping")};
    QVERIFY(QDir(m_dir.path()).mkpath(QStringLiteral("skipping")));
    QVERIFY(writeBytes(m_dir.filePath(QStringLiteral("skipping/in1.png")), "there already"));
    int exitCode = -1;
    QByteArray written = runOnTerminal(arguments, &exitCode);
    QCOMPARE(exitCode, 0);
    QVERIFY2(takeSummary(&written).startsWith("kestrova-cli: 2 written, 1 skipped, 0 failed in "),
             written.constData());
    written = runOnTerminal(arguments, &exitCode);
    QCOMPARE(exitCode, 0);
    QVERIFY2(takeSummary(&written).startsWith("kestrova-cli: 0 written, 3 skipped, 0 failed in "),
             written.constData());
    QCOMPARE(fileBytes(m_dir.filePath(QStringLiteral("skipping/in1.png"))),
             QByteArray("there already"));
}

QTEST_GUILESS_MAIN(CliTerminalTest)
#include "tst_cli_terminal.moc"
