#include "testsupport.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLoggingCategory>
#include <QPainter>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <sys/stat.h>
#include <unistd.h>

namespace testsupport {

QImage randomPicture(int width, int height, quint32 seed, QImage::Format format)
{
    QRandomGenerator generator(seed);
    QImage image(width, height, format);
    for (int y = 0; y < height; ++y) {
        auto *line = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < width; ++x) {
            QRgb value = generator.generate();
            if (format != QImage::Format_ARGB32)
                value |= 0xFF000000u;
            line[x] = value;
        }
    }
    return image;
}

QImage blockyPicture(int width, int height, quint32 seed, QImage::Format format)
{
    QRandomGenerator generator(seed);
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x)
            image.setPixel(x, y,
                           qRgb((x * 255) / qMax(1, width - 1), (y * 255) / qMax(1, height - 1),
                                ((x + y) * 97) % 256));
    }
    QPainter painter(&image);
    for (int i = 0; i < 6; ++i) {
        const int x = generator.bounded(qMax(1, width)), y = generator.bounded(qMax(1, height));
        painter.fillRect(x, y, generator.bounded(1, qMax(2, width / 2)),
                         generator.bounded(1, qMax(2, height / 2)),
                         QColor::fromRgb(generator.generate() | 0xFF000000u));
    }
    painter.end();
    return format == QImage::Format_RGB32 ? image : image.convertToFormat(format);
}

QImage filled(int width, int height, QRgb colour, QImage::Format format)
{
    QImage image(width, height, format);
    image.fill(colour);
    return image;
}

QString firstDifference(const QImage &actual, const QImage &expected)
{
    if (actual.isNull() || expected.isNull())
        return QString("a picture is null (actual %1, expected %2)")
                .arg(actual.isNull())
                .arg(expected.isNull());
    if (actual.size() != expected.size())
        return QString("size %1x%2, expected %3x%4")
                .arg(actual.width())
                .arg(actual.height())
                .arg(expected.width())
                .arg(expected.height());
    for (int x = 0; x < actual.width(); ++x) {
        for (int y = 0; y < actual.height(); ++y) {
            const QRgb a = actual.pixel(x, y), e = expected.pixel(x, y);
            if (a != e)
                return QString("pixel (%1, %2) is #%3, expected #%4")
                        .arg(x)
                        .arg(y)
                        .arg(a, 8, 16, QChar('0'))
                        .arg(e, 8, 16, QChar('0'));
        }
    }
    return {};
}

QString firstRawDifference(const QImage &actual, const QImage &expected)
{
    if (actual.format() != expected.format())
        return QString("format %1, expected %2").arg(actual.format()).arg(expected.format());
    if (actual.size() != expected.size() || actual.depth() != 32)
        return firstDifference(actual, expected);
    for (int y = 0; y < actual.height(); ++y) {
        const auto *a = reinterpret_cast<const quint32 *>(actual.constScanLine(y));
        const auto *e = reinterpret_cast<const quint32 *>(expected.constScanLine(y));
        for (int x = 0; x < actual.width(); ++x) {
            if (a[x] != e[x])
                return QString("pixel (%1, %2) is #%3, expected #%4 (%5x%6)")
                        .arg(x)
                        .arg(y)
                        .arg(a[x], 8, 16, QChar('0'))
                        .arg(e[x], 8, 16, QChar('0'))
                        .arg(actual.width())
                        .arg(actual.height());
        }
    }
    return {};
}

QString firstDifference(const std::vector<unsigned char> &actual,
                        const std::vector<unsigned char> &expected, int width)
{
    if (actual.size() != expected.size())
        return QString("%1 bytes, expected %2").arg(actual.size()).arg(expected.size());
    for (size_t i = 0; i < actual.size(); ++i) {
        if (actual[i] != expected[i] && width <= 0)
            return QString("byte %1 is %2, expected %3").arg(i).arg(actual[i]).arg(expected[i]);
        if (actual[i] != expected[i])
            return QString("byte (%1, %2) is %3, expected %4")
                    .arg(int(i % width))
                    .arg(int(i / width))
                    .arg(actual[i])
                    .arg(expected[i]);
    }
    return {};
}

Progress ProgressRecorder::progress()
{
    return {[this](int value) { values.push_back(value); },
            [this] {
                ++yields;
                yieldsBefore.push_back(int(values.size()));
            }};
}

namespace {

struct DebugCapture
{
    QByteArray category;
    QStringList lines;
};
DebugCapture *debugCapture = nullptr;

void captureDebugLine(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type == QtDebugMsg && debugCapture && context.category
        && debugCapture->category == context.category)
        debugCapture->lines.append(message);
}

} // namespace

QStringList debugLinesOf(const char *category, const std::function<void()> &work)
{
    DebugCapture capture {category, {}};
    debugCapture = &capture;
    QLoggingCategory::setFilterRules(QStringLiteral("%1.debug=true").arg(QLatin1String(category)));
    const QtMessageHandler previous = qInstallMessageHandler(captureDebugLine);
    work();
    qInstallMessageHandler(previous);
    QLoggingCategory::setFilterRules(QString());
    debugCapture = nullptr;
    return capture.lines;
}

QString photo(const QString &name)
{
    const QString path = QDir(QStringLiteral(KESTROVA_PHOTOS_DIR)).filePath(name);
    return QFileInfo::exists(path) ? path : QString();
}

namespace {

// Whether a user who is neither the owner nor in the group may run `program`:
// every folder above it searchable by others, the file executable by them.
bool othersMayStart(const QString &program)
{
    const auto othersMay = [](const QString &path, mode_t bit) {
        struct stat status;
        return ::stat(QFile::encodeName(path).constData(), &status) == 0
                && (status.st_mode & bit) != 0;
    };
    const QString absolute = QFileInfo(program).absoluteFilePath();
    if (!othersMay(absolute, S_IXOTH))
        return false;
    for (QDir folder = QFileInfo(absolute).dir(); !folder.isRoot(); folder.cdUp()) {
        if (!othersMay(folder.absolutePath(), S_IXOTH))
            return false;
    }
    return true;
}

} // namespace

QString startableByNobody(const QString &program)
{
    if (geteuid() != 0 || othersMayStart(program))
        return program;
    static QTemporaryDir folder;
    const QString copy = folder.filePath(QFileInfo(program).fileName());
    if (!QFileInfo::exists(copy)) {
        const auto everyone = QFileDevice::ReadOwner | QFileDevice::WriteOwner
                | QFileDevice::ExeOwner | QFileDevice::ReadGroup | QFileDevice::ExeGroup
                | QFileDevice::ReadOther | QFileDevice::ExeOther;
        if (!folder.isValid() || !QFile::setPermissions(folder.path(), everyone)
            || !QFile::copy(program, copy) || !QFile::setPermissions(copy, everyone))
            qFatal("cannot copy %s where nobody may start it", qPrintable(program));
    }
    return copy;
}

} // namespace testsupport
