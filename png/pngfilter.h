#pragma once

#include <cstddef>
#include <cstdint>

// The PNG row filters the writer uses, by their numbers in the file. Average
// and Paeth are left out: on drawings neither beat these three.
enum class PngFilter : std::uint8_t { None = 0, Sub = 1, Up = 2 };

// Byte `i` of a row as `filter` stores it; `pixelBytes` is the distance to
// the byte on the left, `above` the row above (zeros above the first row).
inline std::uint8_t filteredByte(PngFilter filter, const std::uint8_t *row,
                                 const std::uint8_t *above, std::size_t i, int pixelBytes)
{
    switch (filter) {
    case PngFilter::None:
        break;
    case PngFilter::Sub:
        return std::uint8_t(row[i] - (i >= std::size_t(pixelBytes) ? row[i - pixelBytes] : 0));
    case PngFilter::Up:
        return std::uint8_t(row[i] - above[i]);
    }
    return row[i];
}

// Writes the filter's number and then the `bytes` bytes of `row` filtered
// against `above` to `out` (bytes + 1 of them).
void filterRow(PngFilter filter, const std::uint8_t *row, const std::uint8_t *above,
               std::size_t bytes, int pixelBytes, std::uint8_t *out);
