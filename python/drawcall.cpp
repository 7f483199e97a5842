#include "drawcall.h"

#include "effect.h"
#include "parallel.h"
#include "pictures.h"
#include "progress.h"
#include "workingformat.h"

#include <QStringList>

#include <chrono>
#include <climits>
#include <new>

namespace py = pybind11;

namespace {

std::string text(const QString &string)
{
    return string.toStdString();
}

const Effect &effectNamed(const std::string &name)
{
    if (const Effect *effect = findEffect(QString::fromStdString(name)))
        return *effect;
    QStringList names;
    for (const Effect &effect : effects())
        names << QLatin1String(effect.name);
    throw py::value_error(
            text(QStringLiteral("unknown effect '%1' (choose %2)")
                         .arg(QString::fromStdString(name), names.join(QStringLiteral(", ")))));
}

// A whole number, not a bool nor a float that happens to be whole.
bool isWholeNumber(const py::handle &value)
{
    return PyLong_Check(value.ptr()) && !PyBool_Check(value.ptr());
}

std::string rangeText(int minimum, int maximum)
{
    return maximum == INT_MAX
            ? "a whole number of at least " + std::to_string(minimum)
            : "a whole number from " + std::to_string(minimum) + " to " + std::to_string(maximum);
}

int settingValue(const EffectSetting &setting, const std::string &keyword, const py::handle &value)
{
    const std::string wanted = keyword + " must be " + rangeText(setting.minimum, setting.maximum)
            + ", not " + std::string(py::repr(value));
    if (!isWholeNumber(value))
        throw py::type_error(wanted);
    int overflow = 0;
    const long long number = PyLong_AsLongLongAndOverflow(value.ptr(), &overflow);
    if (overflow != 0 || number < setting.minimum || number > setting.maximum)
        throw py::value_error(wanted);
    return int(number);
}

EffectValues valuesOf(const Effect &effect, bool contours, const py::dict &settings)
{
    EffectValues values = effect.defaults();
    // A grey drawing comes back one byte a pixel.
    values.greyBytes = effect.greyDrawing;
    if (!contours && !effect.contourLayer)
        throw py::value_error("the " + std::string(effect.name)
                              + " effect has no contour layer to leave out");
    values.contours = contours;
    for (const auto &[key, value] : settings) {
        const std::string keyword = py::str(key);
        QString name = QString::fromStdString(keyword);
        name.replace(QLatin1Char('_'), QLatin1Char('-'));
        const EffectSetting *setting = effect.setting(name);
        if (!setting)
            throw py::type_error("the " + std::string(effect.name) + " effect has no setting "
                                 + std::string(py::repr(key)));
        values.numbers[name] = settingValue(*setting, keyword, value);
    }
    return values;
}

// The drawing's progress, run without the GIL: each value goes to the
// caller's callable, and every few milliseconds the interpreter's signal
// handlers run, so that Ctrl-C stops a long drawing. An exception from
// either leaves through the core like the command line's stop.
class PythonProgress
{
public:
    explicit PythonProgress(py::object callback)
        : m_callback(std::move(callback))
    {
        m_progress.setValue = [this](int value) { report(value); };
        m_progress.processEvents = [this] { poll(); };
    }

    const Progress &progress() const { return m_progress; }

private:
    using Clock = std::chrono::steady_clock;
    static constexpr auto SignalInterval = std::chrono::milliseconds(20);
    // Calls between two looks at the clock when there is no callback.
    static constexpr int PollsPerClockLook = 64;

    void report(int value)
    {
        if (m_callback.is_none()) {
            poll();
            return;
        }
        const py::gil_scoped_acquire gil;
        m_callback(value);
        checkSignals();
    }
    void poll()
    {
        if (++m_polls < PollsPerClockLook)
            return;
        m_polls = 0;
        if (Clock::now() < m_nextSignalCheck)
            return;
        const py::gil_scoped_acquire gil;
        checkSignals();
    }
    void checkSignals()
    {
        m_nextSignalCheck = Clock::now() + SignalInterval;
        if (PyErr_CheckSignals() != 0)
            throw py::error_already_set();
    }

    py::object m_callback;
    Progress m_progress;
    int m_polls = 0;
    Clock::time_point m_nextSignalCheck = Clock::now() + SignalInterval;
};

// The picture as the effects read a file of the same pixels: Qt reads a
// picture without alpha as RGB32, and some effects tell the two formats
// apart. Opaque ARGB32 pixels are RGB32 pixels bit for bit.
QImage drawnAsFile(const QImage &picture)
{
    QImage working = toWorkingFormat(picture);
    if (working.isNull())
        throw std::bad_alloc();
    working.reinterpretAsFormat(workingFormatAsFile(picture.format()));
    return working;
}

} // namespace

int threadsOf(const py::object &threads)
{
    if (threads.is_none())
        return threadBudget();
    // As many as kestrova-cli's --threads takes.
    constexpr int MostThreads = 1024;
    const std::string wanted = "threads must be " + rangeText(1, MostThreads) + ", not "
            + std::string(py::repr(threads));
    if (!isWholeNumber(threads))
        throw py::type_error(wanted);
    int overflow = 0;
    const long long number = PyLong_AsLongLongAndOverflow(threads.ptr(), &overflow);
    if (overflow != 0 || number < 1 || number > MostThreads)
        throw py::value_error(wanted);
    return int(number);
}

py::array drawPicture(const std::string &effectName, const py::handle &picture, bool contours,
                      const py::object &threads, const py::object &progress,
                      const py::dict &settings)
{
    const Effect &effect = effectNamed(effectName);
    const EffectValues values = valuesOf(effect, contours, settings);
    const int budget = threadsOf(threads);
    if (!progress.is_none() && !PyCallable_Check(progress.ptr()))
        throw py::type_error("progress must be callable or None, not "
                             + std::string(py::repr(progress)));
    const PictureView view = pictureView(picture);
    PythonProgress reporter(progress);
    QImage drawing;
    QString problem;
    int channels = 0;
    {
        const py::gil_scoped_release released;
        const ThreadBudget threadsForThisDrawing(budget);
        const QImage working = effect.readsAnyFormat ? view.image : drawnAsFile(view.image);
        drawing = makeDrawing(effect, working, values, reporter.progress(), reporter.progress(),
                              &problem);
        if (!drawing.isNull()) {
            // A grey drawing is opaque grey throughout: no need to look.
            channels = effect.greyDrawing ? 1 : drawingChannels(drawing);
            packDrawing(drawing, channels);
        }
    }
    // The effects say why they make no picture of a picture; one that says
    // nothing could not have its buffers.
    if (drawing.isNull() && problem.isEmpty())
        throw std::bad_alloc();
    if (drawing.isNull())
        throw py::value_error(text(problem));
    return drawingArray(std::move(drawing), channels);
}

double coreDrawMilliseconds(const std::string &effectName, const py::handle &picture)
{
    const Effect &effect = effectNamed(effectName);
    const EffectValues values = effect.defaults();
    const PictureView view = pictureView(picture);
    const py::gil_scoped_release released;
    const QImage working = drawnAsFile(view.image);
    const auto start = std::chrono::steady_clock::now();
    {
        QString problem;
        const QImage drawing = makeDrawing(effect, working, values, {}, {}, &problem);
        if (drawing.isNull() && problem.isEmpty())
            throw std::bad_alloc();
    }
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
            .count();
}
