#include "labstruct.h"

#include <QtGui/qrgb.h>

int rgbdiff(unsigned int rgb1, unsigned int rgb2)
{
    const int dr = qRed(rgb1) - qRed(rgb2);
    const int dg = qGreen(rgb1) - qGreen(rgb2);
    const int db = qBlue(rgb1) - qBlue(rgb2);
    return int(std::sqrt(double(dr * dr + dg * dg + db * db)));
}
