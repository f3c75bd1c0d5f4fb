#ifndef KORVA_PYTHON_FAILURE_H
#define KORVA_PYTHON_FAILURE_H

#include <cstdint>
#include <string>

#include <pybind11/pybind11.h>

#include <korva/avi/file.h>

namespace korva::python {

// A refusal of the library, carried out of the C++ code with the file it
// concerns; Python sees it as korva.AviError with the same code and text.
struct AviFailure {
    int code;
    std::string message;
    std::string path;
    // The frame being read, or -1 when the failure is not a frame's.
    int64_t frame = -1;
};

// Throws the file's standing error, if any.
void throwIfFailed(const avi::File& file, const std::string& path);

// A refusal in the library's own words, for a code it has a text for.
[[noreturn]] void fail(avi::errors::error_T code, const std::string& path);

// Makes AviFailure raise korva.AviError.
void registerFailureTranslator();

} // namespace korva::python

#endif
