#pragma once

#include <QImage>

#include <cstdint>

// The PNG colour types a drawing is written in, by their numbers in the file.
enum class PngColourType : std::uint8_t { Grey = 0, Rgb = 2, GreyAlpha = 4, Rgba = 6 };

// Bytes a pixel takes in a PNG row of this colour type, at 8 bits a channel.
int bytesPerPixel(PngColourType type);

// One pixel as the row of `type` stores it, at `out`: red stands for grey,
// alpha is not premultiplied.
inline void packPixel(QRgb pixel, PngColourType type, std::uint8_t *out)
{
    switch (type) {
    case PngColourType::Grey:
        out[0] = std::uint8_t(qRed(pixel));
        break;
    case PngColourType::GreyAlpha:
        out[0] = std::uint8_t(qRed(pixel));
        out[1] = std::uint8_t(qAlpha(pixel));
        break;
    case PngColourType::Rgb:
        out[0] = std::uint8_t(qRed(pixel));
        out[1] = std::uint8_t(qGreen(pixel));
        out[2] = std::uint8_t(qBlue(pixel));
        break;
    case PngColourType::Rgba:
        out[0] = std::uint8_t(qRed(pixel));
        out[1] = std::uint8_t(qGreen(pixel));
        out[2] = std::uint8_t(qBlue(pixel));
        out[3] = std::uint8_t(qAlpha(pixel));
        break;
    }
}

// `width` 32-bit ARGB pixels as packPixel() stores them, one after another.
void packRow(const QRgb *row, int width, PngColourType type, std::uint8_t *out);
