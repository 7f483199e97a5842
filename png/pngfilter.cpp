#include "pngfilter.h"

#include <cstring>

namespace {

// The first pixel has no left neighbour; after it, every byte is computed
// the same way, which lets the loop vectorise. filteredByte() says the same
// byte by byte.
void subRow(const std::uint8_t *row, std::size_t bytes, int pixelBytes, std::uint8_t *out)
{
    for (std::size_t i = 0; i < bytes && i < std::size_t(pixelBytes); ++i)
        out[i] = row[i];
    for (std::size_t i = std::size_t(pixelBytes); i < bytes; ++i)
        out[i] = std::uint8_t(row[i] - row[i - pixelBytes]);
}

void upRow(const std::uint8_t *row, const std::uint8_t *above, std::size_t bytes, std::uint8_t *out)
{
    for (std::size_t i = 0; i < bytes; ++i)
        out[i] = std::uint8_t(row[i] - above[i]);
}

} // namespace

void filterRow(PngFilter filter, const std::uint8_t *row, const std::uint8_t *above,
               std::size_t bytes, int pixelBytes, std::uint8_t *out)
{
    out[0] = std::uint8_t(filter);
    ++out;
    switch (filter) {
    case PngFilter::None:
        std::memcpy(out, row, bytes);
        break;
    case PngFilter::Sub:
        subRow(row, bytes, pixelBytes, out);
        break;
    case PngFilter::Up:
        upRow(row, above, bytes, out);
        break;
    }
}
