// Writes the seed corpora of the AVI write and the kernel fuzz targets into
// CORPUS/avi_write and CORPUS/kernel: short inputs in the targets' words
// (fuzz_bytes.h), one or a few for each call sequence and kernel family, so
// that the fuzzer starts from every path instead of finding each by chance.
//
// Usage: fuzz_make_seeds CORPUS

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include <sys/stat.h>

#include "avi_write_ops.h"
#include "video_room.h"

namespace {

// One input, a choice a call; the comments name what each byte picks.
struct Seed {
    std::vector<uint8_t> bytes;
    Seed& operator()(std::initializer_list<int> values) {
        for (int v : values) bytes.push_back(uint8_t(v));
        return *this;
    }
    Seed& op(WriteOp o) { return (*this)({int(o)}); }
    Seed& word16(unsigned v) { return (*this)({int(v & 0xFF), int(v >> 8)}); }
};

bool save(const std::string& path, const Seed& seed) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    const bool ok = std::fwrite(seed.bytes.data(), 1, seed.bytes.size(), f) == seed.bytes.size();
    return std::fclose(f) == 0 && ok;
}

// Writer calls. A rate is a flag byte and an index into the harness's rates
// (25, 29.97, 44100, 8000, ...); video depths index 24, 24, 8, 2, 4, 16, 32,
// ..., audio depths 8, 16, 16, 24, ...; FourCCs "", "MJPG", "DIB ", ...
Seed& video(Seed& s, int width, int height, int form = 0, int fourcc = 0, int depth = 0) {
    s.op(WriteOp::VideoInfo)({width, height, 1, 0, form});
    if (form >= 1) s({fourcc});
    if (form == 2) s({depth});
    return s;
}
Seed& audio(Seed& s, int rate, int depth, int channels, unsigned chunk) {
    return s.op(WriteOp::AudioInfo)({1, rate, depth, channels}).word16(chunk);
}
Seed& frames(Seed& s, int count) {
    for (int i = 0; i < count; ++i) s.op(WriteOp::Frame);
    return s;
}
Seed& sizedFrame(Seed& s, int bound, unsigned size) {
    s.op(WriteOp::SizedFrame)({bound});
    return bound == 0 ? s({int(size)}) : s.word16(size);
}
Seed& audioChunks(Seed& s, int count) {
    for (int i = 0; i < count; ++i) s.op(WriteOp::Audio);
    return s;
}
Seed& colormap(Seed& s, int countIndex) { return s.op(WriteOp::Colormap)({1, countIndex}); }

std::vector<std::pair<std::string, Seed>> writerSeeds() {
    std::vector<std::pair<std::string, Seed>> seeds;
    auto add = [&seeds](const char* name) -> Seed& { return seeds.emplace_back(name, Seed()).second; };
    frames(video(add("video-24bit"), 8, 6), 3);
    audioChunks(audio(add("audio-16bit-stereo"), 2, 1, 2, 400), 3);
    {
        Seed& s = add("video-then-audio");
        audio(video(s, 5, 3), 3, 0, 1, 100);
        for (int i = 0; i < 3; ++i) audioChunks(frames(s, 1), 1);
    }
    {
        Seed& s = add("audio-first-odd-chunk");
        video(audio(s, 3, 0, 1, 333), 3, 2);
        for (int i = 0; i < 3; ++i) frames(audioChunks(s, 1), 1);
    }
    frames(colormap(video(add("video-8bit-colormap"), 7, 4, 2, 0, 2), 5), 2);
    {
        Seed& s = add("compressed-sized-frames");
        video(s, 16, 16, 1, 1);
        for (unsigned size : {1000u, 17u, 4001u, 2u}) sizedFrame(s, 2, size);
    }
    {
        Seed& s = add("few-super-index-entries");
        s.op(WriteOp::SuperIndexEntries)({1});
        audioChunks(frames(audio(video(s, 4, 4), 2, 1, 2, 64), 2), 2);
    }
    {
        Seed& s = add("colormap-over-small-header");
        s.op(WriteOp::SuperIndexEntries)({1});
        frames(colormap(video(s, 4, 2, 2, 0, 2), 5), 1);
    }
    {
        Seed& s = add("video-16bit-sized-frames");
        video(s, 6, 2, 2, 0, 5);
        for (unsigned size : {24u, 24u, 3u}) sizedFrame(s, 1, size);
    }
    {
        Seed& s = add("out-of-order");
        frames(s, 1);
        video(video(s, 2, 2), 3, 3);
        audioChunks(s, 1);
        s.op(WriteOp::SuperIndexEntries)({0});
        frames(s, 1);
    }
    frames(video(add("bad-depth"), 3, 3, 2, 0, 9), 1);
    audioChunks(audio(add("audio-no-bytes"), 4, 6, 0, 0), 2);
    return seeds;
}

// Kernel inputs. The first byte picks video (odd) or audio (even).
std::vector<std::pair<std::string, Seed>> kernelSeeds() {
    std::vector<std::pair<std::string, Seed>> seeds;
    const std::vector<int> content = {0, 17, 128, 255, 3, 64, 200, 1, 99, 250, 16, 235, 128, 90, 240, 7};
    auto add = [&seeds, &content](const std::string& name, std::initializer_list<int> choices) {
        Seed& s = seeds.emplace_back(name, Seed()).second;
        s(choices);
        s.bytes.insert(s.bytes.end(), content.begin(), content.end());
    };
    // By type: video, not raw planar, the type, route 0, the family, then
    // bound 9 with width 5, bound 9 with height 3, and a flag among 0, 1, 2, -1.
    for (int family = 0; family < int(VideoFamily::Count); ++family) {
        add("video-family-" + std::to_string(family), {1, 1, family % 9, 0, family, 1, 5, 1, 3, family % 4});
        add("video-family-" + std::to_string(family) + "-even", {1, 1, (family + 4) % 9, 0, family, 1, 4, 1, 2, 1});
    }
    // The walks that pass width x height, with flag 0 and an odd width or
    // count (bound 4: width 3, height 2 or 3), or an even width.
    const std::pair<VideoFamily, std::vector<int>> pastTheEnd[] = {
        {VideoFamily::IntensityToYCbCrOutput, {3, 2}}, {VideoFamily::RGBToYCbCrOutput, {4, 2}},
        {VideoFamily::YCbCrToRGBInput, {3, 3}},        {VideoFamily::YCbCrToYCbCrInput, {3, 3}},
        {VideoFamily::YCbCrToYCbCrOutput, {3, 3}},     {VideoFamily::RGBToYCbCrInputMmr, {3, 3}}};
    for (const auto& [family, size] : pastTheEnd)
        add("video-past-the-end-" + std::to_string(int(family)), {1, 1, 3, 0, int(family), 0, size[0], 0, size[1], 0});
    // Blocks and bands: width 33 or 40, height 130.
    add("video-rgb-input-columns", {1, 1, 3, 0, int(VideoFamily::RGBToRGBInput), 2, 33, 3, 130, 1});
    add("video-rgb-output-columns", {1, 1, 3, 0, int(VideoFamily::RGBToRGBOutput), 2, 40, 3, 130, 1});
    add("video-mmr-rows", {1, 1, 3, 0, int(VideoFamily::RGBToRGBInputMmr), 2, 40, 3, 130, 0});
    // Dispatchers: RGB frame to YUY2 planes (mmr), GREY planes to an RGB frame,
    // empty YUY2 planes; and an unknown type.
    add("video-dispatch-input", {1, 1, 0, 1, 1, 3, 1, 1, 7, 1, 5, 0});
    add("video-dispatch-output", {1, 1, 4, 2, 2, 1, 1, 6, 1, 6, 1});
    add("video-dispatch-empty", {1, 1, 5, 3, 3, 1, 6, 1, 6, 0});
    add("video-unknown-type", {1, 1, 0xF0, 0, 0});
    // Raw planar: double to int16, three planes, pad 2, bottom-up.
    add("video-raw-planar", {1, 0, 0, 4, 1, 5, 1, 3, 3, 2, 1});
    // Audio walks: not scaled, the walk, the types, bound 9 with 7 samples
    // (a count is the byte less 2), 2 channels, stride 8.
    const int pairs[][2] = {{0, 9}, {4, 3}, {9, 9}, {1, 6}, {3, 0}, {6, 4}};
    for (int walk = 0; walk < 6; ++walk)
        for (const auto& pair : pairs) {
            Seed choices;
            choices({0, 1, walk, pair[0]});
            if (walk != 5) choices({pair[1]});
            choices({1, 9, 1, 4, 8, 5, 1, 0, 4, 2});
            Seed& s = seeds.emplace_back("audio-walk-" + std::to_string(walk) + "-" + std::to_string(pair[0]) + "-" +
                                             std::to_string(pair[1]),
                                         choices)
                          .second;
            s.bytes.insert(s.bytes.end(), content.begin(), content.end());
        }
    add("audio-unsupported-type", {0, 1, 0, 2, 0});
    // Scaled: index 1 to 6, each way, apart and in place.
    for (int index = 1; index <= 6; ++index) {
        add("audio-scaled-" + std::to_string(index), {0, 0, index, 1, 0, 1, 9});
        add("audio-scaled-" + std::to_string(index) + "-in-place", {0, 0, index, 0, 1, 1, 9});
    }
    return seeds;
}

bool writeAll(const std::string& dir, const std::vector<std::pair<std::string, Seed>>& seeds) {
    mkdir(dir.c_str(), 0755);
    bool ok = true;
    for (const auto& [name, seed] : seeds) {
        if (!save(dir + "/seed-" + name, seed)) {
            std::fprintf(stderr, "cannot write %s/seed-%s\n", dir.c_str(), name.c_str());
            ok = false;
        }
    }
    return ok;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s CORPUS\n", argv[0]);
        return 2;
    }
    const std::string corpus = argv[1];
    const bool ok = writeAll(corpus + "/avi_write", writerSeeds()) && writeAll(corpus + "/kernel", kernelSeeds());
    return ok ? 0 : 1;
}
