// Every input of the catalogue through kestrova-cli, with every effect:
// the tool ends normally with 0 or 1, and a failure is one line naming the
// file. The runs go a few at a time.

#include "catalogue.h"
#include "effect.h"
#include "picturelimits.h"
#include "testsupport.h"
#include "workingformat.h"

#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QImageReader>
#include <QProcess>
#include <QTest>

#include <memory>
#include <vector>

using namespace catalogue;

class TestBadInputsCli : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void everyInputEveryEffect();
    void folderIsAFileThatCannotBeRead();

private:
    struct Run
    {
        const Input *input;
        QString effect;
        QString output;
        std::unique_ptr<QProcess> process;
    };

    void start(Run &run);
    // Empty when the run ended as its input's expectation says.
    QString check(Run &run) const;

    QTemporaryDir m_dir;
    QTemporaryDir m_madeDir;
    std::vector<Input> m_inputs;
};

namespace {

constexpr int AtOnce = 4;

QStringList effectNames()
{
    QStringList names;
    for (const Effect &effect : effects())
        names << QLatin1String(effect.name);
    return names;
}

// Whether the effect makes a drawing of the input at its defaults, drawn in
// this process as the tool draws it: some effects make none of some
// pictures (a colour sketch of one colour).
bool drawsInProcess(const QString &effectName, const QString &path)
{
    QImageReader reader(path);
    QString error;
    const QImage picture = toWorkingFormat(readWithinLimits(reader, &error));
    const Effect *effect = findEffect(effectName);
    return !picture.isNull() && effect
            && !makeDrawing(*effect, picture, effect->defaults(), {}, {}, nullptr).isNull();
}

} // namespace

void TestBadInputsCli::initTestCase()
{
    QVERIFY(m_dir.isValid() && m_madeDir.isValid());
    m_inputs = committedInputs();
    QVERIFY2(!m_inputs.empty(), "the catalogue tests/data/bad/catalogue.txt is missing");
    for (const Input &input : madeInputs(m_madeDir))
        m_inputs.push_back(input);
    // The unprivileged runs write their drawings here.
    QFile::setPermissions(m_dir.path(), QFileDevice::Permissions(0x7777));
}

void TestBadInputsCli::start(Run &run)
{
    run.process = std::make_unique<QProcess>();
    const QString program = QStringLiteral(KESTROVA_CLI_PATH);
    run.process->setProgram(program);
    run.process->setArguments({run.effect, run.input->path, run.output});
    if (run.input->unprivileged) {
        run.process->setProgram(testsupport::startableByNobody(program));
        run.process->setChildProcessModifier(unprivilegedChild());
    }
    run.process->start();
}

QString TestBadInputsCli::check(Run &run) const
{
    QProcess &process = *run.process;
    const QString what = run.effect + QLatin1Char(' ') + run.input->name + QStringLiteral(": ");
    if (!process.waitForFinished(120000))
        return what + QStringLiteral("did not finish");
    const QString err = QString::fromLocal8Bit(process.readAllStandardError());
    if (process.exitStatus() != QProcess::NormalExit)
        return what + QStringLiteral("crashed: ") + err;
    const int code = process.exitCode();
    if (code != 0 && code != 1)
        return what + QStringLiteral("exit status %1: %2").arg(code).arg(err);
    const Expectation expected = run.input->expectation;
    if (code == 0) {
        if (expected == Expectation::Refused || expected == Expectation::TooLarge)
            return what + QStringLiteral("drew what should be refused");
        const QImage drawing(run.output);
        if (drawing.isNull())
            return what + QStringLiteral("no drawing written");
        return {};
    }
    // A drawing too large for its file format is refused before it is drawn.
    const bool unwritable = err.contains(QLatin1String("cannot write '%1'").arg(run.output));
    if (expected == Expectation::Draws && !unwritable
        && drawsInProcess(run.effect, run.input->path))
        return what + QStringLiteral("failed: ") + err;
    if (QFileInfo::exists(run.output))
        return what + QStringLiteral("failed but wrote a file");
    const QString verb = unwritable          ? QStringLiteral("write '%1'").arg(run.output)
            : expected == Expectation::Draws ? QStringLiteral("draw '%1'").arg(run.input->path)
                                             : QStringLiteral("read '%1'").arg(run.input->path);
    const QString start = QStringLiteral("kestrova-cli: cannot %1: ").arg(verb);
    const bool oneLine = err.count(QLatin1Char('\n')) == 1 && err.endsWith(QLatin1Char('\n'));
    if (!oneLine || (expected != Expectation::Either && !err.startsWith(start))
        || !err.contains(run.input->path))
        return what + QStringLiteral("not one line naming the file: ") + err;
    if (expected == Expectation::TooLarge
        && !err.contains(QLatin1String("pictures of up to 256 megapixels are drawn")))
        return what + QStringLiteral("no word of the size: ") + err;
    return {};
}

void TestBadInputsCli::everyInputEveryEffect()
{
    std::vector<Run> runs;
    for (const Input &input : m_inputs) {
        for (const QString &effect : effectNames()) {
            const QString output
                    = QDir(m_dir.path())
                              .filePath(QStringLiteral("%1-%2.png").arg(runs.size()).arg(effect));
            runs.push_back({&input, effect, output, nullptr});
        }
    }
    QStringList failures;
    for (size_t first = 0; first < runs.size(); first += AtOnce) {
        const size_t end = qMin(runs.size(), first + AtOnce);
        for (size_t i = first; i < end; ++i)
            start(runs[i]);
        for (size_t i = first; i < end; ++i) {
            const QString failure = check(runs[i]);
            if (!failure.isEmpty())
                failures << failure;
        }
    }
    QVERIFY2(failures.isEmpty(), qPrintable(failures.join(QLatin1Char('\n'))));
    qInfo("%d inputs, %d runs", int(m_inputs.size()), int(runs.size()));
}

// A folder given where a file belongs cannot be read: exit status 1, one
// line naming the folder, nothing written.
void TestBadInputsCli::folderIsAFileThatCannotBeRead()
{
    const QString folder = m_madeDir.filePath(QStringLiteral("folder.png"));
    QVERIFY(QFileInfo(folder).isDir());
    for (const QString &effect : effectNames()) {
        QProcess process;
        process.start(QStringLiteral(KESTROVA_CLI_PATH),
                      {effect, folder, m_dir.filePath(QStringLiteral("from-folder.png"))});
        QVERIFY(process.waitForFinished(60000));
        QCOMPARE(process.exitStatus(), QProcess::NormalExit);
        QCOMPARE(process.exitCode(), 1);
        const QString err = QString::fromLocal8Bit(process.readAllStandardError());
        QCOMPARE(err,
                 QStringLiteral("kestrova-cli: cannot read '%1': it is a folder: add -r to draw "
                                "the pictures in it\n")
                         .arg(folder));
        QVERIFY(!QFileInfo::exists(m_dir.filePath(QStringLiteral("from-folder.png"))));
    }
}

QTEST_GUILESS_MAIN(TestBadInputsCli)
#include "tst_badinputs_cli.moc"
