#include "audio_samples.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include <korva/audio/selectors.h>

namespace korva::python {

py::dtype elementDtype(VideoDataType type) {
    switch (type) {
    case VIDEO_DOUBLE: return py::dtype::of<double>();
    case VIDEO_SINGLE: return py::dtype::of<float>();
    case VIDEO_INT8: return py::dtype::of<int8_t>();
    case VIDEO_UINT8: return py::dtype::of<uint8_t>();
    case VIDEO_INT16: return py::dtype::of<int16_t>();
    case VIDEO_UINT16: return py::dtype::of<uint16_t>();
    case VIDEO_INT32: return py::dtype::of<int32_t>();
    case VIDEO_UINT32: return py::dtype::of<uint32_t>();
    default: return py::dtype::of<bool>();
    }
}

AudioLayout audioLayout(int bitsPerSample, int channels) {
    const AudioDataType stored = bitsPerSample % 8 == 0 ? getAudioDataType(bitsPerSample, false) : AUDIO_LOGICAL;
    return {stored, bitsPerSample / 8, channels};
}

namespace {

// Kernels count in 32-bit elements; long streams go through in runs.
constexpr int64_t RUN_SAMPLES = int64_t(1) << 24;

void convertInRuns(MMAudioConvertCopyFcn kernel, const uint8_t* in, int32_t inBytes, uint8_t* out, int32_t outBytes,
                   int64_t samples, int32_t channels) {
    for (int64_t done = 0; done < samples; done += RUN_SAMPLES) {
        const int64_t run = std::min(RUN_SAMPLES, samples - done);
        kernel(in + done * channels * inBytes, out + done * channels * outBytes, int(run), channels);
    }
}

} // namespace

py::array samplesFromFile(const uint8_t* stored, int64_t samples, const AudioLayout& layout, int sampleType) {
    const std::vector<py::ssize_t> shape{samples, layout.channels};
    if (sampleType < 0 && layout.stored != AUDIO_INT24) {
        py::array out(py::dtype(layout.stored == AUDIO_UINT8   ? "uint8"
                                : layout.stored == AUDIO_INT16 ? "int16"
                                                               : "int32"),
                      shape);
        if (samples > 0) std::memcpy(out.mutable_data(), stored, size_t(samples * layout.frameBytes()));
        return out;
    }
    const AudioDataType target = sampleType < 0 ? AUDIO_INT32 : AudioDataType(sampleType);
    py::array out(target == AUDIO_DOUBLE ? py::dtype::of<double>()
                  : target == AUDIO_SINGLE ? py::dtype::of<float>()
                                           : py::dtype::of<int32_t>(),
                  shape);
    auto* data = static_cast<uint8_t*>(out.mutable_data());
    {
        py::gil_scoped_release unlocked;
        convertInRuns(MM_GetAudioConvertCopyFcn(layout.stored, target), stored, layout.sampleBytes, data,
                      audioDataTypeSize[target], samples, layout.channels);
        if (sampleType < 0) {
            // The kernel gives three-byte samples at the int32 scale; the
            // caller asked for the samples' own values.
            auto* words = reinterpret_cast<int32_t*>(data);
            for (int64_t i = 0; i < samples * layout.channels; ++i) words[i] >>= 8;
        }
    }
    return out;
}

void samplesToFile(const void* in, AudioDataType sampleType, uint8_t* out, int64_t samples, const AudioLayout& layout) {
    convertInRuns(MM_GetAudioConvertCopyFcn(sampleType, layout.stored), static_cast<const uint8_t*>(in),
                  audioDataTypeSize[sampleType], out, layout.sampleBytes, samples, layout.channels);
}

} // namespace korva::python
