// Every format written: the same pixels as the PNG, the photo's resolution
// (or --dpi) and, for the drawings in the photo's colours, its colour
// profile; a full disk and a stop leave nothing behind.

#include "clitest.h"

#include <QColorSpace>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QHash>
#include <QImageWriter>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <csignal>
#include <memory>

#include <sys/types.h>

using namespace clitest;

class CliFormatsTest : public QObject
{
    Q_OBJECT

private slots:
    void init();

    void resolutionKept_data();
    void resolutionKept();
    void dpiSetsResolution_data();
    void dpiSetsResolution();
    void colourProfile_data();
    void colourProfile();
    void samePixelsAsPng_data();
    void samePixelsAsPng();
    void formatOption_data();
    void formatOption();
    void unknownSuffixListsFormats();
    void fullDisk_data();
    void fullDisk();
    void stopLeavesNothing_data();
    void stopLeavesNothing();

private:
    QString path(const QString &name) const { return m_dir->filePath(name); }
    // Draws photo.png with `effect` and the extra arguments to `output`.
    void draw(const QString &effect, const QString &output, const QStringList &extra = {});
    // The drawing as Qt reads it, metadata included.
    QImage drawn(const QString &output) const;

    std::unique_ptr<QTemporaryDir> m_dir;
};

namespace {

// 300 dots per inch.
constexpr int PhotoDotsPerMetre = 11811;

// Every format written, by the suffix that chooses it.
void addSuffixColumn()
{
    QTest::addColumn<QString>("suffix");
}

QStringList writtenSuffixes()
{
    QStringList suffixes = {QStringLiteral("png"), QStringLiteral("jpg")};
    // Through Qt's plugins, which the test's Qt has as the tool's does.
    if (QImageWriter::supportedImageFormats().contains("webp"))
        suffixes << QStringLiteral("webp");
    if (QImageWriter::supportedImageFormats().contains("tiff"))
        suffixes << QStringLiteral("tif");
    return suffixes;
}

// The resolution in dots per metre that a WebP file's Exif holds
// (XResolution, in inches), or -1. Qt's reader does not read it.
int webpDotsPerMetre(const QByteArray &file)
{
    for (qsizetype at = 12; at + 8 <= file.size();) {
        const QByteArray type = file.mid(at, 4);
        const qsizetype size = qFromLittleEndian<quint32>(file.constData() + at + 4);
        const QByteArray exif = file.mid(at + 8, size);
        at += 8 + size + size % 2;
        if (type != "EXIF" || !exif.startsWith("II*"))
            continue;
        const auto *bytes = reinterpret_cast<const uchar *>(exif.constData());
        const quint32 ifd = qFromLittleEndian<quint32>(bytes + 4);
        const quint16 count = qFromLittleEndian<quint16>(bytes + ifd);
        for (quint16 i = 0; i < count; ++i) {
            const uchar *entry = bytes + ifd + 2 + 12 * i;
            if (qFromLittleEndian<quint16>(entry) != 0x011a)
                continue;
            const uchar *ratio = bytes + qFromLittleEndian<quint32>(entry + 8);
            const double dpi = double(qFromLittleEndian<quint32>(ratio))
                    / qFromLittleEndian<quint32>(ratio + 4);
            return qRound(dpi / 0.0254);
        }
    }
    return -1;
}

// Pixels that no format compresses much.
QImage noise(int width, int height)
{
    QImage image(width, height, QImage::Format_RGB32);
    quint32 state = 12345;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            state = state * 1664525u + 1013904223u;
            image.setPixel(x, y, 0xff000000u | (state >> 8));
        }
    }
    return image;
}

} // namespace

namespace {

// The resolution a drawing of `path` carries, read as its format keeps it.
int dotsPerMetreX(const QString &path)
{
    if (path.endsWith(QLatin1String(".webp")))
        return webpDotsPerMetre(fileBytes(path));
    return QImage(path).dotsPerMeterX();
}

} // namespace

void CliFormatsTest::init()
{
    m_dir = std::make_unique<QTemporaryDir>();
    QVERIFY(m_dir->isValid());
    QImage photo = makePicture(36, 24, 3);
    photo.setDotsPerMeterX(PhotoDotsPerMetre);
    photo.setDotsPerMeterY(PhotoDotsPerMetre);
    photo.setColorSpace(QColorSpace(QColorSpace::DisplayP3));
    QVERIFY(photo.save(path("photo.png")));
}

void CliFormatsTest::draw(const QString &effect, const QString &output, const QStringList &extra)
{
    const RunResult result = runCli(
            QStringList {effect} + extra + QStringList {"photo.png", output}, m_dir->path());
    CLI_EXPECT_EXIT(result, 0);
    QCOMPARE(result.err, QString());
}

QImage CliFormatsTest::drawn(const QString &output) const
{
    return QImage(path(output));
}

void CliFormatsTest::resolutionKept_data()
{
    QTest::addColumn<QString>("effect");
    addSuffixColumn();
    for (const Effect &effect : effects()) {
        for (const QString &suffix : writtenSuffixes())
            QTest::addRow("%s %s", effect.name, qPrintable(suffix))
                    << QString::fromLatin1(effect.name) << suffix;
    }
}

void CliFormatsTest::resolutionKept()
{
    QFETCH(QString, effect);
    QFETCH(QString, suffix);
    const QString output = QStringLiteral("drawing.") + suffix;
    draw(effect, output);
    QCOMPARE(dotsPerMetreX(path(output)), PhotoDotsPerMetre);
    if (suffix != QLatin1String("webp"))
        QCOMPARE(drawn(output).dotsPerMeterY(), PhotoDotsPerMetre);
    // Scaled, the drawing keeps the photo's resolution.
    draw(effect, QStringLiteral("small.") + suffix, {"--size", "50%"});
    QCOMPARE(dotsPerMetreX(path(QStringLiteral("small.") + suffix)), PhotoDotsPerMetre);
}

void CliFormatsTest::dpiSetsResolution_data()
{
    addSuffixColumn();
    for (const QString &suffix : writtenSuffixes())
        QTest::newRow(qPrintable(suffix)) << suffix;
}

void CliFormatsTest::dpiSetsResolution()
{
    QFETCH(QString, suffix);
    const QString output = QStringLiteral("drawing.") + suffix;
    draw(QStringLiteral("pencil"), output, {"--dpi", "72"});
    // 72 / 0.0254 = 2834.6 dots per metre; JPEG keeps whole dots per inch.
    QCOMPARE(qRound(dotsPerMetreX(path(output)) * 0.0254), 72);
    const RunResult result = runCli({"pen", "--dpi", "0", "photo.png", output}, m_dir->path());
    CLI_EXPECT_EXIT(result, 2);
    QVERIFY(result.err.startsWith(
            QLatin1String("kestrova-cli: --dpi must be a whole number from 1 to 100000, not '0'")));
}

void CliFormatsTest::colourProfile_data()
{
    QTest::addColumn<QString>("effect");
    addSuffixColumn();
    QTest::addColumn<bool>("profile");
    for (const Effect &effect : effects()) {
        for (const QString &suffix : writtenSuffixes())
            QTest::addRow("%s %s", effect.name, qPrintable(suffix))
                    << QString::fromLatin1(effect.name) << suffix << effect.photoColours;
    }
}

void CliFormatsTest::colourProfile()
{
    QFETCH(QString, effect);
    QFETCH(QString, suffix);
    QFETCH(bool, profile);
    const QString output = QStringLiteral("drawing.") + suffix;
    draw(effect, output);
    const QColorSpace space = drawn(output).colorSpace();
    if (profile)
        QCOMPARE(space, QColorSpace(QColorSpace::DisplayP3));
    else
        QVERIFY2(!space.isValid(), qPrintable(space.description()));
}

void CliFormatsTest::samePixelsAsPng_data()
{
    QTest::addColumn<QString>("effect");
    addSuffixColumn();
    for (const Effect &effect : effects()) {
        for (const QString &suffix : writtenSuffixes()) {
            // JPEG alone is lossy.
            if (suffix != QLatin1String("jpg") && suffix != QLatin1String("png"))
                QTest::addRow("%s %s", effect.name, qPrintable(suffix))
                        << QString::fromLatin1(effect.name) << suffix;
        }
    }
}

void CliFormatsTest::samePixelsAsPng()
{
    QFETCH(QString, effect);
    QFETCH(QString, suffix);
    draw(effect, QStringLiteral("drawing.png"));
    draw(effect, QStringLiteral("drawing.") + suffix);
    CLI_COMPARE_PIXELS(readWorking(path(QStringLiteral("drawing.") + suffix)),
                       readWorking(path(QStringLiteral("drawing.png"))));
}

void CliFormatsTest::formatOption_data()
{
    QTest::addColumn<QString>("format");
    QTest::addColumn<QString>("file");
    QTest::addColumn<QByteArray>("start");
    QTest::newRow("png") << "png"
                         << "photo.png" << QByteArray("\x89PNG");
    QTest::newRow("jpeg") << "jpeg"
                          << "photo.jpg" << QByteArray("\xff\xd8");
    if (writtenSuffixes().contains(QLatin1String("webp")))
        QTest::newRow("webp") << "WebP"
                              << "photo.webp" << QByteArray("RIFF");
    if (writtenSuffixes().contains(QLatin1String("tif"))) {
        QTest::newRow("tiff") << "tiff"
                              << "photo.tif" << QByteArray("II*");
        QTest::newRow("tif") << "tif"
                             << "photo.tif" << QByteArray("II*");
    }
}

void CliFormatsTest::formatOption()
{
    QFETCH(QString, format);
    QFETCH(QString, file);
    QFETCH(QByteArray, start);
    const RunResult result
            = runCli({"pen", "--format", format, "photo.png", "-o", "out"}, m_dir->path());
    CLI_EXPECT_EXIT(result, 0);
    QCOMPARE(QDir(path("out")).entryList(QDir::Files), QStringList {file});
    QVERIFY(fileBytes(path("out/") + file).startsWith(start));
    // The same format to standard output.
    const RunResult piped = runCli({"pen", "--format", format, "photo.png", "-"}, m_dir->path());
    CLI_EXPECT_EXIT(piped, 0);
    QCOMPARE(piped.outBytes, fileBytes(path("out/") + file));
}

void CliFormatsTest::unknownSuffixListsFormats()
{
    const QHash<QString, QString> spelled
            = {{"png", ".png"}, {"jpg", ".jpg, .jpeg"}, {"webp", ".webp"}, {"tif", ".tif, .tiff"}};
    QStringList suffixes;
    for (const QString &suffix : writtenSuffixes())
        suffixes << spelled.value(suffix);
    // Written from outlines, without a plugin.
    suffixes << QStringLiteral(".svg");
    const QString listed = suffixes.join(QStringLiteral(", "));
    const qsizetype lastComma = listed.lastIndexOf(QLatin1String(", "));
    const QString expected
            = listed.left(lastComma) + QStringLiteral(" or ") + listed.mid(lastComma + 2);
    const RunResult result = runCli({"pen", "photo.png", "out.gif"}, m_dir->path());
    CLI_EXPECT_EXIT(result, 2);
    QCOMPARE(result.err.section(QLatin1Char('\n'), 0, 0),
             QStringLiteral("kestrova-cli: cannot tell the format of 'out.gif' from its suffix: "
                            "use %1")
                     .arg(expected));
}

namespace {

// Whether a process here can have mounts of its own. Inside a chroot,
// unshare cannot make the new namespace's mounts private and gives up.
bool ownMountNamespace()
{
    QProcess process;
    process.start(QStringLiteral("unshare"), {QStringLiteral("--mount"), QStringLiteral("true")});
    return process.waitForFinished(30000) && process.exitStatus() == QProcess::NormalExit
            && process.exitCode() == 0;
}

} // namespace

void CliFormatsTest::fullDisk_data()
{
    addSuffixColumn();
    for (const QString &suffix : writtenSuffixes())
        QTest::newRow(qPrintable(suffix)) << suffix;
}

// A file system of two pages, in a mount namespace of the tool's own: the
// drawing does not fit. The shell lists the folder before the namespace
// goes.
void CliFormatsTest::fullDisk()
{
    QFETCH(QString, suffix);
    if (geteuid() != 0)
        QSKIP("mounting a small file system takes root");
    if (!ownMountNamespace())
        QSKIP("no mount namespace of its own here (a chroot cannot make one)");
    QVERIFY(savePicture(noise(400, 400), path("large.png")));
    QVERIFY(QDir(m_dir->path()).mkdir("full"));
    QVERIFY(writeBytes(path("earlier.") + suffix, "an earlier drawing"));
    const QString script
            = QStringLiteral(
                      "mount -t tmpfs -o size=8k tmpfs full || exit 98; cp \"$1\" full/ || exit "
                      "97; "
                      "shift; \"$@\"; status=$?; ls -A full; cat \"full/earlier.%1\"; exit $status")
                      .arg(suffix);
    QProcess process;
    process.setWorkingDirectory(m_dir->path());
    process.start(QStringLiteral("unshare"),
                  {"--mount", "sh", "-c", script, "sh", path("earlier.") + suffix, cliPath(),
                   "poster", "--colors", "30", "large.png", "full/earlier." + suffix});
    QVERIFY(process.waitForFinished(120000));
    if (process.exitCode() == 98 || process.exitCode() == 97)
        QSKIP("no tmpfs could be mounted here");
    QCOMPARE(process.exitCode(), 1);
    QCOMPARE(QString::fromLocal8Bit(process.readAllStandardError()),
             QStringLiteral("kestrova-cli: cannot write 'full/earlier.%1': No space left on "
                            "device\n")
                     .arg(suffix));
    // No temporary file, and the earlier drawing as it was.
    QCOMPARE(QString::fromLocal8Bit(process.readAllStandardOutput()),
             QStringLiteral("earlier.%1\nan earlier drawing").arg(suffix));
}

void CliFormatsTest::stopLeavesNothing_data()
{
    addSuffixColumn();
    for (const QString &suffix : writtenSuffixes())
        QTest::newRow(qPrintable(suffix)) << suffix;
}

// SIGINT once the tool has its temporary file open: the file goes, and the
// second picture is not started.
void CliFormatsTest::stopLeavesNothing()
{
    QFETCH(QString, suffix);
    const QImage large = makePicture(2400, 1600, 10);
    QVERIFY(savePicture(large, path("a.png")) && savePicture(large, path("b.png")));
    QVERIFY(QDir(m_dir->path()).mkdir("out"));
    QProcess process;
    startCli(process,
             {"poster", "-j", "1", "--format", suffix, "a.png", "b.png", "-o", "out", "-q"},
             m_dir->path());
    const QDir out(path("out"));
    QElapsedTimer clock;
    clock.start();
    while (out.entryList(QDir::Files | QDir::Hidden).isEmpty()) {
        QVERIFY2(!process.waitForFinished(2) && clock.elapsed() < 300000,
                 "the tool never started to write");
    }
    ::kill(pid_t(process.processId()), SIGINT);
    QVERIFY(process.waitForFinished(60000));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), 130);
    const QStringList left = out.entryList(QDir::Files | QDir::Hidden);
    // The first drawing may have been complete when the stop came.
    QVERIFY2(left.isEmpty() || left == QStringList {QStringLiteral("a.") + suffix},
             qPrintable(left.join(QLatin1Char(' '))));
    if (!left.isEmpty())
        QCOMPARE(readWorking(path("out/a.") + suffix).size(), QSize(2400, 1600));
}

QTEST_GUILESS_MAIN(CliFormatsTest)
#include "tst_cli_formats.moc"
