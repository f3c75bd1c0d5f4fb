// Video half of the kernel fuzz target: every input, output, empty and convert
// copy selector, reached by type or through the format dispatchers, and the
// raw planar conversion, on random geometry, flags and contents.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include <korva/core/media_types.h>
#include <korva/video/dispatch.h>

#include "fuzz_check.h"
#include "kernel_cases.h"
#include "video_room.h"

namespace {

enum class Shape { Input, Output, ConvertCopy, Empty };

struct Family {
    Shape shape;
    MMVideoInputFcn (*input)(VideoDataType);
    MMVideoOutputFcn (*output)(VideoDataType);
    MMVideoConvertCopyFcn (*copy)(VideoDataType);
};

// In the order of VideoFamily.
const Family FAMILIES[] = {
    {Shape::Input, MM_GetRGBToRGBChannelsInputFcn, nullptr, nullptr},
    {Shape::Input, MM_GetRGBToRGBChannelsInputFcn_mmr, nullptr, nullptr},
    {Shape::Input, MM_GetRGBToIntensityChannelsInputFcn, nullptr, nullptr},
    {Shape::Input, MM_GetRGBToIntensityChannelsInputFcn_mmr, nullptr, nullptr},
    {Shape::Input, MM_GetRGBToYCbCrChannelsInputFcn, nullptr, nullptr},
    {Shape::Input, MM_GetRGBToYCbCrChannelsInputFcn_mmr, nullptr, nullptr},
    {Shape::Input, MM_GetYCbCrToRGBChannelsInputFcn, nullptr, nullptr},
    {Shape::Input, MM_GetYCbCrToIntensityChannelsInputFcn, nullptr, nullptr},
    {Shape::Input, MM_GetYCbCrToYCbCrChannelsInputFcn, nullptr, nullptr},
    {Shape::Output, nullptr, MM_GetRGBToRGBChannelsOutputFcn, nullptr},
    {Shape::Output, nullptr, MM_GetIntensityToRGBChannelsOutputFcn, nullptr},
    {Shape::Output, nullptr, MM_GetYCbCrToRGBChannelsOutputFcn, nullptr},
    {Shape::Output, nullptr, MM_GetRGBToYCbCrChannelsOutputFcn, nullptr},
    {Shape::Output, nullptr, MM_GetIntensityToYCbCrChannelsOutputFcn, nullptr},
    {Shape::Output, nullptr, MM_GetYCbCrToYCbCrChannelsOutputFcn, nullptr},
    {Shape::ConvertCopy, nullptr, nullptr, MM_GetRGBToRGB24ChannelsConvertCopyFcn},
    {Shape::ConvertCopy, nullptr, nullptr, MM_GetIntensityToRGB24ChannelsConvertCopyFcn},
    {Shape::Empty, MM_GetToRGBChannelsEmptyFcn, nullptr, nullptr},
    {Shape::Empty, MM_GetToIntensityChannelsEmptyFcn, nullptr, nullptr},
    {Shape::Empty, MM_GetToYCbCrChannelsEmptyFcn, nullptr, nullptr},
};
static_assert(sizeof FAMILIES / sizeof FAMILIES[0] == size_t(VideoFamily::Count), "one entry a family");

constexpr VideoFamily NONE = VideoFamily::Count;

// Mostly the nine types; now and then a value outside the enumeration.
VideoDataType chooseType(FuzzBytes& in) {
    static const int32_t outside[] = {9, 10, -1, 255, INT32_MIN, INT32_MAX};
    const uint8_t b = in.byte();
    return VideoDataType(b < 0xF0 ? b % 9 : outside[b % 6]);
}

bool validType(VideoDataType type) { return type >= 0 && type <= 8; }

// Small pictures mostly, and now and then one that reaches the kernels'
// 16- and 32-column blocks and 128-line bands.
std::pair<int, int> chooseGeometry(FuzzBytes& in) {
    static const uint32_t bounds[] = {4, 9, 40, 150};
    const int w = int(in.below(in.pick(bounds) + 1));
    int h = int(in.below(in.pick(bounds) + 1));
    if (w > 0 && w * h > 6000) h = 6000 / w;
    return {w, h};
}

// Formats 0 to 3 and one value outside the enumeration.
FourCCType chooseFormat(FuzzBytes& in) { return FourCCType(in.below(5)); }

VideoFamily inputFamily(FourCCType frame, FourCCType planes, bool mmr) {
    if (frame == FOURCC_RGB) {
        if (planes == FOURCC_GREY) return mmr ? VideoFamily::RGBToIntensityInputMmr : VideoFamily::RGBToIntensityInput;
        if (planes == FOURCC_YUY2) return mmr ? VideoFamily::RGBToYCbCrInputMmr : VideoFamily::RGBToYCbCrInput;
        if (planes == FOURCC_RGB) return mmr ? VideoFamily::RGBToRGBInputMmr : VideoFamily::RGBToRGBInput;
    } else if (frame == FOURCC_YUY2) {
        if (planes == FOURCC_GREY) return VideoFamily::YCbCrToIntensityInput;
        if (planes == FOURCC_YUY2) return VideoFamily::YCbCrToYCbCrInput;
        if (planes == FOURCC_RGB) return VideoFamily::YCbCrToRGBInput;
    }
    return NONE;
}

VideoFamily outputFamily(FourCCType planes, FourCCType frame) {
    const bool rgb = frame == FOURCC_RGB, yuy2 = frame == FOURCC_YUY2;
    if (!rgb && !yuy2) return NONE;
    if (planes == FOURCC_GREY) return rgb ? VideoFamily::IntensityToRGBOutput : VideoFamily::IntensityToYCbCrOutput;
    if (planes == FOURCC_YUY2) return rgb ? VideoFamily::YCbCrToRGBOutput : VideoFamily::YCbCrToYCbCrOutput;
    if (planes == FOURCC_RGB) return rgb ? VideoFamily::RGBToRGBOutput : VideoFamily::RGBToYCbCrOutput;
    return NONE;
}

VideoFamily emptyFamily(FourCCType planes) {
    return planes == FOURCC_GREY   ? VideoFamily::ToIntensityEmpty
           : planes == FOURCC_YUY2 ? VideoFamily::ToYCbCrEmpty
           : planes == FOURCC_RGB  ? VideoFamily::ToRGBEmpty
                                   : NONE;
}

// The kernel a route hands out. A dispatcher must give what the by-type
// selector of its family gives, and null for a pair without a family.
struct Kernel {
    VideoFamily family = NONE;
    void* fcn = nullptr;
};

void* bySelector(VideoFamily family, VideoDataType type) {
    const Family& f = FAMILIES[size_t(family)];
    if (f.input) return reinterpret_cast<void*>(f.input(type));
    if (f.output) return reinterpret_cast<void*>(f.output(type));
    return reinterpret_cast<void*>(f.copy(type));
}

Kernel chooseKernel(FuzzBytes& in, VideoDataType type) {
    Kernel k;
    switch (in.below(4)) {
    case 0:
        k.family = VideoFamily(in.below(unsigned(VideoFamily::Count)));
        k.fcn = bySelector(k.family, type);
        return k;
    case 1: {
        const FourCCType frame = chooseFormat(in), planes = chooseFormat(in);
        const bool mmr = in.flag();
        k.family = inputFamily(frame, planes, mmr);
        k.fcn = reinterpret_cast<void*>(MM_GetVideoInputFcn(frame, planes, type, mmr));
        break;
    }
    case 2: {
        const FourCCType planes = chooseFormat(in), frame = chooseFormat(in);
        k.family = outputFamily(planes, frame);
        k.fcn = reinterpret_cast<void*>(MM_GetVideoOutputFcn(planes, frame, type));
        break;
    }
    default: {
        const FourCCType planes = chooseFormat(in);
        k.family = emptyFamily(planes);
        k.fcn = reinterpret_cast<void*>(MM_GetVideoEmptyFcn(planes, type));
        break;
    }
    }
    if (k.family == NONE)
        fuzzCheck(k.fcn == nullptr, "a format pair without a family gives null");
    else
        fuzzCheck(k.fcn == bySelector(k.family, type), "a dispatcher gives its family's kernel");
    return k;
}

// Byte ranges of a packed RGB frame that an output kernel leaves alone: the
// pad bytes of each line, and, for YCbCr planes at an odd width, the last
// pixel, which has no pair.
std::vector<std::pair<size_t, size_t>> untouchedRanges(VideoFamily family, int w, int h) {
    std::vector<std::pair<size_t, size_t>> ranges;
    const bool rgbFrame = family == VideoFamily::RGBToRGBOutput || family == VideoFamily::IntensityToRGBOutput ||
                          family == VideoFamily::YCbCrToRGBOutput;
    if (!rgbFrame) return ranges;
    const size_t stride = size_t(rgbRowBytes(w));
    const size_t written = family == VideoFamily::YCbCrToRGBOutput ? size_t(6 * (w / 2)) : size_t(3 * w);
    for (int r = 0; r < h; ++r)
        if (written < stride) ranges.push_back({r * stride + written, (r + 1) * stride});
    return ranges;
}

void runFamilyKernel(FuzzBytes& in, const Kernel& k, VideoDataType type) {
    const Shape shape = FAMILIES[size_t(k.family)].shape;
    const bool expectNull = !validType(type) || (shape == Shape::Empty && type == VIDEO_LOGICAL);
    fuzzCheck((k.fcn == nullptr) == expectNull, "a selector gives null exactly for an unknown type, or LOGICAL empty");
    if (!k.fcn) return;

    const auto [w, h] = chooseGeometry(in);
    static const int flags[] = {0, 1, 2, -1};
    const int flag = in.pick(flags);
    const VideoRoom room = videoRoom(k.family, w, h, flag);
    const size_t element = size_t(videoDataTypeSize[type]);

    // The empty kernels' frame is ignored, and a queue passes null for it.
    ExactBuffer frame(room.frameBytes, in);
    uint8_t* framePointer = shape == Shape::Empty ? nullptr : frame.data();
    ExactBuffer plane0(room.planeElements[0] * element, in), plane1(room.planeElements[1] * element, in),
        plane2(room.planeElements[2] * element, in);
    void* p1 = room.planes == 3 ? plane1.data() : nullptr;
    void* p2 = room.planes == 3 ? plane2.data() : nullptr;

    const auto untouched = untouchedRanges(k.family, w, h);
    const std::vector<uint8_t> before(frame.data(), frame.data() + frame.size());

    switch (shape) {
    case Shape::Input:
    case Shape::Empty:
        reinterpret_cast<MMVideoInputFcn>(k.fcn)(framePointer, plane0.data(), p1, p2, w, h, flag);
        break;
    case Shape::Output:
        reinterpret_cast<MMVideoOutputFcn>(k.fcn)(plane0.data(), p1, p2, frame.data(), w, h, flag);
        break;
    case Shape::ConvertCopy:
        reinterpret_cast<MMVideoConvertCopyFcn>(k.fcn)(plane0.data(), p1, p2, frame.data(), w, h);
        break;
    }
    for (const auto& [from, to] : untouched)
        fuzzCheck(std::memcmp(frame.data() + from, before.data() + from, to - from) == 0,
                  "an RGB output leaves pad bytes and an unpaired last pixel alone");
}

// The nine type pairs that have a raw planar conversion.
bool rawPlanarPair(VideoDataType from, VideoDataType to) {
    static const std::pair<VideoDataType, VideoDataType> pairs[] = {
        {VIDEO_INT8, VIDEO_INT8},     {VIDEO_UINT8, VIDEO_UINT8},   {VIDEO_LOGICAL, VIDEO_UINT8},
        {VIDEO_INT16, VIDEO_INT16},   {VIDEO_INT32, VIDEO_INT16},   {VIDEO_SINGLE, VIDEO_INT16},
        {VIDEO_DOUBLE, VIDEO_INT16},  {VIDEO_UINT16, VIDEO_UINT16}, {VIDEO_UINT32, VIDEO_UINT16}};
    for (const auto& p : pairs)
        if (p.first == from && p.second == to) return true;
    return false;
}

void runRawPlanar(FuzzBytes& in) {
    const VideoDataType from = chooseType(in), to = chooseType(in);
    const MMRawPlanarConvertFcn fcn = MM_GetRawPlanarColumnToRawPlanarRowConvertFcn(from, to);
    fuzzCheck((fcn != nullptr) == rawPlanarPair(from, to), "raw planar has a kernel for exactly its nine pairs");
    if (!fcn) return;
    auto [w, h] = chooseGeometry(in);
    if (h < 1) h = 1; // a height of 0 is not supported
    const int planes = int(in.below(4)), pad = int(in.below(5));
    const bool bottomUp = in.flag();
    const size_t inElements = size_t(planes) * h * w, outElements = size_t(planes) * h * (w + pad);
    ExactBuffer source(inElements * size_t(videoDataTypeSize[from]), in);
    ExactBuffer out(outElements * size_t(videoDataTypeSize[to]), in);
    fcn(source.data(), out.data(), w, h, planes, pad, bottomUp);
}

} // namespace

void fuzzVideoKernel(FuzzBytes& in) {
    if (in.below(8) == 0) {
        runRawPlanar(in);
        return;
    }
    const VideoDataType type = chooseType(in);
    const Kernel k = chooseKernel(in, type);
    if (k.family != NONE) runFamilyKernel(in, k, type);
}
