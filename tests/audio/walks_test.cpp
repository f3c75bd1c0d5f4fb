#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

#include <korva/audio/stereo_runs.h>
#include <korva/korva.h>

// Every family against its plain walk, written out here, for all 36 pairs and shapes that take each fast path and
// its edges. Each sample of the walk goes through the pair's convert copy kernel, which sample_rules_test.cpp
// proves. Outputs start filled with a marker, so the bytes that must stay untouched are checked too.

namespace {

using Bytes = std::vector<uint8_t>;
using Steps = std::vector<std::pair<int64_t, int64_t>>; // (planar index, interleaved index) in the walk's order
const AudioDataType TYPES[6] = {AUDIO_DOUBLE, AUDIO_SINGLE, AUDIO_INT32, AUDIO_INT24, AUDIO_INT16, AUDIO_UINT8};
const int WIDTH[6] = {8, 4, 4, 3, 2, 1};
const uint8_t MARK = 0xA5;

// count samples of a source: for floats, values around full scale with NaN, infinity, clipping and -0 mixed in;
// for integers, any bytes.
Bytes samples(int from, int width, int64_t count) {
    const double awkward[] = {std::nan(""), std::numeric_limits<double>::infinity(), -1.5, 1.0, -1.0, 3e9, -0.0};
    Bytes out(size_t(count * width));
    uint64_t state = 7;
    for (int64_t i = 0; i < count; ++i) {
        state = state * 6364136223846793005u + 1442695040888963407u;
        const double x = i % 5 == 0 ? awkward[i / 5 % 7] : double(int64_t(state) >> 11) * 0x1p-52 * 1.2;
        const float single = float(x);
        if (from < 2) std::memcpy(&out[i * width], from == 0 ? static_cast<const void*>(&x) : &single, width);
        else for (int b = 0; b < width; ++b) out[i * width + b] = uint8_t(state >> (40 + 3 * b));
    }
    return out;
}

// Runs `kernel(in, out)` of table entry e and the plain walk into two marked buffers and compares them; each step
// moves one sample from the interleaved side to the planar side (toPlanar) or back. The int24 pair (entry 21) moves
// four-byte elements.
template <typename Kernel>
void expectWalk(int e, bool toPlanar, int64_t planes, int64_t frames, const Steps& steps, Kernel kernel) {
    const int inWidth = e == 21 ? 4 : WIDTH[e / 6], outWidth = e == 21 ? 4 : WIDTH[e % 6];
    const Bytes in = samples(e / 6, inWidth, toPlanar ? frames : planes);
    Bytes expected(size_t((toPlanar ? planes : frames) * outWidth), MARK), out = expected;
    const MMAudioConvertCopyFcn rule = MM_GetAudioConvertCopyFcn(TYPES[e / 6], TYPES[e % 6]);
    for (auto [planar, interleaved] : steps) {
        const int64_t from = toPlanar ? interleaved : planar, to = toPlanar ? planar : interleaved;
        rule(&in[from * inWidth], &expected[to * outWidth], 1, 1);
    }
    kernel(in.data(), out.data());
    EXPECT_TRUE(out == expected) << "entry " << e << (toPlanar ? ", to planar" : ", to interleaved");
}

// Empty shapes, one channel, stereo with and without a vector tail, tiles of several channels, and planar channels
// that overlap (stride below samples), where the order of the plain walk decides.
struct Shape { int samples, channels, stride; };
const Shape SHAPES[] = {{0, 2, 4},   {3, 0, 3},       {7, 1, 7},     {5, 2, 5}, {1000, 2, 1003}, {1023, 2, 1023},
                        {37, 3, 40}, {3000, 3, 3000}, {100, 6, 120}, {9, 2, 4}, {50, 4, 0},      {16, 8, 16}};

} // namespace

// Channels are the outer loop in both directions; stride belongs to the planar side.
TEST(AudioWalks, TransposesMatchTheirPlainWalks) {
    for (const Shape& s : SHAPES) {
        SCOPED_TRACE(::testing::Message() << s.samples << " x " << s.channels << ", stride " << s.stride);
        Steps steps;
        for (int c = 0; c < s.channels; ++c)
            for (int64_t i = 0; i < s.samples; ++i) steps.push_back({i + c * int64_t(s.stride), c + i * s.channels});
        const int64_t frames = int64_t(s.samples) * std::max(s.channels, 0);
        const int64_t planes = std::max<int64_t>(s.samples, s.samples + int64_t(s.channels - 1) * s.stride);
        for (int e = 0; e < 36; ++e) {
            for (bool toPlanar : {true, false}) {
                const auto kernel = MM_GetAudioTransposeCopyFcn(TYPES[e / 6], TYPES[e % 6], toPlanar);
                expectWalk(e, toPlanar, planes, frames, steps,
                           [&](auto in, auto out) { kernel(in, out, s.samples, s.channels, s.stride); });
            }
        }
    }
}

// Frames are the outer loop, and the two forms take frameStride and mapLength in swapped places. Maps repeat and
// skip channels; to interleaved, unnamed places stay as they were and a repeated place keeps the later entry's
// sample. Convert copy forms samples x channels in 32 bits: negative times negative copies, a wrap to 0 or below
// copies nothing.
TEST(AudioWalks, MapsAndConvertCopyMatchTheirPlainWalks) {
    const struct { std::vector<int> map; int frames, frameStride, planeStride; } maps[] = {
        {{2, 0, 2}, 5, 4, 7}, {{3, 1}, 9, 4, 9}, {{1, 1, 0}, 4, 2, 4}, {{0}, 0, 1, 1}, {{5, 3, 1}, 33, 6, 40}};
    for (const auto& m : maps) {
        const int k = int(m.map.size());
        Steps steps;
        for (int64_t f = 0; f < m.frames; ++f)
            for (int j = 0; j < k; ++j) steps.push_back({f + j * int64_t(m.planeStride), m.map[j] + f * m.frameStride});
        const int64_t frames = int64_t(std::max(m.frames, 1)) * m.frameStride, planes = int64_t(k) * m.planeStride;
        for (int e = 0; e < 36; ++e) {
            for (bool toPlanar : {true, false}) {
                const auto kernel = MM_GetAudioConvertCopyWithMapFcn(TYPES[e / 6], TYPES[e % 6], toPlanar);
                const int arg5 = toPlanar ? m.frameStride : k, arg6 = toPlanar ? k : m.frameStride;
                expectWalk(e, toPlanar, planes, frames, steps,
                           [&](auto in, auto out) { kernel(in, out, m.planeStride, m.frames, arg5, arg6, &m.map[0]); });
            }
        }
    }
    for (auto [samples, channels] : {std::pair{7, 3}, {-2, -3}, {0, 5}, {-4, 2}, {65536, 65536}, {65537, 65535}}) {
        const int64_t count = std::max<int64_t>(int32_t(uint32_t(samples) * uint32_t(channels)), 0);
        Steps steps;
        for (int64_t i = 0; i < count; ++i) steps.push_back({i, i});
        for (int e = 0; e < 36; ++e) {
            const auto copy = MM_GetAudioConvertCopyFcn(TYPES[e / 6], TYPES[e % 6]);
            expectWalk(e, true, std::max<int64_t>(count, 1), count, steps,
                       [&](auto in, auto out) { copy(in, out, samples, channels); });
        }
    }
}

// Silence is all-zero bytes in every type, uint8 included; int24 channels begin stride x channels bytes apart.
TEST(AudioWalks, EmptyWritesZeroBytesChannelByChannel) {
    for (int t = 0; t < 6; ++t) {
        for (const Shape& s : SHAPES) {
            const int64_t width = WIDTH[t], step = t == 3 ? int64_t(s.stride) * s.channels : s.stride * width;
            Bytes expected(size_t(std::max<int64_t>(0, (s.channels - 1) * step) + s.samples * width + 4), MARK);
            Bytes out = expected;
            for (int c = 0; c < s.channels; ++c) std::fill_n(expected.begin() + c * step, s.samples * width, 0);
            MM_GetAudioEmptyFcn(TYPES[t])(nullptr, out.data(), s.samples, s.channels, s.stride);
            EXPECT_EQ(out, expected) << "type " << TYPES[t] << ", " << s.samples << " x " << s.channels;
        }
    }
    Bytes out(30, MARK); // samples 2, channels 2, stride 10: bytes 0 to 5 and 20 to 25
    MM_GetAudioEmptyFcn(AUDIO_INT24)(nullptr, out.data(), 2, 2, 10);
    for (int b = 0; b < 30; ++b) EXPECT_EQ(out[b], (b < 6 || (b >= 20 && b < 26)) ? 0 : MARK) << b;
}

// Every vector variant of the stereo int16 and single runs gives the plain run's bytes, vector tails included.
TEST(AudioWalks, StereoRunVariantsMatchThePlainRun) {
    const std::vector<audio::stereo::Runs> sets = audio::stereo::availableRuns();
    ASSERT_STREQ(sets.front().name, "plain");
    for (int frames : {0, 1, 7, 8, 15, 16, 17, 31, 32, 33, 63, 64, 65, 1000, 1023}) {
        const Bytes pcm = samples(4, 2, 2 * frames), singles = samples(1, 4, 2 * frames);
        const auto* left = reinterpret_cast<const float*>(singles.data());
        auto run = [&](const audio::stereo::Runs& r) {
            std::vector<float> planes(2 * frames);
            std::vector<int16_t> joined(2 * frames);
            r.split(reinterpret_cast<const int16_t*>(pcm.data()), planes.data(), planes.data() + frames, frames);
            r.join(left, left + frames, joined.data(), frames);
            const auto* bytes = reinterpret_cast<const uint8_t*>(planes.data());
            return std::pair{Bytes(bytes, bytes + 4 * planes.size()), joined};
        };
        for (const auto& set : sets) EXPECT_EQ(run(set), run(sets.front())) << set.name << ", " << frames << " frames";
    }
}
