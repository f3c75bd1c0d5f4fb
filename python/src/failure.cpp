#include "failure.h"

namespace korva::python {

namespace py = pybind11;

void throwIfFailed(const avi::File& file, const std::string& path) {
    if (file.getErrorCode() != avi::errors::NO_ERROR) throw AviFailure{file.getErrorCode(), file.getErrorMsg(), path};
}

void fail(avi::errors::error_T code, const std::string& path) {
    // The texts live in the file object; a scratch one lends them.
    avi::File scratch;
    scratch.setError(code);
    throw AviFailure{code, scratch.getErrorMsg(), path};
}

void registerFailureTranslator() {
    py::register_exception_translator([](std::exception_ptr thrown) {
        try {
            if (thrown) std::rethrow_exception(thrown);
        } catch (const AviFailure& failure) {
            // The exception class is plain Python, defined by the package.
            py::object error = py::module_::import("korva._errors").attr("AviError");
            py::object frame = py::none();
            if (failure.frame >= 0) frame = py::int_(failure.frame);
            py::object instance = error(failure.code, failure.message, failure.path, frame);
            PyErr_SetObject(error.ptr(), instance.ptr());
        }
    });
}

} // namespace korva::python
