#include "pngchunks.h"

#include "deflatebands.h"

#include <QColorSpace>

#include <libdeflate.h>

namespace {

void appendBigEndian(std::vector<std::uint8_t> &bytes, std::uint32_t value)
{
    bytes.insert(bytes.end(),
                 {std::uint8_t(value >> 24), std::uint8_t(value >> 16), std::uint8_t(value >> 8),
                  std::uint8_t(value)});
}

void appendBytes(std::vector<std::uint8_t> &bytes, const QByteArray &more)
{
    bytes.insert(bytes.end(), more.begin(), more.end());
}

bool writeBytes(QIODevice *device, const std::uint8_t *data, std::size_t size)
{
    return size == 0
            || device->write(reinterpret_cast<const char *>(data), qint64(size)) == qint64(size);
}

bool writeChunk(QIODevice *device, const char *type, const std::vector<std::uint8_t> &data)
{
    return writeChunk(device, type, {{data.data(), data.size()}});
}

// A keyword is 1 to 79 Latin-1 characters.
bool validKeyword(const QString &key)
{
    if (key.isEmpty() || key.size() > 79)
        return false;
    for (const QChar c : key) {
        if (c.unicode() < 32 || c.unicode() > 255)
            return false;
    }
    return true;
}

bool isLatin1(const QString &text)
{
    for (const QChar c : text) {
        if (c.unicode() > 255)
            return false;
    }
    return true;
}

// tEXt for Latin-1 text, uncompressed iTXt in UTF-8 for any other.
bool writeText(QIODevice *device, const QString &key, const QString &value)
{
    std::vector<std::uint8_t> data;
    appendBytes(data, key.toLatin1());
    data.push_back(0);
    if (isLatin1(value)) {
        appendBytes(data, value.toLatin1());
        return writeChunk(device, "tEXt", data);
    }
    // No compression, no language tag, no translated keyword.
    data.insert(data.end(), {0, 0, 0, 0});
    appendBytes(data, value.toUtf8());
    return writeChunk(device, "iTXt", data);
}

bool writeColourSpace(QIODevice *device, const QImage &image)
{
    const QByteArray profile = image.colorSpace().iccProfile();
    if (profile.isEmpty())
        return true;
    const std::vector<std::uint8_t> stream = zlibCompressed(
            reinterpret_cast<const std::uint8_t *>(profile.constData()), size_t(profile.size()));
    if (stream.empty())
        return false;
    std::vector<std::uint8_t> data = {'I', 'C', 'C', ' ', 'P', 'r', 'o', 'f', 'i', 'l', 'e', 0, 0};
    data.insert(data.end(), stream.begin(), stream.end());
    return writeChunk(device, "iCCP", data);
}

} // namespace

bool writeSignature(QIODevice *device)
{
    static const std::uint8_t signature[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    return writeBytes(device, signature, sizeof signature);
}

bool writeChunk(QIODevice *device, const char *type, std::initializer_list<ChunkPiece> pieces)
{
    std::size_t size = 0;
    for (const ChunkPiece &piece : pieces)
        size += piece.size;
    std::vector<std::uint8_t> head;
    appendBigEndian(head, std::uint32_t(size));
    head.insert(head.end(), type, type + 4);
    std::uint32_t crc = libdeflate_crc32(0, head.data() + 4, 4);
    for (const ChunkPiece &piece : pieces)
        crc = libdeflate_crc32(crc, piece.data, piece.size);
    std::vector<std::uint8_t> tail;
    appendBigEndian(tail, crc);
    if (!writeBytes(device, head.data(), head.size()))
        return false;
    for (const ChunkPiece &piece : pieces) {
        if (!writeBytes(device, piece.data, piece.size))
            return false;
    }
    return writeBytes(device, tail.data(), tail.size());
}

bool writeHeader(QIODevice *device, QSize size, PngColourType type)
{
    std::vector<std::uint8_t> data;
    appendBigEndian(data, std::uint32_t(size.width()));
    appendBigEndian(data, std::uint32_t(size.height()));
    // Bit depth, colour type, deflate, adaptive filtering, no interlacing.
    data.insert(data.end(), {8, std::uint8_t(type), 0, 0, 0});
    return writeChunk(device, "IHDR", data);
}

bool writeMetadata(QIODevice *device, const QImage &image)
{
    if (!writeColourSpace(device, image))
        return false;
    if (image.dotsPerMeterX() > 0 || image.dotsPerMeterY() > 0) {
        std::vector<std::uint8_t> data;
        appendBigEndian(data, std::uint32_t(qMax(0, image.dotsPerMeterX())));
        appendBigEndian(data, std::uint32_t(qMax(0, image.dotsPerMeterY())));
        data.push_back(1); // per metre
        if (!writeChunk(device, "pHYs", data))
            return false;
    }
    for (const QString &key : image.textKeys()) {
        if (validKeyword(key) && !writeText(device, key, image.text(key)))
            return false;
    }
    return true;
}

bool writeEnd(QIODevice *device)
{
    return writeChunk(device, "IEND", {});
}
