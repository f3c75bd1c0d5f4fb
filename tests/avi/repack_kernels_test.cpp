#include <gtest/gtest.h>

#include <korva/avi/repack_kernels.h>

#include "support/avi_builder.h"

using namespace korvatest;
using avi::repack::Kernels;

namespace {

// The plain walk, written out here: from the last word down for 16 bits, from
// the first pixel up for 32 bits.
void plain555(const uint8_t* src, uint8_t* out, uint64_t pixels) {
    for (uint64_t k = pixels; k-- > 0;) {
        const unsigned w = src[2 * k] | src[2 * k + 1] << 8;
        out[3 * k] = uint8_t(w << 3);
        out[3 * k + 1] = uint8_t((w >> 2) & 0xF8);
        out[3 * k + 2] = uint8_t((w >> 7) & 0xF8);
    }
}

void plain32(const uint8_t* src, uint8_t* out, uint64_t pixels) {
    for (uint64_t k = 0; k < pixels; ++k)
        for (int c = 0; c < 3; ++c) out[3 * k + c] = src[4 * k + c];
}

const uint64_t PIXEL_COUNTS[] = {0, 1, 2, 7, 8, 11, 15, 16, 17, 31, 32, 33, 63, 64, 65, 127, 128, 129, 1000, 4099};

} // namespace

// Every vector variant the processor offers gives the plain walk's bytes, into
// a separate buffer and in place, where the run shares the frame with its source
// exactly as the repacking uses it; bytes outside the run stay untouched.
TEST(RepackKernels, EveryVariantMatchesThePlainWalk) {
    const std::vector<Kernels> sets = avi::repack::availableKernels();
    ASSERT_STREQ(sets.front().name, "plain");
    for (const Kernels& set : sets) {
        for (uint64_t pixels : PIXEL_COUNTS) {
            SCOPED_TRACE(::testing::Message() << set.name << ", " << pixels << " pixels");
            const Bytes source = patternBytes(4 * pixels + 64, uint32_t(pixels));
            // Separate buffers, with guard bytes on both sides of the output.
            Bytes want(3 * pixels + 64, 0xA5), got = want;
            plain555(source.data(), want.data() + 32, pixels);
            set.rgb555(source.data(), got.data() + 32, pixels);
            EXPECT_EQ(got, want) << "16 bits";
            want.assign(3 * pixels + 64, 0x5A), got = want;
            plain32(source.data(), want.data() + 32, pixels);
            set.rgb32(source.data(), got.data() + 32, pixels);
            EXPECT_EQ(got, want) << "32 bits";
            // In place: 16-bit words at the start grow to fill 3 bytes a pixel;
            // 32-bit pixels shrink towards the start, leaving the tail as it was.
            Bytes frame(source.begin(), source.begin() + 3 * pixels + 16);
            Bytes expected = frame;
            plain555(expected.data(), expected.data(), pixels);
            set.rgb555(frame.data(), frame.data(), pixels);
            EXPECT_EQ(frame, expected) << "16 bits in place";
            frame.assign(source.begin(), source.begin() + 4 * pixels + 16);
            expected = frame;
            plain32(expected.data(), expected.data(), pixels);
            set.rgb32(frame.data(), frame.data(), pixels);
            EXPECT_EQ(frame, expected) << "32 bits in place";
        }
    }
}
