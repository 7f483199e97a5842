#include "clitest.h"

#include "coloursketch.h"

#include "edgemap.h"
#include "pencilsketch.h"
#include "pensketch.h"
#include "postersketch.h"
#include "randomsequence.h"
#include "workingformat.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QHash>
#include <QImageReader>

#include <functional>
#include <vector>

#include <fcntl.h>
#include <pty.h>
#include <unistd.h>

namespace clitest {

QString cliPath()
{
    return QStringLiteral(KESTROVA_CLI_PATH);
}

void startCli(QProcess &process, const QStringList &arguments, const QString &workingDirectory,
              const std::function<void()> &childSetup)
{
    const QString program = cliPath();
    process.setProgram(childSetup ? testsupport::startableByNobody(program) : program);
    process.setArguments(arguments);
    if (!workingDirectory.isEmpty())
        process.setWorkingDirectory(workingDirectory);
    if (childSetup)
        process.setChildProcessModifier(childSetup);
    process.start();
}

namespace {

RunResult waitForCli(QProcess &process)
{
    RunResult result;
    result.finished = process.waitForFinished(120000);
    result.exitStatus = process.exitStatus();
    result.exitCode = process.exitCode();
    result.outBytes = process.readAllStandardOutput();
    result.out = QString::fromLocal8Bit(result.outBytes);
    result.err = QString::fromLocal8Bit(process.readAllStandardError());
    return result;
}

} // namespace

RunResult runCli(const QStringList &arguments, const QString &workingDirectory,
                 const std::function<void()> &childSetup)
{
    QProcess process;
    startCli(process, arguments, workingDirectory, childSetup);
    return waitForCli(process);
}

RunResult runCliWithInput(const QStringList &arguments, const QByteArray &input,
                          const QString &workingDirectory)
{
    QProcess process;
    startCli(process, arguments, workingDirectory);
    process.write(input);
    process.closeWriteChannel();
    return waitForCli(process);
}

PseudoTerminal::PseudoTerminal()
{
    if (openpty(&m_master, &m_slave, nullptr, nullptr, nullptr) != 0) {
        m_master = -1;
        m_slave = -1;
        return;
    }
    fcntl(m_master, F_SETFL, fcntl(m_master, F_GETFL) | O_NONBLOCK);
}

PseudoTerminal::~PseudoTerminal()
{
    if (m_slave >= 0)
        ::close(m_slave);
    if (m_master >= 0)
        ::close(m_master);
}

std::function<void()> PseudoTerminal::attach(int descriptor) const
{
    const int slave = m_slave;
    return [slave, descriptor] { dup2(slave, descriptor); };
}

QByteArray PseudoTerminal::read()
{
    if (m_slave >= 0) {
        ::close(m_slave);
        m_slave = -1;
    }
    QByteArray written;
    char buffer[4096];
    for (ssize_t n; (n = ::read(m_master, buffer, sizeof buffer)) > 0;)
        written.append(buffer, n);
    return written;
}

QString dataPath(const QString &name)
{
    return QStringLiteral(KESTROVA_CLI_DATA_DIR) + QLatin1Char('/') + name;
}

QImage makePicture(int width, int height, int seed)
{
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            int red = (x * 255) / qMax(1, width - 1);
            int green = (y * 255) / qMax(1, height - 1);
            int blue = (seed * 53 + x * y) % 256;
            if ((x / 6 + y / 5 + seed) % 3 == 0)
                red = 255 - red;
            image.setPixel(x, y, qRgb(red, green, blue));
        }
    }
    return image;
}

bool savePicture(const QImage &image, const QString &path)
{
    return image.save(path);
}

QByteArray fileBytes(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll();
}

bool writeBytes(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

QStringList folderEntries(const QString &path)
{
    return QDir(path).entryList(
            QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

QStringList folderTree(const QString &path)
{
    QStringList entries;
    QDirIterator it(path, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        entries << QDir(path).relativeFilePath(it.next());
    entries.sort();
    return entries;
}

QImage readWorking(const QString &path)
{
    QImage image;
    if (!QImageReader(path).read(&image))
        return {};
    return toWorkingFormat(image);
}

namespace {

std::vector<unsigned char> edgeMap(const QImage &working)
{
    std::vector<unsigned char> edges(size_t(working.width()) * size_t(working.height()));
    labsobellight2(working, edges.data());
    return edges;
}

} // namespace

namespace {

ContourSettings contourValues(const EffectValues &values)
{
    ContourSettings contours;
    contours.on = values.contours;
    contours.black = values.value("contour-black");
    contours.white = values.value("contour-white");
    return contours;
}

} // namespace

namespace {

using CoreDraw = std::function<QImage(const QImage &working, const unsigned char *edges,
                                      const EffectValues &values, RandomSequence &random)>;

// Each effect's core call, its record filled by hand rather than through the
// table, so that a slip in the table's own mapping shows.
const QHash<QString, CoreDraw> &coreDraws()
{
    static const QHash<QString, CoreDraw> draws = {
            {QStringLiteral("pen"),
             [](const QImage &working, const unsigned char *edges, const EffectValues &values,
                RandomSequence &) {
                 return pensketch(working, edges, {values.value("black"), values.value("white")});
             }},
            {QStringLiteral("pencil"),
             [](const QImage &working, const unsigned char *edges, const EffectValues &values,
                RandomSequence &random) {
                 PencilSettings settings;
                 settings.density = values.value("density");
                 settings.black = values.value("black");
                 settings.white = values.value("white");
                 settings.contours = contourValues(values);
                 return pencilSketch(working, edges, settings, random);
             }},
            {QStringLiteral("poster"),
             [](const QImage &working, const unsigned char *edges, const EffectValues &values,
                RandomSequence &random) {
                 PosterSettings settings;
                 settings.colours = values.value("colors");
                 settings.contours = contourValues(values);
                 return posterSketch(working, edges, settings, random);
             }},
            {QStringLiteral("color"),
             [](const QImage &working, const unsigned char *, const EffectValues &values,
                RandomSequence &) {
                 return colourSketch(working, {values.value("threshold"), values.value("brush")});
             }},
    };
    return draws;
}

} // namespace

bool coreKnows(const QString &effect)
{
    return coreDraws().contains(effect);
}

QImage coreDrawing(const QString &effect, const QImage &working, const EffectValues &values)
{
    const CoreDraw draw = coreDraws().value(effect);
    if (!draw)
        return {};
    const std::vector<unsigned char> edges = edgeMap(working);
    RandomSequence random;
    return draw(working, edges.data(), values, random);
}

QImage coreDrawing(const QString &effect, const QImage &working)
{
    const Effect *known = findEffect(effect);
    return known ? coreDrawing(effect, working, known->defaults()) : QImage();
}

QImage corePen(const QImage &working)
{
    return coreDrawing(QStringLiteral("pen"), working);
}

QImage corePencil(const QImage &working)
{
    return coreDrawing(QStringLiteral("pencil"), working);
}

} // namespace clitest
