// libFuzzer target: any bytes as a picture file, read and drawn.

#include "fuzztargets.h"

#include <QCoreApplication>

namespace {

// Qt's warnings about broken files would be most of the work.
void ignoreMessages(QtMsgType, const QMessageLogContext &, const QString &) { }

} // namespace

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    qInstallMessageHandler(ignoreMessages);
    // The image plugins are found through the application object.
    static QCoreApplication application(*argc, *argv);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzzReadAndDraw(data, size);
    return 0;
}
