// libFuzzer target: any bytes as a small picture and slider values, through
// every effect.

#include "fuzztargets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzzEffects(data, size);
    return 0;
}
