#include "badbytes.h"

#include <QDataStream>
#include <QtEndian>

#include <vector>

namespace badbytes {

namespace {

quint32 crc32(const QByteArray &bytes)
{
    quint32 crc = 0xFFFFFFFFu;
    for (const char byte : bytes) {
        crc ^= quint8(byte);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return crc ^ 0xFFFFFFFFu;
}

QByteArray bigEndian32(quint32 value)
{
    QByteArray bytes(4, '\0');
    qToBigEndian(value, bytes.data());
    return bytes;
}

QByteArray littleEndian16(quint16 value)
{
    QByteArray bytes(2, '\0');
    qToLittleEndian(value, bytes.data());
    return bytes;
}

QByteArray littleEndian32(quint32 value)
{
    QByteArray bytes(4, '\0');
    qToLittleEndian(value, bytes.data());
    return bytes;
}

const QByteArray PngSignature("\x89PNG\r\n\x1a\n", 8);

QByteArray ihdr(quint32 width, quint32 height)
{
    QByteArray header = bigEndian32(width) + bigEndian32(height);
    header += QByteArray("\x08\x02\x00\x00\x00", 5); // 8-bit RGB, no interlace
    return pngChunk("IHDR", header);
}

// Where the JPEG marker `code` starts, or -1.
int jpegMarker(const QByteArray &jpeg, quint8 code)
{
    for (int i = 2; i + 3 < jpeg.size();) {
        if (quint8(jpeg[i]) != 0xFF)
            return -1;
        if (quint8(jpeg[i + 1]) == code)
            return i;
        const int length = (quint8(jpeg[i + 2]) << 8) | quint8(jpeg[i + 3]);
        i += 2 + length;
    }
    return -1;
}

// LZW codes of 3 bits for pixels of a four-colour palette: a clear code
// before every two pixels keeps the table, and so the code size, from
// growing. Larger than real compression, and as valid.
QByteArray gifPixels(const std::vector<quint8> &pixels)
{
    constexpr int Clear = 4, End = 5, Bits = 3;
    QByteArray packed;
    quint32 buffer = 0;
    int filled = 0;
    auto put = [&](int code) {
        buffer |= quint32(code) << filled;
        filled += Bits;
        while (filled >= 8) {
            packed += char(buffer & 0xFF);
            buffer >>= 8;
            filled -= 8;
        }
    };
    for (size_t i = 0; i < pixels.size(); ++i) {
        if (i % 2 == 0)
            put(Clear);
        put(pixels[i] & 3);
    }
    put(End);
    if (filled > 0)
        packed += char(buffer & 0xFF);
    QByteArray data(1, char(2)); // the minimum code size
    for (int at = 0; at < packed.size(); at += 255) {
        const QByteArray block = packed.mid(at, 255);
        data += char(block.size()) + block;
    }
    return data + char(0);
}

QByteArray gifScreen(quint16 width, quint16 height)
{
    QByteArray bytes("GIF89a");
    bytes += littleEndian16(width) + littleEndian16(height);
    bytes += QByteArray("\x91\x00\x00", 3); // a global table of four colours
    bytes += QByteArray("\x10\x20\x80\xF0\xE0\x30\x20\xA0\x40\xFF\xFF\xFF", 12);
    return bytes;
}

QByteArray gifFrame(quint16 left, quint16 top, quint16 width, quint16 height, int seed)
{
    QByteArray bytes("\x21\xF9\x04\x04\x0A\x00\x00\x00", 8); // keep, 100 ms
    bytes += char(0x2C) + littleEndian16(left) + littleEndian16(top) + littleEndian16(width)
            + littleEndian16(height) + char(0);
    std::vector<quint8> pixels(size_t(width) * height);
    for (size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = quint8((i / 3 + i / width + size_t(seed)) % 4);
    return bytes + gifPixels(pixels);
}

} // namespace

QByteArray pngChunk(const QByteArray &type, const QByteArray &data)
{
    return bigEndian32(quint32(data.size())) + type + data + bigEndian32(crc32(type + data));
}

QByteArray pngWithHeader(quint32 width, quint32 height)
{
    QByteArray zeros(1000, '\0');
    // qCompress() puts the length before the zlib stream.
    const QByteArray rows = qCompress(zeros).mid(4);
    return PngSignature + ihdr(width, height) + pngChunk("IDAT", rows)
            + pngChunk("IEND", QByteArray());
}

QByteArray pngHeaderOnly(quint32 width, quint32 height)
{
    return PngSignature + ihdr(width, height);
}

QByteArray pngWithHugeChunk(quint32 width, quint32 height)
{
    return pngHeaderOnly(width, height) + bigEndian32(0x7FFFFFF0u) + "IDAT" + "\x78\x9c";
}

QByteArray withBadCrc(const QByteArray &png, const QByteArray &type)
{
    QByteArray bytes = png;
    for (int at = 8; at + 8 <= bytes.size();) {
        const quint32 length = qFromBigEndian<quint32>(bytes.constData() + at);
        const int crcAt = at + 8 + int(length);
        if (bytes.mid(at + 4, 4) == type && crcAt + 4 <= bytes.size()) {
            for (int i = 0; i < 4; ++i)
                bytes[crcAt + i] = char(~quint8(bytes[crcAt + i]));
            return bytes;
        }
        at = crcAt + 4;
    }
    return bytes;
}

QByteArray jpegHeaderOnly(const QByteArray &jpeg)
{
    const int scan = jpegMarker(jpeg, 0xDA);
    if (scan < 0)
        return jpeg.left(2);
    const int length = (quint8(jpeg[scan + 2]) << 8) | quint8(jpeg[scan + 3]);
    return jpeg.left(scan + 2 + length);
}

QByteArray withJpegSize(const QByteArray &jpeg, quint16 height, quint16 width)
{
    QByteArray bytes = jpeg;
    const int frame = jpegMarker(jpeg, 0xC0);
    if (frame < 0)
        return bytes;
    // FF C0, length (2), precision (1), then height and width.
    bytes[frame + 5] = char(height >> 8);
    bytes[frame + 6] = char(height & 0xFF);
    bytes[frame + 7] = char(width >> 8);
    bytes[frame + 8] = char(width & 0xFF);
    return bytes;
}

QByteArray gifOfFrames(quint16 width, quint16 height)
{
    QByteArray bytes = gifScreen(width, height);
    // Loop for ever.
    bytes += QByteArray("\x21\xFF\x0BNETSCAPE2.0\x03\x01\x00\x00\x00", 19);
    bytes += gifFrame(0, 0, width, height, 0);
    bytes += gifFrame(width / 4, height / 4, width / 2, height / 2, 1);
    bytes += gifFrame(width / 2, height / 2, width, height, 2);
    return bytes + char(0x3B);
}

QByteArray gifBomb(quint16 width, quint16 height)
{
    QByteArray bytes = gifScreen(width, height);
    bytes += char(0x2C) + littleEndian16(0) + littleEndian16(0) + littleEndian16(width)
            + littleEndian16(height) + char(0);
    bytes += gifPixels(std::vector<quint8>(64, 1));
    return bytes + char(0x3B);
}

QByteArray bmpBomb(qint32 width, qint32 height)
{
    const QByteArray pixels(48, char(0x7F));
    const quint32 rowBytes = (quint32(width) * 3 + 3) / 4 * 4;
    QByteArray bytes("BM");
    bytes += littleEndian32(quint32(54 + pixels.size())) + littleEndian32(0) + littleEndian32(54);
    bytes += littleEndian32(40) + littleEndian32(quint32(width)) + littleEndian32(quint32(height));
    bytes += littleEndian16(1) + littleEndian16(24) + littleEndian32(0);
    bytes += littleEndian32(rowBytes * quint32(height)); // wraps: only a claim
    bytes += littleEndian32(2835) + littleEndian32(2835) + littleEndian32(0) + littleEndian32(0);
    return bytes + pixels;
}

QByteArray tiffBomb(quint32 width, quint32 height)
{
    struct Field
    {
        quint16 tag, type;
        quint32 value;
    };
    constexpr quint16 Short = 3, Long = 4;
    const std::vector<Field> fields = {
            {256, Long, width}, {257, Long, height}, {258, Short, 8},
            {259, Short, 1},    {262, Short, 1},     {273, Long, 0},
            {277, Short, 1},    {278, Long, height}, {279, Long, 16},
    };
    const quint32 directoryAt = 8;
    const quint32 dataAt = directoryAt + 2 + 12 * quint32(fields.size()) + 4;
    QByteArray bytes("II*\0", 4);
    bytes += littleEndian32(directoryAt) + littleEndian16(quint16(fields.size()));
    for (const Field &field : fields) {
        bytes += littleEndian16(field.tag) + littleEndian16(field.type) + littleEndian32(1);
        const quint32 value = field.tag == 273 ? dataAt : field.value;
        bytes += field.type == Short ? littleEndian16(quint16(value)) + littleEndian16(0)
                                     : littleEndian32(value);
    }
    bytes += littleEndian32(0); // no next directory
    return bytes + QByteArray(16, char(0x40));
}

} // namespace badbytes
