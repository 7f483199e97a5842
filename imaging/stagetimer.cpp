#include "stagetimer.h"

Q_LOGGING_CATEGORY(lcTiming, "kestrova.timing", QtInfoMsg)
