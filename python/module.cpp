// The extension module under `import kestrova`: the table of effects and
// the drawing, over NumPy arrays. kestrova/__init__.py makes one function
// of each effect from the table.

#include "drawcall.h"
#include "effect.h"
#include "picturecalls.h"
#include "pictures.h"

#include <pybind11/pybind11.h>

namespace py = pybind11;

namespace {

py::dict settingRecord(const EffectSetting &setting)
{
    py::dict record;
    record["name"] = setting.name;
    record["label"] = setting.label;
    record["minimum"] = setting.minimum;
    record["maximum"] = setting.maximum;
    record["default"] = setting.defaultValue;
    record["help"] = setting.help;
    return record;
}

py::list effectRecords()
{
    py::list records;
    for (const Effect &effect : effects()) {
        py::list settings;
        for (const EffectSetting &setting : effect.settings)
            settings.append(settingRecord(setting));
        py::dict record;
        record["name"] = effect.name;
        record["description"] = effect.description;
        record["settings"] = settings;
        record["contour_layer"] = effect.contourLayer;
        record["needs_edges"] = effect.needsEdges;
        record["grey_drawing"] = effect.greyDrawing;
        record["transparent_lines"] = effect.transparentLines;
        record["notes"] = effect.notes ? py::str(effect.notes) : py::object(py::none());
        records.append(record);
    }
    return records;
}

// For the tests: the memory the core reads for `picture`, as an array over
// it, so that numpy.shares_memory tells whether the picture was copied.
py::array pictureBuffer(const py::handle &picture)
{
    const PictureView view = pictureView(picture);
    const py::ssize_t lineBytes = view.image.bytesPerLine();
    const py::ssize_t rowBytes = py::ssize_t(view.image.width()) * view.image.depth() / 8;
    return py::array(py::dtype::of<std::uint8_t>(), {py::ssize_t(view.image.height()), rowBytes},
                     {lineBytes, py::ssize_t(1)}, view.image.constBits(), view.array);
}

} // namespace

PYBIND11_MODULE(_kestrova, module)
{
    module.doc() = "Kestrova's drawing core over NumPy arrays.";
    // pybind11 reaches NumPy's C API through a function-local static that
    // imports NumPy on first use: made by two threads at once, one holds
    // the static's guard waiting for the GIL and the other the GIL waiting
    // for the guard. Made here, under the import lock, it is ready before
    // any thread draws.
    py::dtype::of<std::uint8_t>();
    module.def("effects", &effectRecords,
               "Every effect as a dict: name, description, settings (each a dict of name, "
               "label, minimum, maximum, default and help) and its kind.");
    module.def("draw", &drawPicture, py::arg("effect"), py::arg("picture"), py::kw_only(),
               py::arg("contours") = true, py::arg("threads") = py::none(),
               py::arg("progress") = py::none(), py::arg("settings") = py::dict(),
               "The drawing of a uint8 picture by an effect, its settings by name.");
    module.def("read", &readPicture, py::arg("path"), py::kw_only(), py::arg("auto_orient") = false,
               py::arg("threads") = py::none(),
               "The picture in a file as a uint8 array, read as kestrova-cli reads it.");
    module.def("write", &writePicture, py::arg("path"), py::arg("drawing"), py::kw_only(),
               py::arg("png_level") = "fast", py::arg("transparent") = false,
               py::arg("quality") = 100, py::arg("threads") = py::none(),
               "Writes a uint8 array as kestrova-cli writes a drawing, through a temporary file.");
    installMessageHandler();
    module.def("_picture_buffer", &pictureBuffer, py::arg("picture"));
    module.def("_drawing_address", &drawingAddress, py::arg("drawing"));
    module.def("_core_draw_ms", &coreDrawMilliseconds, py::arg("effect"), py::arg("picture"));
}
