#ifndef KORVA_VIDEO_YCBCR_MODEL_H
#define KORVA_VIDEO_YCBCR_MODEL_H

// Studio-range YCbCr (BT.601) in integer fixed point on eight-bit samples,
// whatever the planes' element type. Private to the video units.
//
// The coefficients live in tables of signed 32-bit integers. Two units keep a
// copy each, filled by their own initialiser when the library loads and read
// from storage when a kernel starts; the maps below take the entries of one
// copy as arguments, so each kernel reads the copy of its own unit.

#include <cstdint>

namespace korva::video {

// Fills one copy of the tables when its unit is loaded, in the order the
// library has always filled them: offsets, forward matrix, inverse matrix.
//   ycbcrOffsets: Y, Cb, Cr.
//   ycbcrForwardMatrix: Y, Cb, Cr from R, G, B, row by row, scale 1/256.
//   ycbcrInverseMatrix: R, G, B from Y - 16, Cb - 128, Cr - 128, scale 1/16384.
struct YCbCrTablesFiller {
    YCbCrTablesFiller(int32_t (&ycbcrOffsets)[3], int32_t (&ycbcrForwardMatrix)[9], int32_t (&ycbcrInverseMatrix)[9]) {
        const int32_t offsets[3] = {16, 128, 128};
        const int32_t forward[9] = {65, 129, 25, -38, -74, 112, 112, -94, -18};
        const int32_t inverse[9] = {19077, 0, 26149, 19077, -6419, -13320, 19077, 33050, 0};
        for (int k = 0; k < 3; ++k) ycbcrOffsets[k] = offsets[k];
        for (int k = 0; k < 9; ++k) ycbcrForwardMatrix[k] = forward[k];
        for (int k = 0; k < 9; ++k) ycbcrInverseMatrix[k] = inverse[k];
    }
};

inline int32_t clampToByte(int32_t value) { return value < 0 ? 0 : value > 255 ? 255 : value; }

// R, G, B to Y, Cb, Cr: each row's three products and a half are summed and
// shifted down, and the offset comes after the shift. No clamp: for samples of
// 0 to 255, Y lies in 16 to 234 and Cb and Cr in 16 to 240.
struct ForwardMap {
    int32_t yr, yg, yb, cbr, cbg, cbb, crr, crg, crb;
    int32_t yOffset, cbOffset, crOffset;

    static ForwardMap of(const int32_t* matrix, const int32_t* offsets) {
        return {matrix[0], matrix[1], matrix[2], matrix[3],  matrix[4],  matrix[5],
                matrix[6], matrix[7], matrix[8], offsets[0], offsets[1], offsets[2]};
    }
    int32_t luma(int32_t r, int32_t g, int32_t b) const { return ((yr * r + yg * g + yb * b + 128) >> 8) + yOffset; }
    int32_t cb(int32_t r, int32_t g, int32_t b) const { return ((cbr * r + cbg * g + cbb * b + 128) >> 8) + cbOffset; }
    int32_t cr(int32_t r, int32_t g, int32_t b) const { return ((crr * r + crg * g + crb * b + 128) >> 8) + crOffset; }
};

struct RGBBytes {
    int32_t r, g, b;
};

// Y, Cb, Cr to R, G, B, clamped to 0 to 255. The matrix entries that hold 0
// take no part, and every row takes its luma gain from the first row. Luma is
// not limited to 16 to 235 first: only the clamp bounds the result.
struct InverseMap {
    int32_t lumaGain, rFromCr, gFromCb, gFromCr, bFromCb;
    int32_t yOffset, cbOffset, crOffset;

    // Which offsets a family takes is its own: some take the Cb offset for
    // both chroma samples.
    static InverseMap of(const int32_t* matrix, int32_t yOffset, int32_t cbOffset, int32_t crOffset) {
        return {matrix[0], matrix[2], matrix[4], matrix[5], matrix[7], yOffset, cbOffset, crOffset};
    }
};

// A YUY2 group's chroma serves both its pixels, so its terms are worked out
// once for the pair.
struct ChromaTerms {
    int32_t r, g, b;
};

inline ChromaTerms chromaTerms(const InverseMap& map, int32_t cb, int32_t cr) {
    const int32_t d = cb - map.cbOffset, e = cr - map.crOffset;
    return {map.rFromCr * e, map.gFromCb * d + map.gFromCr * e, map.bFromCb * d};
}

inline RGBBytes ycbcrToRgbPixel(const InverseMap& map, int32_t y, ChromaTerms terms) {
    const int32_t c = (y - map.yOffset) * map.lumaGain + 8192;
    return {clampToByte((c + terms.r) >> 14), clampToByte((c + terms.g) >> 14), clampToByte((c + terms.b) >> 14)};
}

// Intensity to luma: the intensity scaled by the first forward row's sum
// (the gain of a grey pixel), rounded, shifted down and offset. Kernels give
// the group neutral chroma, the literal 128, beside it.
struct LumaGain {
    int32_t gain, yOffset;

    static LumaGain of(const int32_t* forwardMatrix, const int32_t* offsets) {
        return {forwardMatrix[0] + forwardMatrix[1] + forwardMatrix[2], offsets[0]};
    }
};

inline int32_t intensityToLuma(const LumaGain& map, int32_t intensity) {
    return ((intensity * map.gain + 128) >> 8) + map.yOffset;
}

// Luma to intensity, as the rule has it: luma clamped to studio range, less
// 16, stretched by 255 / 219 in double and truncated, with no rounding term:
// 116 stays 116, 234 gives 253, 235 gives 255.
constexpr int32_t lumaToIntensityInDouble(int32_t luma) {
    const int32_t clamped = luma < 16 ? 16 : luma > 235 ? 235 : luma;
    return static_cast<int32_t>(static_cast<double>(clamped - 16) * 1.1643835616438356);
}

// What the kernels run: the same stretch in integers, 255 / 219 being
// 85 / 73, so that no member needs floating point for it. The truncated
// products agree at every input, as checked below.
constexpr int32_t lumaToIntensity(int32_t luma) {
    const int32_t clamped = luma < 16 ? 16 : luma > 235 ? 235 : luma;
    return (clamped - 16) * 85 / 73;
}

constexpr bool stretchesAgree() {
    for (int32_t luma = 0; luma < 256; ++luma) {
        if (lumaToIntensity(luma) != lumaToIntensityInDouble(luma)) return false;
    }
    return true;
}
static_assert(stretchesAgree(), "the integer luma stretch must truncate exactly as the double one");

} // namespace korva::video

#endif
