// Planes of any element type down to three 8-bit planes, one after the other,
// index for index: no change of order and no flip.

#include <korva/video/kernel_support.h>
#include <korva/video/kernels.h>
#include <korva/video/quantise_runs.h>

#include <cstring>

namespace korva::video {
namespace {

// Each output byte depends on its own element alone, so the planes are done
// one after the other, each in one pass in address order.
template <int N> void quantisePlane(const void* plane, uint8_t* __restrict out, int32_t elements) {
    const Element<N>* __restrict from = static_cast<const Element<N>*>(plane);
    if constexpr (N == VIDEO_UINT8) {
        std::memcpy(out, from, static_cast<std::size_t>(elements));
    } else {
        quantiseRun<N>(from, out, elements);
    }
}

} // namespace

// out holds width x height bytes for red, then green, then blue.
template <int N>
KORVA_HOT_KERNEL void RGBToRGB24ChannelsConvertCopy(const void* plane0, const void* plane1, const void* plane2,
                                                    uint8_t* out, int width, int height) {
    const int32_t n = planeElements(width, height);
    if (n < 1) {
        return;
    }
    quantisePlane<N>(plane0, out, n);
    quantisePlane<N>(plane1, out + n, n);
    quantisePlane<N>(plane2, out + 2 * static_cast<std::ptrdiff_t>(n), n);
}

// The one plane stands for all three, so the three outputs are equal: the
// first is worked out and copied twice.
template <int N>
KORVA_HOT_KERNEL void IntensityToRGB24ChannelsConvertCopy(const void* plane0, const void*, const void*, uint8_t* out,
                                                          int width, int height) {
    const int32_t n = planeElements(width, height);
    if (n < 1) {
        return;
    }
    quantisePlane<N>(plane0, out, n);
    std::memcpy(out + n, out, static_cast<std::size_t>(n));
    std::memcpy(out + 2 * static_cast<std::ptrdiff_t>(n), out, static_cast<std::size_t>(n));
}

KORVA_INSTANTIATE_VIDEO_FAMILY(RGBToRGB24ChannelsConvertCopy, KORVA_VIDEO_CONVERT_COPY_PARAMS)
KORVA_INSTANTIATE_VIDEO_FAMILY(IntensityToRGB24ChannelsConvertCopy, KORVA_VIDEO_CONVERT_COPY_PARAMS)

} // namespace korva::video
