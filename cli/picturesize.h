#pragma once

#include <QImage>
#include <QSize>
#include <QString>

// --size: the photo is scaled before drawing, to fit within a box without
// being enlarged ("2000x2000"), or by a percentage ("50%").
struct PictureSize
{
    enum Kind { Unchanged, Fit, Percent };

    Kind kind = Unchanged;
    QSize box;
    int percent = 100;

    // Reads "WxH" or "N%"; refuses anything else, naming it.
    static PictureSize parse(const QString &text);
    // The size a picture of `size` is drawn at: both sides rounded to the
    // nearest pixel and at least one.
    QSize of(QSize size) const;
};

// `picture` at `size`, scaled with Qt's smooth transformation (an area
// average when shrinking, bilinear when enlarging) and converted back to the
// working format; the same picture when the size does not change. Null when
// memory runs out.
QImage resizedPicture(const QImage &picture, QSize size);
