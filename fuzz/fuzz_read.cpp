// libFuzzer target: any bytes as a picture file, read and drawn.

#include "fuzztargets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzzReadAndDraw(data, size);
    return 0;
}
