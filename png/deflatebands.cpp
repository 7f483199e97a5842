#include "deflatebands.h"

#include <libdeflate.h>
#include <zlib.h>

#include <memory>

namespace {

struct CompressorDeleter
{
    void operator()(libdeflate_compressor *compressor) const
    {
        libdeflate_free_compressor(compressor);
    }
};

using Compressor = std::unique_ptr<libdeflate_compressor, CompressorDeleter>;

// A compressor for `level`, kept by each thread for its next band: making one
// costs as much as compressing a few kilobytes.
libdeflate_compressor *compressorFor(int level)
{
    thread_local int keptLevel = -1;
    thread_local Compressor kept;
    if (!kept || keptLevel != level) {
        kept.reset(libdeflate_alloc_compressor(level));
        keptLevel = level;
    }
    return kept.get();
}

// A raw inflater kept by each thread and reset for every band: setting one up
// and ending it for every band had the threads wait on each other in the
// allocator.
class Inflater
{
public:
    Inflater() { m_ready = inflateInit2(&m_stream, -MAX_WBITS) == Z_OK; }
    ~Inflater()
    {
        if (m_ready)
            inflateEnd(&m_stream);
    }
    Inflater(const Inflater &) = delete;
    Inflater &operator=(const Inflater &) = delete;

    // The inflater, ready for a new stream; null when it could not be made.
    z_stream *reset()
    {
        if (!m_ready || inflateReset(&m_stream) != Z_OK)
            return nullptr;
        return &m_stream;
    }

private:
    z_stream m_stream {};
    bool m_ready = false;
};

// Where the last block of a raw deflate stream starts and where its data
// ends, in bits from the start. libdeflate does not tell; zlib's inflate
// stops at every block boundary when asked to and says how many bits of the
// last byte it took are unused. False when the stream does not decode.
bool lastBlockBits(const std::uint8_t *data, std::size_t size, std::size_t *lastStart,
                   std::size_t *end)
{
    thread_local Inflater inflater;
    z_stream *reset = inflater.reset();
    if (!reset)
        return false;
    z_stream &stream = *reset;
    // The decoded bytes are not wanted: inflate keeps its own window.
    thread_local std::vector<std::uint8_t> scratch(std::size_t(1) << 16);
    stream.next_in = const_cast<std::uint8_t *>(data);
    stream.avail_in = uInt(size);
    *lastStart = 0;
    *end = size * 8 + 8;
    int result = Z_OK;
    while (result == Z_OK || result == Z_BUF_ERROR) {
        stream.next_out = scratch.data();
        stream.avail_out = uInt(scratch.size());
        result = inflate(&stream, Z_BLOCK);
        const std::size_t taken = size - stream.avail_in;
        const std::size_t unused = std::size_t(stream.data_type & 7);
        // Stopped just after a block: before the next one's header, or
        // after the last one, before the padding to the byte boundary is
        // dropped.
        if (result == Z_OK && (stream.data_type & 128)) {
            if (stream.data_type & 64)
                *end = taken * 8 - unused;
            else
                *lastStart = taken * 8 - unused;
        }
        if (result == Z_BUF_ERROR && stream.avail_in == 0)
            break;
    }
    return result == Z_STREAM_END && *end <= size * 8 && size * 8 - *end < 8;
}

// Lets a following band continue the stream: the last block is no longer
// the final one, and an empty stored block (three zero header bits, zero
// padding to the byte boundary, then the lengths 0 and ~0) ends it on a
// byte boundary.
bool continueAfter(std::vector<std::uint8_t> &band)
{
    std::size_t lastStart = 0, end = 0;
    if (!lastBlockBits(band.data(), band.size(), &lastStart, &end))
        return false;
    band[lastStart / 8] &= std::uint8_t(~(1u << (lastStart % 8)));
    // libdeflate pads its last byte with zero bits: the stored block's
    // header fits in them when there are three or more.
    const std::size_t padding = band.size() * 8 - end;
    if (padding < 3)
        band.push_back(0);
    band.insert(band.end(), {0x00, 0x00, 0xFF, 0xFF});
    return true;
}

} // namespace

std::vector<std::uint8_t> deflateBand(int level, const std::uint8_t *data, std::size_t size,
                                      bool last)
{
    libdeflate_compressor *compressor = compressorFor(level);
    if (!compressor)
        return {};
    // Compressed into memory the thread has used before, then copied out at
    // its size: with a fresh buffer of the worst case's size for every band,
    // the threads spent as long in page faults as they gained.
    thread_local std::vector<std::uint8_t> scratch;
    scratch.resize(libdeflate_deflate_compress_bound(compressor, size));
    const std::size_t written
            = libdeflate_deflate_compress(compressor, data, size, scratch.data(), scratch.size());
    if (written == 0)
        return {};
    std::vector<std::uint8_t> band;
    band.reserve(written + 5);
    band.assign(scratch.begin(), scratch.begin() + std::ptrdiff_t(written));
    if (!last && !continueAfter(band))
        return {};
    return band;
}

std::vector<std::uint8_t> zlibHeader(int level)
{
    // Deflate with a 32 KiB window; the level field only informs, and the
    // check bits make the pair a multiple of 31.
    if (level <= 1)
        return {0x78, 0x01};
    if (level <= 5)
        return {0x78, 0x5E};
    if (level <= 6)
        return {0x78, 0x9C};
    return {0x78, 0xDA};
}

std::uint32_t adler32Of(const std::uint8_t *data, std::size_t size)
{
    return libdeflate_adler32(1, data, size);
}

std::uint32_t combinedAdler32(std::uint32_t first, std::uint32_t second, std::size_t secondSize)
{
    return std::uint32_t(adler32_combine(first, second, z_off_t(secondSize)));
}

std::vector<std::uint8_t> zlibCompressed(const std::uint8_t *data, std::size_t size)
{
    const Compressor compressor(libdeflate_alloc_compressor(9));
    if (!compressor)
        return {};
    std::vector<std::uint8_t> stream(libdeflate_zlib_compress_bound(compressor.get(), size));
    stream.resize(
            libdeflate_zlib_compress(compressor.get(), data, size, stream.data(), stream.size()));
    return stream;
}
