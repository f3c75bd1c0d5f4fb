// YUY2 frames to and from colour and intensity planes: YUY2 frames into R,
// G, B planes, and R, G, B or intensity planes into YUY2 frames. These
// kernels read this unit's own copy of the colour tables.

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

// Groups Y0, Cb, Y1, Cr, groupStep bytes apart, into R, G, B bytes: the
// first pixel of group k at r0, g0, b0 [k x step], the second at r1, g1, b1
// [k x step]. Both pixels take the group's chroma.
inline void groupsToRGB(const InverseMap& map, const uint8_t* __restrict groups, std::ptrdiff_t groupStep,
                        uint8_t* __restrict r0, uint8_t* __restrict g0, uint8_t* __restrict b0, uint8_t* __restrict r1,
                        uint8_t* __restrict g1, uint8_t* __restrict b1, int step, int count) {
    for (int k = 0; k < count; ++k) {
        const uint8_t* group = groups + k * groupStep;
        const ChromaTerms terms = chromaTerms(map, group[1], group[3]);
        const RGBBytes first = ycbcrToRgbPixel(map, group[0], terms);
        const RGBBytes second = ycbcrToRgbPixel(map, group[2], terms);
        r0[k * step] = uint8_t(first.r), g0[k * step] = uint8_t(first.g), b0[k * step] = uint8_t(first.b);
        r1[k * step] = uint8_t(second.r), g1[k * step] = uint8_t(second.g), b1[k * step] = uint8_t(second.b);
    }
}

// Pixels A and B of each group, R, G, B bytes at [k x step], into groups
// groupStep bytes apart: A's luma, A's Cb, B's luma, A's Cr. The output
// keeps the low eight bits of each, which the map never leaves.
inline void rgbToGroups(const ForwardMap& map, const uint8_t* __restrict ra, const uint8_t* __restrict ga,
                        const uint8_t* __restrict ba, const uint8_t* __restrict rb, const uint8_t* __restrict gb,
                        const uint8_t* __restrict bb, int step, uint8_t* __restrict groups, std::ptrdiff_t groupStep,
                        int count) {
    for (int k = 0; k < count; ++k) {
        const int32_t r = ra[k * step], g = ga[k * step], b = ba[k * step];
        uint8_t* group = groups + k * groupStep;
        group[0] = uint8_t(map.luma(r, g, b));
        group[1] = uint8_t(map.cb(r, g, b));
        group[2] = uint8_t(map.luma(rb[k * step], gb[k * step], bb[k * step]));
        group[3] = uint8_t(map.cr(r, g, b));
    }
}

// Intensities of pixels A and B at [k x step] into groups groupStep bytes
// apart, with neutral chroma. TwiceSecond takes B's luma through the map a
// second time, as the row form does.
template <bool TwiceSecond>
inline void intensityToGroups(const LumaGain& gain, const uint8_t* __restrict a, const uint8_t* __restrict b, int step,
                              uint8_t* __restrict groups, std::ptrdiff_t groupStep, int count) {
    for (int k = 0; k < count; ++k) {
        const int32_t second = intensityToLuma(gain, b[k * step]);
        uint8_t* group = groups + k * groupStep;
        group[0] = uint8_t(intensityToLuma(gain, a[k * step]));
        group[1] = 128;
        group[2] = uint8_t(TwiceSecond ? intensityToLuma(gain, second) : second);
        group[3] = 128;
    }
}

template <int N> struct Planes {
    const Element<N>* p0;
    const Element<N>* p1;
    const Element<N>* p2;
};

} // namespace

// Both pixels of a group take its chroma; both chroma samples are taken
// against the Cb offset. Flag 0 is a linear walk over N = W x H pixels,
// two a group, with no rows and no flip: an odd N reads two bytes past the
// frame's 2 x N and writes one element past N in each plane. Any other flag
// is column order, with frame rows of W / 2 rounded up whole groups: an odd
// width reads 4 bytes a row more than 2 x W and writes a column W, so the
// planes need (W + 1) x H elements.
template <int N>
KORVA_HOT_KERNEL void YCbCrToRGBChannelsInput(const uint8_t* frame, void* plane0, void* plane1, void* plane2, int width,
                                              int height, int columnOrder) {
    const InverseMap map = InverseMap::of(ycbcrInverseMatrix, ycbcrOffsets[0], ycbcrOffsets[1], ycbcrOffsets[1]);
    Element<N>* const red = static_cast<Element<N>*>(plane0);
    Element<N>* const green = static_cast<Element<N>*>(plane1);
    Element<N>* const blue = static_cast<Element<N>*>(plane2);
    const FromEightBit<N> lift;
    if (columnOrder == 0) {
        const int32_t elements = planeElements(width, height);
        if (elements < 1) {
            return;
        }
        const std::ptrdiff_t pixels = 2 * ((std::ptrdiff_t(elements) - 1) / 2 + 1);
        walkRuns(pixels, RUN_ELEMENTS, [&](std::ptrdiff_t start, int count) {
            RaisedRun<N> r(red + start, lift), g(green + start, lift), b(blue + start, lift);
            groupsToRGB(map, frame + 2 * start, 4, r.bytes(), g.bytes(), b.bytes(), r.bytes() + 1, g.bytes() + 1,
                        b.bytes() + 1, 2, count / 2);
            r.raise(count), g.raise(count), b.raise(count);
        });
    } else {
        if (height < 1) {
            return;
        }
        const int groups = ((width - 1) >> 1) + 1;
        GroupRun column;
        walkColumnTiles(groups, height, [&](int i, int y0, int count) {
            const std::ptrdiff_t first = std::ptrdiff_t(2 * i) * height + y0, second = first + height;
            RaisedRun<N> r0(red + first, lift), g0(green + first, lift), b0(blue + first, lift);
            RaisedRun<N> r1(red + second, lift), g1(green + second, lift), b1(blue + second, lift);
            groupsToRGB(map,
                        column.gather(frame + 4 * (std::ptrdiff_t(y0) * groups + i), 4 * std::ptrdiff_t(groups), count),
                        4, r0.bytes(), g0.bytes(), b0.bytes(), r1.bytes(), g1.bytes(), b1.bytes(), 1, count);
            r0.raise(count), g0.raise(count), b0.raise(count);
            r1.raise(count), g1.raise(count), b1.raise(count);
        });
    }
}

// A group's chroma comes from its first pixel alone; the second gives its
// luma. A row of odd width ends with a group of its last pixel alone, its
// luma twice. Flag 1 is column order, with W / 2 rounded up groups a row.
// Any other flag is row order, and that walk steps one pixel a group, not
// two: pixels k and k + 1 make group k, so a row takes 4 x W bytes, and with
// an even width the last group of the last row reads one element past the
// planes' end.
template <int N>
KORVA_HOT_KERNEL void RGBToYCbCrChannelsOutput(const void* plane0, const void* plane1, const void* plane2,
                                               uint8_t* frame, int width, int height, int columnOrder) {
    if (width < 1 || height < 1) {
        return;
    }
    const ForwardMap map = ForwardMap::of(ycbcrForwardMatrix, ycbcrOffsets);
    const Planes<N> planes{static_cast<const Element<N>*>(plane0), static_cast<const Element<N>*>(plane1),
                           static_cast<const Element<N>*>(plane2)};
    const int pairs = width / 2;
    ReducedRun<N> ra, ga, ba, rb, gb, bb;
    if (columnOrder == 1) {
        const int groups = ((width - 1) >> 1) + 1;
        GroupRun column;
        walkColumnTiles(groups, height, [&](int i, int y0, int count) {
            // The last group of an odd width has the last pixel as A and B.
            const std::ptrdiff_t a = std::ptrdiff_t(i < pairs ? 2 * i : width - 1) * height + y0;
            const std::ptrdiff_t b = i < pairs ? a + height : a;
            rgbToGroups(map, ra(planes.p0 + a, count), ga(planes.p1 + a, count), ba(planes.p2 + a, count),
                        rb(planes.p0 + b, count), gb(planes.p1 + b, count), bb(planes.p2 + b, count), 1, column.run(),
                        4, count);
            column.scatter(frame + 4 * (std::ptrdiff_t(y0) * groups + i), 4 * std::ptrdiff_t(groups), count);
        });
    } else {
        const int steps = 2 * pairs;
        uint8_t* to = frame;
        for (int y = 0; y < height; ++y) {
            const std::ptrdiff_t row = std::ptrdiff_t(y) * width;
            // Groups k to k + count - 1 read pixels k to k + count.
            walkRuns(steps, RUN_ELEMENTS - 1, [&](std::ptrdiff_t k, int count) {
                const uint8_t* r = ra(planes.p0 + row + k, count + 1);
                const uint8_t* g = ga(planes.p1 + row + k, count + 1);
                const uint8_t* b = ba(planes.p2 + row + k, count + 1);
                rgbToGroups(map, r, g, b, r + 1, g + 1, b + 1, 1, to + 4 * k, 4, count);
            });
            to += 4 * std::ptrdiff_t(steps);
            if (steps < width) {
                const std::ptrdiff_t last = row + width - 1;
                const uint8_t* r = ra(planes.p0 + last, 1);
                const uint8_t* g = ga(planes.p1 + last, 1);
                const uint8_t* b = ba(planes.p2 + last, 1);
                rgbToGroups(map, r, g, b, r, g, b, 1, to, 4, 1);
                to += 4;
            }
        }
    }
}

// Luma from the intensity, chroma neutral. Flag 0 is the row form, with two
// quirks kept as they are: the second pixel of each pair goes through the
// luma map twice, and the read position moves on by the pairs alone, so with
// an odd width it falls one element further behind each row, while the last
// pixel of row y is read at that position + (W - 1) + y x W, from some row on
// past the plane's end. Any other flag is column order. Both write rows of
// W / 2 rounded up whole groups, an odd width's last pixel alone with its
// luma twice.
template <int N>
KORVA_HOT_KERNEL void IntensityToYCbCrChannelsOutput(const void* plane0, const void*, const void*, uint8_t* frame,
                                                     int width, int height, int columnOrder) {
    if (width < 1 || height < 1) {
        return;
    }
    const LumaGain gain = LumaGain::of(ycbcrForwardMatrix, ycbcrOffsets);
    const Element<N>* const intensity = static_cast<const Element<N>*>(plane0);
    const int pairs = width / 2, groups = ((width - 1) >> 1) + 1;
    ReducedRun<N> a, b;
    if (columnOrder == 0) {
        std::ptrdiff_t p = 0;
        uint8_t* to = frame;
        for (int y = 0; y < height; ++y) {
            walkRuns(2 * pairs, RUN_ELEMENTS, [&](std::ptrdiff_t start, int count) {
                const uint8_t* run = a(intensity + p + start, count);
                intensityToGroups<true>(gain, run, run + 1, 2, to + 2 * start, 4, count / 2);
            });
            p += 2 * pairs;
            to += 4 * std::ptrdiff_t(pairs);
            if (pairs < groups) {
                const uint8_t* last = a(intensity + p + (width - 1) + std::ptrdiff_t(y) * width, 1);
                intensityToGroups<false>(gain, last, last, 1, to, 4, 1);
                to += 4;
            }
        }
    } else {
        GroupRun column;
        walkColumnTiles(groups, height, [&](int i, int y0, int count) {
            const std::ptrdiff_t first = std::ptrdiff_t(2 * i) * height + y0;
            const uint8_t* runA = a(intensity + first, count);
            const uint8_t* runB = i < pairs ? b(intensity + first + height, count) : runA;
            intensityToGroups<false>(gain, runA, runB, 1, column.run(), 4, count);
            column.scatter(frame + 4 * (std::ptrdiff_t(y0) * groups + i), 4 * std::ptrdiff_t(groups), count);
        });
    }
}

KORVA_INSTANTIATE_VIDEO_FAMILY(YCbCrToRGBChannelsInput, KORVA_VIDEO_INPUT_PARAMS)
KORVA_INSTANTIATE_VIDEO_FAMILY(RGBToYCbCrChannelsOutput, KORVA_VIDEO_OUTPUT_PARAMS)
KORVA_INSTANTIATE_VIDEO_FAMILY(IntensityToYCbCrChannelsOutput, KORVA_VIDEO_OUTPUT_PARAMS)

} // namespace korva::video
