#pragma once

// Picture files built byte by byte: headers that claim what the data does
// not hold, broken checksums, several GIF frames. Qt's writers make only
// well-formed files, so these are written here.

#include <QByteArray>

namespace badbytes {

// A PNG chunk: length, type, data and the CRC of type and data.
QByteArray pngChunk(const QByteArray &type, const QByteArray &data);
// A PNG of an 8-bit RGB picture of `width` x `height` whose data is one
// compressed block of 1000 zero bytes: far too little for a large header.
QByteArray pngWithHeader(quint32 width, quint32 height);
// The signature and IHDR chunk only.
QByteArray pngHeaderOnly(quint32 width, quint32 height);
// A header, then a chunk that claims to be 2 GB long and ends at once.
QByteArray pngWithHugeChunk(quint32 width, quint32 height);
// `png` with the CRC of its first chunk of `type` inverted.
QByteArray withBadCrc(const QByteArray &png, const QByteArray &type);

// `jpeg` up to and including its start-of-scan header, without scan data.
QByteArray jpegHeaderOnly(const QByteArray &jpeg);
// `jpeg` with the height and width of its frame header replaced.
QByteArray withJpegSize(const QByteArray &jpeg, quint16 height, quint16 width);

// A GIF89a of three frames in four colours: the whole screen, a smaller
// frame inside it and one that reaches past its right and bottom edges.
QByteArray gifOfFrames(quint16 width, quint16 height);
// A GIF whose screen and one frame claim `width` x `height`, with a few
// pixels of data.
QByteArray gifBomb(quint16 width, quint16 height);

// A 24-bit BMP header claiming `width` x `height`, with a few pixels.
QByteArray bmpBomb(qint32 width, qint32 height);
// A little-endian 8-bit grey TIFF whose directory claims `width` x `height`
// in one strip of a few bytes.
QByteArray tiffBomb(quint32 width, quint32 height);

} // namespace badbytes
