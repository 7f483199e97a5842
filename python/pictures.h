#pragma once

#include <QImage>

#include <pybind11/numpy.h>

// NumPy arrays as pictures and drawings as NumPy arrays.

// A picture as Qt reads it. `image` wraps the memory of `array`, which is
// the caller's own array when its rows are laid out as Qt's are (a
// C-contiguous array, or rows of packed pixels at any distance), or else a
// C-contiguous copy of it; `array` keeps that memory alive.
struct PictureView
{
    pybind11::array array;
    QImage image;
};

// The view of a uint8 array H x W (grey), H x W x 3 (RGB) or H x W x 4
// (RGBA). Raises TypeError for anything but a uint8 NumPy array, ValueError
// for another shape, an empty picture or one over the picture limit.
PictureView pictureView(const pybind11::handle &picture);

// How a drawing comes back: the channels of the PNG writer's choice, one
// for a grey opaque drawing, three for any other opaque one, else four.
// Runs without the GIL.
int drawingChannels(const QImage &drawing);

// Rewrites `drawing` (RGB32 or ARGB32, or Grayscale8 with `channels` 1)
// in place as `channels` bytes a pixel, R G B A order, rows packed one
// after the other from the start of its buffer. Runs without the GIL.
void packDrawing(QImage &drawing, int channels);

// The array over a drawing packed by packDrawing(): it takes the picture
// over, and frees it when the array goes.
pybind11::array drawingArray(QImage &&drawing, int channels);

// The address of the pixels of the drawing an array from drawingArray()
// views, or 0 for any other array.
std::uintptr_t drawingAddress(const pybind11::array &array);
