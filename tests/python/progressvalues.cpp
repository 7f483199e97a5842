// Prints the progress values of every effect's drawing of a picture at its
// defaults, as the core reports them to the window's bar: the edge map's,
// then the effect's. One line an effect: its name, then the values.

#include "effect.h"
#include "workingformat.h"

#include <QImageReader>

#include <cstdio>

int main(int argc, char *argv[])
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: kestrova-progress-values PICTURE\n");
        return 2;
    }
    QImage picture;
    if (!QImageReader(QString::fromLocal8Bit(argv[1])).read(&picture)) {
        std::fprintf(stderr, "cannot read %s\n", argv[1]);
        return 1;
    }
    picture = toWorkingFormat(picture);
    for (const Effect &effect : effects()) {
        std::printf("%s", effect.name);
        Progress progress;
        progress.setValue = [](int value) { std::printf(" %d", value); };
        makeDrawing(effect, picture, effect.defaults(), progress, progress, nullptr);
        std::printf("\n");
    }
    return 0;
}
