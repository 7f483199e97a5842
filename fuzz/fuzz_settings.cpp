// libFuzzer target: any bytes as a settings file and as a GIMP palette.

#include "fuzztargets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzzSettingsFiles(data, size);
    return 0;
}
