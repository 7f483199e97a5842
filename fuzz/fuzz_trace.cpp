// libFuzzer target: any bytes as a small label map, traced and checked.

#include "fuzztargets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzzTrace(data, size);
    return 0;
}
