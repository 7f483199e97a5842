#include "pictures.h"

#include "parallel.h"
#include "picturelimits.h"
#include "pixelkind.h"
#include "vectorclones.h"

#include <QString>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace py = pybind11;

namespace {

std::string shapeText(const py::array &array)
{
    std::string text = "(";
    for (py::ssize_t axis = 0; axis < array.ndim(); ++axis) {
        if (axis > 0)
            text += ", ";
        text += std::to_string(array.shape(axis));
    }
    return text + (array.ndim() == 1 ? ",)" : ")");
}

// Whether Qt can read the rows where they are: pixels packed within a row,
// rows at a positive distance that leaves room for a whole row.
bool qtReadsInPlace(const py::array &array, int width, int channels)
{
    if (array.ndim() == 3 && array.strides(2) != 1)
        return false;
    return array.strides(1) == channels && array.strides(0) >= qint64(width) * channels;
}

QImage::Format formatOf(int channels)
{
    switch (channels) {
    case 1:
        return QImage::Format_Grayscale8;
    case 3:
        return QImage::Format_RGB888;
    default:
        return QImage::Format_RGBA8888;
    }
}

} // namespace

PictureView pictureView(const py::handle &picture)
{
    if (!py::isinstance<py::array>(picture))
        throw py::type_error("the picture must be a NumPy array of uint8, not "
                             + std::string(py::str(py::type::handle_of(picture).attr("__name__"))));
    py::array array = py::reinterpret_borrow<py::array>(picture);
    const py::dtype type = array.dtype();
    if (type.kind() != 'u' || type.itemsize() != 1)
        throw py::type_error("the picture's values must be uint8, not "
                             + std::string(py::str(py::handle(type))));
    const bool shaped = array.ndim() == 2
            || (array.ndim() == 3 && (array.shape(2) == 3 || array.shape(2) == 4));
    if (!shaped)
        throw py::value_error("the picture must be H x W (grey), H x W x 3 (RGB) or H x W x 4 "
                              "(RGBA), not of shape "
                              + shapeText(array));
    if (array.shape(0) == 0 || array.shape(1) == 0)
        throw py::value_error("the picture is empty: its shape is " + shapeText(array));
    const QString problem = array.shape(0) > MaxPicturePixels || array.shape(1) > MaxPicturePixels
            ? QStringLiteral("the picture is %1 x %2 pixels; pictures of up to %3 megapixels "
                             "are drawn")
                      .arg(array.shape(1))
                      .arg(array.shape(0))
                      .arg(MaxPicturePixels / 1000000)
            : pictureSizeProblem(QSize(int(array.shape(1)), int(array.shape(0))));
    if (!problem.isEmpty())
        throw py::value_error(problem.toStdString());
    const int height = int(array.shape(0));
    const int width = int(array.shape(1));
    const int channels = array.ndim() == 2 ? 1 : int(array.shape(2));
    if (!qtReadsInPlace(array, width, channels))
        array = py::array::ensure(array, py::array::c_style);
    if (!array)
        throw py::error_already_set();
    const auto *bits = static_cast<const uchar *>(array.data());
    QImage image(bits, width, height, qsizetype(array.strides(0)), formatOf(channels));
    if (image.isNull())
        throw std::bad_alloc();
    return {std::move(array), std::move(image)};
}

int drawingChannels(const QImage &drawing)
{
    PixelKind kind;
    std::mutex mutex;
    parallelBands(drawing.height(), rowsOf(LightBandPixels, drawing.width()),
                  [&](int first, int end) {
                      const PixelKind bandKind = rowsKind(drawing, first, end);
                      const std::lock_guard<std::mutex> lock(mutex);
                      kind &= bandKind;
                  });
    if (kind.opaque)
        return kind.grey ? 1 : 3;
    return 4;
}

namespace {

// Writes `width` pixels of 32-bit ARGB (bytes B G R A in memory) as
// `Channels` bytes each, R G B A order; `out` may be `line` itself or lie
// before it. Opaque pixels take alpha 255 whatever their fourth byte holds.
template<int Channels, bool Opaque>
void packRowAs(const uchar *line, uchar *out, int width)
{
    for (int x = 0; x < width; ++x, line += 4, out += Channels) {
        const uchar blue = line[0], green = line[1], red = line[2], alpha = line[3];
        out[0] = red;
        if constexpr (Channels > 1) {
            out[1] = green;
            out[2] = blue;
        }
        if constexpr (Channels == 4)
            out[3] = Opaque ? uchar(255) : alpha;
    }
}

// The same for rows apart from their packed bytes, which the compiler can
// vectorise.
template<int Channels>
KESTROVA_VECTOR_CLONES void packRowApart(const uchar *__restrict line, uchar *__restrict out,
                                         int width)
{
    for (int x = 0; x < width; ++x) {
        out[Channels * x] = line[4 * x + 2];
        if constexpr (Channels > 1) {
            out[Channels * x + 1] = line[4 * x + 1];
            out[Channels * x + 2] = line[4 * x];
        }
    }
}

using PackRow = void (*)(const uchar *line, uchar *out, int width);

PackRow packRowFor(int channels, bool opaque)
{
    switch (channels) {
    case 1:
        return packRowAs<1, true>;
    case 3:
        return packRowAs<3, true>;
    default:
        return opaque ? packRowAs<4, true> : packRowAs<4, false>;
    }
}

PackRow packRowApartFor(int channels)
{
    return channels == 1 ? packRowApart<1> : packRowApart<3>;
}

// Closes up the rows of a grey drawing made a byte a pixel, whose lines Qt
// pads to whole 32-bit words: each row moves down over memory that only
// rows before it held.
void packGreyBytes(QImage &drawing)
{
    const qsizetype width = drawing.width();
    const qsizetype lineBytes = drawing.bytesPerLine();
    if (lineBytes == width)
        return;
    uchar *bits = drawing.bits();
    for (int y = 1; y < drawing.height(); ++y)
        std::memmove(bits + y * width, bits + y * lineBytes, size_t(width));
}

} // namespace

void packDrawing(QImage &drawing, int channels)
{
    if (drawing.format() == QImage::Format_Grayscale8) {
        Q_ASSERT(channels == 1);
        packGreyBytes(drawing);
        return;
    }
    const int width = drawing.width();
    const int height = drawing.height();
    const qsizetype lineBytes = drawing.bytesPerLine();
    const qsizetype packedBytes = qsizetype(width) * channels;
    uchar *bits = drawing.bits();
    const int grain = rowsOf(LightBandPixels, width);
    const PackRow inPlace = packRowFor(channels, drawing.format() == QImage::Format_RGB32);
    auto packRows = [&](PackRow pack, int first, int end) {
        for (int y = first; y < end; ++y)
            pack(bits + y * lineBytes, bits + y * packedBytes, width);
    };
    // Each row's packed bytes land at or before its own pixels and after
    // every earlier row's packed bytes: the rows could be packed one after
    // the other, in order. Four bytes a pixel stay where they are, so every
    // row can be packed at once.
    if (packedBytes >= lineBytes) {
        parallelBands(height, grain, [&](int first, int end) { packRows(inPlace, first, end); });
        return;
    }
    // Otherwise the rows go in steps: the rows of a step pack into memory
    // that only the rows before them held, all read already, and so all at
    // once. The steps grow by lineBytes / packedBytes each time; the first
    // rows go in order, one at a time, to start them.
    constexpr int FirstRows = 16;
    int first = std::min(height, FirstRows);
    packRows(inPlace, 0, first);
    const PackRow apart = packRowApartFor(channels);
    while (first < height) {
        const int end = int(std::min<qint64>(height, qint64(first) * lineBytes / packedBytes));
        parallelBands(end - first, grain,
                      [&](int from, int to) { packRows(apart, first + from, first + to); });
        first = end;
    }
}

namespace {

constexpr const char *DrawingCapsule = "kestrova.drawing";

} // namespace

py::array drawingArray(QImage &&drawing, int channels)
{
    auto *owner = new QImage(std::move(drawing));
    py::capsule capsule(owner, DrawingCapsule, [](PyObject *object) {
        delete static_cast<QImage *>(PyCapsule_GetPointer(object, DrawingCapsule));
    });
    const py::ssize_t height = owner->height();
    const py::ssize_t width = owner->width();
    std::vector<py::ssize_t> shape {height, width};
    std::vector<py::ssize_t> strides {width * channels, channels};
    if (channels > 1) {
        shape.push_back(channels);
        strides.push_back(1);
    }
    return py::array(py::dtype::of<std::uint8_t>(), shape, strides, owner->constBits(), capsule);
}

std::uintptr_t drawingAddress(const py::array &array)
{
    const py::handle base = array.base();
    if (!base || !PyCapsule_IsValid(base.ptr(), DrawingCapsule))
        return 0;
    const auto *owner
            = static_cast<const QImage *>(PyCapsule_GetPointer(base.ptr(), DrawingCapsule));
    return reinterpret_cast<std::uintptr_t>(owner->constBits());
}
