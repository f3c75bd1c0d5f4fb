#ifndef KORVA_FUZZ_VIDEO_ROOM_H
#define KORVA_FUZZ_VIDEO_ROOM_H

// The room each video kernel family is documented to touch, for a width W, a
// height H and a flag: the frame (or the out buffer of a convert copy) in
// bytes and each plane in elements. Several families walk past width x height
// on purpose, at odd widths or odd element counts (a column W that does not
// exist, a last group that reads one element on); the caller has to provide
// that room, so it is given here exactly and no more.

#include <cstddef>
#include <cstdint>

enum class VideoFamily {
    RGBToRGBInput,
    RGBToRGBInputMmr,
    RGBToIntensityInput,
    RGBToIntensityInputMmr,
    RGBToYCbCrInput,
    RGBToYCbCrInputMmr,
    YCbCrToRGBInput,
    YCbCrToIntensityInput,
    YCbCrToYCbCrInput,
    RGBToRGBOutput,
    IntensityToRGBOutput,
    YCbCrToRGBOutput,
    RGBToYCbCrOutput,
    IntensityToYCbCrOutput,
    YCbCrToYCbCrOutput,
    RGBToRGB24ConvertCopy,
    IntensityToRGB24ConvertCopy,
    ToRGBEmpty,
    ToIntensityEmpty,
    ToYCbCrEmpty,
    Count
};

struct VideoRoom {
    size_t frameBytes = 0;
    // Elements of plane0, plane1, plane2; planes is how many are passed (an
    // intensity family gets null for the other two).
    size_t planeElements[3] = {0, 0, 0};
    int planes = 3;
};

inline VideoRoom videoRoom(VideoFamily family, int64_t w, int64_t h, int flag) {
    const int64_t n = w * h;
    const int64_t halfW = w / 2, evenW = 2 * halfW;
    const int64_t groupsW = w >= 1 ? (w - 1) / 2 + 1 : 0;
    const int64_t groupsN = n >= 1 ? (n - 1) / 2 + 1 : 0;
    const int64_t rgbFrame = h * ((3 * w + 3) / 4 * 4);
    const bool oddW = w % 2 == 1;
    VideoRoom room;
    auto set = [&room](int64_t frame, int64_t p0, int64_t p1, int64_t p2) {
        room.frameBytes = size_t(frame);
        room.planeElements[0] = size_t(p0);
        room.planeElements[1] = size_t(p1);
        room.planeElements[2] = size_t(p2);
    };
    switch (family) {
    case VideoFamily::RGBToRGBInput:
    case VideoFamily::RGBToRGBOutput:
        set(rgbFrame, n, n, n);
        break;
    case VideoFamily::RGBToRGBInputMmr:
    case VideoFamily::RGBToRGB24ConvertCopy:
        set(3 * n, n, n, n);
        break;
    case VideoFamily::RGBToIntensityInput:
    case VideoFamily::IntensityToRGBOutput:
        set(rgbFrame, n, 0, 0);
        room.planes = 1;
        break;
    case VideoFamily::RGBToIntensityInputMmr:
    case VideoFamily::IntensityToRGB24ConvertCopy:
        set(3 * n, n, 0, 0);
        room.planes = 1;
        break;
    case VideoFamily::RGBToYCbCrInput:
        // Planes of whole pixel pairs: an odd last column is left out.
        set(rgbFrame, evenW * h, halfW * h, halfW * h);
        break;
    case VideoFamily::RGBToYCbCrInputMmr:
        // Pairs cover the row, so an odd width reads a column W: with flag 1
        // the blue plane's column W, H bytes past its end; otherwise the
        // first byte behind the last row.
        if (w >= 1 && h >= 1)
            set(3 * n + (oddW ? (flag == 1 ? h : 1) : 0), 2 * groupsW * h, groupsW * h, groupsW * h);
        break;
    case VideoFamily::YCbCrToRGBInput:
        if (flag == 0)
            set(4 * groupsN, 2 * groupsN, 2 * groupsN, 2 * groupsN); // pairs of elements, an odd count rounded up
        else
            set(4 * groupsW * h, 2 * groupsW * h, 2 * groupsW * h, 2 * groupsW * h);
        break;
    case VideoFamily::YCbCrToIntensityInput:
        if (flag == 0 || flag == 1) set(2 * n, n, 0, 0);
        room.planes = 1; // any other flag touches nothing
        break;
    case VideoFamily::YCbCrToYCbCrInput:
        if (flag == 0)
            set(4 * groupsN, 2 * groupsN, groupsN, groupsN);
        else if (flag == 1)
            set(2 * n, n, groupsW * h, groupsW * h);
        break;
    case VideoFamily::YCbCrToRGBOutput:
        set(rgbFrame, n, halfW * h, halfW * h);
        break;
    case VideoFamily::RGBToYCbCrOutput:
        if (flag == 1)
            set(4 * groupsW * h, n, n, n);
        else
            // A group for every pixel; at an even width the last group of the
            // last row takes its second pixel one element past the planes.
            set(4 * w * h, n + (h >= 1 && w >= 2 && !oddW), n + (h >= 1 && w >= 2 && !oddW),
                n + (h >= 1 && w >= 2 && !oddW));
        break;
    case VideoFamily::IntensityToYCbCrOutput:
        // The row form's read index falls one behind each row at an odd
        // width, and the last pixel of the last row lies at 2N - H - 1.
        set(4 * groupsW * h, flag == 0 && oddW && h >= 1 ? 2 * n - h : n, 0, 0);
        room.planes = 1;
        break;
    case VideoFamily::YCbCrToYCbCrOutput:
        if (flag == 0)
            set(4 * groupsN, 2 * groupsN, groupsN, groupsN);
        else
            set(4 * groupsW * h, 2 * groupsW * h, groupsW * h, groupsW * h);
        break;
    case VideoFamily::ToRGBEmpty:
    case VideoFamily::ToYCbCrEmpty:
        set(0, n, n, n);
        break;
    case VideoFamily::ToIntensityEmpty:
        set(0, n, 0, 0);
        room.planes = 1;
        break;
    case VideoFamily::Count:
        break;
    }
    return room;
}

#endif
