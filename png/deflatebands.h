#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

// A zlib stream compressed in bands, each on its own: libdeflate compresses
// a whole buffer at a time and ends it with a final block, so every band but
// the last has its final-block bit cleared and is padded to a byte boundary
// with an empty stored block, as a sync flush would leave it. The bands then
// follow one another as one deflate stream. A band starts without the
// previous band's bytes as its dictionary: the bands are large enough for
// that to cost little.

// The raw deflate data of one band at libdeflate's `level`; `last` for the
// band that ends the stream. Empty when memory ran out.
std::vector<std::uint8_t> deflateBand(int level, const std::uint8_t *data, std::size_t size,
                                      bool last);

// The zlib stream's two header bytes and its Adler-32 check value.
std::vector<std::uint8_t> zlibHeader(int level);
std::uint32_t adler32Of(const std::uint8_t *data, std::size_t size);
// The Adler-32 of two pieces one after the other, from theirs.
std::uint32_t combinedAdler32(std::uint32_t first, std::uint32_t second, std::size_t secondSize);

// A whole zlib stream of `data`, for the small chunks that hold one.
std::vector<std::uint8_t> zlibCompressed(const std::uint8_t *data, std::size_t size);
