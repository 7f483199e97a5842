// The progress line kestrova-cli draws when stderr is a terminal.

#include "clitest.h"

#include <QTemporaryDir>
#include <QTest>

#include <fcntl.h>
#include <pty.h>
#include <unistd.h>

using namespace clitest;

class CliTerminalTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void progressLineOnTerminal();
    void quietTerminal();
    void errorsClearTheLine();

private:
    // Runs the tool with stderr on a pseudo-terminal and returns what it wrote
    // there.
    QByteArray runOnTerminal(const QStringList &arguments, int *exitCode);

    QTemporaryDir m_dir;
};

void CliTerminalTest::initTestCase()
{
    QVERIFY(m_dir.isValid());
    for (int i = 0; i < 3; ++i)
        QVERIFY(savePicture(makePicture(120, 90, i),
                            m_dir.filePath(QStringLiteral("in%1.png").arg(i))));
}

QByteArray CliTerminalTest::runOnTerminal(const QStringList &arguments, int *exitCode)
{
    int master = -1;
    int slave = -1;
    if (openpty(&master, &slave, nullptr, nullptr, nullptr) != 0)
        return "openpty failed";
    const RunResult result
            = runCli(arguments, m_dir.path(), [slave] { dup2(slave, STDERR_FILENO); });
    ::close(slave);
    *exitCode = result.finished && result.exitStatus == QProcess::NormalExit ? result.exitCode : -1;
    fcntl(master, F_SETFL, fcntl(master, F_GETFL) | O_NONBLOCK);
    QByteArray written;
    char buffer[4096];
    for (ssize_t n; (n = ::read(master, buffer, sizeof buffer)) > 0;)
        written.append(buffer, n);
    ::close(master);
    return written;
}

void CliTerminalTest::progressLineOnTerminal()
{
    int exitCode = -1;
    const QByteArray written = runOnTerminal({QStringLiteral("pencil"), QStringLiteral("-j"),
                                              QStringLiteral("1"), QStringLiteral("in0.png"),
                                              QStringLiteral("in1.png"), QStringLiteral("in2.png"),
                                              QStringLiteral("-o"), QStringLiteral("out")},
                                             &exitCode);
    QCOMPARE(exitCode, 0);
    QVERIFY2(written.startsWith("kestrova-cli: 0/3 files"), written.constData());
    // Every redraw starts by clearing the line, and the line is gone at the end.
    QVERIFY2(written.endsWith("\r\033[K"), written.constData());
    QVERIFY(!written.contains('\n'));
    const QList<QByteArray> lines = written.split('\r');
    for (const QByteArray &line : lines) {
        if (!line.isEmpty())
            QVERIFY2(line.startsWith("\033[K") || line.startsWith("kestrova-cli: "),
                     line.constData());
    }
}

void CliTerminalTest::quietTerminal()
{
    int exitCode = -1;
    const QByteArray written = runOnTerminal({QStringLiteral("pen"), QStringLiteral("--quiet"),
                                              QStringLiteral("in0.png"), QStringLiteral("q.png")},
                                             &exitCode);
    QCOMPARE(exitCode, 0);
    QCOMPARE(written, QByteArray());
}

void CliTerminalTest::errorsClearTheLine()
{
    int exitCode = -1;
    const QByteArray written = runOnTerminal(
            {QStringLiteral("pen"), QStringLiteral("-j"), QStringLiteral("1"),
             QStringLiteral("in0.png"), QStringLiteral("missing.png"), QStringLiteral("in1.png"),
             QStringLiteral("-o"), QStringLiteral("errors")},
            &exitCode);
    QCOMPARE(exitCode, 1);
    // The message starts at the beginning of a cleared line and ends it.
    QVERIFY2(
            written.contains("\r\033[Kkestrova-cli: cannot read 'missing.png': File not found\r\n"),
            written.constData());
    QVERIFY2(written.endsWith("\r\033[K"), written.constData());
}

QTEST_GUILESS_MAIN(CliTerminalTest)
#include "tst_cli_terminal.moc"
