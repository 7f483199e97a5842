#include "fuzztargets.h"

#include "coloursketch.h"
#include "contours.h"
#include "edgemap.h"
#include "levels.h"
#include "pencilsketch.h"
#include "pensketch.h"
#include "picturelimits.h"
#include "postersketch.h"
#include "randomsequence.h"
#include "workingformat.h"

#include <QBuffer>
#include <QImageReader>

#include <cstdlib>
#include <vector>

namespace {

constexpr int LargestRead = 256;
constexpr int LargestMade = 64;

// Takes values from the front of the input, zero once it is used up.
class Bytes
{
public:
    Bytes(const uint8_t *data, size_t size)
        : m_data(data)
        , m_size(size)
    {
    }
    int next() { return m_at < m_size ? m_data[m_at++] : 0; }
    int between(int low, int high) { return low + (next() | next() << 8) % (high - low + 1); }
    const uint8_t *rest() const { return m_data + m_at; }
    size_t restSize() const { return m_size - m_at; }

private:
    const uint8_t *m_data;
    size_t m_size;
    size_t m_at = 0;
};

struct Sliders
{
    int black = 150, white = 255;
    PencilSettings pencil;
    PosterSettings poster;
    int threshold = 20, brush = 70;
};

Sliders slidersFrom(Bytes &bytes)
{
    Sliders s;
    s.black = bytes.between(0, 255);
    s.white = bytes.between(0, 255);
    s.pencil.density = bytes.between(1, 10);
    s.pencil.black = bytes.between(0, 255);
    s.pencil.white = bytes.between(0, 255);
    s.pencil.contours = bytes.next() % 2 == 0;
    s.pencil.contourBlack = bytes.between(0, 255);
    s.pencil.contourWhite = bytes.between(0, 255);
    s.poster.colours = bytes.between(2, 30);
    s.poster.contours = bytes.next() % 2 == 0;
    s.poster.contourBlack = bytes.between(0, 255);
    s.poster.contourWhite = bytes.between(0, 255);
    s.threshold = bytes.between(0, 99);
    s.brush = bytes.between(0, 500);
    return s;
}

void require(bool condition)
{
    if (!condition)
        abort();
}

// The colour sketch as the window makes it (every level shown) and as the
// tool makes it (only the last): the same picture.
void colourBothWays(const QImage &picture, int threshold, int brush)
{
    QImage lastShown;
    ColourSketchObserver observer;
    observer.level = [&lastShown](const QImage &level) { lastShown = level; };
    const QImage shown = colourSketch(picture, threshold, brush, {}, observer);
    const QImage made = colourSketch(picture, threshold, brush);
    require(shown.isNull() == made.isNull());
    require(shown == made && shown == lastShown);
    if (!made.isNull())
        require(made.width() == picture.width());
}

// Every effect, then the window's redraws of the stored layers. The colour
// sketch is made both ways when `bothColourWays` is set, once otherwise.
void drawEverything(const QImage &picture, const Sliders &s, bool bothColourWays)
{
    const QImage working = toWorkingFormat(picture);
    require(isWorkingFormat(working.format()));
    std::vector<unsigned char> edges(size_t(working.width()) * size_t(working.height()));
    labsobellight2(working, edges.data());
    require(pensketch(working, edges.data(), s.black, s.white).size() == working.size());

    RandomSequence random;
    QImage hatch, pen;
    const QImage pencil = pencilSketch(working, edges.data(), s.pencil, random, {}, &hatch, &pen);
    require(pencil.size() == working.size());
    levelimg(hatch, s.pencil.black, s.pencil.white);
    multiplyContours(pen, edges.data(), s.pencil.contourBlack, s.pencil.contourWhite);

    QImage plain;
    const QImage poster = posterSketch(working, edges.data(), s.poster, random, {}, &plain);
    require(poster.size() == working.size());
    layPosterContours(plain, edges.data(), s.poster.contourBlack, s.poster.contourWhite);

    QImage layer = working.copy();
    penLevels(layer, edges.data(), s.black, s.white);
    if (bothColourWays)
        colourBothWays(working, s.threshold, s.brush);
    else
        colourSketch(working, s.threshold, s.brush);
}

// The pixel formats Qt's readers give, and a few more.
const QImage::Format Formats[] = {
        QImage::Format_Mono,        QImage::Format_MonoLSB,
        QImage::Format_Indexed8,    QImage::Format_Grayscale8,
        QImage::Format_Grayscale16, QImage::Format_RGB32,
        QImage::Format_ARGB32,      QImage::Format_ARGB32_Premultiplied,
        QImage::Format_RGB888,      QImage::Format_RGBX64,
        QImage::Format_RGBA64,      QImage::Format_RGBA64_Premultiplied,
        QImage::Format_RGBA16FPx4,  QImage::Format_RGBA32FPx4,
        QImage::Format_RGBX32FPx4,  QImage::Format_RGB16,
        QImage::Format_Alpha8,
};

} // namespace

void fuzzReadAndDraw(const uint8_t *data, size_t size)
{
    QByteArray bytes
            = QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    const QSize claimed = reader.size();
    if (!claimed.isValid() || claimed.width() > LargestRead || claimed.height() > LargestRead)
        return;
    QString error;
    const QImage picture = readWithinLimits(reader, &error);
    if (picture.isNull()) {
        require(!error.isEmpty());
        return;
    }
    if (picture.width() > LargestRead || picture.height() > LargestRead)
        return;
    drawEverything(picture, Sliders(), false);
}

void fuzzEffects(const uint8_t *data, size_t size)
{
    Bytes bytes(data, size);
    const int width = bytes.between(1, LargestMade);
    const int height = bytes.between(1, LargestMade);
    const QImage::Format format = Formats[size_t(bytes.next()) % std::size(Formats)];
    const Sliders sliders = slidersFrom(bytes);
    // The pixels repeat what is left of the input; without any, one grey.
    QImage picture(width, height, QImage::Format_ARGB32);
    const uint8_t *rest = bytes.rest();
    const size_t count = bytes.restSize();
    for (int y = 0; y < height; ++y) {
        auto *line = reinterpret_cast<QRgb *>(picture.scanLine(y));
        for (int x = 0; x < width; ++x) {
            const size_t at = (size_t(y) * size_t(width) + size_t(x)) * 4;
            QRgb value = 0xFF808080u;
            if (count > 0) {
                value = 0;
                for (size_t k = 0; k < 4; ++k)
                    value = value << 8 | rest[(at + k) % count];
            }
            line[x] = value;
        }
    }
    drawEverything(picture.convertToFormat(format), sliders, true);
}
