#pragma once

#include "progress.h"

#include <QImage>
#include <QString>
#include <QStringList>

#include <functional>

#include <vector>

namespace testsupport {

// A picture of random colours (and random alpha for ARGB32) from `seed`.
QImage randomPicture(int width, int height, quint32 seed,
                     QImage::Format format = QImage::Format_RGB32);
// A picture of smooth gradients with a few random rectangles: closer to a
// photograph than noise, with flat areas and sharp edges.
QImage blockyPicture(int width, int height, quint32 seed,
                     QImage::Format format = QImage::Format_RGB32);
QImage filled(int width, int height, QRgb colour, QImage::Format format = QImage::Format_RGB32);

// Empty when the two pictures hold the same pixels; otherwise names the size
// difference or the first differing pixel, column by column.
QString firstDifference(const QImage &actual, const QImage &expected);
// Stricter for 32-bit pictures: empty when the formats, sizes and raw pixel
// words are the same; otherwise names the first difference, row by row.
QString firstRawDifference(const QImage &actual, const QImage &expected);
QString firstDifference(const std::vector<unsigned char> &actual,
                        const std::vector<unsigned char> &expected, int width = 0);

// Records every progress value and every yield, in order.
struct ProgressRecorder
{
    std::vector<int> values;
    int yields = 0;
    std::vector<int> yieldsBefore; // number of values set before each yield
    Progress progress();
};

// Tests run as root start kestrova-cli as nobody, who may not enter the
// folder of a build made under /root. Returns `program` when nobody can start
// it there, otherwise a copy in a folder everyone may enter, made once per
// test process (the program links its own libraries statically).
QString startableByNobody(const QString &program);

// The photographs folder beside the repository, or empty when absent.
QString photo(const QString &name);

// Runs `work` with the debug lines of the logging category `category`
// switched on, and returns them instead of printing them.
QStringList debugLinesOf(const char *category, const std::function<void()> &work);

} // namespace testsupport

#define KESTROVA_COMPARE_PICTURES(actual, expected) \
    do { \
        const QString difference_ = testsupport::firstDifference((actual), (expected)); \
        QVERIFY2(difference_.isEmpty(), qPrintable(difference_)); \
    } while (false)
