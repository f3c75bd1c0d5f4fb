#include "picture_layout.h"

namespace korva::python {

const PictureKernels& pictureKernels() {
    static const PictureKernels kernels = [] {
        PictureKernels made{};
        for (int type = VIDEO_DOUBLE; type <= VIDEO_LOGICAL; ++type) {
            made.input[type] = MM_GetRGBToRGBChannelsInputFcn(VideoDataType(type));
            made.inputIndexwise[type] = MM_GetRGBToRGBChannelsInputFcn_mmr(VideoDataType(type));
            made.output[type] = MM_GetRGBToRGBChannelsOutputFcn(VideoDataType(type));
        }
        return made;
    }();
    return kernels;
}

// Wider units make the three-way shuffles of these loops cheap; the loader
// picks the clone once.
#if defined(__x86_64__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define KORVA_LAYOUT_CLONES __attribute__((target_clones("avx2", "default")))
#else
#define KORVA_LAYOUT_CLONES
#endif

KORVA_LAYOUT_CLONES
void interleavePlanes(const uint8_t* planes, uint8_t* pixels, int64_t count, int32_t elementBytes) {
    switch (elementBytes) {
    case 1:
        interleaveThree(planes, planes + count, planes + 2 * count, pixels, count);
        break;
    case 2: {
        const auto* p = reinterpret_cast<const uint16_t*>(planes);
        interleaveThree(p, p + count, p + 2 * count, reinterpret_cast<uint16_t*>(pixels), count);
        break;
    }
    case 4: {
        const auto* p = reinterpret_cast<const uint32_t*>(planes);
        interleaveThree(p, p + count, p + 2 * count, reinterpret_cast<uint32_t*>(pixels), count);
        break;
    }
    default: {
        const auto* p = reinterpret_cast<const uint64_t*>(planes);
        interleaveThree(p, p + count, p + 2 * count, reinterpret_cast<uint64_t*>(pixels), count);
        break;
    }
    }
}

KORVA_LAYOUT_CLONES
void deinterleavePlanes(const uint8_t* pixels, uint8_t* planes, int64_t count, int32_t elementBytes) {
    switch (elementBytes) {
    case 1:
        deinterleaveThree(pixels, planes, planes + count, planes + 2 * count, count);
        break;
    case 2: {
        auto* p = reinterpret_cast<uint16_t*>(planes);
        deinterleaveThree(reinterpret_cast<const uint16_t*>(pixels), p, p + count, p + 2 * count, count);
        break;
    }
    case 4: {
        auto* p = reinterpret_cast<uint32_t*>(planes);
        deinterleaveThree(reinterpret_cast<const uint32_t*>(pixels), p, p + count, p + 2 * count, count);
        break;
    }
    default: {
        auto* p = reinterpret_cast<uint64_t*>(planes);
        deinterleaveThree(reinterpret_cast<const uint64_t*>(pixels), p, p + count, p + 2 * count, count);
        break;
    }
    }
}

// Lines first to first + lines of the picture lie, bottom-up, at this packed
// line: the kernels then see them as a picture of their own.
static int64_t packedStripOffset(int32_t first, int32_t lines, int32_t width, int32_t height) {
    return int64_t(height - first - lines) * rgbRowBytes(width);
}

void packedToPicture(VideoDataType type, const uint8_t* packed, uint8_t* picture, uint8_t* strip, int32_t width,
                     int32_t height, bool columnOrder) {
    const PictureKernels& kernels = pictureKernels();
    const int64_t elementBytes = videoDataTypeSize[type];
    if (columnOrder) {
        const int64_t plane = int64_t(width) * height * elementBytes;
        kernels.input[type](packed, picture, picture + plane, picture + 2 * plane, width, height, 1);
        return;
    }
    // Byte planes, then their red, green, blue bytes, one strip after another.
    const int32_t step = stripLines(width, 2);
    for (int32_t first = 0; first < height; first += step) {
        const int32_t lines = std::min(step, height - first);
        const int64_t count = int64_t(lines) * width;
        uint8_t* planes = strip;
        uint8_t* bytes = strip + 3 * count;
        uint8_t* pixels = picture + 3 * first * int64_t(width) * elementBytes;
        kernels.input[VIDEO_UINT8](packed + packedStripOffset(first, lines, width, height), planes, planes + count,
                                   planes + 2 * count, width, lines, 0);
        if (type == VIDEO_UINT8) {
            interleavePlanes(planes, pixels, count, 1);
            continue;
        }
        interleavePlanes(planes, bytes, count, 1);
        kernels.inputIndexwise[type](bytes, pixels, pixels + count * elementBytes, pixels + 2 * count * elementBytes,
                                     width, lines, 1);
    }
}

void pictureToPacked(MMVideoOutputFcn kernel, const uint8_t* picture, uint8_t* packed, uint8_t* strip,
                     int32_t width, int32_t height, int32_t elementBytes, bool columnOrder) {
    const int64_t plane = int64_t(width) * height * elementBytes;
    if (columnOrder) {
        kernel(picture, picture + plane, picture + 2 * plane, packed, width, height, 1);
        return;
    }
    const int32_t step = stripLines(width, elementBytes);
    for (int32_t first = 0; first < height; first += step) {
        const int32_t lines = std::min(step, height - first);
        const int64_t count = int64_t(lines) * width;
        deinterleavePlanes(picture + 3 * int64_t(first) * width * elementBytes, strip, count, elementBytes);
        kernel(strip, strip + count * elementBytes, strip + 2 * count * elementBytes,
               packed + packedStripOffset(first, lines, width, height), width, lines, 0);
    }
}

} // namespace korva::python
