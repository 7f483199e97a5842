#include "picturesize.h"

#include "filejob.h"
#include "workingformat.h"

#include <QRegularExpression>

#include <algorithm>
#include <climits>

namespace {

constexpr int MostPercent = 1000;

// n * numerator / denominator to the nearest whole number, at least one.
int scaledSide(qint64 n, qint64 numerator, qint64 denominator)
{
    const qint64 side = (2 * n * numerator + denominator) / (2 * denominator);
    return int(std::clamp<qint64>(side, 1, INT_MAX));
}

[[noreturn]] void refuseSize(const QString &text)
{
    refuse(QStringLiteral("--size must be WIDTHxHEIGHT (a box to fit in, never enlarging) or "
                          "a percentage from 1% to %1%, not '%2'")
                   .arg(MostPercent)
                   .arg(text));
}

} // namespace

PictureSize PictureSize::parse(const QString &text)
{
    static const QRegularExpression box(QStringLiteral("^([0-9]{1,9})[xX]([0-9]{1,9})$"));
    static const QRegularExpression percent(QStringLiteral("^([0-9]{1,9})%$"));
    PictureSize size;
    if (const auto match = box.match(text); match.hasMatch()) {
        size.kind = Fit;
        size.box = QSize(match.captured(1).toInt(), match.captured(2).toInt());
        if (size.box.width() < 1 || size.box.height() < 1)
            refuseSize(text);
        return size;
    }
    if (const auto match = percent.match(text); match.hasMatch()) {
        size.kind = Percent;
        size.percent = match.captured(1).toInt();
        if (size.percent < 1 || size.percent > MostPercent)
            refuseSize(text);
        return size;
    }
    refuseSize(text);
}

QSize PictureSize::of(QSize size) const
{
    const qint64 w = size.width();
    const qint64 h = size.height();
    switch (kind) {
    case Unchanged:
        return size;
    case Percent:
        return {scaledSide(w, percent, 100), scaledSide(h, percent, 100)};
    case Fit:
        break;
    }
    if (w <= box.width() && h <= box.height())
        return size;
    // The side that meets the box keeps its length exactly.
    if (w * box.height() >= h * box.width())
        return {box.width(), scaledSide(h, box.width(), w)};
    return {scaledSide(w, box.height(), h), box.height()};
}

QImage resizedPicture(const QImage &picture, QSize size)
{
    if (picture.size() == size)
        return picture;
    const QImage scaled = picture.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    if (scaled.isNull())
        return {};
    return toWorkingFormat(scaled);
}
