#ifndef KORVA_VIDEO_TRAITS_H
#define KORVA_VIDEO_TRAITS_H

#include <korva/core/export.h>

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

template <int N> struct KORVA_API videoTraits;

#define KORVA_VIDEO_TRAITS(N, T)                                                                                      \
    template <> struct KORVA_API videoTraits<N> {                                                                     \
        using Element = T;                                                                                            \
        static const T min;                                                                                           \
        static const T max;                                                                                           \
        static std::vector<T> EightBitLUT;                                                                            \
    };

KORVA_VIDEO_TRAITS(VIDEO_DOUBLE, double)
KORVA_VIDEO_TRAITS(VIDEO_SINGLE, float)
KORVA_VIDEO_TRAITS(VIDEO_INT8, char)
KORVA_VIDEO_TRAITS(VIDEO_INT16, short)
KORVA_VIDEO_TRAITS(VIDEO_UINT16, unsigned short)
KORVA_VIDEO_TRAITS(VIDEO_INT32, int)
KORVA_VIDEO_TRAITS(VIDEO_UINT32, unsigned int)
KORVA_VIDEO_TRAITS(VIDEO_LOGICAL, unsigned char)
#undef KORVA_VIDEO_TRAITS

// The one type without a table.
template <> struct KORVA_API videoTraits<VIDEO_UINT8> {
    using Element = unsigned char;
    static const unsigned char min;
    static const unsigned char max;
};

// Sizes the type's table to exactly 256 entries and writes all of them, also
// when it stands ready: there is no built flag, and the values never differ.
// Does nothing for VIDEO_UINT8 and for values outside the enumeration.
KORVA_API void buildEightBitLUT(VideoDataType type);

#endif
