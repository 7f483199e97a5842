#include "threadsbench.h"

#include "edgemap.h"
#include "parallel.h"
#include "pencilsketch.h"
#include "pensketch.h"
#include "postersketch.h"
#include "workingformat.h"

#include <QElapsedTimer>
#include <QLoggingCategory>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

namespace {

// Runs `work` with one thread, then two, `repeat` times, and prints the
// fastest time of each. The thread counts take turns, so that a burst of
// other work on the machine does not fall on one of them only.
void compare(const char *name, int repeat, const std::function<void()> &work)
{
    double best[2] = {1e300, 1e300};
    for (int run = 0; run < repeat; ++run) {
        for (const int threads : {1, 2}) {
            const ThreadBudget budget(threads);
            QElapsedTimer timer;
            timer.start();
            work();
            best[threads - 1] = std::min(best[threads - 1], timer.nsecsElapsed() / 1e6);
        }
    }
    printf("%-28s 1 thread %8.1f ms, 2 threads %8.1f ms: %.2f x\n", name, best[0], best[1],
           best[1] / best[0]);
}

} // namespace

int timeThreads(const QImage &image, int repeat)
{
    // The stages' own timings would fill the screen.
    QLoggingCategory::setFilterRules("kestrova.timing.debug=false");
    // As the window and kestrova-cli run them: with a progress callback.
    Progress progress;
    progress.setValue = [](int) {};
    for (const QImage::Format format :
         {QImage::Format_RGBA64, QImage::Format_Grayscale8, QImage::Format_Indexed8}) {
        const QImage read = image.convertToFormat(format);
        const QByteArray name = "conversion from format " + QByteArray::number(format);
        compare(name.constData(), repeat, [&] { toWorkingFormat(read); });
        double qt = 1e300;
        for (int run = 0; run < repeat; ++run) {
            QElapsedTimer timer;
            timer.start();
            const QImage converted = read.convertToFormat(QImage::Format_ARGB32);
            Q_UNUSED(converted);
            qt = std::min(qt, timer.nsecsElapsed() / 1e6);
        }
        printf("%-28s %.1f ms, on Qt's own threads\n", "  QImage::convertToFormat", qt);
    }
    std::vector<unsigned char> edges(size_t(image.width()) * size_t(image.height()));
    compare("edge map", repeat, [&] { labsobellight2(image, edges.data(), progress); });
    compare("pen sketch", repeat, [&] { pensketch(image, edges.data(), PenSettings(), progress); });
    compare("pencil sketch", repeat, [&] {
        RandomSequence random;
        pencilSketch(image, edges.data(), PencilSettings(), random, progress);
    });
    compare("poster", repeat, [&] {
        RandomSequence random;
        posterSketch(image, edges.data(), PosterSettings(), random, progress);
    });
    return 0;
}
