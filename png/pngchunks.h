#pragma once

#include "rowpacking.h"

#include <QByteArray>
#include <QIODevice>
#include <QImage>

#include <cstdint>
#include <initializer_list>
#include <vector>

// The container around a PNG file's pixels: signature, chunks and their
// checksums.

// A piece of a chunk's data, written without being copied together.
struct ChunkPiece
{
    const std::uint8_t *data;
    std::size_t size;
};

// Writes the signature that starts every PNG file.
bool writeSignature(QIODevice *device);

// Writes one chunk: length, four-letter type, the pieces one after the
// other as its data, and the CRC of type and data.
bool writeChunk(QIODevice *device, const char *type, std::initializer_list<ChunkPiece> pieces);

// The header: size, 8 bits a channel, colour type, no interlacing.
bool writeHeader(QIODevice *device, QSize size, PngColourType type);

// What Qt's own writer keeps beside the pixels and its reader gives back:
// the resolution, the colour space's ICC profile and the text entries.
bool writeMetadata(QIODevice *device, const QImage &image);

bool writeEnd(QIODevice *device);
