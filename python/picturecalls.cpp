#include "picturecalls.h"

#include "drawcall.h"
#include "effect.h"
#include "filediagnostics.h"
#include "lineart.h"
#include "parallel.h"
#include "picturefiles.h"
#include "pictures.h"
#include "workingformat.h"

#include <QFileInfo>
#include <QStringList>

#include <climits>
#include <new>

namespace py = pybind11;

namespace {

QString pathOf(const std::string &path)
{
    return QString::fromStdString(path);
}

// A path as the command line's messages name it.
std::string quotedPath(const std::string &path)
{
    return "'" + path + "'";
}

// The channels read() gives: an RGB32 picture had no alpha; an ARGB32 one
// comes as RGBA unless it is grey and opaque, so that the array is drawn
// from the very pixels the file gives the command line.
int readChannels(const QImage &picture)
{
    if (picture.format() == QImage::Format_RGB32)
        return 3;
    return drawingChannels(picture) == 1 ? 1 : 4;
}

PngLevel pngLevelOf(const std::string &name)
{
    if (name == "fast")
        return PngLevel::Fast;
    if (name == "small")
        return PngLevel::Small;
    throw py::value_error("png_level must be fast or small, not '" + name + "'");
}

int qualityOf(const py::object &quality)
{
    const std::string wanted
            = "quality must be a whole number from 0 to 100, not " + std::string(py::repr(quality));
    if (!PyLong_Check(quality.ptr()) || PyBool_Check(quality.ptr()))
        throw py::type_error(wanted);
    int overflow = 0;
    const long long number = PyLong_AsLongLongAndOverflow(quality.ptr(), &overflow);
    if (overflow != 0 || number < 0 || number > 100)
        throw py::value_error(wanted);
    return int(number);
}

std::string transparentEffects()
{
    QStringList names;
    for (const Effect &effect : effects()) {
        if (effect.transparentLines)
            names << QLatin1String(effect.name);
    }
    return names.join(QStringLiteral(" and ")).toStdString();
}

// The drawing as the effects give one: 32-bit, RGB32 when the array has no
// alpha channel.
QImage drawingOf(const PictureView &view)
{
    QImage image = toWorkingFormat(view.image);
    if (image.isNull())
        throw std::bad_alloc();
    if (view.image.format() != QImage::Format_RGBA8888)
        image.reinterpretAsFormat(QImage::Format_RGB32);
    return image;
}

QtMessageHandler previousHandler = nullptr;

void messageHandler(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    // As for the command line: Qt's debug and info lines (libpng's remarks
    // on a profile among them) are not for users.
    if (type == QtDebugMsg || type == QtInfoMsg)
        return;
    if (WarningCapture::take(message))
        return;
    if (previousHandler)
        previousHandler(type, context, message);
}

} // namespace

py::array readPicture(const std::string &path, bool autoOrient, const py::object &threads)
{
    const int budget = threadsOf(threads);
    QImage picture;
    QString error;
    QStringList warnings;
    int channels = 0;
    {
        const py::gil_scoped_release released;
        const ThreadBudget threadsForThisPicture(budget);
        picture = readPictureFile(pathOf(path), autoOrient, &error, &warnings);
        if (!picture.isNull()) {
            channels = readChannels(picture);
            packDrawing(picture, channels);
        }
    }
    for (const QString &warning : std::as_const(warnings)) {
        const std::string text = quotedPath(path) + ": " + warning.toStdString();
        if (PyErr_WarnEx(PyExc_RuntimeWarning, text.c_str(), 1) != 0)
            throw py::error_already_set();
    }
    if (picture.isNull()) {
        const std::string message = "cannot read " + quotedPath(path) + ": " + error.toStdString();
        if (!QFileInfo::exists(pathOf(path)))
            PyErr_SetString(PyExc_FileNotFoundError, message.c_str());
        else
            PyErr_SetString(PyExc_OSError, message.c_str());
        throw py::error_already_set();
    }
    return drawingArray(std::move(picture), channels);
}

void writePicture(const std::string &path, const py::handle &drawing, const std::string &pngLevel,
                  bool transparent, const py::object &quality, const py::object &threads)
{
    Encoding encoding;
    encoding.format = formatForPath(pathOf(path));
    const std::string suffixes = writtenSuffixesText(false).toStdString();
    if (encoding.format.isEmpty())
        throw py::value_error("cannot tell the format of " + quotedPath(path)
                              + " from its suffix: use " + suffixes);
    // An array holds pixels; SVG is traced from an effect's regions.
    if (!writtenFormat(encoding.format)->fromPicture())
        throw py::value_error("cannot write " + quotedPath(path)
                              + ": an array is written as a picture, not as SVG, which "
                                "kestrova-cli traces from an effect's regions; use "
                              + suffixes);
    encoding.pngLevel = pngLevelOf(pngLevel);
    encoding.quality = qualityOf(quality);
    const int budget = threadsOf(threads);
    if (transparent && encoding.format == "jpeg")
        throw py::value_error("transparent writes PNG only: JPEG has no transparency");
    if (transparent && encoding.format != "png")
        throw py::value_error("transparent writes PNG only");
    const PictureView view = pictureView(drawing);
    if (transparent && view.image.format() != QImage::Format_Grayscale8)
        throw py::value_error("transparent takes a grey drawing (H x W): only the grey drawings of "
                              + transparentEffects() + " come as lines on a transparent layer");
    const QString unwritable = writeSizeProblem(view.image.size(), encoding.format);
    if (!unwritable.isEmpty())
        throw py::value_error(
                QStringLiteral("cannot write %1: the drawing is %2 x %3 pixels, and %4")
                        .arg(QString::fromStdString(quotedPath(path)))
                        .arg(view.image.width())
                        .arg(view.image.height())
                        .arg(unwritable)
                        .toStdString());
    QString error;
    bool written = false;
    {
        const py::gil_scoped_release released;
        const ThreadBudget threadsForThisDrawing(budget);
        encoding.threads = budget;
        QImage image = drawingOf(view);
        if (transparent)
            image = lineArt(image);
        if (image.isNull())
            throw std::bad_alloc();
        written = writePictureFile(image, pathOf(path), encoding, &error);
    }
    if (!written) {
        const std::string message = "cannot write " + quotedPath(path) + ": " + error.toStdString();
        PyErr_SetString(PyExc_OSError, message.c_str());
        throw py::error_already_set();
    }
}

void installMessageHandler()
{
    previousHandler = qInstallMessageHandler(messageHandler);
}
