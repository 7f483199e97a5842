#pragma once

#include "effect.h"

#include "coloursketch.h"
#include "contours.h"
#include "pencilsketch.h"
#include "pensketch.h"
#include "postersketch.h"

// Each effect's settings record filled from a drawing's values, by setting
// name: the one place where a setting meets its record's field. The table's
// draw functions and the window's pages both go through these.
ContourSettings contourSettings(const EffectValues &values);
PenSettings penSettings(const EffectValues &values);
PencilSettings pencilSettings(const EffectValues &values);
PosterSettings posterSettings(const EffectValues &values);
ColourSketchSettings colourSketchSettings(const EffectValues &values);
