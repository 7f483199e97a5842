#pragma once

#include "effect.h"

#include <QObject>

// Where the window's form meets the table of effects. The form's object
// names are fixed, so each setting's slider and each contour layer's group
// box are named here, once; the pages read their values through this, and
// tst_formtable checks it against the table and the form.
struct PageSlider
{
    const char *effect;
    const char *setting;
    const char *slider;
};

struct PageContourBox
{
    const char *effect;
    const char *box;
};

const std::vector<PageSlider> &pageSliders();
const std::vector<PageContourBox> &pageContourBoxes();

// The values an effect's page shows in `window`: each setting from its
// slider, the contour layer on while the page's box is checked.
EffectValues pageValues(const QObject &window, const Effect &effect);
