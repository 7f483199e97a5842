#include "fuzztargets.h"

#include "coloursketch.h"
#include "contours.h"
#include "edgemap.h"
#include "effect.h"
#include "levels.h"
#include "pencilsketch.h"
#include "picturelimits.h"
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

// Values for every effect of the table from the input, each setting within
// its range; then levels for the window's redraws and a colour sketch.
struct Sliders
{
    std::vector<EffectValues> effects;
    int black = 150, white = 255;
    ColourSketchSettings colour;
};

Sliders slidersFrom(Bytes &bytes)
{
    Sliders s;
    for (const Effect &effect : effects()) {
        EffectValues values = effect.defaults();
        for (const EffectSetting &setting : effect.settings)
            values.numbers[QLatin1String(setting.name)]
                    = bytes.between(setting.minimum, setting.maximum);
        if (effect.contourLayer)
            values.contours = bytes.next() % 2 == 0;
        s.effects.push_back(values);
    }
    s.black = bytes.between(0, 255);
    s.white = bytes.between(0, 255);
    s.colour.threshold = bytes.between(0, 99);
    s.colour.brush = bytes.between(0, 500);
    return s;
}

Sliders startSliders()
{
    Sliders s;
    for (const Effect &effect : effects())
        s.effects.push_back(effect.defaults());
    return s;
}

void require(bool condition)
{
    if (!condition)
        abort();
}

// The colour sketch as the window makes it (every level shown) and as the
// tool makes it (only the last): the same picture.
void colourBothWays(const QImage &picture, const ColourSketchSettings &settings)
{
    QImage lastShown;
    ColourSketchObserver observer;
    observer.level = [&lastShown](const QImage &level) { lastShown = level; };
    const QImage shown = colourSketch(picture, settings, {}, observer);
    const QImage made = colourSketch(picture, settings);
    require(shown.isNull() == made.isNull());
    require(shown == made && shown == lastShown);
    if (!made.isNull())
        require(made.width() == picture.width());
}

// One effect; an effect with a contour layer also without it, from the same
// random state: the layer laid over that must give the drawing.
void drawEffect(const Effect &effect, const QImage &working, const unsigned char *edges,
                const EffectValues &values, RandomSequence &random, const Sliders &s)
{
    RandomSequence plainRandom = random;
    QString problem;
    const QImage drawing = effect.draw(working, effect.needsEdges ? edges : nullptr, values, random,
                                       {}, &problem);
    if (drawing.isNull()) {
        require(!problem.isEmpty());
        return;
    }
    require(drawing.width() == working.width());
    if (effect.greyDrawing)
        require(levelledHatching(drawing, s.black, s.white).size() == drawing.size());
    if (!effect.contourLayer || !values.contours)
        return;
    require(drawing.size() == working.size());
    EffectValues plainValues = values;
    plainValues.contours = false;
    const QImage plain = effect.draw(working, edges, plainValues, plainRandom, {}, &problem);
    ContourSettings contours;
    contours.black = values.value("contour-black");
    contours.white = values.value("contour-white");
    require(withContours(plain, edges, contours) == drawing);
}

// Every effect of the table from one random sequence, as the window draws
// them, then the window's redraws of stored layers. The colour sketch is
// also made both ways when `bothColourWays` is set.
void drawEverything(const QImage &picture, const Sliders &s, bool bothColourWays)
{
    const QImage working = toWorkingFormat(picture);
    require(isWorkingFormat(working.format()));
    std::vector<unsigned char> edges(size_t(working.width()) * size_t(working.height()));
    labsobellight2(working, edges.data());

    RandomSequence random;
    for (size_t i = 0; i < effects().size(); ++i)
        drawEffect(effects()[i], working, edges.data(), s.effects[i], random, s);

    QImage layer = working.copy();
    penLevels(layer, edges.data(), s.black, s.white);
    if (bothColourWays)
        colourBothWays(working, s.colour);
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
    drawEverything(picture, startSliders(), false);
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
