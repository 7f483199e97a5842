// Files kestrova-cli cannot read or write: clear messages naming the file,
// exit status 1, the other files still drawn, and never a partial file.

#include "clitest.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <sys/resource.h>
#include <unistd.h>

using namespace clitest;

class CliErrorsTest : public QObject
{
    Q_OBJECT

private slots:
    void unreadableFileInBatch();
    void unreadableSingleFile_data();
    void unreadableSingleFile();
    void writeIntoMissingFolder();
    void writeUnderRegularFile();
    void failedWriteKeepsExistingFile_data();
    void failedWriteKeepsExistingFile();
    void failedWriteInBatch();
    void readOnlyFolderKeepsExistingFile();
    void outputFolderIsAFile();
    void colourSketchWithoutLevel_data();
    void colourSketchWithoutLevel();
    void fileWithoutReadPermission();
    void libraryComplaintsInTheOneLine();
    void drawingTooWideForJpeg();

private:
    QByteArray pngBytes(int seed);
};

namespace {

// A PNG chunk: length, type, data and the CRC of type and data.
QByteArray pngChunk(const QByteArray &type, const QByteArray &data)
{
    QByteArray chunk;
    QDataStream stream(&chunk, QIODevice::WriteOnly);
    stream << quint32(data.size());
    chunk += type + data;
    quint32 crc = 0xFFFFFFFFu;
    for (const char byte : type + data) {
        crc ^= quint8(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    QByteArray tail;
    QDataStream tailStream(&tail, QIODevice::WriteOnly);
    tailStream << (crc ^ 0xFFFFFFFFu);
    return chunk + tail;
}

// The start of a 30000 x 30000 RGB picture (2.7 GB of pixels): its header
// and a first block of compressed rows.
QByteArray oversizedPng()
{
    QByteArray header;
    QDataStream stream(&header, QIODevice::WriteOnly);
    stream << quint32(30000) << quint32(30000) << quint8(8) << quint8(2) << quint8(0) << quint8(0)
           << quint8(0);
    // qCompress() puts the length before the zlib stream.
    const QByteArray rows = qCompress(QByteArray(1000, '\0')).mid(4);
    return QByteArray("\x89PNG\r\n\x1a\n", 8) + pngChunk("IHDR", header) + pngChunk("IDAT", rows)
            + pngChunk("IEND", QByteArray());
}

// Root reads and writes anything: the child runs as nobody then, as a user
// would.
void asUnprivilegedUser()
{
    if (geteuid() == 0 && (setgid(65534) != 0 || setuid(65534) != 0))
        _exit(99);
}

// Limits the size of every file the child writes to `bytes`: the drawing
// cannot be written in full.
std::function<void()> limitFileSize(rlim_t bytes = 100)
{
    return [bytes] {
        struct rlimit limit;
        limit.rlim_cur = bytes;
        limit.rlim_max = bytes;
        setrlimit(RLIMIT_FSIZE, &limit);
    };
}

} // namespace

QByteArray CliErrorsTest::pngBytes(int seed)
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("p.png"));
    if (!savePicture(makePicture(32, 24, seed), path))
        return {};
    return fileBytes(path);
}

void CliErrorsTest::unreadableFileInBatch()
{
    QTemporaryDir dir;
    QVERIFY(writeBytes(dir.filePath(QStringLiteral("good1.png")), pngBytes(1)));
    QVERIFY(writeBytes(dir.filePath(QStringLiteral("bad.png")), "not a picture at all"));
    QVERIFY(writeBytes(dir.filePath(QStringLiteral("good2.png")), pngBytes(2)));
    const RunResult result
            = runCli({QStringLiteral("pencil"), QStringLiteral("-j"), QStringLiteral("1"),
                      QStringLiteral("good1.png"), QStringLiteral("bad.png"),
                      QStringLiteral("good2.png"), QStringLiteral("-o"), QStringLiteral("out")},
                     dir.path());
    CLI_EXPECT_EXIT(result, 1);
    QVERIFY2(result.err.contains(QLatin1String("kestrova-cli: cannot read 'bad.png': ")),
             qPrintable(result.err));
    QVERIFY2(!result.err.contains(QLatin1String("good")), qPrintable(result.err));
    const QString out = dir.filePath(QStringLiteral("out"));
    QCOMPARE(folderEntries(out),
             QStringList({QStringLiteral("good1.png"), QStringLiteral("good2.png")}));
    for (const QString &name : {QStringLiteral("good1.png"), QStringLiteral("good2.png")})
        CLI_COMPARE_PIXELS(readWorking(out + QLatin1Char('/') + name),
                           corePencil(readWorking(dir.filePath(name))));
}

void CliErrorsTest::unreadableSingleFile_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<bool>("exists");
    // What the message says after the file name, as far as it is known.
    QTest::addColumn<QString>("reason");
    const QByteArray png = pngBytes(3);
    QTest::newRow("missing") << QByteArray() << false << QStringLiteral("File not found");
    QTest::newRow("empty file") << QByteArray() << true << QString();
    QTest::newRow("truncated png") << png.left(png.size() / 2) << true << QString();
    QTest::newRow("png header only") << png.left(40) << true << QString();
    QTest::newRow("text") << QByteArray("hello\n") << true << QString();
    // Refused by its header, before anything is decoded.
    QTest::newRow("beyond the size limit")
            << oversizedPng() << true
            << QStringLiteral("the picture is 30000 x 30000 pixels; pictures of up to 256 "
                              "megapixels are drawn\n");
}

void CliErrorsTest::unreadableSingleFile()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, exists);
    QFETCH(QString, reason);
    QTemporaryDir dir;
    if (exists)
        QVERIFY(writeBytes(dir.filePath(QStringLiteral("in.png")), bytes));
    const QStringList before = folderEntries(dir.path());
    const RunResult result
            = runCli({QStringLiteral("pen"), QStringLiteral("in.png"), QStringLiteral("out.png")},
                     dir.path());
    CLI_EXPECT_EXIT(result, 1);
    const QString message = QStringLiteral("kestrova-cli: cannot read 'in.png': ") + reason;
    QVERIFY2(result.err.contains(message), qPrintable(result.err));
    // A reason follows the file name.
    QVERIFY2(!result.err.contains(QLatin1String("'in.png': \n")), qPrintable(result.err));
    QCOMPARE(result.err.count(QLatin1Char('\n')), 1);
    QCOMPARE(folderEntries(dir.path()), before);
}

void CliErrorsTest::writeIntoMissingFolder()
{
    QTemporaryDir dir;
    QVERIFY(writeBytes(dir.filePath(QStringLiteral("in.png")), pngBytes(4)));
    const RunResult result = runCli(
            {QStringLiteral("pen"), QStringLiteral("in.png"), QStringLiteral("nowhere/out.png")},
            dir.path());
    // Refused before the picture is read.
    CLI_EXPECT_EXIT(result, 2);
    QVERIFY2(result.err.startsWith(QLatin1String("kestrova-cli: cannot write 'nowhere/out.png': "
                                                 "the folder 'nowhere' does not exist\n")),
             qPrintable(result.err));
    QCOMPARE(folderEntries(dir.path()), QStringList {QStringLiteral("in.png")});
}

void CliErrorsTest::writeUnderRegularFile()
{
    QTemporaryDir dir;
    QVERIFY(writeBytes(dir.filePath(QStringLiteral("in.png")), pngBytes(5)));
    QVERIFY(writeBytes(dir.filePath(QStringLiteral("notes.txt")), "notes"));
    const RunResult result = runCli(
            {QStringLiteral("pen"), QStringLiteral("in.png"), QStringLiteral("notes.txt/out.png")},
            dir.path());
    CLI_EXPECT_EXIT(result, 2);
    QVERIFY2(result.err.contains(QLatin1String("cannot write 'notes.txt/out.png': 'notes.txt' is "
                                               "not a folder")),
             qPrintable(result.err));
    QCOMPARE(folderEntries(dir.path()),
             QStringList({QStringLiteral("in.png"), QStringLiteral("notes.txt")}));
    QCOMPARE(fileBytes(dir.filePath(QStringLiteral("notes.txt"))), QByteArray("notes"));
}

void CliErrorsTest::failedWriteKeepsExistingFile_data()
{
    QTest::addColumn<QString>("output");
    QTest::addColumn<QStringList>("options");
    // A picture of several bands of compressed rows, cut off after some.
    QTest::addColumn<bool>("large");
    QTest::newRow("png") << QStringLiteral("out.png") << QStringList() << false;
    QTest::newRow("png small") << QStringLiteral("out.png") << QStringList {"--png-level", "small"}
                               << false;
    QTest::newRow("png transparent")
            << QStringLiteral("out.png") << QStringList {"--transparent"} << false;
    QTest::newRow("png large, 3 threads")
            << QStringLiteral("out.png") << QStringList {"--threads", "3"} << true;
    QTest::newRow("png large, small")
            << QStringLiteral("out.png") << QStringList {"--png-level", "small"} << true;
    QTest::newRow("jpeg") << QStringLiteral("out.jpg") << QStringList() << false;
}

// The file size limit stops the write part of the way: the PNG writer's
// bands, its chunks and Qt's JPEG writer alike.
void CliErrorsTest::failedWriteKeepsExistingFile()
{
    QFETCH(QString, output);
    QFETCH(QStringList, options);
    QFETCH(bool, large);
    QTemporaryDir dir;
    if (large)
        QVERIFY(savePicture(makePicture(1500, 1100, 6), dir.filePath(QStringLiteral("in.png"))));
    else
        QVERIFY(writeBytes(dir.filePath(QStringLiteral("in.png")), pngBytes(6)));
    const QByteArray earlier("an earlier drawing that must survive");
    QVERIFY(writeBytes(dir.filePath(output), earlier));
    const QStringList before = folderEntries(dir.path());
    const RunResult result = runCli(QStringList {QStringLiteral("pencil")} + options
                                            + QStringList {QStringLiteral("in.png"), output},
                                    dir.path(), limitFileSize(large ? 200000 : 100));
    CLI_EXPECT_EXIT(result, 1);
    QVERIFY2(result.err.contains(QStringLiteral("kestrova-cli: cannot write '%1': ").arg(output)),
             qPrintable(result.err));
    QCOMPARE(fileBytes(dir.filePath(output)), earlier);
    QCOMPARE(folderEntries(dir.path()), before);
}

void CliErrorsTest::failedWriteInBatch()
{
    QTemporaryDir dir;
    QDir folder(dir.path());
    for (const char *name : {"a.png", "b.png", "c.png"})
        QVERIFY(writeBytes(folder.filePath(QLatin1String(name)), pngBytes(name[0])));
    // A folder where b's drawing should go: only b fails.
    QVERIFY(folder.mkpath(QStringLiteral("out/b.png/inside")));
    const RunResult result
            = runCli({QStringLiteral("pen"), QStringLiteral("-j"), QStringLiteral("2"),
                      QStringLiteral("a.png"), QStringLiteral("b.png"), QStringLiteral("c.png"),
                      QStringLiteral("-o"), QStringLiteral("out")},
                     dir.path());
    CLI_EXPECT_EXIT(result, 1);
    QVERIFY2(result.err.contains(QLatin1String("cannot write 'out/b.png': ")),
             qPrintable(result.err));
    QCOMPARE(result.err.count(QLatin1String("kestrova-cli: ")), 1);
    QCOMPARE(folderEntries(folder.filePath(QStringLiteral("out"))),
             QStringList(
                     {QStringLiteral("a.png"), QStringLiteral("b.png"), QStringLiteral("c.png")}));
    QVERIFY(QFileInfo(folder.filePath(QStringLiteral("out/b.png/inside"))).isDir());
    CLI_COMPARE_PIXELS(readWorking(folder.filePath(QStringLiteral("out/c.png"))),
                       corePen(readWorking(folder.filePath(QStringLiteral("c.png")))));
}

void CliErrorsTest::readOnlyFolderKeepsExistingFile()
{
    QTemporaryDir dir;
    QVERIFY(QFile::setPermissions(dir.path(), QFileDevice::Permissions(0x7755)));
    QVERIFY(writeBytes(dir.filePath(QStringLiteral("in.png")), pngBytes(11)));
    const QString folder = dir.filePath(QStringLiteral("drawings"));
    QVERIFY(QDir().mkpath(folder));
    const QString output = QDir(folder).filePath(QStringLiteral("out.png"));
    const QByteArray earlier("an earlier drawing that must survive");
    QVERIFY(writeBytes(output, earlier));
    QVERIFY(QFile::setPermissions(output, QFileDevice::Permissions(0x6666)));
    QVERIFY(QFile::setPermissions(folder, QFileDevice::Permissions(0x5555)));
    const RunResult result = runCli({QStringLiteral("pen"), QStringLiteral("in.png"), output},
                                    dir.path(), asUnprivilegedUser);
    QFile::setPermissions(folder, QFileDevice::Permissions(0x7755));
    // Refused before the picture is read, with the usage line.
    CLI_EXPECT_EXIT(result, 2);
    QCOMPARE(result.err.count(QLatin1Char('\n')), 2);
    QVERIFY2(result.err.startsWith(QStringLiteral("kestrova-cli: cannot write '%1': the folder "
                                                  "'%2' is not writable\n")
                                           .arg(output, folder)),
             qPrintable(result.err));
    QCOMPARE(fileBytes(output), earlier);
    QCOMPARE(folderEntries(folder), QStringList {QStringLiteral("out.png")});
}

void CliErrorsTest::outputFolderIsAFile()
{
    QTemporaryDir dir;
    QVERIFY(writeBytes(dir.filePath(QStringLiteral("in.png")), pngBytes(7)));
    QVERIFY(writeBytes(dir.filePath(QStringLiteral("out")), "a file"));
    const RunResult result = runCli({QStringLiteral("pen"), QStringLiteral("in.png"),
                                     QStringLiteral("-o"), QStringLiteral("out")},
                                    dir.path());
    CLI_EXPECT_EXIT(result, 2);
    QVERIFY2(result.err.contains(QLatin1String("cannot write 'out/in.png': 'out' is not a folder")),
             qPrintable(result.err));
    QCOMPARE(fileBytes(dir.filePath(QStringLiteral("out"))), QByteArray("a file"));
}

void CliErrorsTest::colourSketchWithoutLevel_data()
{
    QTest::addColumn<QImage>("picture");
    QTest::addColumn<QStringList>("options");
    QTest::newRow("threshold 0") << makePicture(20, 10, 1) << QStringList {"--threshold", "0"};
    QTest::newRow("one colour") << QImage(QSize(12, 9), QImage::Format_RGB32)
                                << QStringList {"--threshold", "99"};
    QTest::newRow("brushstroke 0") << makePicture(20, 10, 2) << QStringList {"--brush", "0"};
    QTest::newRow("1 x 1") << makePicture(1, 1, 3) << QStringList {};
}

// No level reached means no picture: nothing is written and the file is
// named in one line.
void CliErrorsTest::colourSketchWithoutLevel()
{
    QFETCH(QImage, picture);
    QFETCH(QStringList, options);
    QTemporaryDir dir;
    const QString input = dir.filePath(QStringLiteral("flat.png"));
    if (picture.width() == 12)
        picture.fill(0xFF405060u);
    QVERIFY(savePicture(picture, input));
    const QString output = dir.filePath(QStringLiteral("out.png"));
    const RunResult result
            = runCli(QStringList {"color"} + options + QStringList {input, output}, dir.path());
    CLI_EXPECT_EXIT(result, 1);
    QVERIFY(!QFile::exists(output));
    QCOMPARE(folderEntries(dir.path()), QStringList {"flat.png"});
    QCOMPARE(result.err.count(QLatin1Char('\n')), 1);
    QVERIFY2(result.err.contains(input) && result.err.contains("nothing was written"),
             qPrintable(result.err));
}

void CliErrorsTest::fileWithoutReadPermission()
{
    QTemporaryDir dir;
    QVERIFY(QFile::setPermissions(dir.path(),
                                  QFileDevice::ReadOwner | QFileDevice::WriteOwner
                                          | QFileDevice::ExeOwner | QFileDevice::ReadOther
                                          | QFileDevice::WriteOther | QFileDevice::ExeOther));
    const QString input = dir.filePath(QStringLiteral("secret.png"));
    QVERIFY(writeBytes(input, pngBytes(8)));
    QVERIFY(QFile::setPermissions(input, QFileDevice::WriteOwner));
    const RunResult result = runCli({QStringLiteral("pen"), input, QStringLiteral("out.png")},
                                    dir.path(), asUnprivilegedUser);
    CLI_EXPECT_EXIT(result, 1);
    QCOMPARE(result.err,
             QStringLiteral("kestrova-cli: cannot read '%1': Permission denied\n").arg(input));
}

// libpng prints its errors on stderr itself; the tool tells them in its own
// line about the file.
void CliErrorsTest::libraryComplaintsInTheOneLine()
{
    QTemporaryDir dir;
    QByteArray png = pngBytes(9);
    // The last byte of the IDAT chunk's CRC, just before IEND (12 bytes).
    png[png.size() - 13] = char(png[png.size() - 13] ^ 0x5A);
    QVERIFY(writeBytes(dir.filePath(QStringLiteral("crc.png")), png));
    const RunResult result = runCli(
            {QStringLiteral("pencil"), QStringLiteral("crc.png"), QStringLiteral("out.png")},
            dir.path());
    CLI_EXPECT_EXIT(result, 1);
    QCOMPARE(result.err.count(QLatin1Char('\n')), 1);
    QVERIFY2(result.err.startsWith(QLatin1String("kestrova-cli: cannot read 'crc.png': "))
                     && result.err.contains(QLatin1String("CRC error")),
             qPrintable(result.err));
}

// JPEG holds at most 65500 pixels a side: said before any drawing.
void CliErrorsTest::drawingTooWideForJpeg()
{
    QTemporaryDir dir;
    QVERIFY(savePicture(makePicture(65501, 2, 10), dir.filePath(QStringLiteral("wide.png"))));
    const RunResult result = runCli(
            {QStringLiteral("pen"), QStringLiteral("wide.png"), QStringLiteral("wide.jpg")},
            dir.path());
    CLI_EXPECT_EXIT(result, 1);
    QCOMPARE(result.err,
             QStringLiteral("kestrova-cli: cannot write 'wide.jpg': the drawing of "
                            "'wide.png' would be 65501 x 2 pixels, and a JPEG file "
                            "holds at most 65500 pixels a side\n"));
    QCOMPARE(folderEntries(dir.path()), QStringList {QStringLiteral("wide.png")});
}

QTEST_GUILESS_MAIN(CliErrorsTest)
#include "tst_cli_errors.moc"
