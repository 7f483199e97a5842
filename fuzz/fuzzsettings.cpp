// The readers of settings files and palettes: whatever they accept, their
// writers write in a form they read back to the same values and bytes, and
// a palette paints nothing but its own colours.

#include "fuzztargets.h"

#include "fixedposter.h"
#include "gimppalette.h"
#include "presetfile.h"

#include <QByteArray>
#include <QImage>

#include <cstdlib>

namespace {

void require(bool condition)
{
    if (!condition)
        abort();
}

void presetBothWays(const QByteArray &bytes)
{
    Preset preset;
    PresetProblem problem;
    if (!parsePreset(bytes, &preset, &problem)) {
        require(!problem.text.isEmpty() && problem.line >= 0);
        return;
    }
    require(preset.effect != nullptr);
    const QByteArray text = presetText(*preset.effect, preset.values);
    Preset again;
    require(parsePreset(text, &again, &problem));
    require(again.effect == preset.effect);
    require(again.values.numbers == preset.values.numbers);
    require(again.values.contours == preset.values.contours);
    require(again.values.autoLevels == preset.values.autoLevels);
    require(presetText(*again.effect, again.values) == text);
}

void paletteBothWays(const QByteArray &bytes)
{
    QList<PaletteColour> colours;
    PaletteProblem problem;
    if (!parseGimpPalette(bytes, &colours, &problem)) {
        require(!problem.text.isEmpty() && problem.line >= 0);
        return;
    }
    require(!colours.isEmpty() && colours.size() <= MaxPaletteColours);
    const QByteArray text = gimpPaletteText(colours, QStringLiteral("fuzz"));
    QList<PaletteColour> again;
    require(parseGimpPalette(text, &again, &problem));
    require(again.size() == colours.size());
    for (qsizetype i = 0; i < colours.size(); ++i)
        require(again[i].rgb == colours[i].rgb && again[i].l == colours[i].l
                && again[i].a == colours[i].a && again[i].b == colours[i].b);
    require(gimpPaletteText(again, QStringLiteral("fuzz")) == text);

    // A picture of the first bytes' colours, in the palette's colours only.
    QImage picture(4, 4, QImage::Format_RGB32);
    for (int i = 0; i < 16; ++i)
        picture.setPixel(i % 4, i / 4, 0xFF000000u | uint(qHash(bytes.mid(i, 3)) & 0xFFFFFFu));
    const QImage poster = fixedPoster(picture, colours);
    for (int i = 0; i < 16; ++i) {
        const QRgb painted = poster.pixel(i % 4, i / 4);
        bool known = false;
        for (const PaletteColour &colour : std::as_const(colours))
            known = known || colour.rgb == painted;
        require(known);
    }
}

} // namespace

void fuzzSettingsFiles(const uint8_t *data, size_t size)
{
    const QByteArray bytes(reinterpret_cast<const char *>(data), qsizetype(size));
    presetBothWays(bytes);
    paletteBothWays(bytes);
}
