// RGB frames into red, green and blue planes of any element type: a packed,
// bottom-up, blue-first frame, or (the _mmr form) three 8-bit planes.

#include <korva/core/media_types.h>
#include <korva/video/byte_blocks.h>
#include <korva/video/kernel_support.h>
#include <korva/video/kernels.h>
#include <korva/video/rgb_source.h>

#include <algorithm>
#include <cstddef>

namespace korva::video {
namespace {

template <int N> struct Planes {
    Element<N>* red;
    Element<N>* green;
    Element<N>* blue;
};

// Every store depends on its own pixel alone, so the walks below may take the
// pixels in the order that suits the memory: the source in address order
// within a line, the planes in runs.

// Planes in row order, one picture line after the other.
//
// VIDEO_UINT8 only moves bytes, and the plain loop vectorises into shuffles.
// The other types look each sample up in their table, which no vector unit
// does faster than scalar loads; there the samples come in whole words, four
// packed pixels or eight planar samples at a time, to spare load slots for
// the table.
template <int N> struct RowWriter {
    FromEightBit<N> raise;

    void packedLine(const uint8_t* __restrict pixels, Element<N>* __restrict red, Element<N>* __restrict green,
                    Element<N>* __restrict blue, int width) const {
        int x = 0;
        if constexpr (N != VIDEO_UINT8) {
            for (; x + 4 <= width; x += 4) {
                uint64_t low;
                uint32_t high;
                std::memcpy(&low, pixels + 3 * x, sizeof low);
                std::memcpy(&high, pixels + 3 * x + 8, sizeof high);
                blue[x] = raise(uint8_t(low)), green[x] = raise(uint8_t(low >> 8)), red[x] = raise(uint8_t(low >> 16));
                blue[x + 1] = raise(uint8_t(low >> 24)), green[x + 1] = raise(uint8_t(low >> 32));
                red[x + 1] = raise(uint8_t(low >> 40)), blue[x + 2] = raise(uint8_t(low >> 48));
                green[x + 2] = raise(uint8_t(low >> 56)), red[x + 2] = raise(uint8_t(high));
                blue[x + 3] = raise(uint8_t(high >> 8)), green[x + 3] = raise(uint8_t(high >> 16));
                red[x + 3] = raise(uint8_t(high >> 24));
            }
        }
        for (; x < width; ++x) {
            blue[x] = raise(pixels[3 * x]);
            green[x] = raise(pixels[3 * x + 1]);
            red[x] = raise(pixels[3 * x + 2]);
        }
    }

    void planarRun(const uint8_t* __restrict samples, Element<N>* __restrict to, int count) const {
        int i = 0;
        if constexpr (N != VIDEO_UINT8) {
            for (; i + 8 <= count; i += 8) {
                uint64_t word;
                std::memcpy(&word, samples + i, sizeof word);
                for (int k = 0; k < 8; ++k) {
                    to[i + k] = raise(uint8_t(word >> (8 * k)));
                }
            }
        }
        for (; i < count; ++i) {
            to[i] = raise(samples[i]);
        }
    }
};

template <int N> void toRowOrder(const RGBSource& source, const Planes<N>& planes, int width, int height) {
    const RowWriter<N> writer{};
    for (int y = 0; y < height; ++y) {
        const std::ptrdiff_t row = static_cast<std::ptrdiff_t>(y) * width;
        const uint8_t* line = source.line(y);
        if (source.step == 3) {
            writer.packedLine(line, planes.red + row, planes.green + row, planes.blue + row, width);
        } else {
            writer.planarRun(line + source.red, planes.red + row, width);
            writer.planarRun(line + source.green, planes.green + row, width);
            writer.planarRun(line + source.blue, planes.blue + row, width);
        }
    }
}

// Planes in column order, a transpose, in tiles of BAND_LINES lines by
// TILE_COLUMNS columns: each column of a tile is one run of BAND_LINES
// elements, and the tile's part of the source stays in the cache while its
// columns are written.
constexpr int BAND_LINES = 256;
constexpr int TILE_COLUMNS = 16;

template <int N> struct ColumnWriter {
    const RGBSource& source;
    const Planes<N>& planes;
    int height;
    FromEightBit<N> raise;

    // Lines y0 to y0 + lines - 1 of column x, one element at a time.
    void plain(int x, int y0, int lines) const {
        const std::ptrdiff_t column = static_cast<std::ptrdiff_t>(x) * height + y0;
        const uint8_t* pixel = source.line(y0) + static_cast<std::ptrdiff_t>(source.step) * x;
        for (int j = 0; j < lines; ++j, pixel += source.lineStep) {
            planes.red[column + j] = raise(pixel[source.red]);
            planes.green[column + j] = raise(pixel[source.green]);
            planes.blue[column + j] = raise(pixel[source.blue]);
        }
    }

    // A whole band of column x, eight bytes a store, past the cache.
    void streamed(int x, int y0) const {
        using Word = EightBytes<Element<N>>;
        const std::ptrdiff_t column = static_cast<std::ptrdiff_t>(x) * height + y0;
        const uint8_t* pixel = source.line(y0) + static_cast<std::ptrdiff_t>(source.step) * x;
        for (int j = 0; j < BAND_LINES; j += Word::elements) {
            Word red, green, blue;
            for (int k = 0; k < Word::elements; ++k, pixel += source.lineStep) {
                red.set(k, raise(pixel[source.red]));
                green.set(k, raise(pixel[source.green]));
                blue.set(k, raise(pixel[source.blue]));
            }
            red.store(planes.red + column + j);
            green.store(planes.green + column + j);
            blue.store(planes.blue + column + j);
        }
    }
};

template <int N> void toColumnOrder(const RGBSource& source, const Planes<N>& planes, int width, int height) {
    const ColumnWriter<N> writer{source, planes, height, {}};
    const bool streaming = 3 * int64_t(width) * height * int64_t(sizeof(Element<N>)) >= STREAMING_STORE_BYTES;
    for (int y0 = 0; y0 < height; y0 += BAND_LINES) {
        const int lines = std::min(BAND_LINES, height - y0);
        for (int x0 = 0; x0 < width; x0 += TILE_COLUMNS) {
            const int x1 = std::min(width, x0 + TILE_COLUMNS);
            for (int x = x0; x < x1; ++x) {
                if (streaming && lines == BAND_LINES) {
                    writer.streamed(x, y0);
                } else {
                    writer.plain(x, y0, lines);
                }
            }
        }
    }
    if (streaming) {
        finishStreamingStores();
    }
}

// VIDEO_UINT8 only moves bytes: whole blocks of 16 lines by 16 columns are
// transposed in registers, the lines and columns left over one by one.
constexpr int BLOCK = 16;

// Sixteen lines of 32 packed pixels, 96 bytes each, are six 16 x 16 blocks,
// transposed two at a time; afterwards the row for byte k of the pixels holds
// one channel of pixel k / 3 down the sixteen lines, a column run as it is.
constexpr int PACKED_BLOCK_COLUMNS = 32;

void transposePackedBlock(const RGBSource& source, const Planes<VIDEO_UINT8>& planes, int x0, int y0, int height) {
    uint8_t* const channels[3] = {planes.blue, planes.green, planes.red};
#pragma GCC unroll 3
    for (int part = 0; part < 3; ++part) {
        Bytes32 rows[BLOCK];
#pragma GCC unroll 16
        for (int j = 0; j < BLOCK; ++j) {
            loadBytes32(rows[j], source.line(y0 + j) + 3 * x0 + 2 * BLOCK * part);
        }
        transposeHalves16x16(rows);
#pragma GCC unroll 16
        for (int i = 0; i < BLOCK; ++i) {
#pragma GCC unroll 2
            for (int half = 0; half < 2; ++half) {
                const int byte = 2 * BLOCK * part + BLOCK * half + i;
                const std::ptrdiff_t column = static_cast<std::ptrdiff_t>(x0 + byte / 3) * height + y0;
                std::memcpy(channels[byte % 3] + column, reinterpret_cast<const uint8_t*>(&rows[i]) + BLOCK * half,
                            BLOCK);
            }
        }
    }
}

void transposePlanarBlock(const RGBSource& source, const Planes<VIDEO_UINT8>& planes, int x0, int y0, int height) {
    const std::ptrdiff_t offsets[3] = {source.red, source.green, source.blue};
    uint8_t* const channels[3] = {planes.red, planes.green, planes.blue};
#pragma GCC unroll 3
    for (int c = 0; c < 3; ++c) {
        Bytes16 rows[BLOCK];
#pragma GCC unroll 16
        for (int j = 0; j < BLOCK; ++j) {
            rows[j] = loadBytes16(source.line(y0 + j) + x0 + offsets[c]);
        }
        transpose16x16(rows);
#pragma GCC unroll 16
        for (int i = 0; i < BLOCK; ++i) {
            storeBytes16(channels[c] + static_cast<std::ptrdiff_t>(x0 + i) * height + y0, rows[i]);
        }
    }
}

// Whole blocks of blockWidth columns go through `block`, the lines and
// columns left over through the plain walk.
template <class Block>
void bytesToColumnOrder(const RGBSource& source, const Planes<VIDEO_UINT8>& planes, int width, int height,
                        int blockWidth, Block block) {
    const int blockLines = height - height % BLOCK;
    const int blockColumns = width - width % blockWidth;
    for (int y0 = 0; y0 < blockLines; y0 += BAND_LINES) {
        const int lines = std::min(BAND_LINES, blockLines - y0);
        for (int x0 = 0; x0 < blockColumns; x0 += blockWidth) {
            for (int y = y0; y < y0 + lines; y += BLOCK) {
                block(source, planes, x0, y, height);
            }
        }
    }
    const ColumnWriter<VIDEO_UINT8> writer{source, planes, height, {}};
    for (int x = 0; x < width; ++x) {
        const int firstLine = x < blockColumns ? blockLines : 0;
        writer.plain(x, firstLine, height - firstLine);
    }
}

template <int N> Planes<N> planesOf(void* plane0, void* plane1, void* plane2) {
    return {static_cast<Element<N>*>(plane0), static_cast<Element<N>*>(plane1), static_cast<Element<N>*>(plane2)};
}

} // namespace

// Any non-zero columnOrder means column order. Picture line 0 comes from the
// frame's last line in both orders.
template <int N>
KORVA_HOT_KERNEL void RGBToRGBChannelsInput(const uint8_t* frame, void* plane0, void* plane1, void* plane2,
                                            int width, int height, int columnOrder) {
    if (width < 1 || height < 1) {
        return;
    }
    const RGBSource source = packedFrame(frame, width, height);
    const Planes<N> planes = planesOf<N>(plane0, plane1, plane2);
    if (columnOrder) {
        if constexpr (N == VIDEO_UINT8) {
            bytesToColumnOrder(source, planes, width, height, PACKED_BLOCK_COLUMNS, transposePackedBlock);
        } else {
            toColumnOrder<N>(source, planes, width, height);
        }
    } else {
        toRowOrder<N>(source, planes, width, height);
    }
}

// The flag speaks of the source here: 0 takes it as row-ordered and turns it
// into column-ordered planes, anything else copies index for index, which is
// the row-order walk over one line of all the elements. There is no flip.
template <int N>
KORVA_HOT_KERNEL void RGBToRGBChannelsInput_mmr(const uint8_t* frame, void* plane0, void* plane1, void* plane2,
                                                int width, int height, int columnOrder) {
    if (width < 1 || height < 1) {
        return;
    }
    const Planes<N> planes = planesOf<N>(plane0, plane1, plane2);
    if (columnOrder) {
        const int32_t elements = planeElements(width, height);
        toRowOrder<N>(threePlanes(frame, elements, 1), planes, elements, 1);
    } else if constexpr (N == VIDEO_UINT8) {
        bytesToColumnOrder(threePlanes(frame, width, height), planes, width, height, BLOCK,
                           transposePlanarBlock);
    } else {
        toColumnOrder<N>(threePlanes(frame, width, height), planes, width, height);
    }
}

KORVA_INSTANTIATE_VIDEO_FAMILY(RGBToRGBChannelsInput, KORVA_VIDEO_INPUT_PARAMS)
KORVA_INSTANTIATE_VIDEO_FAMILY(RGBToRGBChannelsInput_mmr, KORVA_VIDEO_INPUT_PARAMS)

} // namespace korva::video
