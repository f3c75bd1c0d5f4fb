// Blank pictures for a queue with no frame to give: every element at the
// type's lowest value. Neither the order of the planes nor the frame matters.

#include <korva/video/kernel_support.h>
#include <korva/video/kernels.h>

#include <algorithm>

namespace korva::video {
namespace {

// A count that is not positive fills nothing.
template <int N> void fillWithMin(void* plane, int32_t elements) {
    std::fill_n(static_cast<Element<N>*>(plane), std::max(elements, 0), videoTraits<N>::min);
}

} // namespace

// Also the blank YCbCr picture: Cb and Cr at the lowest value too, and the
// chroma planes filled to width x height elements.
template <int N>
void ToRGBChannelsEmpty(const uint8_t*, void* plane0, void* plane1, void* plane2, int width, int height, int) {
    const int32_t elements = planeElements(width, height);
    fillWithMin<N>(plane0, elements);
    fillWithMin<N>(plane1, elements);
    fillWithMin<N>(plane2, elements);
}

template <int N>
void ToIntensityChannelsEmpty(const uint8_t*, void* plane0, void*, void*, int width, int height, int) {
    fillWithMin<N>(plane0, planeElements(width, height));
}

// Logical planes have no blank picture.
KORVA_INSTANTIATE_VIDEO_FAMILY_UP_TO_7(ToRGBChannelsEmpty, KORVA_VIDEO_INPUT_PARAMS)
KORVA_INSTANTIATE_VIDEO_FAMILY_UP_TO_7(ToIntensityChannelsEmpty, KORVA_VIDEO_INPUT_PARAMS)

} // namespace korva::video
