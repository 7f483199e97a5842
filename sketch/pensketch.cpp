#include "pensketch.h"

#include "imagebuffer.h"
#include "levels.h"
#include "workingformat.h"

QImage pensketch(const QImage &source, const unsigned char *edges, const PenSettings &settings,
                 const Progress &progress)
{
    QImage sketch = newImage(source, toWorkingFormat(source).format());
    ColumnProgress columns(progress, 5, 95, source.width());
    const int height = source.height();
    // The contour layer is the same picture: one table lookup per pixel.
    // Bands of rows keep the progress moving on large pictures.
    constexpr int Band = 64;
    for (int top = 0; top < height; top += Band) {
        const int rows = qMin(Band, height - top);
        QImage band(sketch.scanLine(top), sketch.width(), rows, sketch.bytesPerLine(),
                    sketch.format());
        penLevels(band, edges + qsizetype(top) * source.width(), settings.black, settings.white);
        columns.advance(top + rows, height);
    }
    columns.finish();
    return sketch;
}
