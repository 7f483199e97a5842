#include "rowpacking.h"

namespace {

// One loop for each type, so that the compiler sees a fixed pixel size.
template<PngColourType Type>
void packAll(const QRgb *row, int width, std::uint8_t *out)
{
    constexpr int size = Type == PngColourType::Grey ? 1
            : Type == PngColourType::GreyAlpha       ? 2
            : Type == PngColourType::Rgb             ? 3
                                                     : 4;
    for (int x = 0; x < width; ++x)
        packPixel(row[x], Type, out + size_t(x) * size);
}

} // namespace

int bytesPerPixel(PngColourType type)
{
    switch (type) {
    case PngColourType::Grey:
        return 1;
    case PngColourType::GreyAlpha:
        return 2;
    case PngColourType::Rgb:
        return 3;
    case PngColourType::Rgba:
        break;
    }
    return 4;
}

void packRow(const QRgb *row, int width, PngColourType type, std::uint8_t *out)
{
    switch (type) {
    case PngColourType::Grey:
        packAll<PngColourType::Grey>(row, width, out);
        break;
    case PngColourType::GreyAlpha:
        packAll<PngColourType::GreyAlpha>(row, width, out);
        break;
    case PngColourType::Rgb:
        packAll<PngColourType::Rgb>(row, width, out);
        break;
    case PngColourType::Rgba:
        packAll<PngColourType::Rgba>(row, width, out);
        break;
    }
}
