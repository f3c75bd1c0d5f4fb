#ifndef KORVA_VIDEO_PLANE_RUNS_H
#define KORVA_VIDEO_PLANE_RUNS_H

// How the YCbCr kernels meet the planes: in runs of elements that follow
// one another in a plane, a piece of a row or of a column, handled as
// eight-bit values. The colour work then runs on bytes for every element
// type, and the change of type is a simple loop of its own. Private to the
// video units.

#include <korva/video/kernel_support.h>
#include <korva/video/quantise_runs.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace korva::video {

// The longest run a kernel hands over at once; a row or a linear walk is
// cut into runs of this many elements.
constexpr int RUN_ELEMENTS = 128;

// An output kernel's run of plane elements as eight-bit values: the
// elements themselves for VIDEO_UINT8, otherwise their reductions, worked
// out into a buffer first.
template <int N> class ReducedRun {
public:
    const uint8_t* operator()(const Element<N>* __restrict elements, int count) {
        quantiseRun<N>(elements, bytes, count);
        return bytes;
    }

private:
    uint8_t bytes[RUN_ELEMENTS];
};

template <> class ReducedRun<VIDEO_UINT8> {
public:
    const uint8_t* operator()(const uint8_t* elements, int) const { return elements; }
};

// An input kernel's run of plane elements, written as eight-bit values
// first: straight into the plane for VIDEO_UINT8, otherwise into a buffer
// that raise() then takes through the type's table (which the kernel
// fetched when it started) into the plane.
template <int N> class RaisedRun {
public:
    RaisedRun(Element<N>* elements, FromEightBit<N> lift) : elements(elements), lift(lift) {}
    uint8_t* bytes() { return buffer; }
    void raise(int count) const {
        Element<N>* __restrict to = elements;
        for (int k = 0; k < count; ++k) {
            to[k] = lift(buffer[k]);
        }
    }

private:
    Element<N>* elements;
    FromEightBit<N> lift;
    uint8_t buffer[RUN_ELEMENTS];
};

template <> class RaisedRun<VIDEO_UINT8> {
public:
    RaisedRun(uint8_t* elements, FromEightBit<VIDEO_UINT8>) : elements(elements) {}
    uint8_t* bytes() const { return elements; }
    void raise(int) const {}

private:
    uint8_t* elements;
};

// Four-byte YUY2 groups down a column of a frame, step bytes apart, copied
// to or from a packed run, so that the work on them vectorises.
class GroupRun {
public:
    const uint8_t* gather(const uint8_t* __restrict groups, std::ptrdiff_t step, int count) {
        for (int k = 0; k < count; ++k) {
            std::memcpy(bytes + 4 * k, groups + k * step, 4);
        }
        return bytes;
    }
    uint8_t* run() { return bytes; }
    void scatter(uint8_t* __restrict groups, std::ptrdiff_t step, int count) const {
        for (int k = 0; k < count; ++k) {
            std::memcpy(groups + k * step, bytes + 4 * k, 4);
        }
    }

private:
    uint8_t bytes[4 * RUN_ELEMENTS];
};

// Column-order planes step H elements from one column to the next, while a
// frame steps a row from one image row to the next: one side is always
// walked across its lines. The walk goes in tiles of BAND_ROWS rows by
// TILE_COLUMNS columns (of pixels, pairs or groups), so that the frame's part
// of a tile stays in the cache while each column of it is one run down the
// band in the planes. Every step of these kernels touches elements of its
// own, so the order of the steps does not change what they write.
constexpr int BAND_ROWS = RUN_ELEMENTS;
constexpr int TILE_COLUMNS = 16;

// Calls run(i, y0, count) for every column i below columns, over rows y0 to
// y0 + count - 1, until all rows are covered.
template <class Run> inline void walkColumnTiles(int columns, int rows, Run&& run) {
    for (int y0 = 0, count; y0 < rows; y0 += count) {
        count = std::min(BAND_ROWS, rows - y0);
        for (int i0 = 0, tile; i0 < columns; i0 += tile) {
            tile = std::min(TILE_COLUMNS, columns - i0);
            for (int i = i0; i < i0 + tile; ++i) {
                run(i, y0, count);
            }
        }
    }
}

// Calls run(start, count) over 0 to total - 1 in runs of at most step. A
// walk over pixels two a group takes an even step and an even total, so
// that runs cut between whole groups.
template <class Run> inline void walkRuns(std::ptrdiff_t total, int step, Run&& run) {
    for (std::ptrdiff_t start = 0; start < total; start += step) {
        run(start, int(std::min<std::ptrdiff_t>(step, total - start)));
    }
}

} // namespace korva::video

#endif
