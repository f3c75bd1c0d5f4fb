#ifndef KORVA_PYTHON_FRAME_WRITER_H
#define KORVA_PYTHON_FRAME_WRITER_H

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <korva/avi/file.h>

#include "array_pool.h"
#include "audio_samples.h"

namespace korva::python {

namespace py = pybind11;

// An AVI file being written: 24-bit video from (height, width, 3) arrays and,
// when asked for, one PCM audio stream from (samples, channels) arrays of any
// length, gathered into chunks of one frame's duration. Arguments arrive
// checked by the package.
class FrameWriter {
public:
    FrameWriter(const std::string& path, int32_t width, int32_t height, double fps, double audioRate,
                int32_t audioChannels, int32_t audioBits);
    // A writer dropped unclosed still finishes its file.
    ~FrameWriter();
    FrameWriter(const FrameWriter&) = delete;
    FrameWriter& operator=(const FrameWriter&) = delete;

    // A C- or F-contiguous picture of the geometry, elements of type.
    void writeFrame(const py::array& picture, VideoDataType type, bool columnOrder);
    // A C-contiguous run of interleaved frames of sampleType.
    void writeAudio(const py::array& samples, AudioDataType sampleType);
    // Writes the audio still gathered, padded with silence to a whole chunk,
    // then the indexes and the header.
    void close();

    int64_t framesWritten() const { return framesWritten_; }

private:
    void writeAudioChunk();
    void requireOpen() const;

    std::string path_;
    avi::File file_;
    int32_t width_;
    int32_t height_;
    PooledBytes packed_;
    std::vector<uint8_t> strip_;
    AudioLayout audio_{};
    std::vector<uint8_t> chunk_;
    int64_t chunkBytes_ = 0;
    int64_t gathered_ = 0;
    int64_t framesWritten_ = 0;
    std::mutex mutex_;
    bool open_ = false;
};

} // namespace korva::python

#endif
