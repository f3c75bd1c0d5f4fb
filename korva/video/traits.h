#ifndef KORVA_VIDEO_TRAITS_H
#define KORVA_VIDEO_TRAITS_H

// Per-type constants of the callers' planes, indexed by the value N of a
// VideoDataType. `Element` is what one plane element is stored as.
//
// EightBitLUT turns one 8-bit sample into one element. It is empty at load
// time; the input and empty selectors build it for their type before they hand
// out a kernel, so a kernel may read it unchecked. VIDEO_UINT8 has no table:
// its kernels store the byte itself.

#include <korva/core/media_types.h>

#include <type_traits>
#include <vector>

// The int8 element is the platform's plain char, which the exported tables fix.
static_assert(std::is_signed<char>::value, "VIDEO_INT8 planes are held as char, which must be signed");

template <int N> struct videoTraits;

template <> struct videoTraits<VIDEO_DOUBLE> {
    using Element = double;
    static const double min;
    static const double max;
    static std::vector<double> EightBitLUT;
};

template <> struct videoTraits<VIDEO_SINGLE> {
    using Element = float;
    static const float min;
    static const float max;
    static std::vector<float> EightBitLUT;
};

template <> struct videoTraits<VIDEO_INT8> {
    using Element = char;
    static const char min;
    static const char max;
    static std::vector<char> EightBitLUT;
};

template <> struct videoTraits<VIDEO_UINT8> {
    using Element = unsigned char;
    static const unsigned char min;
    static const unsigned char max;
};

template <> struct videoTraits<VIDEO_INT16> {
    using Element = short;
    static const short min;
    static const short max;
    static std::vector<short> EightBitLUT;
};

template <> struct videoTraits<VIDEO_UINT16> {
    using Element = unsigned short;
    static const unsigned short min;
    static const unsigned short max;
    static std::vector<unsigned short> EightBitLUT;
};

template <> struct videoTraits<VIDEO_INT32> {
    using Element = int;
    static const int min;
    static const int max;
    static std::vector<int> EightBitLUT;
};

template <> struct videoTraits<VIDEO_UINT32> {
    using Element = unsigned int;
    static const unsigned int min;
    static const unsigned int max;
    static std::vector<unsigned int> EightBitLUT;
};

template <> struct videoTraits<VIDEO_LOGICAL> {
    using Element = unsigned char;
    static const unsigned char min;
    static const unsigned char max;
    static std::vector<unsigned char> EightBitLUT;
};

// Sizes the type's table to exactly 256 entries and writes all of them, also
// when it stands ready: there is no built flag, and the values never differ.
// Does nothing for VIDEO_UINT8 and for values outside the enumeration.
void buildEightBitLUT(VideoDataType type);

#endif
