// Y, Cb, Cr planes to and from RGB: packed RGB frames, or three byte planes,
// into YCbCr planes, and YCbCr planes into packed RGB frames. These kernels
// read this unit's own copy of the colour tables.

#include <korva/core/media_types.h>
#include <korva/video/kernel_support.h>
#include <korva/video/kernels.h>
#include <korva/video/plane_runs.h>
#include <korva/video/ycbcr_model.h>

#include <cstddef>

namespace korva::video {
namespace {

int32_t ycbcrOffsets[3];
int32_t ycbcrForwardMatrix[9];
int32_t ycbcrInverseMatrix[9];
const YCbCrTablesFiller fillTables(ycbcrOffsets, ycbcrForwardMatrix, ycbcrInverseMatrix);

// The forward map on one pixel in place: R, G, B in, Y, Cb, Cr out, with no
// clamp. It fetches the coefficients on every call.
void rgbToYCbCrPixel(int32_t (&pixel)[3]) {
    const ForwardMap map = ForwardMap::of(ycbcrForwardMatrix, ycbcrOffsets);
    const int32_t r = pixel[0], g = pixel[1], b = pixel[2];
    pixel[0] = map.luma(r, g, b);
    pixel[1] = map.cb(r, g, b);
    pixel[2] = map.cr(r, g, b);
}

// What a pixel pair leaves in the planes: both lumas and the first pixel's
// chroma; the second pixel's chroma is dropped. The values are clamped,
// though the map stays in range, since they index the type's table. Pair k
// goes to y0 and y1 at [k x lumaStep] and to cb and cr at [k].
struct PairOut {
    uint8_t* __restrict y0;
    uint8_t* __restrict y1;
    int lumaStep;
    uint8_t* __restrict cb;
    uint8_t* __restrict cr;

    void put(int k, const ForwardMap& map, RGBBytes first, RGBBytes second) const {
        y0[k * lumaStep] = uint8_t(clampToByte(map.luma(first.r, first.g, first.b)));
        y1[k * lumaStep] = uint8_t(clampToByte(map.luma(second.r, second.g, second.b)));
        cb[k] = uint8_t(clampToByte(map.cb(first.r, first.g, first.b)));
        cr[k] = uint8_t(clampToByte(map.cr(first.r, first.g, first.b)));
    }
};

// Pixel pairs as three channels of bytes, the pair's pixels side by side at
// [2k] and [2k + 1]: the colour work runs on them, where it vectorises.
// Packed pixels are blue, green, red; a run of a frame row is split into
// channels, or put together from them, in one pass, and pairs down a column,
// step bytes apart, one by one. Pairs of three byte planes, the first pixels
// step apart, are gathered likewise.
struct ChannelBytes {
    uint8_t red[2 * RUN_ELEMENTS], green[2 * RUN_ELEMENTS], blue[2 * RUN_ELEMENTS];

    void split(const uint8_t* __restrict packed, int pixels) {
        for (int p = 0; p < pixels; ++p) {
            blue[p] = packed[3 * p], green[p] = packed[3 * p + 1], red[p] = packed[3 * p + 2];
        }
    }
    void merge(uint8_t* __restrict packed, int pixels) const {
        for (int p = 0; p < pixels; ++p) {
            packed[3 * p] = blue[p], packed[3 * p + 1] = green[p], packed[3 * p + 2] = red[p];
        }
    }
    void gatherPairs(const uint8_t* __restrict pairs, std::ptrdiff_t step, int count) {
        for (int k = 0; k < count; ++k) {
            const uint8_t* p = pairs + k * step;
            blue[2 * k] = p[0], green[2 * k] = p[1], red[2 * k] = p[2];
            blue[2 * k + 1] = p[3], green[2 * k + 1] = p[4], red[2 * k + 1] = p[5];
        }
    }
    void gatherPlanarPairs(const uint8_t* __restrict r, const uint8_t* __restrict g, const uint8_t* __restrict b,
                           std::ptrdiff_t step, int count) {
        for (int k = 0; k < count; ++k) {
            red[2 * k] = r[k * step], green[2 * k] = g[k * step], blue[2 * k] = b[k * step];
            red[2 * k + 1] = r[k * step + 1], green[2 * k + 1] = g[k * step + 1], blue[2 * k + 1] = b[k * step + 1];
        }
    }
    void scatterPairs(uint8_t* __restrict pairs, std::ptrdiff_t step, int count) const {
        for (int k = 0; k < count; ++k) {
            uint8_t* p = pairs + k * step;
            p[0] = blue[2 * k], p[1] = green[2 * k], p[2] = red[2 * k];
            p[3] = blue[2 * k + 1], p[4] = green[2 * k + 1], p[5] = red[2 * k + 1];
        }
    }
};

// The forward map on pairs, in line.
inline void pairsToYCbCr(const ForwardMap& map, const ChannelBytes& pixels, const PairOut& out, int count) {
    for (int k = 0; k < count; ++k) {
        out.put(k, map, {pixels.red[2 * k], pixels.green[2 * k], pixels.blue[2 * k]},
                {pixels.red[2 * k + 1], pixels.green[2 * k + 1], pixels.blue[2 * k + 1]});
    }
}

// The inverse map on pairs: luma at y0 and y1 [k x lumaStep], chroma at cb
// and cr [k]. Both pixels take the pair's chroma.
inline void ycbcrToPairs(const InverseMap& map, const uint8_t* __restrict y0, const uint8_t* __restrict y1,
                         int lumaStep, const uint8_t* __restrict cb, const uint8_t* __restrict cr, ChannelBytes& pixels,
                         int count) {
    uint8_t* __restrict red = pixels.red;
    uint8_t* __restrict green = pixels.green;
    uint8_t* __restrict blue = pixels.blue;
    for (int k = 0; k < count; ++k) {
        const ChromaTerms terms = chromaTerms(map, cb[k], cr[k]);
        const RGBBytes first = ycbcrToRgbPixel(map, y0[k * lumaStep], terms);
        const RGBBytes second = ycbcrToRgbPixel(map, y1[k * lumaStep], terms);
        red[2 * k] = uint8_t(first.r), green[2 * k] = uint8_t(first.g), blue[2 * k] = uint8_t(first.b);
        red[2 * k + 1] = uint8_t(second.r), green[2 * k + 1] = uint8_t(second.g), blue[2 * k + 1] = uint8_t(second.b);
    }
}

template <int N> struct YCbCrPlanes {
    Element<N>* y;
    Element<N>* cb;
    Element<N>* cr;
    FromEightBit<N> lift;
};

// Runs of the three planes for count pairs: luma from first and second, at
// lumaStep, chroma from chroma on.
template <int N> struct PairRuns {
    RaisedRun<N> y0, y1, cb, cr;
    int lumaStep;

    PairRuns(const YCbCrPlanes<N>& planes, std::ptrdiff_t first, std::ptrdiff_t second, int lumaStep,
             std::ptrdiff_t chroma)
        : y0(planes.y + first, planes.lift), y1(planes.y + second, planes.lift), cb(planes.cb + chroma, planes.lift),
          cr(planes.cr + chroma, planes.lift), lumaStep(lumaStep) {}
    // Two luma runs that interleave (step 2) are written as the first one.
    PairOut out() {
        return {y0.bytes(), lumaStep == 1 ? y1.bytes() : y0.bytes() + 1, lumaStep, cb.bytes(), cr.bytes()};
    }
    void raise(int count) {
        if (lumaStep == 1) {
            y0.raise(count), y1.raise(count);
        } else {
            y0.raise(2 * count);
        }
        cb.raise(count), cr.raise(count);
    }
};

template <int N> YCbCrPlanes<N> planesOf(void* plane0, void* plane1, void* plane2) {
    return {static_cast<Element<N>*>(plane0), static_cast<Element<N>*>(plane1), static_cast<Element<N>*>(plane2),
            FromEightBit<N>{}};
}

} // namespace

// Frame row r is image row H - 1 - r. Only whole pairs are converted: an odd
// width loses its last column, and the planes hold W rounded down to even
// columns of luma. Flag 0 is row order; any other value column order.
template <int N>
KORVA_HOT_KERNEL void RGBToYCbCrChannelsInput(const uint8_t* frame, void* plane0, void* plane1, void* plane2, int width,
                                              int height, int columnOrder) {
    if (width < 2 || height < 1) {
        return;
    }
    const ForwardMap map = ForwardMap::of(ycbcrForwardMatrix, ycbcrOffsets);
    const YCbCrPlanes<N> planes = planesOf<N>(plane0, plane1, plane2);
    const int pairs = width / 2;
    const std::ptrdiff_t stride = rgbRowBytes(width);
    ChannelBytes pixels;
    if (columnOrder == 0) {
        for (int row = 0; row < height; ++row) {
            const std::ptrdiff_t chromaRow = std::ptrdiff_t(height - 1 - row) * pairs;
            walkRuns(pairs, RUN_ELEMENTS / 2, [&](std::ptrdiff_t i, int count) {
                PairRuns<N> runs(planes, 2 * (chromaRow + i), 2 * (chromaRow + i) + 1, 2, chromaRow + i);
                pixels.split(frame + row * stride + 6 * i, 2 * count);
                pairsToYCbCr(map, pixels, runs.out(), count);
                runs.raise(count);
            });
        }
    } else {
        walkColumnTiles(pairs, height, [&](int i, int y0, int count) {
            const std::ptrdiff_t first = std::ptrdiff_t(2 * i) * height + y0;
            PairRuns<N> runs(planes, first, first + height, 1, std::ptrdiff_t(i) * height + y0);
            pixels.gatherPairs(frame + (height - 1 - y0) * stride + 6 * i, -stride, count);
            pairsToYCbCr(map, pixels, runs.out(), count);
            runs.raise(count);
        });
    }
}

// The source is three byte planes, R, G, B, of W x H each, with no flip. The
// planes come out in column order whatever the flag, which tells the order
// of the source: 1 column order, any other value row order. Every row has
// W / 2 rounded up pairs, so an odd width reads a column W that does not
// exist (the next column, row or byte plane, or past the buffer) and writes
// it into the luma plane, which then needs (W + 1) x H elements.
template <int N>
KORVA_HOT_KERNEL void RGBToYCbCrChannelsInput_mmr(const uint8_t* frame, void* plane0, void* plane1, void* plane2,
                                                  int width, int height, int columnOrder) {
    if (width < 1 || height < 1) {
        return;
    }
    const std::ptrdiff_t elements = planeElements(width, height);
    const uint8_t* const red = frame;
    const uint8_t* const green = frame + elements;
    const uint8_t* const blue = frame + 2 * elements;
    const YCbCrPlanes<N> planes = planesOf<N>(plane0, plane1, plane2);
    const int groups = ((width - 1) >> 1) + 1;
    if (columnOrder == 1) {
        // Source and planes both run down the columns: a straight pass, pair
        // by pair, each down all rows, through the one-pixel routine.
        for (int i = 0; i < groups; ++i) {
            walkRuns(height, RUN_ELEMENTS, [&](std::ptrdiff_t y0, int count) {
                const std::ptrdiff_t s0 = std::ptrdiff_t(2 * i) * height + y0, s1 = s0 + height;
                PairRuns<N> runs(planes, s0, s1, 1, std::ptrdiff_t(i) * height + y0);
                const PairOut out = runs.out();
                for (int k = 0; k < count; ++k) {
                    int32_t first[3] = {red[s0 + k], green[s0 + k], blue[s0 + k]};
                    int32_t second[3] = {red[s1 + k], green[s1 + k], blue[s1 + k]};
                    rgbToYCbCrPixel(first);
                    rgbToYCbCrPixel(second);
                    out.y0[k] = uint8_t(clampToByte(first[0]));
                    out.y1[k] = uint8_t(clampToByte(second[0]));
                    out.cb[k] = uint8_t(clampToByte(first[1]));
                    out.cr[k] = uint8_t(clampToByte(first[2]));
                }
                runs.raise(count);
            });
        }
    } else {
        const ForwardMap map = ForwardMap::of(ycbcrForwardMatrix, ycbcrOffsets);
        ChannelBytes pixels;
        walkColumnTiles(groups, height, [&](int i, int y0, int count) {
            const std::ptrdiff_t first = std::ptrdiff_t(2 * i) * height + y0;
            const std::ptrdiff_t source = std::ptrdiff_t(y0) * width + 2 * i;
            PairRuns<N> runs(planes, first, first + height, 1, std::ptrdiff_t(i) * height + y0);
            pixels.gatherPlanarPairs(red + source, green + source, blue + source, width, count);
            pairsToYCbCr(map, pixels, runs.out(), count);
            runs.raise(count);
        });
    }
}

// Frame row r is image row H - 1 - r. Only whole pairs are converted, both
// pixels with the pair's chroma: an odd width leaves the last three image
// bytes of every frame row as they were, like the pad bytes, and the last
// luma element of every row unread. The chroma planes have W / 2 rounded down
// columns. Flag 0 is row order; any other value column order.
template <int N>
KORVA_HOT_KERNEL void YCbCrToRGBChannelsOutput(const void* plane0, const void* plane1, const void* plane2,
                                               uint8_t* frame, int width, int height, int columnOrder) {
    if (width < 2 || height < 1) {
        return;
    }
    const InverseMap map = InverseMap::of(ycbcrInverseMatrix, ycbcrOffsets[0], ycbcrOffsets[1], ycbcrOffsets[2]);
    const Element<N>* const luma = static_cast<const Element<N>*>(plane0);
    const Element<N>* const cb = static_cast<const Element<N>*>(plane1);
    const Element<N>* const cr = static_cast<const Element<N>*>(plane2);
    const int pairs = width / 2;
    const std::ptrdiff_t stride = rgbRowBytes(width);
    ReducedRun<N> y0, y1, u, v;
    ChannelBytes pixels;
    if (columnOrder == 0) {
        for (int row = 0; row < height; ++row) {
            const std::ptrdiff_t y = height - 1 - row;
            walkRuns(pairs, RUN_ELEMENTS / 2, [&](std::ptrdiff_t i, int count) {
                const uint8_t* lumaRun = y0(luma + y * width + 2 * i, 2 * count);
                ycbcrToPairs(map, lumaRun, lumaRun + 1, 2, u(cb + y * pairs + i, count), v(cr + y * pairs + i, count),
                             pixels, count);
                pixels.merge(frame + row * stride + 6 * i, 2 * count);
            });
        }
    } else {
        walkColumnTiles(pairs, height, [&](int i, int start, int count) {
            const std::ptrdiff_t first = std::ptrdiff_t(2 * i) * height + start;
            const std::ptrdiff_t chroma = std::ptrdiff_t(i) * height + start;
            ycbcrToPairs(map, y0(luma + first, count), y1(luma + first + height, count), 1, u(cb + chroma, count),
                         v(cr + chroma, count), pixels, count);
            pixels.scatterPairs(frame + (height - 1 - start) * stride + 6 * i, -stride, count);
        });
    }
}

KORVA_INSTANTIATE_VIDEO_FAMILY(RGBToYCbCrChannelsInput, KORVA_VIDEO_INPUT_PARAMS)
KORVA_INSTANTIATE_VIDEO_FAMILY(RGBToYCbCrChannelsInput_mmr, KORVA_VIDEO_INPUT_PARAMS)
KORVA_INSTANTIATE_VIDEO_FAMILY(YCbCrToRGBChannelsOutput, KORVA_VIDEO_OUTPUT_PARAMS)

} // namespace korva::video
