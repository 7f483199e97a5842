#include "pensketch.h"

#include "imagebuffer.h"
#include "levels.h"
#include "workingformat.h"

namespace {

QImage sketchIn(QImage::Format format, const QImage &source, const unsigned char *edges,
                const PenSettings &settings, const Progress &progress)
{
    QImage sketch = newImage(source, format);
    // The contour layer is the same picture: one table lookup per pixel.
    ColumnProgress columns(progress, 5, 95, source.width());
    penLevels(sketch, edges, settings.black, settings.white, columns.bandProgress(source.height()));
    columns.finish();
    return sketch;
}

} // namespace

QImage pensketch(const QImage &source, const unsigned char *edges, const PenSettings &settings,
                 const Progress &progress)
{
    return sketchIn(workingFormatAsFile(source.format()), source, edges, settings, progress);
}

QImage pensketchGrey(const QImage &source, const unsigned char *edges, const PenSettings &settings,
                     const Progress &progress)
{
    return sketchIn(QImage::Format_Grayscale8, source, edges, settings, progress);
}
