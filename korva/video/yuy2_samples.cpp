// YUY2 frames to and from planes without colour arithmetic: Y, Cb, Cr
// samples moved between a frame and planes, changing only their type, and
// a frame's luma stretched to full range into an intensity plane. These
// kernels use no colour table.

#include <korva/video/kernel_support.h>
#include <korva/video/kernels.h>
#include <korva/video/plane_runs.h>
#include <korva/video/ycbcr_model.h>

#include <cstddef>

namespace korva::video {
namespace {

// Groups Y0, Cb, Y1, Cr, groupStep bytes apart, into luma at y0 and y1
// [k x lumaStep] and chroma at cb and cr [k]. With alternate, the groups of
// odd k (counted from an odd row when firstOdd) hold Cr where Cb would be,
// and the other way round.
inline void groupsToSamples(const uint8_t* __restrict groups, std::ptrdiff_t groupStep, uint8_t* __restrict y0,
                            uint8_t* __restrict y1, int lumaStep, uint8_t* __restrict cb, uint8_t* __restrict cr,
                            int count, bool alternate = false, bool firstOdd = false) {
    for (int k = 0; k < count; ++k) {
        const uint8_t* group = groups + k * groupStep;
        const int swap = alternate && ((k + firstOdd) & 1) ? 2 : 0;
        y0[k * lumaStep] = group[0];
        cb[k] = group[1 + swap];
        y1[k * lumaStep] = group[2];
        cr[k] = group[3 - swap];
    }
}

// The other way: luma at y0 and y1 [k x lumaStep], chroma at cb and cr [k].
inline void samplesToGroups(const uint8_t* __restrict y0, const uint8_t* __restrict y1, int lumaStep,
                            const uint8_t* __restrict cb, const uint8_t* __restrict cr, uint8_t* __restrict groups,
                            std::ptrdiff_t groupStep, int count) {
    for (int k = 0; k < count; ++k) {
        uint8_t* group = groups + k * groupStep;
        group[0] = y0[k * lumaStep];
        group[1] = cb[k];
        group[2] = y1[k * lumaStep];
        group[3] = cr[k];
    }
}

// Luma bytes lumaStep apart, stretched to intensities.
inline void lumaToIntensities(const uint8_t* __restrict luma, std::ptrdiff_t lumaStep, uint8_t* __restrict to,
                              int count) {
    for (int k = 0; k < count; ++k) {
        to[k] = uint8_t(lumaToIntensity(luma[k * lumaStep]));
    }
}

} // namespace

// A YUY2 frame is groups Y0, Cb, Y1, Cr, here read with rows of 2 x W bytes.
// Flag 0 is a linear walk over N = W x H pixels, two a group: an odd N reads
// two bytes past the frame's 2 x N and writes Y[N]. Flag 1 is column order,
// pixel by pixel: a pixel's chroma byte goes to Cb or Cr by its place in the
// frame, so with an odd width the rows of odd y, which begin in the middle of
// a group, feed Cr from their even columns, and the last column writes a
// chroma column W / 2 rounded down of one of the two planes. Any other flag
// does nothing.
template <int N>
KORVA_HOT_KERNEL void YCbCrToYCbCrChannelsInput(const uint8_t* frame, void* plane0, void* plane1, void* plane2,
                                                int width, int height, int columnOrder) {
    Element<N>* const luma = static_cast<Element<N>*>(plane0);
    Element<N>* const cb = static_cast<Element<N>*>(plane1);
    Element<N>* const cr = static_cast<Element<N>*>(plane2);
    const FromEightBit<N> lift;
    if (columnOrder == 0) {
        const std::ptrdiff_t elements = planeElements(width, height);
        walkRuns(elements + elements % 2, RUN_ELEMENTS, [&](std::ptrdiff_t start, int count) {
            RaisedRun<N> y(luma + start, lift), u(cb + start / 2, lift), v(cr + start / 2, lift);
            groupsToSamples(frame + 2 * start, 4, y.bytes(), y.bytes() + 1, 2, u.bytes(), v.bytes(), count / 2);
            y.raise(count), u.raise(count / 2), v.raise(count / 2);
        });
    } else if (columnOrder == 1) {
        // Pixels 2i and 2i + 1 of a row share chroma column i; with an odd
        // width, rows of odd y hold their chroma the other way round.
        const int pairs = width / 2;
        const std::ptrdiff_t rowBytes = 2 * std::ptrdiff_t(width);
        GroupRun column;
        walkColumnTiles(pairs, height, [&](int i, int y0, int count) {
            const std::ptrdiff_t first = std::ptrdiff_t(2 * i) * height + y0, chroma = std::ptrdiff_t(i) * height + y0;
            RaisedRun<N> y(luma + first, lift), y1(luma + first + height, lift), u(cb + chroma, lift),
                v(cr + chroma, lift);
            groupsToSamples(column.gather(frame + y0 * rowBytes + 4 * i, rowBytes, count), 4, y.bytes(), y1.bytes(), 1,
                            u.bytes(), v.bytes(), count, width % 2 != 0, y0 % 2 != 0);
            y.raise(count), y1.raise(count), u.raise(count), v.raise(count);
        });
        // The last column of an odd width: one chroma byte a row, which rows
        // of even y hold as Cb and rows of odd y as Cr.
        if (width > 0 && width % 2 != 0) {
            const std::ptrdiff_t last = std::ptrdiff_t(width - 1) * height, chroma = std::ptrdiff_t(pairs) * height;
            for (int y = 0; y < height; ++y) {
                const uint8_t* pixel = frame + y * rowBytes + 2 * (width - 1);
                luma[last + y] = lift(pixel[0]);
                if (y % 2 == 0) {
                    cb[chroma + y] = lift(pixel[1]);
                } else {
                    cr[chroma + y] = lift(pixel[1]);
                }
            }
        }
    }
}

// Flag 0 is a linear walk, one group for two of the N = W x H elements: an
// odd N reads Y[N]. Any other flag is column order, with frame rows of W / 2
// rounded up whole groups: an odd width reads a luma column W and writes
// 4 x (W / 2 rounded up) x H bytes.
template <int N>
KORVA_HOT_KERNEL void YCbCrToYCbCrChannelsOutput(const void* plane0, const void* plane1, const void* plane2,
                                                 uint8_t* frame, int width, int height, int columnOrder) {
    const Element<N>* const luma = static_cast<const Element<N>*>(plane0);
    const Element<N>* const cb = static_cast<const Element<N>*>(plane1);
    const Element<N>* const cr = static_cast<const Element<N>*>(plane2);
    ReducedRun<N> y0, y1, u, v;
    if (columnOrder == 0) {
        const std::ptrdiff_t elements = planeElements(width, height);
        walkRuns(elements + elements % 2, RUN_ELEMENTS, [&](std::ptrdiff_t start, int count) {
            const uint8_t* y = y0(luma + start, count);
            samplesToGroups(y, y + 1, 2, u(cb + start / 2, count / 2), v(cr + start / 2, count / 2), frame + 2 * start,
                            4, count / 2);
        });
    } else {
        const int groups = ((width - 1) >> 1) + 1;
        GroupRun column;
        walkColumnTiles(groups, height, [&](int i, int start, int count) {
            const std::ptrdiff_t first = std::ptrdiff_t(2 * i) * height + start;
            const std::ptrdiff_t chroma = std::ptrdiff_t(i) * height + start;
            samplesToGroups(y0(luma + first, count), y1(luma + first + height, count), 1, u(cb + chroma, count),
                            v(cr + chroma, count), column.run(), 4, count);
            column.scatter(frame + 4 * (std::ptrdiff_t(start) * groups + i), 4 * std::ptrdiff_t(groups), count);
        });
    }
}

// The luma of each pixel, stretched from studio range to 0 to 255; chroma is
// never read. The frame has rows of 2 x W bytes. Flag 0 takes the N = W x H
// pixels as one run, flag 1 writes column order, and any other flag does
// nothing.
template <int N>
KORVA_HOT_KERNEL void YCbCrToIntensityChannelsInput(const uint8_t* frame, void* plane0, void*, void*, int width,
                                                    int height, int columnOrder) {
    Element<N>* const intensity = static_cast<Element<N>*>(plane0);
    const FromEightBit<N> lift;
    if (columnOrder == 0) {
        walkRuns(planeElements(width, height), RUN_ELEMENTS, [&](std::ptrdiff_t start, int count) {
            RaisedRun<N> run(intensity + start, lift);
            lumaToIntensities(frame + 2 * start, 2, run.bytes(), count);
            run.raise(count);
        });
    } else if (columnOrder == 1) {
        // The luma of a column, a row apart, is gathered first, so that the
        // stretch runs on a packed run.
        uint8_t luma[RUN_ELEMENTS];
        const std::ptrdiff_t rowBytes = 2 * std::ptrdiff_t(width);
        walkColumnTiles(width, height, [&](int x, int y0, int count) {
            const uint8_t* from = frame + y0 * rowBytes + 2 * x;
            for (int k = 0; k < count; ++k) {
                luma[k] = from[k * rowBytes];
            }
            RaisedRun<N> run(intensity + std::ptrdiff_t(x) * height + y0, lift);
            lumaToIntensities(luma, 1, run.bytes(), count);
            run.raise(count);
        });
    }
}

KORVA_INSTANTIATE_VIDEO_FAMILY(YCbCrToYCbCrChannelsInput, KORVA_VIDEO_INPUT_PARAMS)
KORVA_INSTANTIATE_VIDEO_FAMILY(YCbCrToYCbCrChannelsOutput, KORVA_VIDEO_OUTPUT_PARAMS)
KORVA_INSTANTIATE_VIDEO_FAMILY(YCbCrToIntensityChannelsInput, KORVA_VIDEO_INPUT_PARAMS)

} // namespace korva::video
