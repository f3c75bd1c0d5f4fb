#include <gtest/gtest.h>
#include <tuple>
#include <korva/korva.h>
#include "support/avi_builder.h"

using namespace korvatest;
using namespace avi::errors;
namespace {
struct Opened {
    TempDir dir;
    avi::File f;
    explicit Opened(const Bytes& file) {
        writeFile(dir.path("f.avi"), file);
        EXPECT_TRUE(f.open(dir.path("f.avi").c_str(), "rb")) << f.getErrorMsg();
    }
};
std::vector<Bytes> patterns(std::initializer_list<size_t> sizes, uint32_t seed = 40) {
    std::vector<Bytes> out;
    for (size_t s : sizes) out.push_back(patternBytes(s, seed + uint32_t(out.size())));
    return out;
}
AviPlan videoPlan(std::vector<Bytes> frames, int32_t w = 4, int32_t h = 1, uint16_t bits = 24, uint32_t comp = 0) {
    AviPlan plan;
    plan.video = {w, h, bits, comp, 1, 25, {}}, plan.frames = std::move(frames);
    return plan;
}
Bytes asBytes(const std::vector<char>& v, size_t n = SIZE_MAX) { // the first n bytes
    return {v.begin(), v.begin() + long(std::min(n, v.size()))};
}
const std::vector<char> kFill(12, char(0xCD));
} // namespace

TEST(ReadVideoFrame, SequentialAndNumberedReadsMix) {
    const std::vector<Bytes> frames = patterns({12, 12, 12, 12, 12});
    Opened o(buildAvi(videoPlan(frames)).bytes);
    std::vector<char> buf = kFill;
    uint64_t cursor = 0;
    for (auto [n, frame] : {std::pair{-1L, 0}, {3L, 3}, {-1L, 1}, {0L, 0}, {-1L, 2}, {-1L, 3}, {4L, 4}, {-1L, 4}}) {
        o.f.readVideoFrame(buf.data(), n);
        ASSERT_TRUE(o.f.getErrorCode() == NO_ERROR && asBytes(buf) == frames[size_t(frame)]) << n;
        EXPECT_EQ(o.f.getVideoFramesRead(), cursor += n == -1) << n; // only -1 moves the cursor
    }
    for (long n : {-1L, 5L, 6L, -2L, -100L}) { // at the end, past it and below -1: buffer and cursor stay
        buf = kFill, o.f.setError(FREAD_FAILED), o.f.readVideoFrame(buf.data(), n);
        EXPECT_TRUE(buf == kFill && o.f.getVideoFramesRead() == 5u) << n;
        EXPECT_TRUE(n < -1 || o.f.getErrorCode() == NO_ERROR) << "a standing error is cleared " << n;
    }
}

TEST(ReadVideoFrame, CompressedVideoRefusedAndFileEndingInsideAFrame) {
    Opened o(buildAvi(videoPlan(patterns({5, 9, 3}), 4, 1, 24, 0x64636261)).bytes);
    std::vector<char> buf = kFill;
    for (bool indexed : {false, true}) {
        o.f.clearError(), indexed ? o.f.readIndexedVideoFrame(buf.data(), -1) : o.f.readRGB24VideoFrame(buf.data());
        EXPECT_EQ(o.f.getErrorCode(), COMPRESSED_VIDEO_UNSUPPORTED) << indexed;
    }
    EXPECT_TRUE(buf == kFill && o.f.getVideoFramesRead() == 0u);
    BuiltAvi built = buildAvi(videoPlan(patterns({12, 12, 12})));
    Bytes& file = built.bytes; // the last "idx1" entry points at data 5 bytes before the end
    const size_t idx1 = std::string(file.begin(), file.end()).rfind("idx1");
    putLE32(file, idx1 + 8 + 2 * 16 + 8, uint32_t(file.size() - 5 - 8 - built.moviPosition));
    Opened t(file);
    t.f.readVideoFrame(buf.data(), 2);
    EXPECT_EQ(t.f.getErrorCode(), FREAD_FAILED);
    EXPECT_EQ(asBytes(buf), cat({Bytes(file.end() - 5, file.end()), Bytes(7, 0xCD)})); // the rest stays
}

TEST(ReadVideoFrame, WrongNumFramesCheckForRgb24) {
    // Square side, bits, compression, frames, RIFF segments, code; 65536 squared wraps to 0.
    const std::tuple<int32_t, uint16_t, uint32_t, unsigned, unsigned, error_T> cases[] = {
        {16, 24, 0, 6, 1, NO_ERROR},    {16, 24, 0, 6, 3, INVALID_NUM_FRAMES}, {1000, 24, 0, 1, 1, INVALID_NUM_FRAMES},
        {65536, 24, 0, 1, 1, NO_ERROR}, {1000, 32, 0, 1, 1, NO_ERROR},         {1000, 24, 0x64636261, 1, 1, NO_ERROR}};
    for (auto [w, bits, comp, frames, segments, want] : cases) {
        AviPlan plan = videoPlan(std::vector<Bytes>(frames, patternBytes(w == 16 ? 768 : 12, 1)), w, w, bits, comp);
        plan.index = IndexKind::OpenDML, plan.segments = segments;
        Opened o(buildAvi(plan).bytes);
        o.f.errorIfWrongNumFrameForRGB24();
        EXPECT_EQ(o.f.getErrorCode(), want) << w << " " << bits << " " << segments;
    }
}

TEST(ReadAudio, CrossesChunksPadsTheEndAndRunsOutOfEntries) {
    AviPlan plan = videoPlan(patterns({12, 12, 12}));
    plan.hasAudio = true, plan.audioChunks = patterns({400, 44, 1000, 4, 152}, 200); // seeded apart from the video
    Bytes all;
    for (const Bytes& c : plan.audioChunks) append(all, c); // 1600 bytes
    for (auto [kind, segments] : {std::pair{IndexKind::OpenDML, 3u}, {IndexKind::Legacy, 1u}}) {
        plan.index = kind, plan.segments = segments;
        Opened o(buildAvi(plan).bytes);
        Bytes got;
        for (size_t i = 0; !o.f.isEndOfAudio() && i < 100; ++i) {
            const size_t count = std::vector<size_t>{7, 333, 1, 999, 13}[i % 5], before = o.f.getAudioBytesRead();
            std::vector<char> buf(count);
            o.f.readAudio(buf.data(), count);
            ASSERT_EQ(o.f.getErrorCode(), NO_ERROR);
            append(got, asBytes(buf, o.f.getAudioBytesRead() - before));
        }
        EXPECT_EQ(got, all);
        std::vector<char> buf(1000, char(0xCD));
        o.f.resetAudio(), o.f.readAudio(buf.data(), 1000), o.f.readAudio(buf.data(), 1000); // 600 left, then zeros
        EXPECT_EQ(asBytes(buf), cat({Bytes(all.begin() + 1000, all.end()), Bytes(400, 0)}));
        o.f.readIndexedVideoFrame(buf.data(), 0); // 24 bits: the frame is read, then code 45
        EXPECT_TRUE(asBytes(buf, 12) == plan.frames[0] && o.f.getErrorCode() == VIDEO_NOT_INDEXED);
        o.f.resetAudio(), o.f.readAudio(buf.data(), 10); // an audio read leaves the error standing
        EXPECT_TRUE(o.f.getErrorCode() == VIDEO_NOT_INDEXED && asBytes(buf, 10) == Bytes(all.begin(), all.begin() + 10));
    }
    plan.audioChunks.resize(2), plan.audio.lengthOverride = 1000; // legacy index, more stated than indexed
    Opened o(buildAvi(plan).bytes);
    std::vector<char> buf(3000);
    o.f.readAudio(buf.data(), 3000);
    EXPECT_TRUE(o.f.getErrorCode() == AUDIO_CHUNKS_MISSING && o.f.getAudioBytesRead() == 444u);
    EXPECT_EQ(asBytes(buf, 444), Bytes(all.begin(), all.begin() + 444));
}
