#pragma once

#include "changemap.h"
#include "smoothscale.h"

#include <QImage>

#include <memory>
#include <thread>
#include <utility>
#include <vector>

class CSegmentor;

// The pictures of a colour sketch's levels, one after another, each the
// segmentation scaled back to the source's width exactly as
// QImage::scaledToWidth(width, Qt::SmoothTransformation) gives it. The
// working-size picture is kept and only its changed regions are painted
// again, and the full-size pictures come from a few buffers kept here, each
// brought up to date over the rows and columns that read a changed pixel. A
// buffer is used again once no one else holds the picture made in it (a
// pixmap made from it, say), so a picture handed out never changes under its
// holder; when the holder lets each picture go for the next, as the window
// does, two buffers serve every level.
class LevelPictures
{
public:
    // For a segmenter of the picture `working` (RGB32 or ARGB32), shown
    // `width` wide. The pictures take its resolution and text, as
    // CurrentImage() does.
    LevelPictures(const QImage &working, int width);
    ~LevelPictures();
    LevelPictures(const LevelPictures &) = delete;
    LevelPictures &operator=(const LevelPictures &) = delete;

    // The picture of `segmentor` now; it must have journaled its changes
    // since the previous call, which checkpoints it.
    QImage picture(CSegmentor &segmentor);

private:
    struct Buffer
    {
        QImage image;
        // Whether it holds an earlier level, and what changed since.
        bool holdsLevel = false;
        ChangeMap pending;
    };

    // Takes and touches the memory of the buffers the first levels need, on
    // a thread of its own while the merging runs: the kernel hands out fresh
    // pages slowly, about 20 ms for a 60 MB picture.
    void reserveBuffers(int count);
    QImage newBuffer();
    Buffer &freeBuffer();
    void bringUpToDate(Buffer &buffer);
    void copyWorking(Buffer &buffer);
    void scaleWorking(Buffer &buffer);
    void paintWorking(Buffer &buffer);

    enum class Way { Copy, Scale, Paint, Qt };

    QImage m_like;
    QSize m_working;
    QImage::Format m_format;
    int m_width;
    ScaleToWidth m_scaling;
    Way m_way;
    std::unique_ptr<SmoothScale> m_scale;
    QImage m_picture;
    bool m_painted = false;
    ChangeMap m_changed;
    std::vector<Buffer> m_buffers;
    std::thread m_reserving;
    std::vector<QImage> m_reserved;
};
