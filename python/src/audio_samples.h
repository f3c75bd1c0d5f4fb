#ifndef KORVA_PYTHON_AUDIO_SAMPLES_H
#define KORVA_PYTHON_AUDIO_SAMPLES_H

// numpy arrays against the audio kernels, and the element types of both kinds
// of array.

#include <cstdint>

#include <pybind11/numpy.h>

#include <korva/core/media_types.h>

namespace korva::python {

namespace py = pybind11;

// numpy's dtype for the elements of a VideoDataType.
py::dtype elementDtype(VideoDataType type);

// How a file stores its samples.
struct AudioLayout {
    AudioDataType stored;  // the kernels' name for the stored samples
    int32_t sampleBytes;   // 1, 2, 3 or 4
    int32_t channels;

    bool valid() const { return stored != AUDIO_LOGICAL && channels > 0; }
    int64_t frameBytes() const { return int64_t(sampleBytes) * channels; }
};
AudioLayout audioLayout(int bitsPerSample, int channels);

// The file's interleaved samples as a (samples, channels) array: with
// sampleType -1 in the file's own integers (uint8, int16, int32 holding 24-bit
// values, int32), otherwise as AUDIO_SINGLE or AUDIO_DOUBLE through the kernels.
py::array samplesFromFile(const uint8_t* stored, int64_t samples, const AudioLayout& layout, int sampleType);

// samples interleaved frames of sampleType (24-bit values already moved to
// the int32 scale) into the file's own form at out.
void samplesToFile(const void* in, AudioDataType sampleType, uint8_t* out, int64_t samples, const AudioLayout& layout);

} // namespace korva::python

#endif
