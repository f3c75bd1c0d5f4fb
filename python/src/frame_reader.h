#ifndef KORVA_PYTHON_FRAME_READER_H
#define KORVA_PYTHON_FRAME_READER_H

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <korva/avi/file.h>
#include <korva/core/media_types.h>

#include "array_pool.h"

namespace korva::python {

namespace py = pybind11;

// An AVI file open for reading, handing out frames as (height, width, 3)
// arrays and the audio stream as (samples, channels). Calls from several
// Python threads take turns; the GIL is let go around file reads and kernels,
// so that readers of different files run side by side.
class FrameReader {
public:
    explicit FrameReader(const std::string& path);

    int64_t width() const { return width_; }
    int64_t height() const { return height_; }
    int64_t frameCount() const { return frames_; }
    double fps() const;
    int bits() const;
    std::optional<std::string> fourcc() const;
    // The text of an error that the open left standing without failing, or "".
    const std::string& warning() const { return warning_; }
    py::object audioFormat() const;

    // One frame as a new array; the index is already in range.
    py::array frame(int64_t index, VideoDataType type, bool columnOrder);
    // Several frames stacked along a first axis.
    py::array frames(const std::vector<int64_t>& indexes, VideoDataType type, bool columnOrder);
    // The whole audio stream; sampleType -1 keeps the file's own integers.
    py::array audio(int sampleType);

    void close();

private:
    py::array newPictures(const std::vector<py::ssize_t>& leading, VideoDataType type, bool columnOrder);
    // Reads frame index into the packed buffer and fills one picture; runs
    // without the GIL, under mutex_.
    void fill(int64_t index, VideoDataType type, bool columnOrder, uint8_t* picture);
    void requireOpen() const;

    std::string path_;
    avi::File file_;
    std::string warning_;
    int32_t width_ = 0;
    int32_t height_ = 0;
    int64_t frames_ = 0;
    PooledBytes packed_;
    std::vector<uint8_t> strip_;
    std::mutex mutex_;
    bool open_ = true;
};

} // namespace korva::python

#endif
