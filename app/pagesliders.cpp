#include "pagesliders.h"

#include <QGroupBox>
#include <QSlider>

const std::vector<PageSlider> &pageSliders()
{
    static const std::vector<PageSlider> sliders = {
            {"pen", "black", "PencilLevelsSlider"},
            {"pen", "white", "pencilLevelSlider2"},
            {"pencil", "density", "horizontalSliderDens"},
            {"pencil", "black", "horizontalSliderMinCol"},
            {"pencil", "white", "horizontalSliderMaxCol"},
            {"pencil", "contour-black", "horizontalSliderBlackLevelContours"},
            {"pencil", "contour-white", "horizontalSliderWhiteLevelContours"},
            {"poster", "colors", "horizontalSliderPosterColors"},
            {"poster", "contour-black", "horizontalSliderPosterContourBlack"},
            {"poster", "contour-white", "horizontalSliderPosterContourWhite"},
            {"color", "threshold", "ColorThreshSlider"},
            {"color", "brush", "ClustersSizeSlider"},
    };
    return sliders;
}

const std::vector<PageContourBox> &pageContourBoxes()
{
    static const std::vector<PageContourBox> boxes = {
            {"pencil", "groupBoxContoursPencil"},
            {"poster", "groupBoxPosterContour"},
    };
    return boxes;
}

EffectValues pageValues(const QObject &window, const Effect &effect)
{
    EffectValues values = effect.defaults();
    for (const PageSlider &entry : pageSliders()) {
        if (qstrcmp(entry.effect, effect.name))
            continue;
        if (const auto *slider = window.findChild<QSlider *>(QLatin1String(entry.slider)))
            values.numbers[QLatin1String(entry.setting)] = slider->value();
    }
    for (const PageContourBox &entry : pageContourBoxes()) {
        if (qstrcmp(entry.effect, effect.name))
            continue;
        if (const auto *box = window.findChild<QGroupBox *>(QLatin1String(entry.box)))
            values.contours = box->isChecked();
    }
    return values;
}
