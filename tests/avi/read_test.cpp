#include <gtest/gtest.h>
#include <functional>
#include <tuple>
#include <korva/avi/riff.h>
#include <korva/korva.h>
#include "support/avi_builder.h"

using namespace korvatest;
using namespace avi::errors;
namespace {
Bytes videoStrl(const Bytes& indx = {}) {
    return cat({chunk("strh", strhPayload({})), chunk("strf", bitmapInfoPayload(4, 2, 24, 0)), indx});
}
const Bytes AUDIO_STRL = cat({chunk("strh", strhPayload({"auds", "", 0, 1, 25, 4, 0})), // 16 bytes of audio
                              chunk("strf", waveFormatPayload(1, 2, 8000, 16))});
struct Laid { Bytes bytes; uint64_t movi; std::vector<uint64_t> dataAt; }; // the "movi" code; data of its chunks
// "RIFF" "AVI " with avih and the stream lists, one "movi" list, then `tail` verbatim.
Laid lay(const std::vector<Bytes>& strls, const std::vector<Bytes>& moviChunks, const Bytes& tail) {
    Laid l{};
    Bytes lists, movi;
    for (const Bytes& s : strls) append(lists, list("strl", s));
    const Bytes hdrl = list("hdrl", cat({chunk("avih", avihPayload({40000, 0x10, 0, uint32_t(strls.size())})), lists}));
    l.movi = 12 + hdrl.size() + 8;
    for (const Bytes& c : moviChunks) {
        l.dataAt.push_back(l.movi + 4 + movi.size() + 8);
        append(movi, c);
    }
    l.bytes = list("AVI ", cat({hdrl, list("movi", movi), tail}), "RIFF");
    return l;
}
// Indexes hold absolute positions: lay once with placeholders, then with the first layout's (sizes don't change).
Laid layTwice(const std::function<Laid(const Laid&)>& lay) { return lay(lay(Laid{{}, 0, std::vector<uint64_t>(16)})); }
// A video-only file with `indx` (if any) in its stream list and one 24-byte frame.
Laid videoOnly(const Bytes& indx, const Bytes& tail) {
    return lay({videoStrl(indx.empty() ? Bytes{} : chunk("indx", indx))}, {chunk("00db", patternBytes(24, 7))}, tail);
}
enum class Source { Idx1, Indx, Super };
// One 24-byte frame listed once per size; a standard index carries the types, a super index `refs` entries.
Laid indexed(Source src, const std::vector<uint32_t>& sizes, uint8_t subType = 0, uint8_t type = 1, uint32_t refs = 1) {
    return layTwice([&](const Laid& p) {
        std::vector<StandardEntry> standard;
        std::vector<LegacyEntry> legacy;
        const uint32_t at = uint32_t(p.dataAt[0] - p.movi);
        for (uint32_t s : sizes) {
            standard.push_back({at, s});
            legacy.push_back({"00db", 0x10, at - 8, s});
        }
        const Bytes ix = standardIndexPayload("00db", p.movi, standard, subType, type), junk = chunk("JUNK", Bytes(4));
        if (src == Source::Indx) return videoOnly(ix, junk); // the junk lets a scan end without error
        if (src == Source::Idx1) return videoOnly({}, cat({chunk("idx1", idx1Payload(legacy)), junk}));
        const Bytes tail = chunk("ix00", ix);
        const SuperEntry e{p.dataAt[0] + 24, uint32_t(tail.size()), 1};
        return videoOnly(superIndexPayload("00db", std::vector<SuperEntry>(refs, e)), cat({tail, junk}));
    });
}
Bytes patched(Bytes b, size_t at, uint32_t v) {
    putLE32(b, at, v);
    return b;
}
bool open(avi::File& f, const Bytes& bytes, bool scan = true) { // false: no scan of "movi" can run
    const std::string name = tempFile(bytes);
    return scan ? f.open(name.c_str(), "rb") : f.openToGetInformation(name.c_str());
}
struct Opened {
    avi::File f;
    explicit Opened(const Bytes& file) { EXPECT_TRUE(open(f, file)) << f.getErrorMsg(); }
};
Bytes frameAt(avi::File& f, long i) {
    Bytes out(4096);
    f.readVideoFrame(reinterpret_cast<char*>(out.data()), i);
    out.resize(f.getRawVideoFrameSize(i));
    return out;
}
Bytes allAudio(avi::File& f) {
    Bytes out(f.getAudioTotalBytes());
    f.readAudio(reinterpret_cast<char*>(out.data()), out.size());
    return out;
}
std::vector<Bytes> patterns(std::initializer_list<size_t> sizes, uint32_t seed = 40) {
    std::vector<Bytes> out;
    for (size_t s : sizes) out.push_back(patternBytes(s, seed + uint32_t(out.size())));
    return out;
}
AviPlan videoPlan(std::vector<Bytes> frames, int32_t w = 4, int32_t h = 1, uint16_t bits = 24, uint32_t comp = 0) {
    AviPlan plan;
    plan.video = {w, h, bits, comp, 1, 25, {}};
    plan.frames = std::move(frames);
    return plan;
}
Bytes asBytes(const std::vector<char>& v, size_t n = SIZE_MAX) { // the first n bytes
    return {v.begin(), v.begin() + long(std::min(n, v.size()))};
}
const std::vector<char> kFill(12, char(0xCD));
} // namespace

TEST(AviIndex, EveryChunkOfEverySegmentIsReachableByteExact) {
    AviPlan plan = videoPlan(patterns({20, 23, 26, 29, 32, 35, 38}, 0), 4, 2, 24, 0x47504A4Du); // MJPG: own sizes
    plan.hasAudio = true;
    plan.audioChunks = patterns({40, 44, 48, 52, 56, 60, 64}, 50);
    plan.segments = 3;
    plan.totalFramesOverride = 99;
    Bytes audio;
    for (const Bytes& c : plan.audioChunks) append(audio, c);
    for (IndexKind kind : {IndexKind::Legacy, IndexKind::OpenDML, IndexKind::OpenDMLAndLegacy}) {
        plan.index = kind;
        const BuiltAvi b = buildAvi(plan); // with OpenDML the last frame lies behind the first RIFF chunk
        EXPECT_TRUE(kind == IndexKind::Legacy || b.frameDataPositions.back() > 8u + avi::readLE32(&b.bytes[4]));
        avi::File f;
        ASSERT_TRUE(open(f, b.bytes, false)) << f.getErrorMsg();
        // One entry per chunk: the header's 99 is replaced, and the first segment's idx1 is not added on top.
        ASSERT_EQ(f.getVideoTotalFrames(), 7) << int(kind);
        for (long i = 0; i < 7; ++i) EXPECT_EQ(frameAt(f, i), plan.frames[size_t(i)]) << int(kind) << " frame " << i;
        EXPECT_EQ(allAudio(f), audio) << int(kind);
        EXPECT_EQ(f.getErrorCode(), NO_ERROR) << f.getErrorMsg();
    }
}

TEST(AviIndex, Idx1OffsetsCountFromMoviAndOnlyMatchingIdsArePicked) {
    const Bytes f0 = patternBytes(24, 1), f1 = patternBytes(24, 2), f2 = patternBytes(24, 3), a0 = patternBytes(16, 4);
    const Laid l = layTwice([&](const Laid& p) {
        const auto head = [&](size_t k) { return uint32_t(p.dataAt[k] - 8 - p.movi); };
        return lay({videoStrl(), AUDIO_STRL},
                   {chunk("00db", f0), chunk("00db", f1), list("rec ", chunk("00db", f2)), chunk("01wb", a0)},
                   chunk("idx1", idx1Payload({{"00db", 0x10, head(1), 24}, {"rec ", 0, head(2), 44},
                                              {"00db", 0x10, head(2) + 12, 24}, {"02db", 0, head(0), 24},
                                              {"+0db", 0x10, head(0), 24}, {"01wb", 0, head(3), 16},
                                              {"01pc", 0, head(3), 16}, {"00db", 0, 3, 24}})));
    });
    avi::File f;
    ASSERT_TRUE(open(f, l.bytes, false)) << f.getErrorMsg();
    ASSERT_EQ(f.getVideoTotalFrames(), 4);
    EXPECT_EQ(cat({frameAt(f, 0), frameAt(f, 1), frameAt(f, 2)}), cat({f1, f2, f0}));
    EXPECT_EQ(frameAt(f, 3), Bytes(l.bytes.begin() + l.movi + 11, l.bytes.begin() + l.movi + 35)); // not checked
    EXPECT_TRUE(allAudio(f) == a0 && f.getErrorCode() == NO_ERROR);
}

TEST(AviIndex, ScanOfMoviTakesTopLevelChunksWithEvenSizes) {
    const Bytes f0 = patternBytes(5, 1), f1 = patternBytes(5, 2), a0 = patternBytes(16, 3);
    const std::vector<Bytes> movi = {chunk("00db", f0), chunk("JUNK", Bytes(3, 9)), chunk("01wb", a0),
                                     list("rec ", chunk("00db", patternBytes(24, 5))), chunk("00db", f1)};
    for (bool moviLast : {true, false}) {
        avi::File f;
        ASSERT_TRUE(open(f, lay({videoStrl(), AUDIO_STRL}, movi, moviLast ? Bytes{} : chunk("JUNK", {})).bytes));
        // The scan's limit lies 4 bytes behind "movi": with nothing there it reads into the end of the file.
        EXPECT_EQ(f.getErrorCode(), moviLast ? VIDEO_CHUNKS_MISSING : NO_ERROR);
        ASSERT_EQ(f.getVideoTotalFrames(), 2); // the entries stay
        EXPECT_EQ(cat({frameAt(f, 0), frameAt(f, 1)}), cat({f0, Bytes{0}, f1, Bytes{0}})); // with the pad byte
        EXPECT_EQ(f.getAudioChunkSize(), moviLast ? 0u : 16u); // the video scan's error leaves audio unscanned
    }
}

TEST(AviIndex, BrokenAndHostileIndexesFailTheOpenKeepingEntriesBeforeTheBreak) {
    struct Case { std::string what; Bytes bytes; int code; int64_t kept; }; // code 0: any refusal will do
    // idx1 of n entries with its size field patched; behind it lie 12 bytes of JUNK, enough for the top-level walk
    const auto idx1 = [&](size_t n, uint32_t size) {
        const Bytes b = indexed(Source::Idx1, std::vector<uint32_t>(n, 24)).bytes;
        return patched(b, b.size() - 12 - 16 * n - 4, size);
    };
    // The "indx" chunk lies at 212 (stream list at 88, then 12 + 64 + 48 bytes of list head, strh and strf); its
    // one entry points at the "ix00" of two entries in the tail: offset at 244, size at 252.
    const Bytes good = indexed(Source::Super, {24, 24}).bytes;
    std::vector<Case> cases = {
        {"idx1 of 0", idx1(0, 0), INVALID_LEGACY_INDEX, 0}, {"idx1 of 14", idx1(1, 14), INVALID_LEGACY_INDEX, 0},
        {"idx1 beyond the file", idx1(3, 5 * 16), LEGACY_INDEX_PARSE_ERROR, 3},
        {"idx1 of 4 GiB", idx1(2, 0xFFFFFFF0u), LEGACY_INDEX_PARSE_ERROR, 2},
        {"ix00 counts one beyond its chunk", patched(good, good.size() - 48, 3), INVALID_INDEX, 0},
        {"super indx counts beyond its chunk", patched(good, 212 + 12, ~0u), INVALID_INDEX, 0},
        {"gigabytes in a small file", patched(good, 252, 0xC0000000u), FREAD_FAILED, 0},
        {"super index pointing at itself", patched(patched(good, 244, 212), 252, 8 + 24 + 16), 0, 0}};
    for (Source src : {Source::Idx1, Source::Indx, Source::Super}) {
        for (uint32_t bad : {0u, 2147483647u, 0x80000000u | 24u}) // code 46, "Unknown error (2e)"
            cases.push_back({"size " + std::to_string(bad), indexed(src, {24, 24, bad, 24}).bytes, 46, 2});
        const int types[][3] = {{0, 0x80, UNSUPPORTED_INDEX_TYPE}, {0, 2, INVALID_INDEX},
                                {0, 0xFF, INVALID_INDEX}, {1, 1, UNSUPPORTED_INDEX_TYPE}}; // sub-type, type
        for (size_t k = 0; k < 4 && src != Source::Idx1; ++k) {
            const Bytes b = indexed(src, {24}, uint8_t(types[k][0]), uint8_t(types[k][1])).bytes;
            cases.push_back({"type " + std::to_string(types[k][1]), b, types[k][2], 0});
        }
    }
    for (const Case& c : cases) {
        avi::File f;
        EXPECT_FALSE(open(f, c.bytes)) << c.what;
        EXPECT_TRUE(c.code ? f.getErrorCode() == c.code : f.getErrorCode() != 0) << c.what << ": " << f.getErrorCode();
        EXPECT_EQ(f.getVideoTotalFrames(), c.kept) << c.what;
    }
    // 4096 references to one ix00 of 4096 entries, in under 100 kB: a file holds at most one chunk per 8 bytes.
    const Bytes blowUp = indexed(Source::Super, std::vector<uint32_t>(4096, 24), 0, 1, 4096).bytes;
    avi::File f;
    EXPECT_TRUE(!open(f, blowUp) && f.getErrorCode() != NO_ERROR);
    EXPECT_LE(f.getVideoTotalFrames(), int64_t(blowUp.size() / 8 + 1));
}

TEST(ReadVideoFrame, SequentialAndNumberedReadsMix) {
    const std::vector<Bytes> frames = patterns({12, 12, 12, 12, 12});
    Opened o(buildAvi(videoPlan(frames)).bytes);
    std::vector<char> buf = kFill;
    uint64_t cursor = 0;
    for (auto [n, frame] : {std::pair{-1L, 0}, {3L, 3}, {-1L, 1}, {0L, 0}, {-1L, 2}, {-1L, 3}, {4L, 4}, {-1L, 4}}) {
        o.f.readVideoFrame(buf.data(), n);
        ASSERT_TRUE(o.f.getErrorCode() == NO_ERROR && asBytes(buf) == frames[size_t(frame)]) << n;
        cursor += n == -1; // only -1 moves the cursor
        EXPECT_EQ(o.f.getVideoFramesRead(), cursor) << n;
    }
    for (long n : {-1L, 5L, 6L, -2L, -100L}) { // at the end, past it and below -1: buffer and cursor stay
        buf = kFill;
        o.f.setError(FREAD_FAILED);
        o.f.readVideoFrame(buf.data(), n);
        EXPECT_TRUE(buf == kFill && o.f.getVideoFramesRead() == 5u) << n;
        EXPECT_TRUE(n < -1 || o.f.getErrorCode() == NO_ERROR) << "a standing error is cleared " << n;
    }
}

TEST(ReadVideoFrame, CompressedVideoRefusedAndFileEndingInsideAFrame) {
    Opened o(buildAvi(videoPlan(patterns({5, 9, 3}), 4, 1, 24, 0x64636261)).bytes);
    std::vector<char> buf = kFill;
    for (bool indexed : {false, true}) {
        o.f.clearError();
        if (indexed) o.f.readIndexedVideoFrame(buf.data(), -1);
        else o.f.readRGB24VideoFrame(buf.data());
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
        plan.index = IndexKind::OpenDML;
        plan.segments = segments;
        Opened o(buildAvi(plan).bytes);
        o.f.errorIfWrongNumFrameForRGB24();
        EXPECT_EQ(o.f.getErrorCode(), want) << w << " " << bits << " " << segments;
    }
}

TEST(ReadAudio, CrossesChunksPadsTheEndAndRunsOutOfEntries) {
    AviPlan plan = videoPlan(patterns({12, 12, 12}));
    plan.hasAudio = true;
    plan.audioChunks = patterns({400, 44, 1000, 4, 152}, 200); // seeded apart from the video
    Bytes all;
    for (const Bytes& c : plan.audioChunks) append(all, c); // 1600 bytes
    for (auto [kind, segments] : {std::pair{IndexKind::OpenDML, 3u}, {IndexKind::Legacy, 1u}}) {
        plan.index = kind;
        plan.segments = segments;
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
        o.f.resetAudio();
        o.f.readAudio(buf.data(), 1000);
        o.f.readAudio(buf.data(), 1000); // 600 left, then zeros
        EXPECT_EQ(asBytes(buf), cat({Bytes(all.begin() + 1000, all.end()), Bytes(400, 0)}));
        o.f.readIndexedVideoFrame(buf.data(), 0); // 24 bits: the frame is read, then code 45
        EXPECT_TRUE(asBytes(buf, 12) == plan.frames[0] && o.f.getErrorCode() == VIDEO_NOT_INDEXED);
        o.f.resetAudio();
        o.f.readAudio(buf.data(), 10); // an audio read leaves the error standing
        EXPECT_EQ(o.f.getErrorCode(), VIDEO_NOT_INDEXED);
        EXPECT_EQ(asBytes(buf, 10), Bytes(all.begin(), all.begin() + 10));
    }
    plan.audioChunks.resize(2); // legacy index, more stated than indexed
    plan.audio.lengthOverride = 1000;
    Opened o(buildAvi(plan).bytes);
    std::vector<char> buf(3000);
    o.f.readAudio(buf.data(), 3000);
    EXPECT_TRUE(o.f.getErrorCode() == AUDIO_CHUNKS_MISSING && o.f.getAudioBytesRead() == 444u);
    EXPECT_EQ(asBytes(buf, 444), Bytes(all.begin(), all.begin() + 444));
}
