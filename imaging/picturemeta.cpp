#include "picturemeta.h"

void copyResolutionAndText(const QImage &from, QImage &picture)
{
    picture.setDotsPerMeterX(from.dotsPerMeterX());
    picture.setDotsPerMeterY(from.dotsPerMeterY());
    for (const QString &key : from.textKeys())
        picture.setText(key, from.text(key));
}
