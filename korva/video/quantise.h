#ifndef KORVA_VIDEO_QUANTISE_H
#define KORVA_VIDEO_QUANTISE_H

// How an output kernel reduces an element of a caller's plane to eight bits.
// Private to the video units.

#include <korva/video/kernel_support.h>

#include <cmath>
#include <cstdint>
#include <limits>

namespace korva::video {

// The element in single precision: wide integers go through a signed word
// wide enough to keep them positive, a logical element counts as its byte.
template <int N> float singlePrecisionOf(Element<N> element) {
    if constexpr (N == VIDEO_DOUBLE || N == VIDEO_SINGLE) {
        return static_cast<float>(element);
    } else if constexpr (N == VIDEO_UINT32) {
        return static_cast<float>(static_cast<int64_t>(element));
    } else {
        return static_cast<float>(static_cast<int32_t>(element));
    }
}

// Truncation towards zero, with the one answer for NaN and for magnitudes of
// 2^31 and more that the processor's own conversion gives on x86-64, here on
// every processor.
inline int32_t truncateToInt32(double value) {
    if (std::isnan(value) || value >= 2147483648.0 || value <= -2147483648.0) {
        return INT32_MIN;
    }
    return static_cast<int32_t>(value);
}

// t + 0.5 truncated towards zero and clamped to 0..255, where NaN and any
// magnitude of 2^31 or more count as -2^31, as the processor's own truncation
// gives them on x86-64, and so become 0 on every processor: a huge value is
// black, not white. Written as selects on the double, with no conversion of
// an out-of-range value, so that loops over elements vectorise.
inline uint8_t truncateAndClampToEightBit(double rounded) {
    const double inRange = rounded >= 0.0 && rounded < 2147483648.0 ? rounded : 0.0;
    const double clamped = inRange < 255.0 ? inRange : 255.0;
    return static_cast<uint8_t>(static_cast<int32_t>(clamped));
}

// The element's place in the type's range [min, max], scaled to 0..255 in
// single precision, rounded by adding a half in double, truncated and
// clamped. The range spans a power of two more than the input tables spread
// over, so for the wide integer types a raised byte comes back one lower from
// 129 up; that is how the two directions are meant to meet.
template <int N> uint8_t quantiseToEightBit(Element<N> element) {
    if constexpr (N == VIDEO_UINT8) {
        return element;
    } else {
        // videoTraits<N>::min and max, as constants of the compiler's own so
        // that loops neither reload them nor work out the span per element.
        constexpr bool unitRange = N == VIDEO_DOUBLE || N == VIDEO_SINGLE || N == VIDEO_LOGICAL;
        constexpr float lo = unitRange ? 0.0f : static_cast<float>(std::numeric_limits<Element<N>>::min());
        constexpr float hi = unitRange ? 1.0f : static_cast<float>(std::numeric_limits<Element<N>>::max());
        constexpr float span = hi - lo;
        const float t = (singlePrecisionOf<N>(element) - lo) / span * 255.0f;
        return truncateAndClampToEightBit(static_cast<double>(t) + 0.5);
    }
}

} // namespace korva::video

#endif
