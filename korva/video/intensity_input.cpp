// RGB frames into one plane of luminance of any element type: a packed,
// bottom-up, blue-first frame, or (the _mmr form) three 8-bit planes. Fixed
// weights in double, one clamp, and no table.

#include <korva/core/media_types.h>
#include <korva/video/byte_blocks.h>
#include <korva/video/kernel_support.h>
#include <korva/video/kernels.h>
#include <korva/video/rgb_source.h>

#include <algorithm>
#include <cstddef>

namespace korva::video {
namespace {

// The weights apply to the raw bytes: the 255 of the unit-range formula is
// already divided into them. Written to the last bit.
constexpr double RED_WEIGHT = 0x1.334f98649b069p-10;
constexpr double GREEN_WEIGHT = 0x1.2dbea793cc8e6p-9;
constexpr double BLUE_WEIGHT = 0x1.d4dc71df3f82ep-12;

// The byte a luminance of 0 to 1 rounds to.
inline int32_t roundedByte(double y) { return static_cast<int32_t>(y * 255.0 + 0.5); }

// A pixel's element: the type's low value for a luminance at or below 0, its
// high value at or above 1, and the scaled luminance in between. Every scaled
// form gives exactly the low value at 0 and the high value at 1, so clamping
// the luminance to [0, 1] and scaling gives the same element, with no branch
// to keep the loops from vectorising.
template <int N> Element<N> intensityOf(uint8_t red, uint8_t green, uint8_t blue) {
    const double luminance =
        (double(red) * RED_WEIGHT + double(green) * GREEN_WEIGHT) + double(blue) * BLUE_WEIGHT;
    const double y = luminance > 0.0 ? (luminance < 1.0 ? luminance : 1.0) : 0.0;
    if constexpr (N == VIDEO_DOUBLE) {
        return y;
    } else if constexpr (N == VIDEO_SINGLE) {
        return static_cast<float>(y);
    } else if constexpr (N == VIDEO_INT8) {
        // Low value -127, the formula at 0 truncated towards zero.
        return static_cast<char>(static_cast<int32_t>(y * 255.0 + 0.5 - 128.0));
    } else if constexpr (N == VIDEO_UINT8) {
        return static_cast<uint8_t>(roundedByte(y));
    } else if constexpr (N == VIDEO_INT16) {
        return static_cast<short>(static_cast<int32_t>(y * 255.0 * 257.0 - 32768.0));
    } else if constexpr (N == VIDEO_UINT16) {
        // The byte in both halves.
        return static_cast<unsigned short>(roundedByte(y) * 257);
    } else if constexpr (N == VIDEO_INT32) {
        return static_cast<int32_t>(y * 16843009.0 * 255.0 - 2147483648.0);
    } else if constexpr (N == VIDEO_UINT32) {
        // The byte in all four bytes.
        return static_cast<uint32_t>(roundedByte(y)) * 0x01010101u;
    } else {
        // A threshold at 0.5.
        return static_cast<uint8_t>(static_cast<int32_t>(y + 0.5));
    }
}

template <int N>
void planarRun(const uint8_t* __restrict red, const uint8_t* __restrict green, const uint8_t* __restrict blue,
               Element<N>* __restrict out, int count) {
    for (int x = 0; x < count; ++x) {
        out[x] = intensityOf<N>(red[x], green[x], blue[x]);
    }
}

// count pixels of one line into count elements, in address order. Sixteen
// pixels at a time are split into their channels first, so that the
// arithmetic runs over plain runs of bytes.
template <int N> void packedRun(const uint8_t* __restrict pixels, Element<N>* __restrict out, int count) {
    int x = 0;
    for (; x + 16 <= count; x += 16) {
        Bytes16 blue, green, red;
        splitThrees(pixels + 3 * x, blue, green, red);
        uint8_t channels[3][16];
        storeBytes16(channels[0], red);
        storeBytes16(channels[1], green);
        storeBytes16(channels[2], blue);
        planarRun<N>(channels[0], channels[1], channels[2], out + x, 16);
    }
    for (; x < count; ++x) {
        out[x] = intensityOf<N>(pixels[3 * x + 2], pixels[3 * x + 1], pixels[3 * x]);
    }
}

template <int N> void lineRun(const RGBSource& source, int y, int x0, Element<N>* out, int count) {
    const uint8_t* line = source.line(y) + static_cast<std::ptrdiff_t>(source.step) * x0;
    if (source.step == 3) {
        packedRun<N>(line, out, count);
    } else {
        planarRun<N>(line + source.red, line + source.green, line + source.blue, out, count);
    }
}

// Every element depends on its own pixel alone, so the walks take the pixels
// in the order that suits the memory.

template <int N> void toRowOrder(const RGBSource& source, Element<N>* plane, int width, int height) {
    for (int y = 0; y < height; ++y) {
        lineRun<N>(source, y, 0, plane + static_cast<std::ptrdiff_t>(y) * width, width);
    }
}

// Column order, a transpose in tiles of TILE_LINES lines by TILE_COLUMNS
// columns: the tile is worked out line by line into a buffer that fits the
// first-level cache (runs long enough for the vector loops), then written out
// column by column, each column one run of TILE_LINES.
constexpr int TILE_LINES = 32;
constexpr int TILE_COLUMNS = 128;

template <int N> void toColumnOrder(const RGBSource& source, Element<N>* plane, int width, int height) {
    Element<N> tile[TILE_LINES][TILE_COLUMNS];
    for (int y0 = 0; y0 < height; y0 += TILE_LINES) {
        const int lines = std::min(TILE_LINES, height - y0);
        for (int x0 = 0; x0 < width; x0 += TILE_COLUMNS) {
            const int columns = std::min(TILE_COLUMNS, width - x0);
            for (int j = 0; j < lines; ++j) {
                lineRun<N>(source, y0 + j, x0, tile[j], columns);
            }
            for (int i = 0; i < columns; ++i) {
                Element<N>* __restrict column = plane + static_cast<std::ptrdiff_t>(x0 + i) * height + y0;
                for (int j = 0; j < lines; ++j) {
                    column[j] = tile[j][i];
                }
            }
        }
    }
}

} // namespace

// Any non-zero columnOrder means column order. Picture line 0 comes from the
// frame's last line in both orders.
template <int N>
KORVA_HOT_KERNEL void RGBToIntensityChannelsInput(const uint8_t* frame, void* plane0, void*, void*, int width,
                                                  int height, int columnOrder) {
    if (width < 1 || height < 1) {
        return;
    }
    const RGBSource source = packedFrame(frame, width, height);
    Element<N>* plane = static_cast<Element<N>*>(plane0);
    if (columnOrder) {
        toColumnOrder<N>(source, plane, width, height);
    } else {
        toRowOrder<N>(source, plane, width, height);
    }
}

// The flag speaks of the source: 0 takes it as row-ordered and turns it into
// a column-ordered plane, anything else goes index for index, as one line of
// all the elements. There is no flip.
template <int N>
KORVA_HOT_KERNEL void RGBToIntensityChannelsInput_mmr(const uint8_t* frame, void* plane0, void*, void*, int width,
                                                      int height, int columnOrder) {
    if (width < 1 || height < 1) {
        return;
    }
    Element<N>* plane = static_cast<Element<N>*>(plane0);
    if (columnOrder) {
        const int32_t elements = planeElements(width, height);
        toRowOrder<N>(threePlanes(frame, elements, 1), plane, elements, 1);
    } else {
        toColumnOrder<N>(threePlanes(frame, width, height), plane, width, height);
    }
}

KORVA_INSTANTIATE_VIDEO_FAMILY(RGBToIntensityChannelsInput, KORVA_VIDEO_INPUT_PARAMS)
KORVA_INSTANTIATE_VIDEO_FAMILY(RGBToIntensityChannelsInput_mmr, KORVA_VIDEO_INPUT_PARAMS)

} // namespace korva::video
