#include "webpresolution.h"

#include <QtEndian>

#include <cstdint>
#include <numeric>

namespace {

constexpr std::uint8_t ExifFlag = 0x08;
constexpr std::uint8_t AlphaFlag = 0x10;
constexpr int ChunkHeader = 8;
// "RIFF", its size, "WEBP".
constexpr int FileHeader = 12;

void appendLittle16(QByteArray &bytes, std::uint16_t value)
{
    bytes.append(char(value & 0xff)).append(char(value >> 8));
}

void appendLittle32(QByteArray &bytes, std::uint32_t value)
{
    appendLittle16(bytes, std::uint16_t(value & 0xffff));
    appendLittle16(bytes, std::uint16_t(value >> 16));
}

void appendLittle24(QByteArray &bytes, std::uint32_t value)
{
    bytes.append(char(value & 0xff)).append(char((value >> 8) & 0xff)).append(char(value >> 16));
}

void appendChunk(QByteArray &file, const char *fourCC, const QByteArray &data)
{
    file.append(fourCC, 4);
    appendLittle32(file, std::uint32_t(data.size()));
    file.append(data);
    if (data.size() % 2)
        file.append('\0');
}

// dots per metre as dots per inch: dpm * 254 / 10000, in lowest terms.
void appendRational(QByteArray &bytes, int dotsPerMeter)
{
    const std::uint32_t numerator = std::uint32_t(qMax(1, dotsPerMeter)) * 254u;
    const std::uint32_t divisor = std::gcd(numerator, 10000u);
    appendLittle32(bytes, numerator / divisor);
    appendLittle32(bytes, 10000u / divisor);
}

// A little-endian TIFF header and one IFD: XResolution, YResolution and
// ResolutionUnit (inches).
QByteArray exifResolution(int dotsPerMeterX, int dotsPerMeterY)
{
    constexpr std::uint16_t Rational = 5;
    constexpr std::uint16_t Short = 3;
    constexpr std::uint32_t IfdStart = 8;
    constexpr std::uint16_t Entries = 3;
    constexpr std::uint32_t ValuesStart = IfdStart + 2 + Entries * 12 + 4;
    QByteArray exif("II\x2a\x00", 4);
    appendLittle32(exif, IfdStart);
    appendLittle16(exif, Entries);
    const struct
    {
        std::uint16_t tag;
        std::uint16_t type;
        std::uint32_t value;
    } entries[Entries] = {{0x011a, Rational, ValuesStart},
                          {0x011b, Rational, ValuesStart + 8},
                          {0x0128, Short, 2}};
    for (const auto &entry : entries) {
        appendLittle16(exif, entry.tag);
        appendLittle16(exif, entry.type);
        appendLittle32(exif, 1);
        appendLittle32(exif, entry.value);
    }
    appendLittle32(exif, 0);
    appendRational(exif, dotsPerMeterX);
    appendRational(exif, dotsPerMeterY);
    return exif;
}

// The canvas size of a simple file's only image, from its bitstream.
bool canvasSize(const QByteArray &chunkType, const char *data, qint64 size, std::uint32_t *width,
                std::uint32_t *height)
{
    const auto *bytes = reinterpret_cast<const std::uint8_t *>(data);
    if (chunkType == "VP8L" && size >= 5 && bytes[0] == 0x2f) {
        const std::uint32_t bits = qFromLittleEndian<std::uint32_t>(bytes + 1);
        *width = (bits & 0x3fff) + 1;
        *height = ((bits >> 14) & 0x3fff) + 1;
        return true;
    }
    if (chunkType == "VP8 " && size >= 10) {
        *width = qFromLittleEndian<std::uint16_t>(bytes + 6) & 0x3fff;
        *height = qFromLittleEndian<std::uint16_t>(bytes + 8) & 0x3fff;
        return true;
    }
    return false;
}

} // namespace

QByteArray withWebpResolution(const QByteArray &webp, int dotsPerMeterX, int dotsPerMeterY,
                              bool hasAlpha)
{
    if (webp.size() < FileHeader + ChunkHeader || !webp.startsWith("RIFF")
        || webp.mid(8, 4) != "WEBP")
        return {};
    const QByteArray firstType = webp.mid(FileHeader, 4);
    QByteArray chunks = webp.mid(FileHeader);
    if (firstType == "VP8X") {
        if (chunks.size() < ChunkHeader + 10)
            return {};
        chunks[ChunkHeader] = char(std::uint8_t(chunks.at(ChunkHeader)) | ExifFlag);
    } else {
        const qint64 size = qFromLittleEndian<std::uint32_t>(chunks.constData() + 4);
        std::uint32_t width = 0;
        std::uint32_t height = 0;
        if (size > chunks.size() - ChunkHeader
            || !canvasSize(firstType, chunks.constData() + ChunkHeader, size, &width, &height)
            || width < 1 || height < 1)
            return {};
        QByteArray header;
        header.append(char(ExifFlag | (hasAlpha ? AlphaFlag : 0)));
        header.append(3, '\0');
        appendLittle24(header, width - 1);
        appendLittle24(header, height - 1);
        QByteArray extended;
        appendChunk(extended, "VP8X", header);
        chunks = extended + chunks;
    }
    appendChunk(chunks, "EXIF", exifResolution(dotsPerMeterX, dotsPerMeterY));
    QByteArray file("RIFF");
    appendLittle32(file, std::uint32_t(4 + chunks.size()));
    return file + "WEBP" + chunks;
}
