#pragma once

#include <QLoggingCategory>

// The segmenter's trace lines, off unless "kestrova.segment" is enabled for
// debug output.
Q_DECLARE_LOGGING_CATEGORY(lcSegment)
