#include "batch.h"
#include "kestrova_version.h"
#include "options.h"
#include "stop.h"

#include <QCoreApplication>

#include <csignal>
#include <cstdio>

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("kestrova-cli"));
    QCoreApplication::setApplicationVersion(QStringLiteral(KESTROVA_VERSION));
    // A write past the file size limit then fails like any other write, and
    // is reported, instead of ending the process.
    std::signal(SIGXFSZ, SIG_IGN);
    // Likewise a write to a pipe whose reader has gone.
    std::signal(SIGPIPE, SIG_IGN);
    installStopHandlers();

    const ParseOutcome outcome = parseCommandLine(QCoreApplication::arguments());
    switch (outcome.kind) {
    case ParseOutcome::Help:
        std::fputs(qPrintable(outcome.text), stdout);
        return 0;
    case ParseOutcome::Version:
        std::printf("%s %s\n", qPrintable(QCoreApplication::applicationName()),
                    qPrintable(QCoreApplication::applicationVersion()));
        return 0;
    case ParseOutcome::UsageError:
        std::fprintf(stderr, "kestrova-cli: %s\nTry 'kestrova-cli --help' for more information.\n",
                     qPrintable(outcome.text));
        return 2;
    case ParseOutcome::Run:
        break;
    }
    return runBatch(outcome.commandLine);
}
