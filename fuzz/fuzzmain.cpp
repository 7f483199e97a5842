// What both libFuzzer targets set up once, before the first input.

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
