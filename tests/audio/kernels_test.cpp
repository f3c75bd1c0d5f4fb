#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include <korva/audio/stereo_runs.h>
#include <korva/korva.h>

// What the selectors hand out, and every family against its plain walk for all 36 pairs, in shapes that take each
// fast path and its edges; a walk's samples go through the pair's convert copy kernel (see rules_test.cpp).
namespace {
using Bytes = std::vector<uint8_t>;
using Steps = std::vector<std::pair<int64_t, int64_t>>; // (planar index, interleaved index) in the walk's order
const AudioDataType TYPES[6] = {AUDIO_DOUBLE, AUDIO_SINGLE, AUDIO_INT32, AUDIO_INT24, AUDIO_INT16, AUDIO_UINT8};
const int WIDTH[6] = {8, 4, 4, 3, 2, 1};
const uint8_t MARK = 0xA5;
// Floats around full scale with NaN, infinity, clipping and -0 mixed in; integers of any bytes.
Bytes samples(int from, int width, int64_t count) {
    const double awkward[] = {std::nan(""), HUGE_VAL, -1.5, 1.0, -1.0, 3e9, -0.0};
    Bytes out(size_t(count * width));
    for (uint64_t i = 0, state = 7; i < uint64_t(count); ++i) {
        state = state * 6364136223846793005u + 1442695040888963407u;
        const double x = i % 5 == 0 ? awkward[i / 5 % 7] : double(int64_t(state) >> 11) * 0x1p-52 * 1.2;
        const float single = float(x);
        if (from < 2) std::memcpy(&out[i * width], from == 0 ? static_cast<const void*>(&x) : &single, width);
        else for (int b = 0; b < width; ++b) out[i * width + b] = uint8_t(state >> (40 + 3 * b));
    }
    return out;
}
// `call(e, toPlanar, in, out)` runs the kernel of table entry e into a marked buffer; each step of the plain walk
// moves one sample from the interleaved side to the planar side (toPlanar) or back. Pair 21 moves four-byte elements.
template <typename Call>
void expectWalks(const Steps& steps, int64_t planes, int64_t frames, bool bothWays, const Call& call) {
    for (int e = 0; e < 36; ++e) {
        for (bool toPlanar : {true, false}) {
            if (!toPlanar && !bothWays) continue;
            const int inWidth = e == 21 ? 4 : WIDTH[e / 6], outWidth = e == 21 ? 4 : WIDTH[e % 6];
            const Bytes in = samples(e / 6, inWidth, toPlanar ? frames : planes);
            Bytes expected(size_t((toPlanar ? planes : frames) * outWidth), MARK), out = expected;
            const MMAudioConvertCopyFcn rule = MM_GetAudioConvertCopyFcn(TYPES[e / 6], TYPES[e % 6]);
            for (auto [planar, interleaved] : steps) {
                const int64_t from = toPlanar ? interleaved : planar, to = toPlanar ? planar : interleaved;
                rule(&in[from * inWidth], &expected[to * outWidth], 1, 1);
            }
            call(e, toPlanar, in.data(), out.data());
            EXPECT_TRUE(out == expected) << "entry " << e << (toPlanar ? ", to planar" : ", to interleaved");
        }
    }
}
} // namespace

// A type without kernels, values just outside the enumeration included, fails every selector alike with the one
// text of the subsystem, whichever argument it is and whatever the flag.
TEST(AudioSelectors, IndexByPositionAndRefuseTypesWithoutKernels) {
    const int position[13] = {-1, 0, 1, -1, 5, 4, -1, 2, -1, -1, 3, -1, -1}; // values -1 to 11
    auto refuses = [](auto select) {
        try {
            EXPECT_TRUE(select()); // a kernel, or a true check
        } catch (const char* text) {
            return std::strcmp(text, "Unsupported Datatype conversion in GetConvertIndex") == 0;
        }
        return false;
    };
    for (int from = -1; from <= 11; ++from) {
        const auto s = AudioDataType(from);
        const int p = position[from + 1];
        for (int to = -1; to <= 11; ++to) {
            SCOPED_TRACE(testing::Message() << from << " to " << to);
            const auto d = AudioDataType(to);
            const int q = position[to + 1];
            EXPECT_EQ(refuses([&] { return GetConvertIndex(s, d) == p * 6 + q; }), p < 0 || q < 0);
            EXPECT_EQ(refuses([&] { return MM_GetAudioConvertCopyFcn(s, d); }), p < 0 || q < 0);
            for (bool flag : {true, false}) {
                EXPECT_EQ(refuses([&] { return MM_GetAudioTransposeCopyFcn(s, d, flag); }), p < 0 || q < 0);
                EXPECT_EQ(refuses([&] { return MM_GetAudioConvertCopyWithMapFcn(s, d, flag); }), p < 0 || q < 0);
            }
        }
        EXPECT_EQ(refuses([&] { return MM_GetAudioEmptyFcn(s); }), p < 0);
    }
    // The int24 pair is the int32 copy of four-byte elements; the walks hold every family's pair 21 to this one.
    EXPECT_EQ(MM_GetAudioConvertCopyFcn(AUDIO_INT24, AUDIO_INT24), MM_GetAudioConvertCopyFcn(AUDIO_INT32, AUDIO_INT32));
}

// Transposes: channels are the outer loop both ways; stride belongs to the planar side. Shapes: empty, one channel,
// stereo with and without a vector tail, tiles of channels, overlapping planar channels (stride below samples).
// Empty: zero bytes in every type, uint8 too; int24 channels lie stride x channels bytes apart (2, 2, 10: 0-5, 20-25).
TEST(AudioWalks, TransposesAndEmptyMatchTheirPlainWalks) {
    const struct { int samples, channels, stride; } shapes[] = {{0, 2, 4}, {3, 0, 3}, {7, 1, 7}, {5, 2, 5}, {9, 2, 4},
        {2, 2, 10}, {1000, 2, 1003}, {1023, 2, 1023}, {37, 3, 40}, {3000, 3, 3000}, {100, 6, 120}, {50, 4, 0},
        {16, 8, 16}};
    for (const auto& s : shapes) {
        SCOPED_TRACE(testing::Message() << s.samples << " x " << s.channels << ", stride " << s.stride);
        Steps steps;
        for (int c = 0; c < s.channels; ++c)
            for (int64_t i = 0; i < s.samples; ++i) steps.push_back({i + c * int64_t(s.stride), c + i * s.channels});
        const int64_t planes = std::max<int64_t>(s.samples, s.samples + int64_t(s.channels - 1) * s.stride);
        expectWalks(steps, planes, int64_t(s.samples) * s.channels, true, [&](int e, bool toPlanar, auto in, auto out) {
            MM_GetAudioTransposeCopyFcn(TYPES[e / 6], TYPES[e % 6], toPlanar)(in, out, s.samples, s.channels, s.stride);
        });
        for (int t = 0; t < 6; ++t) {
            const int64_t width = WIDTH[t], step = t == 3 ? int64_t(s.stride) * s.channels : s.stride * width;
            Bytes expected(size_t(std::max<int64_t>(0, (s.channels - 1) * step) + s.samples * width + 4), MARK);
            Bytes out = expected;
            for (int c = 0; c < s.channels; ++c) std::fill_n(expected.begin() + c * step, s.samples * width, 0);
            MM_GetAudioEmptyFcn(TYPES[t])(nullptr, out.data(), s.samples, s.channels, s.stride);
            EXPECT_EQ(out, expected) << "empty, type " << TYPES[t];
        }
    }
}

// Maps: frames are the outer loop, and the two forms swap frameStride and mapLength. Maps repeat and skip channels;
// to interleaved, unnamed places stay as they were and a repeated place keeps the later entry's sample. Convert copy
// forms samples x channels in 32 bits: negative times negative copies, a wrap to 0 or below copies nothing.
TEST(AudioWalks, MapsAndConvertCopyMatchTheirPlainWalks) {
    const struct { std::vector<int> map; int frames, frameStride, planeStride; } maps[] = {
        {{2, 0, 2}, 5, 4, 7}, {{3, 1}, 9, 4, 9}, {{1, 1, 0}, 4, 2, 4}, {{0}, 0, 1, 1}, {{5, 3, 1}, 33, 6, 40}};
    for (const auto& m : maps) {
        const int k = int(m.map.size());
        Steps steps;
        for (int64_t f = 0; f < m.frames; ++f)
            for (int j = 0; j < k; ++j) steps.push_back({f + j * int64_t(m.planeStride), m.map[j] + f * m.frameStride});
        const int64_t frames = int64_t(std::max(m.frames, 1)) * m.frameStride;
        expectWalks(steps, int64_t(k) * m.planeStride, frames, true, [&](int e, bool toPlanar, auto in, auto out) {
            const int arg5 = toPlanar ? m.frameStride : k, arg6 = toPlanar ? k : m.frameStride;
            MM_GetAudioConvertCopyWithMapFcn(TYPES[e / 6], TYPES[e % 6], toPlanar)(in, out, m.planeStride, m.frames,
                                                                                   arg5, arg6, &m.map[0]);
        });
    }
    for (auto [samples, channels] : {std::pair{7, 3}, {-2, -3}, {0, 5}, {-4, 2}, {65536, 65536}, {65537, 65535}}) {
        const int64_t count = std::max<int64_t>(int32_t(uint32_t(samples) * uint32_t(channels)), 0);
        Steps steps;
        for (int64_t i = 0; i < count; ++i) steps.push_back({i, i});
        // Copies: a lambda cannot capture a structured binding before C++20.
        expectWalks(steps, std::max<int64_t>(count, 1), count, false,
                    [&, samples = samples, channels = channels](int e, bool, auto in, auto out) {
                        MM_GetAudioConvertCopyFcn(TYPES[e / 6], TYPES[e % 6])(in, out, samples, channels);
                    });
    }
}

// Every vector variant of the stereo int16 and single runs gives the plain run's bytes, vector tails included.
TEST(AudioWalks, StereoRunVariantsMatchThePlainRun) {
    const std::vector<audio::stereo::Runs> sets = audio::stereo::availableRuns();
    ASSERT_STREQ(sets.front().name, "plain"); // the reference of every comparison below
    for (int frames : {0, 1, 7, 8, 15, 16, 17, 31, 32, 33, 63, 64, 65, 1000, 1023}) {
        const Bytes pcm = samples(4, 2, 2 * frames), singles = samples(1, 4, 2 * frames);
        auto run = [&](const audio::stereo::Runs& r) {
            Bytes planes(8 * frames), joined(4 * frames);
            const auto* left = reinterpret_cast<const float*>(singles.data());
            r.split(reinterpret_cast<const int16_t*>(pcm.data()), reinterpret_cast<float*>(planes.data()),
                    reinterpret_cast<float*>(planes.data() + 4 * frames), frames);
            r.join(left, left + frames, reinterpret_cast<int16_t*>(joined.data()), frames);
            return std::pair{planes, joined};
        };
        for (const auto& set : sets) EXPECT_EQ(run(set), run(sets.front())) << set.name << ", " << frames << " frames";
    }
}
