#include "effect.h"

#include "edgemap.h"
#include "largearray.h"

#include <QColorSpace>

#include <memory>

const EffectSetting *Effect::setting(const QString &settingName) const
{
    for (const EffectSetting &candidate : settings) {
        if (settingName == QLatin1String(candidate.name))
            return &candidate;
    }
    return nullptr;
}

EffectValues Effect::defaults() const
{
    EffectValues values;
    for (const EffectSetting &candidate : settings)
        values.numbers.insert(QString::fromLatin1(candidate.name), candidate.defaultValue);
    return values;
}

const Effect *findEffect(const QString &name)
{
    for (const Effect &effect : effects()) {
        if (name == QLatin1String(effect.name))
            return &effect;
    }
    return nullptr;
}

namespace {

LargeArray<unsigned char> edgesFor(const Effect &effect, const QImage &picture,
                                   const Progress &progress)
{
    // Left unfilled: the edge map writes every byte, its frame included.
    LargeArray<unsigned char> edges;
    if (effect.needsEdges) {
        LargeArray<unsigned char>(size_t(picture.width()) * size_t(picture.height()),
                                  LargeArray<unsigned char>::Uninitialized)
                .swap(edges);
        labsobellight2(picture, edges.data(), progress);
    }
    return edges;
}

} // namespace

QImage makeDrawing(const Effect &effect, const QImage &picture, const EffectValues &values,
                   const Progress &edgeProgress, const Progress &effectProgress, QString *problem)
{
    const LargeArray<unsigned char> edges = edgesFor(effect, picture, edgeProgress);
    RandomSequence random;
    QString ignored;
    QImage drawing = effect.draw(picture, edges.data(), values, random, effectProgress,
                                 problem ? problem : &ignored);
    // A palette's colours are the file's, not the photograph's.
    if (effect.photoColours && values.palette.isEmpty() && !drawing.isNull())
        drawing.setColorSpace(picture.colorSpace());
    return drawing;
}

VectorLayers makeVectorLayers(const Effect &effect, const QImage &picture,
                              const EffectValues &values, const Progress &edgeProgress,
                              const Progress &effectProgress, QString *problem)
{
    if (!effect.layers)
        return {};
    const LargeArray<unsigned char> edges = edgesFor(effect, picture, edgeProgress);
    RandomSequence random;
    QString ignored;
    return effect.layers(picture, edges.data(), values, random, effectProgress,
                         problem ? problem : &ignored);
}
