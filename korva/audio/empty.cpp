// AudioEmpty: silence into every channel of a planar buffer, channel after
// channel.

#include <korva/audio/kernel_tables.h>

#include <type_traits>

namespace audio {
namespace {

// Where channel c begins. The int24 kernel has always moved on by stride x
// channels bytes rather than by stride three-byte elements, so its channels lie
// apart unlike those of the other types; callers lay their buffers out by it.
template <typename D> D* channelStart(void* out, int c, int channels, int stride) {
    if constexpr (std::is_same_v<D, Int24>) {
        return reinterpret_cast<Int24*>(static_cast<uint8_t*>(out) + int64_t(c) * stride * channels);
    } else {
        (void)channels;
        return static_cast<D*>(out) + int64_t(c) * stride;
    }
}

// The silence is the type's zero: for uint8 that is byte 0, which the sample
// rules read as -1.0, not the zero level 128. Callers rely on the byte.
template <typename D> void AudioEmpty(const void* ignored, void* out, int samples, int channels, int stride) {
    (void)ignored;
    for (int c = 0; c < channels; ++c) {
        D* channel = channelStart<D>(out, c, channels, stride);
        for (int i = 0; i < samples; ++i) {
            channel[i] = D{};
        }
    }
}

} // namespace

const std::array<MMAudioEmptyFcn, POSITIONS> audioEmptyKernels = kernelTable<MMAudioEmptyFcn, POSITIONS>(
    [](auto position) { return &AudioEmpty<std::tuple_element_t<position, PositionElements>>; });

} // namespace audio
