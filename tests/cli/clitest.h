#pragma once

// Helpers shared by the command-line tool's tests: running the tool, making
// small input pictures and the drawings the core functions give in process.

#include "effect.h"
#include "testsupport.h"

#include <QByteArray>
#include <QImage>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <functional>

namespace clitest {

struct RunResult
{
    bool finished = false;
    QProcess::ExitStatus exitStatus = QProcess::CrashExit;
    int exitCode = -1;
    QString out;
    QString err;
    // Standard output byte for byte: a picture, with OUTPUT -.
    QByteArray outBytes;
};

// The kestrova-cli under test.
QString cliPath();

// Starts kestrova-cli with `arguments` in `workingDirectory` (the test's own
// when empty). `childSetup` runs in the child before the tool starts.
void startCli(QProcess &process, const QStringList &arguments, const QString &workingDirectory = {},
              const std::function<void()> &childSetup = {});
// Runs kestrova-cli as startCli() starts it, and waits for it.
RunResult runCli(const QStringList &arguments, const QString &workingDirectory = {},
                 const std::function<void()> &childSetup = {});
// As runCli(), with `input` on the tool's standard input.
RunResult runCliWithInput(const QStringList &arguments, const QByteArray &input,
                          const QString &workingDirectory = {});

// A pseudo-terminal for the tool's stderr: the tool then draws its progress
// line there.
class PseudoTerminal
{
public:
    PseudoTerminal();
    ~PseudoTerminal();
    PseudoTerminal(const PseudoTerminal &) = delete;
    PseudoTerminal &operator=(const PseudoTerminal &) = delete;

    bool isOpen() const { return m_master >= 0; }
    // A childSetup for startCli() and runCli() that makes this terminal the
    // tool's `descriptor`, stderr unless told.
    std::function<void()> attach(int descriptor = 2) const;
    // Everything the tool has written there and this side has not read yet.
    // Closes this side's copy of the tool's end first, once the tool is
    // started, so that nothing blocks after the tool has ended.
    QByteArray read();

private:
    int m_master = -1;
    int m_slave = -1;
};

// A file of the committed test data.
QString dataPath(const QString &name);

// A small picture with gradients and a few blocks; `seed` varies it.
QImage makePicture(int width, int height, int seed = 0);
// Saves `image`, format from the suffix; false when it cannot.
bool savePicture(const QImage &image, const QString &path);

QByteArray fileBytes(const QString &path);
bool writeBytes(const QString &path, const QByteArray &bytes);
// The names in a folder, hidden ones included, sorted.
QStringList folderEntries(const QString &path);
// Every path below a folder, relative to it, hidden ones included, sorted.
QStringList folderTree(const QString &path);

// Reads a picture as the tool does: QImageReader, then the working format.
QImage readWorking(const QString &path);
// The drawing the core functions give of a picture already in the working
// format, with the settings records filled here from `values` one by one,
// apart from the table's own filling, so that a slip there shows. Null for
// an effect that is not mapped in coreDraws() (see coreKnows) or that makes no picture.
QImage coreDrawing(const QString &effect, const QImage &working, const EffectValues &values);
// At the effect's defaults.
QImage coreDrawing(const QString &effect, const QImage &working);
// Whether coreDrawing() knows the effect: every effect of the table must be.
bool coreKnows(const QString &effect);
QImage corePen(const QImage &working);
QImage corePencil(const QImage &working);

} // namespace clitest

// Fails the current test with the first difference of two pictures, both
// read as ARGB32.
#define CLI_COMPARE_PIXELS(actual, expected) \
    KESTROVA_COMPARE_PICTURES((actual).convertToFormat(QImage::Format_ARGB32), \
                              (expected).convertToFormat(QImage::Format_ARGB32))

// Fails the current test unless the tool ended normally with `code`; shows
// the tool's stderr when it did not.
#define CLI_EXPECT_EXIT(result, code) \
    do { \
        QVERIFY2((result).finished, "kestrova-cli did not finish"); \
        QVERIFY2((result).exitStatus == QProcess::NormalExit, \
                 qPrintable(QStringLiteral("kestrova-cli crashed: ") + (result).err)); \
        QVERIFY2((result).exitCode == (code), \
                 qPrintable(QStringLiteral("exit code %1, expected %2; stderr: %3") \
                                    .arg((result).exitCode) \
                                    .arg(code) \
                                    .arg((result).err))); \
    } while (false)
