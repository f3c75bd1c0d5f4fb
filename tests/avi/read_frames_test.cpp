#include <gtest/gtest.h>

#include <korva/korva.h>

#include "support/avi_builder.h"

using namespace korvatest;
using namespace avi::errors;

namespace {

struct Opened {
    TempDir dir;
    avi::File f;
    explicit Opened(const BuiltAvi& built, bool infoOnly = false) {
        writeFile(dir.path("f.avi"), built.bytes);
        const bool ok = infoOnly ? f.openToGetInformation(dir.path("f.avi").c_str())
                                 : f.open(dir.path("f.avi").c_str(), "rb");
        EXPECT_TRUE(ok) << f.getErrorMsg();
    }
    explicit Opened(const AviPlan& plan, bool infoOnly = false) : Opened(buildAvi(plan), infoOnly) {}
};

std::vector<Bytes> patterns(std::initializer_list<size_t> sizes, uint32_t seed = 40) {
    std::vector<Bytes> out;
    for (size_t s : sizes) out.push_back(patternBytes(s, seed + uint32_t(out.size())));
    return out;
}

AviPlan videoPlan(std::vector<Bytes> frames, int32_t w = 4, int32_t h = 1, uint16_t bits = 24) {
    AviPlan plan;
    plan.video.width = w, plan.video.height = h, plan.video.bits = bits;
    plan.frames = std::move(frames);
    return plan;
}

// Video of three frames and audio seeded apart from it.
AviPlan audioPlan(std::initializer_list<size_t> chunks, IndexKind kind = IndexKind::Legacy, unsigned segments = 1) {
    AviPlan plan = videoPlan(patterns({12, 12, 12}));
    plan.hasAudio = true, plan.audioChunks = patterns(chunks, 200);
    plan.index = kind, plan.segments = segments;
    return plan;
}

Bytes joined(const std::vector<Bytes>& chunks) {
    Bytes out;
    for (const Bytes& c : chunks) append(out, c);
    return out;
}

Bytes asBytes(const std::vector<char>& v) { return Bytes(v.begin(), v.end()); }
const std::vector<char> kFill(12, char(0xCD));

TEST(ReadVideoFrame, SequentialAndNumberedReadsMix) {
    const std::vector<Bytes> frames = patterns({12, 12, 12, 12, 12});
    Opened o(videoPlan(frames));
    avi::File& f = o.f;
    std::vector<char> buf = kFill;
    uint64_t cursor = 0;
    for (auto [n, frame] : {std::pair{-1L, 0}, {3L, 3}, {-1L, 1}, {0L, 0}, {-1L, 2}, {-1L, 3}, {4L, 4}, {-1L, 4}}) {
        f.readVideoFrame(buf.data(), n);
        ASSERT_EQ(f.getErrorCode(), NO_ERROR);
        EXPECT_EQ(asBytes(buf), frames[size_t(frame)]) << n;
        cursor += n == -1; // only -1 moves the cursor
        EXPECT_EQ(f.getVideoFramesRead(), cursor);
    }
    EXPECT_TRUE(f.isEndOfVideo());
    // At the end, at or past the total, and below -1: buffer and cursor stay.
    for (long n : {-1L, 5L, 6L, -2L, -100L}) {
        buf = kFill;
        f.setError(FREAD_FAILED);
        f.readVideoFrame(buf.data(), n);
        EXPECT_EQ(asBytes(buf), asBytes(kFill)) << n;
        EXPECT_EQ(f.getVideoFramesRead(), 5u);
        if (n >= -1) {
            EXPECT_EQ(f.getErrorCode(), NO_ERROR) << "a standing error is cleared though nothing is read " << n;
        }
    }
    f.resetVideo();
    f.readVideoFrame(buf.data());
    EXPECT_EQ(asBytes(buf), frames[0]);
    EXPECT_EQ(f.getVideoFramesRead(), 1u);
}

TEST(ReadVideoFrame, UncompressedFramesAllTakeTheFirstEntrySize) {
    const BuiltAvi built = buildAvi(videoPlan(patterns({12, 20, 8})));
    Opened o(built);
    for (auto [n, size] : {std::pair{0L, 12u}, {1L, 20u}, {2L, 8u}, {3L, 0u}, {9L, 0u}}) {
        EXPECT_EQ(o.f.getRawVideoFrameSize(n), size) << n;
    }
    EXPECT_EQ(o.f.getErrorCode(), NO_ERROR);
    EXPECT_EQ(o.f.getRawVideoFrameSize(-1), 0u); // no sequential form: in front of the list
    EXPECT_EQ(o.f.getRawVideoFrameSize(-5), 0u);
    for (long n = 0; n < 3; ++n) {
        std::vector<char> buf(12);
        o.f.readVideoFrame(buf.data(), n);
        ASSERT_EQ(o.f.getErrorCode(), NO_ERROR);
        const auto at = built.bytes.begin() + long(built.frameDataPositions[size_t(n)]);
        EXPECT_EQ(asBytes(buf), Bytes(at, at + 12)) << n; // frame 2 runs into the bytes behind it
    }
}

TEST(ReadVideoFrame, NoVideoChunks) {
    AviPlan declared = audioPlan({40}); // video declared with three frames, none stored
    declared.frames.clear(), declared.totalFramesOverride = 3;
    AviPlan noVideo = audioPlan({40});
    noVideo.hasVideo = false, noVideo.frames.clear();
    for (const AviPlan& plan : {declared, noVideo}) {
        Opened o(plan);
        const bool hasTotal = plan.hasVideo;
        ASSERT_EQ(o.f.getVideoTotalFrames(), hasTotal ? 3 : 0);
        EXPECT_EQ(o.f.getRawVideoFrameSize(0), 0u);
        EXPECT_EQ(o.f.getErrorCode(), hasTotal ? VIDEO_CHUNKS_MISSING : NO_ERROR);
        std::vector<char> buf = kFill;
        o.f.readVideoFrame(buf.data());
        EXPECT_EQ(o.f.getErrorCode(), VIDEO_CHUNKS_MISSING);
        EXPECT_EQ(asBytes(buf), asBytes(kFill));
    }
}

TEST(ReadVideoFrame, CompressedFramesAreServedRawAndRefusedOtherwise) {
    AviPlan plan = videoPlan(patterns({5, 9, 3}), 4, -2); // top-down, yet never flipped
    plan.video.compression = 0x64636261;
    Opened o(plan);
    for (long n = 0; n < 3; ++n) {
        std::vector<char> buf(o.f.getRawVideoFrameSize(n));
        o.f.readVideoFrame(buf.data());
        ASSERT_EQ(o.f.getErrorCode(), NO_ERROR);
        EXPECT_EQ(asBytes(buf), plan.frames[size_t(n)]);
    }
    o.f.resetVideo();
    std::vector<char> buf = kFill;
    o.f.readRGB24VideoFrame(buf.data());
    EXPECT_EQ(o.f.getErrorCode(), COMPRESSED_VIDEO_UNSUPPORTED);
    o.f.clearError();
    o.f.readIndexedVideoFrame(buf.data(), -1);
    EXPECT_EQ(o.f.getErrorCode(), COMPRESSED_VIDEO_UNSUPPORTED);
    EXPECT_EQ(asBytes(buf), asBytes(kFill));
    EXPECT_EQ(o.f.getVideoFramesRead(), 0u);
}

TEST(ReadVideoFrame, IndexedReadOfOtherDepthsFillsThenReports) {
    for (uint16_t bits : {24, 4, 8}) {
        const size_t size = bits == 24 ? 12 : 4;
        Opened o(videoPlan(patterns({size, size}), 4, 1, bits));
        std::vector<char> buf(size, char(0xCD));
        o.f.readIndexedVideoFrame(buf.data(), -1);
        EXPECT_EQ(o.f.getErrorCode(), bits == 8 ? NO_ERROR : VIDEO_NOT_INDEXED) << bits;
        EXPECT_EQ(asBytes(buf), patternBytes(size, 40)) << bits;
        EXPECT_EQ(o.f.getVideoFramesRead(), 1u);
    }
}

TEST(ReadVideoFrame, FileEndingInsideAFrame) {
    BuiltAvi built = buildAvi(videoPlan(patterns({12, 12, 12})));
    // Point the last "idx1" entry at data that starts 5 bytes before the end.
    Bytes& file = built.bytes;
    const size_t idx1 = std::string(file.begin(), file.end()).rfind("idx1");
    ASSERT_NE(idx1, std::string::npos);
    putLE32(file, idx1 + 8 + 2 * 16 + 8, uint32_t(file.size() - 5 - 8 - built.moviPosition));
    Opened o(built);
    std::vector<char> buf = kFill;
    o.f.readVideoFrame(buf.data(), 2);
    EXPECT_EQ(o.f.getErrorCode(), FREAD_FAILED);
    Bytes want(file.end() - 5, file.end());
    want.resize(12, 0xCD);
    EXPECT_EQ(asBytes(buf), want);
    for (int i = 0; i < 3; ++i) o.f.readVideoFrame(buf.data());
    EXPECT_EQ(o.f.getErrorCode(), FREAD_FAILED);
    EXPECT_EQ(o.f.getVideoFramesRead(), 2u);
}

TEST(ReadVideoFrame, TopDownRowsAreFlippedOnlyWithOpen) {
    const Bytes frame = patternBytes(36, 3); // three rows of 12, stored top-down
    Bytes flipped(frame.begin() + 24, frame.end());
    append(flipped, Bytes(frame.begin() + 12, frame.begin() + 24));
    append(flipped, Bytes(frame.begin(), frame.begin() + 12));
    for (bool infoOnly : {false, true}) {
        Opened o(videoPlan({frame}, 4, -3), infoOnly);
        std::vector<char> buf(36);
        o.f.readVideoFrame(buf.data());
        EXPECT_EQ(o.f.getErrorCode(), NO_ERROR);
        EXPECT_EQ(asBytes(buf), infoOnly ? frame : flipped) << infoOnly;
    }
}

TEST(ReadVideoFrame, WrongNumFramesCheckForRgb24) {
    struct Case {
        int32_t w, h;
        uint16_t bits;
        uint32_t compression;
        unsigned frames, segments;
        error_T want;
    } const cases[] = {
        {16, 16, 24, 0, 6, 1, NO_ERROR},           // all frames in the first RIFF
        {16, 16, 24, 0, 6, 3, INVALID_NUM_FRAMES}, // the first RIFF holds a third of them
        {1000, 1000, 24, 0, 1, 1, INVALID_NUM_FRAMES},
        {65536, 65536, 24, 0, 1, 1, NO_ERROR}, // the product wraps to 0
        {1000, 1000, 32, 0, 1, 1, NO_ERROR},
        {1000, 1000, 24, 0x64636261, 1, 1, NO_ERROR},
    };
    for (const Case& c : cases) {
        AviPlan plan = videoPlan(std::vector<Bytes>(c.frames, patternBytes(c.w == 16 ? 768 : 12, 1)), c.w, c.h, c.bits);
        plan.video.compression = c.compression;
        plan.index = IndexKind::OpenDML, plan.segments = c.segments;
        Opened o(plan);
        ASSERT_EQ(o.f.getErrorCode(), NO_ERROR);
        o.f.errorIfWrongNumFrameForRGB24();
        EXPECT_EQ(o.f.getErrorCode(), c.want) << c.w << " " << c.bits << " " << c.segments;
    }
}

TEST(ReadAudio, CrossesChunksOfDifferingSizesAtAnyCount) {
    for (auto [kind, segments] : {std::pair{IndexKind::Legacy, 1u}, {IndexKind::OpenDML, 3u}}) {
        const AviPlan plan = audioPlan({400, 44, 1000, 4, 152}, kind, segments);
        Opened o(plan);
        ASSERT_EQ(o.f.getAudioTotalBytes(), 1600u);
        Bytes got;
        std::vector<char> frame(12);
        for (size_t i = 0; !o.f.isEndOfAudio() && i < 100; ++i) {
            const size_t count = std::vector<size_t>{7, 333, 1, 999, 13}[i % 5];
            std::vector<char> buf(count, char(0xCD));
            const uint64_t before = o.f.getAudioBytesRead();
            o.f.readAudio(buf.data(), count);
            ASSERT_EQ(o.f.getErrorCode(), NO_ERROR);
            o.f.readVideoFrame(frame.data()); // video reads in between change nothing
            const long real = long(o.f.getAudioBytesRead() - before);
            got.insert(got.end(), buf.begin(), buf.begin() + real);
            EXPECT_EQ(Bytes(buf.begin() + real, buf.end()), Bytes(count - size_t(real), 0)) << "zero padding";
        }
        EXPECT_EQ(got, joined(plan.audioChunks));
    }
}

TEST(ReadAudio, EndPadsWithZerosThenLeavesTheBufferAlone) {
    const AviPlan plan = audioPlan({400, 44, 1000, 4, 152});
    Opened o(plan);
    std::vector<char> buf(1000, char(0xCD));
    o.f.readAudio(buf.data(), 0);
    EXPECT_EQ(o.f.getAudioBytesRead(), 0u);
    EXPECT_EQ(buf, std::vector<char>(1000, char(0xCD)));
    o.f.readAudio(buf.data(), 1000);
    o.f.readAudio(buf.data(), 1000); // 600 left
    EXPECT_TRUE(o.f.isEndOfAudio());
    EXPECT_EQ(o.f.getAudioBytesRead(), 1600u);
    const Bytes all = joined(plan.audioChunks);
    Bytes want(all.begin() + 1000, all.end());
    want.resize(1000, 0);
    EXPECT_EQ(asBytes(buf), want);
    buf.assign(1000, char(0xCD));
    o.f.readAudio(buf.data(), 1000);
    EXPECT_EQ(o.f.getErrorCode(), NO_ERROR);
    EXPECT_EQ(buf, std::vector<char>(1000, char(0xCD)));
    // The code of a failed video read survives audio reads.
    o.f.readIndexedVideoFrame(std::vector<char>(12).data(), 0);
    o.f.resetAudio();
    o.f.readAudio(buf.data(), 10);
    EXPECT_EQ(o.f.getErrorCode(), VIDEO_NOT_INDEXED);
    EXPECT_EQ(Bytes(buf.begin(), buf.begin() + 10), Bytes(all.begin(), all.begin() + 10));
}

TEST(ReadAudio, TotalComesFromTheHeaderNotTheIndex) {
    std::vector<char> buf(3000, char(0xCD));
    AviPlan none = audioPlan({400}); // dwLength 0: nothing is ever delivered
    none.audio.lengthOverride = 0;
    Opened o0(none);
    o0.f.readAudio(buf.data(), 100);
    EXPECT_EQ(o0.f.getErrorCode(), NO_ERROR);
    EXPECT_EQ(o0.f.getAudioBytesRead(), 0u);
    EXPECT_EQ(buf, std::vector<char>(3000, char(0xCD)));

    AviPlan more = audioPlan({400, 44}); // more stated than indexed: the entries run out
    more.audio.lengthOverride = 1000;
    Opened o1(more);
    o1.f.readAudio(buf.data(), 3000);
    EXPECT_EQ(o1.f.getErrorCode(), AUDIO_CHUNKS_MISSING);
    EXPECT_EQ(o1.f.getAudioBytesRead(), 444u);
    EXPECT_EQ(Bytes(buf.begin(), buf.begin() + 444), joined(more.audioChunks));

    AviPlan five = audioPlan({10, 10}); // 8-bit mono, total 5: stepped over, no end seen
    five.audio.channels = 1, five.audio.bits = 8, five.audio.lengthOverride = 5;
    Opened o2(five);
    o2.f.readAudio(buf.data(), 3);
    o2.f.readAudio(buf.data() + 3, 4);
    EXPECT_FALSE(o2.f.isEndOfAudio());
    EXPECT_EQ(o2.f.getAudioBytesRead(), 7u);
    EXPECT_EQ(Bytes(buf.begin(), buf.begin() + 7), Bytes(five.audioChunks[0].begin(), five.audioChunks[0].begin() + 7));
    o2.f.readAudio(buf.data(), 100);
    EXPECT_EQ(o2.f.getErrorCode(), AUDIO_CHUNKS_MISSING);
    EXPECT_EQ(o2.f.getAudioBytesRead(), 20u);
}

TEST(ReadAudio, CompressedOrAbsentAudioIsRefused) {
    AviPlan compressed = audioPlan({40});
    compressed.audio.tag = 2;
    for (const AviPlan& plan : {compressed, videoPlan(patterns({12}))}) { // no audio: format tag 0
        Opened o(plan);
        std::vector<char> buf = kFill;
        o.f.readAudio(buf.data(), 12);
        EXPECT_EQ(o.f.getErrorCode(), COMPRESSED_AUDIO_UNSUPPORTED);
        EXPECT_EQ(asBytes(buf), asBytes(kFill));
        EXPECT_EQ(o.f.getAudioBytesRead(), 0u);
    }
}

} // namespace
