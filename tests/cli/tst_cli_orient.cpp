// --auto-orient: a phone photo stored on its side, EXIF orientation 6, is
// drawn upright with the option and as stored without it.

#include "clitest.h"

#include <QBuffer>
#include <QDataStream>
#include <QImageReader>
#include <QTemporaryDir>
#include <QTest>
#include <QTransform>

#include "workingformat.h"

using namespace clitest;

class CliOrientTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void asStoredByDefault();
    void uprightWithAutoOrient();
    void uprightFromStandardInput();
    void noOrientationNoChange();

private:
    QTemporaryDir m_dir;
    // The pixels as the JPEG stores them, and turned upright.
    QImage m_stored;
    QImage m_upright;
};

namespace {

// An APP1 segment with a TIFF block of one entry: Orientation (0x0112), a
// SHORT, big-endian.
QByteArray exifSegment(quint16 orientation)
{
    QByteArray tiff;
    QDataStream stream(&tiff, QIODevice::WriteOnly);
    stream.setByteOrder(QDataStream::BigEndian);
    stream.writeRawData("MM", 2);
    stream << quint16(42) << quint32(8); // the first directory follows the header
    stream << quint16(1); // one entry
    stream << quint16(0x0112) << quint16(3) << quint32(1) << orientation << quint16(0);
    stream << quint32(0); // no further directory
    const QByteArray payload = QByteArray("Exif\0\0", 6) + tiff;
    QByteArray segment("\xff\xe1", 2);
    QDataStream length(&segment, QIODevice::Append);
    length.setByteOrder(QDataStream::BigEndian);
    length << quint16(payload.size() + 2);
    return segment + payload;
}

// `picture` as a JPEG whose EXIF block, right after the start-of-image
// marker, gives `orientation`.
QByteArray jpegWithOrientation(const QImage &picture, quint16 orientation)
{
    QByteArray jpeg;
    QBuffer buffer(&jpeg);
    buffer.open(QIODevice::WriteOnly);
    if (!picture.save(&buffer, "JPEG", 95) || !jpeg.startsWith("\xff\xd8"))
        return {};
    return jpeg.insert(2, exifSegment(orientation));
}

} // namespace

void CliOrientTest::initTestCase()
{
    QVERIFY(m_dir.isValid());
    // Wider than high, with a corner that tells the turns apart.
    QImage picture = makePicture(40, 24, 3);
    for (int y = 0; y < 6; ++y)
        for (int x = 0; x < 10; ++x)
            picture.setPixel(x, y, qRgb(0, 0, 0));
    const QByteArray jpeg = jpegWithOrientation(picture, 6);
    QVERIFY(!jpeg.isEmpty());
    QVERIFY(writeBytes(m_dir.filePath(QStringLiteral("portrait.jpg")), jpeg));
    QBuffer buffer;
    buffer.setData(jpeg);
    QImageReader reader(&buffer);
    reader.setAutoTransform(false);
    QVERIFY(reader.read(&m_stored));
    m_stored = toWorkingFormat(m_stored);
    QCOMPARE(m_stored.size(), QSize(40, 24));
    // Orientation 6: the top of the scene is on the stored picture's right,
    // so a quarter turn clockwise stands it up.
    m_upright = m_stored.transformed(QTransform().rotate(90));
    QCOMPARE(m_upright.size(), QSize(24, 40));
    QVERIFY(qGray(m_upright.pixel(23, 0)) < 30 && qGray(m_upright.pixel(0, 0)) > 30);
}

void CliOrientTest::asStoredByDefault()
{
    const RunResult result = runCli(
            {QStringLiteral("pen"), QStringLiteral("portrait.jpg"), QStringLiteral("stored.png")},
            m_dir.path());
    CLI_EXPECT_EXIT(result, 0);
    const QImage drawing = readWorking(m_dir.filePath(QStringLiteral("stored.png")));
    QCOMPARE(drawing.size(), QSize(40, 24));
    CLI_COMPARE_PIXELS(drawing, corePen(m_stored));
}

void CliOrientTest::uprightWithAutoOrient()
{
    const RunResult result = runCli({QStringLiteral("pencil"), QStringLiteral("--auto-orient"),
                                     QStringLiteral("portrait.jpg"), QStringLiteral("upright.png")},
                                    m_dir.path());
    CLI_EXPECT_EXIT(result, 0);
    const QImage drawing = readWorking(m_dir.filePath(QStringLiteral("upright.png")));
    QCOMPARE(drawing.size(), QSize(24, 40));
    CLI_COMPARE_PIXELS(drawing, corePencil(m_upright));
}

void CliOrientTest::uprightFromStandardInput()
{
    const RunResult result = runCliWithInput(
            {QStringLiteral("pen"), QStringLiteral("--auto-orient"), QStringLiteral("-"),
             QStringLiteral("-")},
            fileBytes(m_dir.filePath(QStringLiteral("portrait.jpg"))), m_dir.path());
    CLI_EXPECT_EXIT(result, 0);
    QImage drawing;
    QVERIFY(drawing.loadFromData(result.outBytes, "PNG"));
    CLI_COMPARE_PIXELS(drawing, corePen(m_upright));
}

void CliOrientTest::noOrientationNoChange()
{
    const QString input = m_dir.filePath(QStringLiteral("plain.png"));
    QVERIFY(savePicture(makePicture(30, 20, 4), input));
    const RunResult result = runCli({QStringLiteral("pen"), QStringLiteral("--auto-orient"), input,
                                     QStringLiteral("plain-drawing.png")},
                                    m_dir.path());
    CLI_EXPECT_EXIT(result, 0);
    CLI_COMPARE_PIXELS(readWorking(m_dir.filePath(QStringLiteral("plain-drawing.png"))),
                       corePen(readWorking(input)));
}

QTEST_GUILESS_MAIN(CliOrientTest)
#include "tst_cli_orient.moc"
