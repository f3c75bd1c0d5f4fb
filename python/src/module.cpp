// The compiled half of the korva package. Arguments are checked and shaped by
// the Python half (korva/_video.py); this module only moves them into the
// library and back.

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include "failure.h"
#include "frame_reader.h"
#include "frame_writer.h"
#include "picture_layout.h"

namespace py = pybind11;
using korva::python::FrameReader;
using korva::python::FrameWriter;

PYBIND11_MODULE(_korva, module) {
    module.doc() = "libkorva's AVI reader, writer and conversion kernels over numpy arrays";
    module.attr("__version__") = KORVA_VERSION;
    korva::python::registerFailureTranslator();
    // Builds the kernels' tables now, while the import holds the GIL alone.
    korva::python::pictureKernels();

    py::class_<FrameReader>(module, "FrameReader")
        .def(py::init<const std::string&>(), py::arg("path"))
        .def_property_readonly("width", &FrameReader::width)
        .def_property_readonly("height", &FrameReader::height)
        .def_property_readonly("frame_count", &FrameReader::frameCount)
        .def_property_readonly("fps", &FrameReader::fps)
        .def_property_readonly("bits", &FrameReader::bits)
        .def_property_readonly("fourcc", &FrameReader::fourcc)
        .def_property_readonly("warning", &FrameReader::warning)
        .def_property_readonly("audio_format", &FrameReader::audioFormat)
        .def("frame", [](FrameReader& reader, int64_t index, int type, bool columnOrder) {
            return reader.frame(index, VideoDataType(type), columnOrder);
        })
        .def("frames", [](FrameReader& reader, const std::vector<int64_t>& indexes, int type, bool columnOrder) {
            return reader.frames(indexes, VideoDataType(type), columnOrder);
        })
        .def("audio", &FrameReader::audio)
        .def("close", &FrameReader::close);

    py::class_<FrameWriter>(module, "FrameWriter")
        .def(py::init<const std::string&, int32_t, int32_t, double, double, int32_t, int32_t>())
        .def("write_frame", [](FrameWriter& writer, const py::array& picture, int type, bool columnOrder) {
            writer.writeFrame(picture, VideoDataType(type), columnOrder);
        })
        .def("write_audio", [](FrameWriter& writer, const py::array& samples, int type) {
            writer.writeAudio(samples, AudioDataType(type));
        })
        .def_property_readonly("frames_written", &FrameWriter::framesWritten)
        .def("close", &FrameWriter::close);
}
