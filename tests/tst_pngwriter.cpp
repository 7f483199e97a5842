// The drawing writer's PNG files: every kind of picture the effects make
// decodes to its own pixels with Qt, libpng and PIL, to the pixels Qt's own
// writer stores, in the smallest colour type, the same bytes for any number
// of threads, and pngcheck finds nothing wrong.

#include "lineart.h"
#include "pixelkind.h"
#include "pngwriter.h"
#include "testsupport.h"

#include <QBuffer>
#include <QImageReader>
#include <QImageWriter>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <png.h>

using namespace testsupport;

Q_DECLARE_METATYPE(PngColourType)

class PngWriterTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();

    void roundTrip_data();
    void roundTrip();
    void otherFormats_data();
    void otherFormats();
    void smallLevel();
    void keepsResolutionAndText();
    void stopsWhenAsked();
    void reportsDeviceErrors();
    void rowLoopsMatchPixelFunctions();

private:
    QTemporaryDir m_dir;
    QString m_pngcheck;
    QString m_python;
};

namespace {

// Pen and pencil drawings: opaque greys with flat white and some texture.
QImage greyDrawing(int width, int height, quint32 seed, QImage::Format format)
{
    QImage image = blockyPicture(width, height, seed, QImage::Format_RGB32).convertToFormat(format);
    for (int y = 0; y < height; ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < width; ++x) {
            const int grey = (x * 7 + y * 3) % 5 == 0 ? 255 : qGray(line[x]);
            line[x] = qRgb(grey, grey, grey);
        }
    }
    return image;
}

// Translucent pixels, among them fully transparent ones of any colour,
// which Qt's writer keeps as they are.
QImage withAlpha(QImage image, quint32 seed)
{
    image = image.convertToFormat(QImage::Format_ARGB32);
    quint32 state = seed * 2654435761u + 1;
    for (int y = 0; y < image.height(); ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < image.width(); ++x) {
            state = state * 1664525u + 1013904223u;
            const int alpha = (state >> 24) < 64 ? 0 : (state >> 24) < 128 ? 255 : int(state >> 24);
            line[x] = (line[x] & 0x00FFFFFFu) | (quint32(alpha) << 24);
        }
    }
    // However small the picture, one pixel is translucent.
    image.setPixel(0, 0, (image.pixel(0, 0) & 0x00FFFFFFu) | 0x80000000u);
    return image;
}

// Black lines on a transparent layer: grey and alpha.
QImage lineArtPicture(int width, int height, quint32 seed)
{
    QImage image = greyDrawing(width, height, seed, QImage::Format_ARGB32);
    for (int y = 0; y < height; ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < width; ++x)
            line[x] = qRgba(0, 0, 0, 255 - qRed(line[x]));
    }
    return image;
}

QByteArray encoded(const QImage &image, int threads, PngLevel level = PngLevel::Fast)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    PngWriteOptions options;
    options.threads = threads;
    options.level = level;
    QString error;
    if (!writePng(image, &buffer, options, &error))
        qWarning("writePng failed: %s", qPrintable(error));
    return bytes;
}

QImage decoded(const QByteArray &bytes)
{
    QByteArray copy = bytes;
    QBuffer buffer(&copy);
    buffer.open(QIODevice::ReadOnly);
    return QImageReader(&buffer, "png").read();
}

// What Qt's own writer stores, as Qt reads it back.
QImage throughQt(const QImage &image)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter(&buffer, "png").write(image);
    return decoded(bytes);
}

// The pixels as 8-bit RGBA, not premultiplied, row after row.
QByteArray rgbaBytes(const QImage &image)
{
    const QImage rgba = image.convertToFormat(QImage::Format_RGBA8888);
    QByteArray bytes;
    for (int y = 0; y < rgba.height(); ++y)
        bytes.append(reinterpret_cast<const char *>(rgba.constScanLine(y)), rgba.width() * 4);
    return bytes;
}

// libpng's own reading, through its simplified interface.
QByteArray throughLibpng(const QByteArray &file)
{
    png_image image {};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_memory(&image, file.constData(), size_t(file.size())))
        return "libpng: " + QByteArray(image.message);
    image.format = PNG_FORMAT_RGBA;
    QByteArray pixels(int(PNG_IMAGE_SIZE(image)), '\0');
    if (!png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr))
        return "libpng: " + QByteArray(image.message);
    return pixels;
}

const char *const PilScript = "import sys\n"
                              "from PIL import Image\n"
                              "for path in sys.argv[1:]:\n"
                              "    sys.stdout.buffer.write(Image.open(path).convert('RGBA')"
                              ".tobytes())\n";

} // namespace

void PngWriterTest::initTestCase()
{
    QVERIFY(m_dir.isValid());
    m_pngcheck = QStandardPaths::findExecutable(QStringLiteral("pngcheck"));
    if (m_pngcheck.isEmpty())
        QFAIL("pngcheck is missing: install Debian's package pngcheck "
              "(scripts/install-deps.sh --tests)");
    // Debian's python3, which python3-pil serves, before any other on PATH.
    m_python = QStandardPaths::findExecutable(QStringLiteral("python3"),
                                              {QStringLiteral("/usr/bin")});
    if (m_python.isEmpty())
        m_python = QStandardPaths::findExecutable(QStringLiteral("python3"));
    QProcess python;
    python.start(m_python, {QStringLiteral("-c"), QStringLiteral("import PIL")});
    if (!python.waitForFinished(30000) || python.exitStatus() != QProcess::NormalExit
        || python.exitCode() != 0)
        QFAIL("python3 with PIL is missing: install Debian's package python3-pil "
              "(scripts/install-deps.sh --tests)");
}

void PngWriterTest::roundTrip_data()
{
    QTest::addColumn<QImage>("image");
    QTest::addColumn<PngColourType>("type");
    using T = PngColourType;
    const QImage::Format rgb = QImage::Format_RGB32, argb = QImage::Format_ARGB32;
    QTest::newRow("grey 1x1") << greyDrawing(1, 1, 1, argb) << T::Grey;
    QTest::newRow("grey 1x37") << greyDrawing(1, 37, 2, argb) << T::Grey;
    QTest::newRow("grey 45x1") << greyDrawing(45, 1, 3, rgb) << T::Grey;
    // Over a megabyte of rows: several bands, the last one short.
    QTest::newRow("grey 1101x1003 bands") << greyDrawing(1101, 1003, 4, argb) << T::Grey;
    QTest::newRow("grey rgb32 333x517") << greyDrawing(333, 517, 5, rgb) << T::Grey;
    QTest::newRow("colour 1x1") << blockyPicture(1, 1, 6, rgb) << T::Rgb;
    QTest::newRow("colour 1x29") << blockyPicture(1, 29, 7, rgb) << T::Rgb;
    QTest::newRow("colour 31x1") << blockyPicture(31, 1, 8, argb) << T::Rgb;
    QTest::newRow("colour 613x701 bands") << blockyPicture(613, 701, 9, rgb) << T::Rgb;
    QTest::newRow("colour noise 97x103") << randomPicture(97, 103, 10, rgb) << T::Rgb;
    QTest::newRow("translucent 1x1") << withAlpha(blockyPicture(1, 1, 11), 1) << T::Rgba;
    QTest::newRow("translucent 23x1") << withAlpha(blockyPicture(23, 1, 12), 2) << T::Rgba;
    QTest::newRow("translucent 507x611 bands")
            << withAlpha(blockyPicture(507, 611, 13), 3) << T::Rgba;
    QTest::newRow("line art 1x1") << lineArtPicture(1, 1, 14) << T::GreyAlpha;
    QTest::newRow("line art 1x13") << lineArtPicture(1, 13, 15) << T::GreyAlpha;
    QTest::newRow("line art 811x733 bands") << lineArtPicture(811, 733, 16) << T::GreyAlpha;
    // Grey but translucent in places, and black but opaque.
    QTest::newRow("grey translucent")
            << withAlpha(greyDrawing(67, 45, 17, argb), 4) << T::GreyAlpha;
    QTest::newRow("black") << filled(19, 7, 0xFF000000u) << T::Grey;
}

// Decoded by Qt, libpng and PIL, the file gives the drawing and what Qt's
// writer stores, whatever the number of threads.
void PngWriterTest::roundTrip()
{
    QFETCH(QImage, image);
    QFETCH(PngColourType, type);
    const QByteArray bytes = encoded(image, 1);
    QVERIFY(!bytes.isEmpty());
    QCOMPARE(int(quint8(bytes.at(25))), int(type));
    QCOMPARE(int(choosePngLayout(image, PngLevel::Fast).colourType), int(type));
    const QImage back = decoded(bytes);
    KESTROVA_COMPARE_PICTURES(back.convertToFormat(QImage::Format_ARGB32),
                              image.convertToFormat(QImage::Format_ARGB32));
    KESTROVA_COMPARE_PICTURES(back.convertToFormat(QImage::Format_ARGB32),
                              throughQt(image).convertToFormat(QImage::Format_ARGB32));
    const QByteArray expected = rgbaBytes(image);
    QVERIFY(throughLibpng(bytes) == expected);
    for (const int threads : {2, 3, 8})
        QVERIFY2(encoded(image, threads) == bytes, qPrintable(QString::number(threads)));

    const QString path = m_dir.filePath(QString::fromLatin1(QTest::currentDataTag()) + ".png");
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    file.close();
    QProcess check;
    check.start(m_pngcheck, {path});
    QVERIFY(check.waitForFinished(30000));
    QVERIFY2(check.exitCode() == 0, check.readAllStandardOutput().constData());
    QProcess pil;
    pil.start(m_python, {QStringLiteral("-c"), QLatin1String(PilScript), path});
    QVERIFY(pil.waitForFinished(30000));
    QVERIFY2(pil.exitCode() == 0, pil.readAllStandardError().constData());
    QVERIFY(pil.readAllStandardOutput() == expected);
}

void PngWriterTest::otherFormats_data()
{
    QTest::addColumn<QImage>("image");
    QTest::addColumn<PngColourType>("type");
    const QImage colour = blockyPicture(57, 43, 21);
    const QImage translucent = withAlpha(colour, 5);
    QTest::newRow("premultiplied")
            << translucent.convertToFormat(QImage::Format_ARGB32_Premultiplied)
            << PngColourType::Rgba;
    QTest::newRow("rgb888") << colour.convertToFormat(QImage::Format_RGB888) << PngColourType::Rgb;
    QTest::newRow("grayscale8") << greyDrawing(57, 43, 22, QImage::Format_RGB32)
                                           .convertToFormat(QImage::Format_Grayscale8)
                                << PngColourType::Grey;
    QTest::newRow("rgba8888") << translucent.convertToFormat(QImage::Format_RGBA8888)
                              << PngColourType::Rgba;
    QTest::newRow("opaque argb32")
            << colour.convertToFormat(QImage::Format_ARGB32) << PngColourType::Rgb;
}

// Pictures the effects do not make still decode to what Qt's writer stores.
void PngWriterTest::otherFormats()
{
    QFETCH(QImage, image);
    QFETCH(PngColourType, type);
    const QByteArray bytes = encoded(image, 2);
    QCOMPARE(int(quint8(bytes.at(25))), int(type));
    KESTROVA_COMPARE_PICTURES(decoded(bytes).convertToFormat(QImage::Format_ARGB32),
                              throughQt(image).convertToFormat(QImage::Format_ARGB32));
}

// The sizes are the benchmark's to judge: on a picture this small, libdeflate's
// higher level does not always win.
void PngWriterTest::smallLevel()
{
    const QImage image = blockyPicture(401, 977, 31);
    const QByteArray small = encoded(image, 1, PngLevel::Small);
    QCOMPARE(encoded(image, 3, PngLevel::Small), small);
    KESTROVA_COMPARE_PICTURES(decoded(small).convertToFormat(QImage::Format_ARGB32),
                              image.convertToFormat(QImage::Format_ARGB32));
}

void PngWriterTest::keepsResolutionAndText()
{
    QImage image = greyDrawing(20, 10, 41, QImage::Format_ARGB32);
    image.setDotsPerMeterX(5906);
    image.setDotsPerMeterY(3000);
    image.setText(QStringLiteral("Description"), QStringLiteral("hatching"));
    image.setText(QStringLiteral("Title"), QStringLiteral("写真"));
    const QImage back = decoded(encoded(image, 1));
    QCOMPARE(back.dotsPerMeterX(), 5906);
    QCOMPARE(back.dotsPerMeterY(), 3000);
    QCOMPARE(back.text(QStringLiteral("Description")), QStringLiteral("hatching"));
    QCOMPARE(back.text(QStringLiteral("Title")), QStringLiteral("写真"));
}

void PngWriterTest::stopsWhenAsked()
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    PngWriteOptions options;
    options.threads = 2;
    options.stopped = [] { return true; };
    QString error;
    QVERIFY(!writePng(blockyPicture(300, 2000, 51), &buffer, options, &error));
    QCOMPARE(error, QStringLiteral("stopped"));
    QVERIFY(bytes.isEmpty());
}

namespace {

// Takes `room` bytes, then fails as a full disk does.
class FullDevice : public QIODevice
{
public:
    explicit FullDevice(qint64 room)
        : m_room(room)
    {
        open(QIODevice::WriteOnly);
    }

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *, qint64 size) override
    {
        if (size > m_room) {
            setErrorString(QStringLiteral("No space left on device"));
            return -1;
        }
        m_room -= size;
        return size;
    }

private:
    qint64 m_room;
};

} // namespace

void PngWriterTest::reportsDeviceErrors()
{
    for (const qint64 room : {0, 10, 40, 200}) {
        FullDevice device(room);
        QString error;
        QVERIFY(!writePng(blockyPicture(300, 200, 61), &device, PngWriteOptions(), &error));
        QCOMPARE(error, QStringLiteral("No space left on device"));
    }
}

// Each loop over a row says what its function for one pixel or byte says.
void PngWriterTest::rowLoopsMatchPixelFunctions()
{
    const QImage images[]
            = {withAlpha(blockyPicture(37, 3, 71), 7),
               greyDrawing(41, 3, 72, QImage::Format_ARGB32), lineArtPicture(29, 3, 73)};
    for (const QImage &image : images) {
        const auto *row = reinterpret_cast<const QRgb *>(image.constScanLine(1));
        const auto *above = reinterpret_cast<const QRgb *>(image.constScanLine(0));
        const QImage layer = lineArt(image);
        PixelKind kind;
        for (int x = 0; x < image.width(); ++x) {
            kind &= pixelKind(row[x]);
            QCOMPARE(lineArtPixel(row[x]), layer.pixel(x, 1));
        }
        const PixelKind rowResult = rowKind(row, image.width());
        QCOMPARE(rowResult.grey, kind.grey);
        QCOMPARE(rowResult.opaque, kind.opaque);
        for (const PngColourType type : {PngColourType::Grey, PngColourType::GreyAlpha,
                                         PngColourType::Rgb, PngColourType::Rgba}) {
            const int size = bytesPerPixel(type);
            const std::size_t bytes = std::size_t(image.width()) * size;
            std::vector<std::uint8_t> packed(bytes), packedAbove(bytes), one(4);
            packRow(row, image.width(), type, packed.data());
            packRow(above, image.width(), type, packedAbove.data());
            for (int x = 0; x < image.width(); ++x) {
                packPixel(row[x], type, one.data());
                QVERIFY(std::equal(one.begin(), one.begin() + size, packed.begin() + x * size));
            }
            for (const PngFilter filter : {PngFilter::None, PngFilter::Sub, PngFilter::Up}) {
                std::vector<std::uint8_t> filtered(bytes + 1);
                filterRow(filter, packed.data(), packedAbove.data(), bytes, size, filtered.data());
                QCOMPARE(int(filtered[0]), int(filter));
                for (std::size_t i = 0; i < bytes; ++i)
                    QCOMPARE(filtered[i + 1],
                             filteredByte(filter, packed.data(), packedAbove.data(), i, size));
            }
        }
    }
}

QTEST_GUILESS_MAIN(PngWriterTest)
#include "tst_pngwriter.moc"
