#include "area_average.h"

#include <algorithm>
#include <vector>

namespace {

// For one axis, the source pixels under each output pixel and their weights.
// In units of 1/(source size x output size) of the axis, output pixel o spans
// [o x source, (o + 1) x source) and source pixel s spans [s x out, (s + 1) x out);
// the weight is their overlap, so an output pixel's weights add up to the
// source size exactly and no rounding enters before the final division.
struct AxisCover {
    std::vector<uint32_t> first;  // per output pixel: its first source pixel
    std::vector<size_t> begin;    // per output pixel, and one past: its run in weight
    std::vector<uint32_t> weight; // the overlaps, run after run

    AxisCover(uint32_t source, uint32_t out) {
        first.reserve(out);
        begin.reserve(size_t(out) + 1);
        weight.reserve(size_t(source) + out);
        for (uint32_t o = 0; o < out; ++o) {
            const uint64_t low = uint64_t(o) * source, high = low + source;
            const uint64_t s0 = low / out, s1 = (high - 1) / out;
            first.push_back(uint32_t(s0));
            begin.push_back(weight.size());
            for (uint64_t s = s0; s <= s1; ++s) {
                weight.push_back(uint32_t(std::min(high, (s + 1) * out) - std::max(low, s * out)));
            }
        }
        begin.push_back(weight.size());
    }
};

} // namespace

void drawAreaAverage(const BGRFrame& frame, unsigned outWidth, unsigned outHeight, RGBPicture& picture,
                     unsigned left, unsigned top) {
    const AxisCover across(frame.width, outWidth), down(frame.height, outHeight);
    // Weights multiply to the frame's pixel count at most for each output
    // pixel, times 255: far inside 64 bits for any frame the reader serves.
    const uint64_t total = uint64_t(frame.width) * frame.height;
    std::vector<uint64_t> row(3 * size_t(outWidth)), sum(3 * size_t(outWidth));
    for (unsigned oy = 0; oy < outHeight; ++oy) {
        std::fill(sum.begin(), sum.end(), 0);
        for (size_t k = down.begin[oy]; k < down.begin[oy + 1]; ++k) {
            const uint64_t wy = down.weight[k];
            const uint32_t sy = down.first[oy] + uint32_t(k - down.begin[oy]);
            // The frame's rows run bottom-up.
            const uint8_t* line = frame.rows + size_t(frame.height - 1 - sy) * frame.stride;
            for (unsigned ox = 0; ox < outWidth; ++ox) {
                uint64_t b = 0, g = 0, r = 0;
                const uint8_t* pixel = line + 3 * size_t(across.first[ox]);
                for (size_t j = across.begin[ox]; j < across.begin[ox + 1]; ++j, pixel += 3) {
                    const uint64_t wx = across.weight[j];
                    b += wx * pixel[0];
                    g += wx * pixel[1];
                    r += wx * pixel[2];
                }
                row[3 * ox] = r;
                row[3 * ox + 1] = g;
                row[3 * ox + 2] = b;
            }
            for (size_t i = 0; i < sum.size(); ++i) sum[i] += wy * row[i];
        }
        const size_t line = size_t(top + oy) * picture.width + left;
        for (unsigned ox = 0; ox < outWidth; ++ox) {
            picture.planes.red[line + ox] = uint8_t((sum[3 * ox] + total / 2) / total);
            picture.planes.green[line + ox] = uint8_t((sum[3 * ox + 1] + total / 2) / total);
            picture.planes.blue[line + ox] = uint8_t((sum[3 * ox + 2] + total / 2) / total);
        }
    }
}
