// Column-ordered planes into the row-ordered planes of a raw frame, narrowed
// to 8- or 16-bit words, with a zero filler at each row's end and, if asked,
// the rows bottom-up.

#include <korva/video/kernel_support.h>
#include <korva/video/kernels.h>
#include <korva/video/quantise.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace korva::video {
namespace {

// The floating rule: floor(-x * min) of the 16-bit range, rounded half away
// from the middle and clamped to the range. v is whole, so the rounding only
// matters for what it does to a NaN, which meets neither clamp and goes to
// the integer conversion, whose out-of-range answer narrows to 0.
inline short floatingToInt16(double negated) {
    const double min = videoTraits<VIDEO_INT16>::min;
    const double max = videoTraits<VIDEO_INT16>::max;
    const double v = std::floor(negated * min);
    if (v + 0.5 > max) {
        return videoTraits<VIDEO_INT16>::max;
    }
    if (v - 0.5 < min) {
        return videoTraits<VIDEO_INT16>::min;
    }
    return static_cast<short>(truncateToInt32(v >= -0.5 ? v + 0.5 : v - 0.5));
}

// One element of type In as one word of type Out.
template <int In, int Out> Element<Out> narrow(Element<In> x) {
    if constexpr (In == Out) {
        return x;
    } else if constexpr (In == VIDEO_LOGICAL) {
        return quantiseToEightBit<VIDEO_LOGICAL>(x);
    } else if constexpr (In == VIDEO_INT32) {
        return static_cast<short>(x / 65536);
    } else if constexpr (In == VIDEO_UINT32) {
        return static_cast<unsigned short>(x >> 16);
    } else if constexpr (In == VIDEO_SINGLE) {
        // The sign is flipped in single precision, then the value widened.
        return floatingToInt16(static_cast<double>(-x));
    } else {
        return floatingToInt16(-x);
    }
}

// The transpose runs in tiles of TILE_ROWS output rows by TILE_COLUMNS
// columns. Each column of a tile is one run of the input, narrowed in a loop
// that vectorises into a buffer in the cache; the buffer is then written out
// row by row.
constexpr int TILE_ROWS = 128;
constexpr int TILE_COLUMNS = 16;

template <int In, int Out> struct PlaneCopier {
    int width;
    int height;
    std::ptrdiff_t rowStep; // width and filler
    int padElements;
    bool bottomUp;

    // Input rows first to first + count - 1 of one column, in output order.
    static void narrowRun(const Element<In>* __restrict column, int first, int count, bool reversed,
                          Element<Out>* __restrict to) {
        if (reversed) {
            for (int i = 0; i < count; ++i) {
                to[i] = narrow<In, Out>(column[first + count - 1 - i]);
            }
        } else {
            for (int i = 0; i < count; ++i) {
                to[i] = narrow<In, Out>(column[first + i]);
            }
        }
    }

    void operator()(const Element<In>* in, Element<Out>* __restrict out) const {
        Element<Out> tile[TILE_COLUMNS][TILE_ROWS];
        for (int o0 = 0; o0 < height; o0 += TILE_ROWS) {
            const int rows = std::min(TILE_ROWS, height - o0);
            // Output rows o0 on are input rows o0 on, or, bottom-up, the
            // rows ending at height - 1 - o0.
            const int first = bottomUp ? height - o0 - rows : o0;
            for (int c0 = 0; c0 < width; c0 += TILE_COLUMNS) {
                const int columns = std::min(TILE_COLUMNS, width - c0);
                for (int c = 0; c < columns; ++c) {
                    narrowRun(in + static_cast<std::ptrdiff_t>(c0 + c) * height, first, rows, bottomUp, tile[c]);
                }
                for (int o = 0; o < rows; ++o) {
                    Element<Out>* to = out + (o0 + o) * rowStep + c0;
                    for (int c = 0; c < columns; ++c) {
                        to[c] = tile[c][o];
                    }
                }
            }
            for (int o = o0; o < o0 + rows; ++o) {
                std::fill_n(out + o * rowStep + width, padElements, Element<Out>(0));
            }
        }
    }
};

} // namespace

// A height below 1 is not a picture and writes nothing.
template <int In, int Out>
KORVA_HOT_KERNEL void RawPlanarColumnToRawPlanarRowConvert(const void* in, void* out, int width, int height,
                                                           int planes, int padElements, bool bottomUp) {
    if (planes < 1 || height < 1) {
        return;
    }
    const int filler = std::max(padElements, 0);
    const PlaneCopier<In, Out> copy{std::max(width, 0), height, std::max(width, 0) + filler, filler, bottomUp};
    const std::ptrdiff_t inPlane = static_cast<std::ptrdiff_t>(height) * std::max(width, 0);
    const std::ptrdiff_t outPlane = static_cast<std::ptrdiff_t>(height) * copy.rowStep;
    for (int p = 0; p < planes; ++p) {
        copy(static_cast<const Element<In>*>(in) + p * inPlane, static_cast<Element<Out>*>(out) + p * outPlane);
    }
}

#define KORVA_RAW_PLANAR_PAIR(in, out)                                                                                \
    template void RawPlanarColumnToRawPlanarRowConvert<in, out>(const void*, void*, int, int, int, int, bool);
KORVA_RAW_PLANAR_PAIR(VIDEO_INT8, VIDEO_INT8)
KORVA_RAW_PLANAR_PAIR(VIDEO_UINT8, VIDEO_UINT8)
KORVA_RAW_PLANAR_PAIR(VIDEO_LOGICAL, VIDEO_UINT8)
KORVA_RAW_PLANAR_PAIR(VIDEO_INT16, VIDEO_INT16)
KORVA_RAW_PLANAR_PAIR(VIDEO_INT32, VIDEO_INT16)
KORVA_RAW_PLANAR_PAIR(VIDEO_SINGLE, VIDEO_INT16)
KORVA_RAW_PLANAR_PAIR(VIDEO_DOUBLE, VIDEO_INT16)
KORVA_RAW_PLANAR_PAIR(VIDEO_UINT16, VIDEO_UINT16)
KORVA_RAW_PLANAR_PAIR(VIDEO_UINT32, VIDEO_UINT16)
#undef KORVA_RAW_PLANAR_PAIR

} // namespace korva::video
