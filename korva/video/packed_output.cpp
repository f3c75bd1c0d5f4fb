// Planes of any element type into a packed RGB frame: blue, green, red a
// pixel, lines bottom-up and filled to whole four-byte words, whose filler is
// never written. Each element is reduced to eight bits on its own, with no
// arithmetic between the channels.

#include <korva/core/media_types.h>
#include <korva/video/byte_blocks.h>
#include <korva/video/kernel_support.h>
#include <korva/video/kernels.h>
#include <korva/video/quantise.h>
#include <korva/video/quantise_runs.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace korva::video {
namespace {

template <int N> struct SourcePlanes {
    const Element<N>* red;
    const Element<N>* green;
    const Element<N>* blue;
};

// One plane for all three channels, as the intensity kernels pass it: its
// bytes are worked out once.
template <int N> bool grey(const SourcePlanes<N>& planes) {
    return planes.green == planes.red && planes.blue == planes.red;
}

// Sixteen bytes of each channel into sixteen packed pixels (48 bytes): byte
// 3i of the pixels is first[i], 3i + 1 second[i], 3i + 2 third[i]. Each part
// takes the first two channels' bytes, then the third's.
inline void joinThrees(Bytes16 first, Bytes16 second, Bytes16 third, uint8_t* pixels) {
    const Bytes16 part0 = KORVA_SHUFFLE(Bytes16, first, second, 0, 16, 0, 1, 17, 0, 2, 18, 0, 3, 19, 0, 4, 20, 0, 5);
    const Bytes16 part1 = KORVA_SHUFFLE(Bytes16, first, second, 21, 0, 6, 22, 0, 7, 23, 0, 8, 24, 0, 9, 25, 0, 10, 26);
    const Bytes16 part2 =
        KORVA_SHUFFLE(Bytes16, first, second, 0, 11, 27, 0, 12, 28, 0, 13, 29, 0, 14, 30, 0, 15, 31, 0);
    storeBytes16(pixels,
                 KORVA_SHUFFLE(Bytes16, part0, third, 0, 1, 16, 3, 4, 17, 6, 7, 18, 9, 10, 19, 12, 13, 20, 15));
    storeBytes16(pixels + 16,
                 KORVA_SHUFFLE(Bytes16, part1, third, 0, 21, 2, 3, 22, 5, 6, 23, 8, 9, 24, 11, 12, 25, 14, 15));
    storeBytes16(pixels + 32,
                 KORVA_SHUFFLE(Bytes16, part2, third, 26, 1, 2, 27, 4, 5, 28, 7, 8, 29, 10, 11, 30, 13, 14, 31));
}

// count bytes of each channel into packed pixels, in address order.
void packPixels(const uint8_t* __restrict red, const uint8_t* __restrict green, const uint8_t* __restrict blue,
                uint8_t* __restrict pixels, int count) {
    int x = 0;
    for (; x + 16 <= count; x += 16) {
        joinThrees(loadBytes16(blue + x), loadBytes16(green + x), loadBytes16(red + x), pixels + 3 * x);
    }
    for (; x < count; ++x) {
        pixels[3 * x] = blue[x];
        pixels[3 * x + 1] = green[x];
        pixels[3 * x + 2] = red[x];
    }
}

// Row-ordered planes: frame line r holds picture line height - 1 - r. Wider
// types are reduced a run at a time into bytes that stay in the cache, and
// the bytes then packed as VIDEO_UINT8 planes are.
constexpr int RUN = 256;

template <int N> void fromRowOrder(const SourcePlanes<N>& planes, uint8_t* frame, int width, int height) {
    const std::ptrdiff_t stride = rgbRowBytes(width);
    for (int r = 0; r < height; ++r) {
        const std::ptrdiff_t row = static_cast<std::ptrdiff_t>(height - 1 - r) * width;
        uint8_t* line = frame + r * stride;
        if constexpr (N == VIDEO_UINT8) {
            packPixels(planes.red + row, planes.green + row, planes.blue + row, line, width);
        } else {
            for (int x0 = 0; x0 < width; x0 += RUN) {
                const int count = std::min(RUN, width - x0);
                uint8_t red[RUN], green[RUN], blue[RUN];
                quantiseRun<N>(planes.red + row + x0, red, count);
                if (grey(planes)) {
                    packPixels(red, red, red, line + 3 * x0, count);
                    continue;
                }
                quantiseRun<N>(planes.green + row + x0, green, count);
                quantiseRun<N>(planes.blue + row + x0, blue, count);
                packPixels(red, green, blue, line + 3 * x0, count);
            }
        }
    }
}

// Column-ordered planes, a transpose: blocks of 16 columns by 32 picture
// lines are turned in registers, as two 16 x 16 blocks side by side, in bands
// of BAND_LINES lines: each column's part of a band is a run of whole cache
// lines, read in address order, and the band's frame lines, written in
// address order across the band, stay in the cache meanwhile.
constexpr int BLOCK_COLUMNS = 16;
constexpr int BLOCK_LINES = 32;
constexpr int BAND_LINES = 128;

// joinThrees on two lines at once, one in each half of the channels' bytes;
// the pixels of the low half go to low, those of the high half to high.
inline void joinThreesOfTwoLines(const Bytes32& first, const Bytes32& second, const Bytes32& third, uint8_t* low,
                                 uint8_t* high) {
    const Bytes32 part0 = KORVA_SHUFFLE(Bytes32, first, second,
                                        0, 32, 0, 1, 33, 0, 2, 34, 0, 3, 35, 0, 4, 36, 0, 5,
                                        16, 48, 16, 17, 49, 16, 18, 50, 16, 19, 51, 16, 20, 52, 16, 21);
    const Bytes32 part1 = KORVA_SHUFFLE(Bytes32, first, second,
                                        37, 0, 6, 38, 0, 7, 39, 0, 8, 40, 0, 9, 41, 0, 10, 42,
                                        53, 16, 22, 54, 16, 23, 55, 16, 24, 56, 16, 25, 57, 16, 26, 58);
    const Bytes32 part2 = KORVA_SHUFFLE(Bytes32, first, second,
                                        0, 11, 43, 0, 12, 44, 0, 13, 45, 0, 14, 46, 0, 15, 47, 0,
                                        16, 27, 59, 16, 28, 60, 16, 29, 61, 16, 30, 62, 16, 31, 63, 16);
    const Bytes32 pixels[3] = {
        KORVA_SHUFFLE(Bytes32, part0, third,
                      0, 1, 32, 3, 4, 33, 6, 7, 34, 9, 10, 35, 12, 13, 36, 15,
                      16, 17, 48, 19, 20, 49, 22, 23, 50, 25, 26, 51, 28, 29, 52, 31),
        KORVA_SHUFFLE(Bytes32, part1, third,
                      0, 37, 2, 3, 38, 5, 6, 39, 8, 9, 40, 11, 12, 41, 14, 15,
                      16, 53, 18, 19, 54, 21, 22, 55, 24, 25, 56, 27, 28, 57, 30, 31),
        KORVA_SHUFFLE(Bytes32, part2, third,
                      42, 1, 2, 43, 4, 5, 44, 7, 8, 45, 10, 11, 46, 13, 14, 47,
                      58, 17, 18, 59, 20, 21, 60, 23, 24, 61, 26, 27, 62, 29, 30, 63)};
    for (int k = 0; k < 3; ++k) {
        std::memcpy(low + 16 * k, reinterpret_cast<const uint8_t*>(&pixels[k]), 16);
        std::memcpy(high + 16 * k, reinterpret_cast<const uint8_t*>(&pixels[k]) + 16, 16);
    }
}

// Bytes of the three channels of a block: those of column x, line j at
// x * columnStep + j.
struct ByteBlock {
    const uint8_t* red;
    const uint8_t* green;
    const uint8_t* blue;
    std::ptrdiff_t columnStep;
};

// A block into 32 frame lines of 16 pixels; the pixels of picture line j
// start at topLeft + j * lineStep.
void packBlock(const ByteBlock& block, uint8_t* topLeft, std::ptrdiff_t lineStep) {
    Bytes32 red[BLOCK_COLUMNS], green[BLOCK_COLUMNS], blue[BLOCK_COLUMNS];
#pragma GCC unroll 16
    for (int x = 0; x < BLOCK_COLUMNS; ++x) {
        loadBytes32(red[x], block.red + x * block.columnStep);
        loadBytes32(green[x], block.green + x * block.columnStep);
        loadBytes32(blue[x], block.blue + x * block.columnStep);
    }
    transposeHalves16x16(red);
    transposeHalves16x16(green);
    transposeHalves16x16(blue);
#pragma GCC unroll 16
    for (int j = 0; j < 16; ++j) {
        joinThreesOfTwoLines(blue[j], green[j], red[j], topLeft + j * lineStep, topLeft + (j + 16) * lineStep);
    }
}

// VIDEO_UINT8 planes: the bytes are packed where they lie.
struct ColumnPacker {
    const SourcePlanes<VIDEO_UINT8>& planes;
    uint8_t* frame;
    int width;
    int height;
    std::ptrdiff_t stride;

    uint8_t* pixel(int x, int y) const { return frame + (height - 1 - y) * stride + 3 * x; }

    // The block whose top left pixel is (x0, y0).
    void block(int x0, int y0) const {
        const std::ptrdiff_t first = static_cast<std::ptrdiff_t>(x0) * height + y0;
        packBlock({planes.red + first, planes.green + first, planes.blue + first, height}, pixel(x0, y0), -stride);
    }

    // Pixels x0 to x1 - 1 of picture lines y0 to y1 - 1, one at a time.
    void plain(int x0, int x1, int y0, int y1) const {
        for (int y = y0; y < y1; ++y) {
            uint8_t* out = pixel(x0, y);
            for (int x = x0; x < x1; ++x, out += 3) {
                const std::ptrdiff_t k = static_cast<std::ptrdiff_t>(x) * height + y;
                out[0] = planes.blue[k];
                out[1] = planes.green[k];
                out[2] = planes.red[k];
            }
        }
    }
};

// Frame lines are stride bytes apart.
void bytesFromColumnOrder(const SourcePlanes<VIDEO_UINT8>& planes, uint8_t* frame, int width, int height,
                          std::ptrdiff_t stride) {
    const ColumnPacker packer{planes, frame, width, height, stride};
    const int blockLines = height - height % BLOCK_LINES;
    const int blockColumns = width - width % BLOCK_COLUMNS;
    for (int y0 = 0; y0 < blockLines; y0 += BAND_LINES) {
        const int y1 = std::min(blockLines, y0 + BAND_LINES);
        for (int x0 = 0; x0 < blockColumns; x0 += BLOCK_COLUMNS) {
            for (int y = y0; y < y1; y += BLOCK_LINES) {
                packer.block(x0, y);
            }
        }
        packer.plain(blockColumns, width, y0, y1);
    }
    packer.plain(0, width, blockLines, height);
}

// Wider elements: the columns of a block follow one another in each plane,
// so a strip of BLOCK_COLUMNS columns is one run in memory, read in address
// order at the memory's pace. A strip's part of up to STRIP_LINES lines is
// reduced to bytes that stay in the cache, and then packed as VIDEO_UINT8
// columns are; the frame lines of a strip are finished by the next strip
// while they are still in the cache.
constexpr int STRIP_LINES = 1024;

template <int N> struct ReducedStrip {
    uint8_t red[BLOCK_COLUMNS * STRIP_LINES];
    uint8_t green[BLOCK_COLUMNS * STRIP_LINES];
    uint8_t blue[BLOCK_COLUMNS * STRIP_LINES];

    // Columns x0 to x0 + columns - 1, lines y0 to y0 + lines - 1: the byte of
    // column x, line y0 + j at (x - x0) * lines + j.
    // Gives the three channels' bytes.
    SourcePlanes<VIDEO_UINT8> reduce(const SourcePlanes<N>& planes, int height, int x0, int columns, int y0,
                                     int lines) {
        const bool once = grey(planes);
        for (int x = 0; x < columns; ++x) {
            const std::ptrdiff_t column = static_cast<std::ptrdiff_t>(x0 + x) * height + y0;
            quantiseRun<N>(planes.red + column, red + lines * x, lines);
            if (!once) {
                quantiseRun<N>(planes.green + column, green + lines * x, lines);
                quantiseRun<N>(planes.blue + column, blue + lines * x, lines);
            }
        }
        return once ? SourcePlanes<VIDEO_UINT8>{red, red, red} : SourcePlanes<VIDEO_UINT8>{red, green, blue};
    }
};

template <int N> void fromColumnOrder(const SourcePlanes<N>& planes, uint8_t* frame, int width, int height) {
    if constexpr (N == VIDEO_UINT8) {
        bytesFromColumnOrder(planes, frame, width, height, rgbRowBytes(width));
    } else {
        ReducedStrip<N> strip;
        const std::ptrdiff_t stride = rgbRowBytes(width);
        for (int x0 = 0; x0 < width; x0 += BLOCK_COLUMNS) {
            const int columns = std::min(BLOCK_COLUMNS, width - x0);
            for (int y0 = 0; y0 < height; y0 += STRIP_LINES) {
                const int lines = std::min(STRIP_LINES, height - y0);
                const SourcePlanes<VIDEO_UINT8> bytes = strip.reduce(planes, height, x0, columns, y0, lines);
                // The strip's pixels (x0 + x, y0 + y) as a picture of its own.
                bytesFromColumnOrder(bytes, frame + (height - y0 - lines) * stride + 3 * x0, columns, lines, stride);
            }
        }
    }
}

} // namespace

// Any non-zero columnOrder means column order. The frame begins with the
// planes' last line.
template <int N>
KORVA_HOT_KERNEL void RGBToRGBChannelsOutput(const void* plane0, const void* plane1, const void* plane2,
                                             uint8_t* frame, int width, int height, int columnOrder) {
    if (width < 1 || height < 1) {
        return;
    }
    const SourcePlanes<N> planes{static_cast<const Element<N>*>(plane0), static_cast<const Element<N>*>(plane1),
                                 static_cast<const Element<N>*>(plane2)};
    if (columnOrder) {
        fromColumnOrder<N>(planes, frame, width, height);
    } else {
        fromRowOrder<N>(planes, frame, width, height);
    }
}

// A grey picture: the one plane stands for all three channels.
template <int N>
void IntensityToRGBChannelsOutput(const void* plane0, const void*, const void*, uint8_t* frame, int width, int height,
                                  int columnOrder) {
    RGBToRGBChannelsOutput<N>(plane0, plane0, plane0, frame, width, height, columnOrder);
}

KORVA_INSTANTIATE_VIDEO_FAMILY(RGBToRGBChannelsOutput, KORVA_VIDEO_OUTPUT_PARAMS)
KORVA_INSTANTIATE_VIDEO_FAMILY(IntensityToRGBChannelsOutput, KORVA_VIDEO_OUTPUT_PARAMS)

} // namespace korva::video
