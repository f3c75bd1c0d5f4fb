// Index building of avi::File: where entries come from (OpenDML, idx1, the scan
// of "movi"), which list they join, and how broken or hostile indexes end.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <korva/avi/riff.h>
#include <korva/korva.h>

#include "support/avi_builder.h"

using namespace korvatest;
namespace E = avi::errors;

namespace {

const uint32_t MJPG = 0x47504A4Du;
// From the head of a video stream list to the end of its strh (8 + 56) and strf (8 + 40).
const uint64_t VIDEO_STRL_EXTRA = 12 + 64 + 48;

Bytes slice(const Bytes& b, uint64_t at, size_t n) { return Bytes(b.begin() + at, b.begin() + at + n); }

size_t findId(const Bytes& b, const char* id, size_t nth) {
    for (size_t at = 0; at + 4 <= b.size(); ++at)
        if (std::memcmp(&b[at], id, 4) == 0 && nth-- == 0) return at;
    ADD_FAILURE() << id << " not found";
    return 0;
}

Bytes videoStrl(const Bytes& extra = {}) {
    return cat({chunk("strh", strhPayload({})), chunk("strf", bitmapInfoPayload(4, 2, 24, 0)), extra});
}
Bytes audioStrl(uint32_t totalBytes, const Bytes& extra = {}) {
    StreamHeaderFields h;
    h.type = "auds";
    h.length = totalBytes / 4;
    return cat({chunk("strh", strhPayload(h)), chunk("strf", waveFormatPayload(1, 2, 8000, 16)), extra});
}

struct Laid {
    Bytes bytes;
    uint64_t movi = 0;            // position of the "movi" code
    std::vector<uint64_t> strlAt; // head of each stream list
    std::vector<uint64_t> dataAt; // data of each top-level chunk of "movi"
    uint64_t tailAt = 0;          // first byte behind the "movi" list
};

// "RIFF" "AVI " with avih and the stream lists, one "movi" list, then `tail` verbatim.
Laid lay(const std::vector<Bytes>& strls, const std::vector<Bytes>& moviChunks, const Bytes& tail,
         uint32_t totalFrames = 0) {
    Laid l;
    MainHeaderFields m;
    m.streams = uint32_t(strls.size());
    m.totalFrames = totalFrames;
    Bytes lists, movi;
    for (const Bytes& s : strls) {
        l.strlAt.push_back(12 + 12 + 64 + lists.size());
        append(lists, list("strl", s));
    }
    l.bytes = cat({fourcc("RIFF"), le32(0), fourcc("AVI "), list("hdrl", cat({chunk("avih", avihPayload(m)), lists}))});
    l.movi = l.bytes.size() + 8;
    for (const Bytes& c : moviChunks) {
        l.dataAt.push_back(l.movi + 4 + movi.size() + 8);
        append(movi, c);
    }
    append(l.bytes, list("movi", movi));
    l.tailAt = l.bytes.size();
    append(l.bytes, tail);
    putLE32(l.bytes, 4, uint32_t(l.bytes.size() - 8));
    return l;
}

// Indexes hold absolute positions of their own file: lay once with placeholder
// positions, then again with those of the first layout (sizes don't change).
Laid layTwice(const std::function<Laid(const Laid&)>& make) {
    Laid guess;
    guess.strlAt.assign(8, 0);
    guess.dataAt.assign(16, 0);
    return make(make(guess));
}

// A video-only file with `indx` in its stream list and one 24-byte frame.
Laid videoOnly(const Bytes& indx, const Bytes& tail) {
    return lay({videoStrl(chunk("indx", indx))}, {chunk("00db", patternBytes(24, 1))}, tail);
}

enum class Source { Idx1, Indx, Super };

// Video stream 0 and audio stream 1 over "movi" = 00db (24 bytes), 01wb (16 bytes).
// The index of the chosen kind lists for `id` one entry per size, all at the
// chunk of that kind; a standard index carries `subType` and `type`.
Laid indexedFile(Source src, const std::string& id, const std::vector<uint32_t>& sizes, uint8_t subType = 0,
                 uint8_t type = 1) {
    const bool video = id[2] == 'd';
    return layTwice([&](const Laid& p) {
        const uint64_t data = p.dataAt[video ? 0 : 1];
        std::vector<StandardEntry> standard;
        std::vector<LegacyEntry> legacy;
        for (uint32_t s : sizes) {
            standard.push_back({uint32_t(data - p.movi), s});
            legacy.push_back({id, 0x10, uint32_t(data - 8 - p.movi), s});
        }
        const Bytes ix = standardIndexPayload(id, p.movi, standard, subType, type);
        Bytes indx, tail;
        if (src == Source::Indx) indx = chunk("indx", ix);
        if (src == Source::Super) {
            tail = chunk("ix0" + id.substr(1, 1), ix);
            indx = chunk("indx", superIndexPayload(id, {{p.tailAt, uint32_t(tail.size()), 1}}));
        }
        if (src == Source::Idx1) tail = chunk("idx1", idx1Payload(legacy));
        append(tail, chunk("JUNK", Bytes(4, 0))); // so that a scan ends without error
        return lay({videoStrl(video ? indx : Bytes{}), audioStrl(16, video ? Bytes{} : indx)},
                   {chunk("00db", patternBytes(24, 7)), chunk("01wb", patternBytes(16, 8))}, tail);
    });
}

Bytes frameAt(avi::File& f, long i) {
    const uint32_t size = f.getRawVideoFrameSize(i);
    Bytes out(std::max<uint32_t>(size, 4096), 0);
    f.readVideoFrame(reinterpret_cast<char*>(out.data()), i);
    out.resize(size);
    return out;
}

Bytes allAudio(avi::File& f) {
    Bytes out(f.getAudioTotalBytes());
    f.readAudio(reinterpret_cast<char*>(out.data()), out.size());
    return out;
}

class AviIndex : public ::testing::Test {
protected:
    // `scan` false stops after the header parse, before a scan of "movi" can run.
    bool open(avi::File& f, const Bytes& bytes, bool scan = true) {
        const std::string name = dir.path("f" + std::to_string(files++) + ".avi");
        writeFile(name, bytes);
        return scan ? f.open(name.c_str(), "rb") : f.openToGetInformation(name.c_str());
    }
    TempDir dir;
    int files = 0;
};

} // namespace

TEST(AviIndexEntry, SuffixChoosesTheListAndLeadingDigitsDoNot) {
    struct Case { const char* id; int list; }; // 0 dropped, 1 video, 2 audio
    const Case cases[] = {{"00db", 1}, {"00dc", 1}, {"37db", 1}, {"ixdc", 1}, {"01wb", 2}, {"99wb", 2},
                          {"00pc", 0}, {"ix00", 0}, {"00DB", 0}, {"00wc", 0}, {"00bd", 0}, {"rec ", 0}};
    for (const Case& c : cases) {
        for (bool numeric : {false, true}) {
            avi::File f;
            if (numeric) f.addIndexEntry(avi::readLE32(c.id), 10u, 33u, 100ul);
            else f.addIndexEntry(c.id, 10u, 33u, 100ul);
            EXPECT_EQ(f.getVideoTotalFrames(), c.list == 1 ? 1 : 0) << c.id << numeric;
            EXPECT_EQ(f.getRawVideoFrameSize(0), c.list == 1 ? 33u : 0u) << c.id << numeric;
            EXPECT_EQ(f.getAudioChunkSize(), c.list == 2 ? 33u : 0u) << c.id << numeric;
            EXPECT_EQ(f.getErrorCode(), E::NO_ERROR);
        }
    }
}

TEST_F(AviIndex, AddedEntriesReplaceFrameCountFixFirstSizesAndReadAtBasePlusOffset) {
    const Bytes f0 = patternBytes(24, 1), f1 = patternBytes(24, 2), a0 = patternBytes(16, 3);
    const Laid l = lay({videoStrl(), audioStrl(16)}, {chunk("00db", f0), chunk("00db", f1), chunk("01wb", a0)},
                       chunk("JUNK", {}), 99);
    const unsigned long movi = l.movi;
    avi::File f;
    ASSERT_TRUE(open(f, l.bytes, false)) << f.getErrorMsg();
    ASSERT_EQ(f.getVideoTotalFrames(), 99); // no index: the header's count stands
    f.addIndexEntry("00db", uint32_t(l.dataAt[1] - movi), 8u, movi);
    f.addIndexEntry(avi::readLE32("00dc"), 0u, 24u, static_cast<unsigned long>(l.dataAt[0]));
    EXPECT_EQ(f.getVideoTotalFrames(), 2);
    EXPECT_EQ(f.getRawVideoFrameSize(1), 24u);
    Bytes buf(24, 0xEE); // uncompressed frames are all read with the first entry's size
    f.readVideoFrame(reinterpret_cast<char*>(buf.data()), 1);
    EXPECT_EQ(buf, cat({slice(f0, 0, 8), Bytes(16, 0xEE)}));
    f.readVideoFrame(reinterpret_cast<char*>(buf.data()), 0);
    EXPECT_EQ(slice(buf, 0, 8), slice(f1, 0, 8));
    f.addIndexEntry("01wb", uint32_t(l.dataAt[2] - movi), 0u, movi);
    EXPECT_EQ(f.getAudioChunkSize(), 0u); // a size-0 first entry leaves it to the next one
    f.addIndexEntry(1ul, "01wb", uint32_t(l.dataAt[2] - movi), 16u, movi);
    f.addIndexEntry(1ul, avi::readLE32("01wb"), uint32_t(l.dataAt[2] - movi), 4u, movi);
    EXPECT_EQ(f.getAudioChunkSize(), 16u);
    EXPECT_EQ(allAudio(f), a0);
    EXPECT_EQ(f.getErrorCode(), E::NO_ERROR);
}

TEST_F(AviIndex, StreamFormsTestSizeOnlyUnderTheVideoStreamNumber) {
    struct Case { unsigned long stream; bool numeric; const char* id; uint32_t size; bool refused; int video; };
    const Case cases[] = {
        {0, false, "00db", 0, true, 0},           {0, true, "00db", 0, true, 0},
        {0, true, "00db", 2147483647u, true, 0},  {0, true, "00db", 0x80000018u, true, 0}, // delta bit not masked
        {0, true, "01wb", 0, true, 0},            // the number decides, not the id
        {0, true, "00db", 2147483646u, false, 1}, {0, false, "00db", 0x80000018u, false, 1}, // text form: 0 only
        {1, true, "01wb", 0, false, 0},           {1, false, "01wb", 0, false, 0},
        {1, true, "00db", 0, false, 1},           {5, false, "00db", 0, false, 1},
    };
    const Bytes file = lay({videoStrl(), audioStrl(16)}, {}, chunk("JUNK", {})).bytes;
    for (const Case& c : cases) {
        avi::File f;
        ASSERT_TRUE(open(f, file, false));
        if (c.numeric) f.addIndexEntry(c.stream, avi::readLE32(c.id), 8u, c.size, 0ul);
        else f.addIndexEntry(c.stream, c.id, 8u, c.size, 0ul);
        EXPECT_EQ(f.getErrorCode(), c.refused ? E::BAD_VIDEO_CHUNK_SIZE : E::NO_ERROR) << c.id << " " << c.size;
        EXPECT_STREQ(f.getErrorMsg(), c.refused ? "Unknown error (2e)" : "");
        EXPECT_EQ(f.getVideoTotalFrames(), c.video) << c.id << " " << c.size;
    }
}

TEST_F(AviIndex, EveryChunkOfEverySegmentIsReachableByteExact) {
    for (IndexKind kind : {IndexKind::Legacy, IndexKind::OpenDML, IndexKind::OpenDMLAndLegacy}) {
        AviPlan plan;
        plan.hasAudio = true;
        plan.index = kind;
        plan.segments = 3;
        plan.video.compression = MJPG; // compressed frames are read with their own sizes
        plan.totalFramesOverride = 99;
        Bytes audio;
        for (uint32_t i = 0; i < 7; ++i) {
            plan.frames.push_back(patternBytes(20 + 3 * i, i));
            plan.audioChunks.push_back(patternBytes(40 + 4 * i, 50 + i));
            append(audio, plan.audioChunks.back());
        }
        const BuiltAvi b = buildAvi(plan);
        if (kind != IndexKind::Legacy) { // the last frame lies behind the first RIFF chunk
            ASSERT_GT(b.frameDataPositions.back(), 8u + avi::readLE32(&b.bytes[4]));
        }
        avi::File f;
        ASSERT_TRUE(open(f, b.bytes, false)) << f.getErrorMsg();
        // One entry per chunk: the header's 99 is replaced, and the first
        // segment's idx1 is not added on top of an OpenDML index.
        ASSERT_EQ(f.getVideoTotalFrames(), 7) << int(kind);
        for (long i = 0; i < 7; ++i) EXPECT_EQ(frameAt(f, i), plan.frames[i]) << int(kind) << " frame " << i;
        EXPECT_EQ(allAudio(f), audio) << int(kind);
        EXPECT_EQ(f.getErrorCode(), E::NO_ERROR) << f.getErrorMsg();
    }
}

TEST_F(AviIndex, Idx1OffsetsCountFromMoviAndOnlyMatchingIdsArePicked) {
    const Bytes f0 = patternBytes(24, 1), f1 = patternBytes(24, 2), f2 = patternBytes(24, 3);
    const Bytes a0 = patternBytes(16, 4), a1 = patternBytes(16, 5);
    const Laid l = layTwice([&](const Laid& p) {
        const auto head = [&](size_t k) { return uint32_t(p.dataAt[k] - 8 - p.movi); };
        const uint32_t nested = head(2) + 12; // the 00db inside "rec "
        return lay({videoStrl(), audioStrl(32)},
                   {chunk("00db", f0), chunk("00db", f1), list("rec ", chunk("00db", f2)), chunk("01wb", a0),
                    chunk("01wb", a1)},
                   chunk("idx1", idx1Payload({{"00db", 0x10, head(1), 24}, {"rec ", 0, head(2), 44},
                                              {"00db", 0x10, nested, 24}, {"ix00", 0, head(0), 24},
                                              {"00pc", 0, head(0), 24},   {"02db", 0, head(0), 24},
                                              {"-1db", 0, head(0), 24},   {" 0db", 0, head(0), 24},
                                              {"+0db", 0x10, head(0), 24}, {"01wb", 0, head(4), 16},
                                              {"-1wb", 0, head(3), 16},   {"01pc", 0, head(3), 16},
                                              {"+1wb", 0, head(3), 16},   {"00db", 0, 3, 24}})));
    });
    avi::File f;
    ASSERT_TRUE(open(f, l.bytes, false)) << f.getErrorMsg();
    ASSERT_EQ(f.getVideoTotalFrames(), 4);
    EXPECT_EQ(frameAt(f, 0), f1);
    EXPECT_EQ(frameAt(f, 1), f2);
    EXPECT_EQ(frameAt(f, 2), f0);
    EXPECT_EQ(frameAt(f, 3), slice(l.bytes, l.movi + 3 + 8, 24)); // offsets are not checked
    EXPECT_EQ(allAudio(f), cat({a1, a0}));
    EXPECT_EQ(f.getErrorCode(), E::NO_ERROR);
}

TEST_F(AviIndex, StandardIndexAsIndxAndNestedSuperIndexesAreFollowed) {
    const Bytes f0 = patternBytes(24, 1), f1 = patternBytes(24, 2);
    for (int nesting : {0, 1, 2}) { // 0: "indx" is the standard index itself
        const Laid l = layTwice([&](const Laid& p) {
            const uint64_t base = p.dataAt[0] - 100; // any absolute base
            Bytes indx = standardIndexPayload("00db", base, {{uint32_t(p.dataAt[1] - base), 24}, {100, 24}}), tail;
            for (int k = 0; k < nesting; ++k) {
                const Bytes target = chunk("ix00", indx);
                indx = superIndexPayload("00db", {{p.tailAt + tail.size(), uint32_t(target.size()), 2}});
                append(tail, target);
            }
            append(tail, chunk("idx1", idx1Payload({{"00db", 0x10, uint32_t(p.dataAt[0] - 8 - p.movi), 24}})));
            return lay({videoStrl(chunk("indx", indx))}, {chunk("00db", f0), chunk("00db", f1)}, tail);
        });
        avi::File f;
        ASSERT_TRUE(open(f, l.bytes)) << f.getErrorMsg();
        EXPECT_EQ(f.getErrorCode(), E::NO_ERROR) << nesting;
        ASSERT_EQ(f.getVideoTotalFrames(), 2) << nesting; // idx1 stays unread
        EXPECT_EQ(frameAt(f, 0), f1);
        EXPECT_EQ(frameAt(f, 1), f0);
    }
}

TEST_F(AviIndex, ScanOfMoviTakesTopLevelChunksWithEvenSizes) {
    const Bytes f0 = patternBytes(5, 1), f1 = patternBytes(5, 2), a0 = patternBytes(16, 3), a1 = patternBytes(16, 4);
    const std::vector<Bytes> movi = {chunk("00db", f0), chunk("JUNK", Bytes(3, 9)), chunk("01wb", a0),
                                     list("rec ", chunk("00db", patternBytes(24, 5))), chunk("00db", f1),
                                     chunk("01wb", a1)};
    for (bool moviLast : {true, false}) {
        avi::File f;
        const Bytes tail = moviLast ? Bytes{} : chunk("JUNK", Bytes(6, 0));
        ASSERT_TRUE(open(f, lay({videoStrl(), audioStrl(32)}, movi, tail).bytes));
        // The scan's limit lies 4 bytes behind "movi": with nothing there it reads
        // into the end of the file, and its entries stay.
        EXPECT_EQ(f.getErrorCode(), moviLast ? E::VIDEO_CHUNKS_MISSING : E::NO_ERROR);
        ASSERT_EQ(f.getVideoTotalFrames(), 2);
        for (long i : {0L, 1L}) {
            EXPECT_EQ(f.getRawVideoFrameSize(i), 6u);
            EXPECT_EQ(frameAt(f, i), cat({i ? f1 : f0, Bytes{0}})); // the pad byte comes along
        }
        if (moviLast) { // the video scan's error leaves the audio unscanned
            EXPECT_EQ(f.getAudioChunkSize(), 0u);
            allAudio(f);
            EXPECT_EQ(f.getErrorCode(), E::AUDIO_CHUNKS_MISSING);
        } else {
            EXPECT_EQ(f.getAudioChunkSize(), 16u);
            EXPECT_EQ(allAudio(f), cat({a0, a1}));
        }
    }
}

TEST_F(AviIndex, StreamLeftWithoutEntriesIsScannedByOpen) {
    enum Blank { AUDIO_SUPER, BOTH_SUPERS, AUDIO_IN_IDX1 };
    for (Blank blank : {AUDIO_SUPER, BOTH_SUPERS, AUDIO_IN_IDX1}) {
        AviPlan plan;
        plan.hasAudio = true;
        plan.index = blank == AUDIO_IN_IDX1 ? IndexKind::Legacy : IndexKind::OpenDMLAndLegacy;
        Bytes audio;
        for (uint32_t i = 0; i < 4; ++i) {
            plan.frames.push_back(patternBytes(24, i));
            plan.audioChunks.push_back(patternBytes(40, 10 + i));
            append(audio, plan.audioChunks.back());
        }
        Bytes bytes = buildAvi(plan).bytes;
        if (blank == AUDIO_IN_IDX1) { // an unknown suffix drops the entry without error
            for (size_t at = findId(bytes, "idx1", 0) + 8; at < bytes.size(); at += 16)
                if (std::memcmp(&bytes[at], "01wb", 4) == 0) std::memcpy(&bytes[at], "01pc", 4);
        } else { // super indexes with no entries in use
            for (size_t k = blank == BOTH_SUPERS ? 0 : 1; k < 2; ++k) putLE32(bytes, findId(bytes, "indx", k) + 12, 0);
        }
        avi::File info;
        ASSERT_TRUE(open(info, bytes, false)) << blank << info.getErrorMsg();
        EXPECT_EQ(info.getVideoTotalFrames(), 4) << blank;
        // idx1 is read only when no stream has entries; then it holds the audio too.
        EXPECT_EQ(info.getAudioChunkSize(), blank == BOTH_SUPERS ? 40u : 0u) << blank;
        avi::File f;
        ASSERT_TRUE(open(f, bytes)) << blank;
        EXPECT_EQ(f.getErrorCode(), E::NO_ERROR) << blank << f.getErrorMsg();
        EXPECT_EQ(allAudio(f), audio) << blank;
        for (long i = 0; i < 4; ++i) EXPECT_EQ(frameAt(f, i), plan.frames[i]) << blank;
    }
}

TEST_F(AviIndex, BrokenIdx1FailsTheOpenKeepingEntriesBeforeTheBreak) {
    struct Case { uint32_t sizeField; size_t entries; size_t extra; E::error_T code; };
    const Case cases[] = {{0, 0, 0, E::INVALID_LEGACY_INDEX},
                          {14, 0, 14, E::INVALID_LEGACY_INDEX},
                          {5 * 16, 3, 8, E::LEGACY_INDEX_PARSE_ERROR},
                          {0xFFFFFFF0u, 2, 0, E::LEGACY_INDEX_PARSE_ERROR}};
    for (const Case& c : cases) {
        const Laid l = layTwice([&](const Laid& p) {
            const LegacyEntry e{"00db", 0x10, uint32_t(p.dataAt[0] - 8 - p.movi), 24};
            Bytes payload = idx1Payload(std::vector<LegacyEntry>(c.entries, e));
            payload.resize(payload.size() + c.extra, 0);
            // The top-level walk sees a chunk only if 12 bytes of it can be read.
            const Bytes after = payload.empty() ? chunk("JUNK", {}) : Bytes{};
            return lay({videoStrl()}, {chunk("00db", patternBytes(24, 1))},
                       cat({chunkWithSize("idx1", c.sizeField, payload), after}));
        });
        avi::File f;
        EXPECT_FALSE(open(f, l.bytes)) << c.sizeField;
        EXPECT_EQ(f.getErrorCode(), c.code) << c.sizeField;
        EXPECT_EQ(f.getVideoTotalFrames(), int64_t(c.entries)) << c.sizeField;
    }
}

TEST_F(AviIndex, BadVideoEntrySizeEndsEveryIndexKindKeepingEarlierEntries) {
    for (Source src : {Source::Idx1, Source::Indx, Source::Super}) {
        for (uint32_t bad : {0u, 2147483647u, 0x80000000u | 24u}) {
            avi::File f;
            EXPECT_FALSE(open(f, indexedFile(src, "00db", {24, 24, bad, 24}).bytes));
            EXPECT_EQ(f.getErrorCode(), E::BAD_VIDEO_CHUNK_SIZE) << int(src) << " " << bad;
            EXPECT_STREQ(f.getErrorMsg(), "Unknown error (2e)");
            EXPECT_EQ(f.getVideoTotalFrames(), 2) << int(src) << " " << bad;
        }
        avi::File f; // audio entries have no size test
        ASSERT_TRUE(open(f, indexedFile(src, "01wb", {0, 16}).bytes)) << int(src) << f.getErrorMsg();
        EXPECT_EQ(f.getErrorCode(), E::NO_ERROR) << int(src);
        EXPECT_EQ(allAudio(f), patternBytes(16, 8)) << int(src);
        EXPECT_EQ(f.getErrorCode(), E::NO_ERROR) << int(src);
    }
}

TEST_F(AviIndex, OnlyStandardAndSuperIndexTypesAreServed) {
    struct Case { uint8_t subType, type; E::error_T code; };
    const Case cases[] = {{0, 0x80, E::UNSUPPORTED_INDEX_TYPE}, {0, 2, E::INVALID_INDEX}, {0, 0x7F, E::INVALID_INDEX},
                          {0, 0xFF, E::INVALID_INDEX}, {1, 1, E::UNSUPPORTED_INDEX_TYPE}};
    for (Source src : {Source::Indx, Source::Super}) {
        for (const Case& c : cases) {
            avi::File f;
            EXPECT_FALSE(open(f, indexedFile(src, "00db", {24}, c.subType, c.type).bytes));
            EXPECT_EQ(f.getErrorCode(), c.code) << int(src) << " " << int(c.type);
            EXPECT_EQ(f.getVideoTotalFrames(), 0);
        }
    }
}

TEST_F(AviIndex, SuperIndexErrorKeepsEarlierEntriesAndStopsLaterIndexes) {
    for (bool badFirst : {false, true}) {
        const Laid l = layTwice([&](const Laid& p) {
            const StandardEntry e{uint32_t(p.dataAt[0] - p.movi), 24};
            const Bytes good = chunk("ix00", standardIndexPayload("00db", p.movi, {e, e, e}));
            const Bytes field = chunk("ix00", standardIndexPayload("00db", p.movi, {e, e, e}, 1)); // same size
            const uint32_t size = uint32_t(good.size());
            return videoOnly(superIndexPayload("00db", {{p.tailAt, size, 3}, {p.tailAt + size, size, 3}}),
                             badFirst ? cat({field, good}) : cat({good, field}));
        });
        avi::File f;
        EXPECT_FALSE(open(f, l.bytes));
        EXPECT_EQ(f.getErrorCode(), E::UNSUPPORTED_INDEX_TYPE);
        EXPECT_EQ(f.getVideoTotalFrames(), badFirst ? 0 : 3) << badFirst;
    }
}

TEST_F(AviIndex, HostileOpenDmlIndexesAreRefusedWithoutOverrun) {
    enum Target { IX, SELF, FAR }; // where the super entries point
    // direct: the standard index is the "indx" itself. size -1: the target's true size.
    // code NO_ERROR: any refusal will do.
    struct Case { const char* what; bool direct; uint32_t ixCount, superCount; Target target; int64_t size, code; };
    const Case cases[] = {
        {"ix00 counts one entry beyond its chunk", false, 3, 1, IX, -1, E::INVALID_INDEX},
        {"ix00 counts far beyond its chunk", false, 0x10000000, 1, IX, -1, E::INVALID_INDEX},
        {"standard indx counts beyond its chunk", true, 0x10000000, 1, IX, -1, E::INVALID_INDEX},
        {"super indx counts beyond its chunk", false, 2, 0xFFFFFFFFu, IX, -1, E::INVALID_INDEX},
        {"gigabytes in a small file", false, 2, 1, IX, 0xC0000000u, E::FREAD_FAILED},
        {"offset beyond the file", false, 2, 1, FAR, -1, E::FREAD_FAILED},
        {"chunk running past the end", false, 2, 1, IX, 48 + 64, E::FREAD_FAILED},
        {"size 0", false, 2, 1, IX, 0, E::NO_ERROR},
        {"size 4", false, 2, 1, IX, 4, E::NO_ERROR},
        {"chunk head only", false, 2, 1, IX, 8, E::NO_ERROR},
        {"index header without its entries", false, 2, 1, IX, 20, E::NO_ERROR},
        {"super index pointing at itself", false, 2, 8, SELF, -1, E::NO_ERROR},
    };
    for (const Case& c : cases) {
        const Laid l = layTwice([&](const Laid& p) {
            const StandardEntry e{uint32_t(p.dataAt[0] - p.movi), 24};
            Bytes ix = standardIndexPayload("00db", p.movi, {e, e});
            putLE32(ix, 4, c.ixCount);
            if (c.direct) return videoOnly(ix, {});
            const Bytes tail = chunk("ix00", ix);
            const bool self = c.target == SELF;
            const uint64_t at = self ? p.strlAt[0] + VIDEO_STRL_EXTRA : c.target == FAR ? uint64_t(1) << 40 : p.tailAt;
            const uint32_t whole = self ? 8 + 24 + 16 * c.superCount : uint32_t(tail.size());
            const uint32_t size = c.size >= 0 ? uint32_t(c.size) : whole;
            Bytes super = superIndexPayload("00db", std::vector<SuperEntry>(self ? c.superCount : 1, {at, size, 2}));
            putLE32(super, 4, c.superCount);
            return videoOnly(super, tail);
        });
        avi::File f;
        EXPECT_FALSE(open(f, l.bytes)) << c.what;
        if (c.code == E::NO_ERROR) {
            EXPECT_NE(f.getErrorCode(), E::NO_ERROR) << c.what;
        } else {
            EXPECT_EQ(f.getErrorCode(), c.code) << c.what;
        }
        EXPECT_EQ(f.getVideoTotalFrames(), 0) << c.what;
    }
}

TEST_F(AviIndex, SuperEntriesRepeatingOneStandardIndexCannotOutgrowTheFile) {
    // 4096 x 4096 entries from under 100 kB: a file holds at most one chunk per 8 bytes.
    const uint32_t n = 4096;
    const Laid l = layTwice([&](const Laid& p) {
        const StandardEntry e{uint32_t(p.dataAt[0] - p.movi), 24};
        const Bytes ix = chunk("ix00", standardIndexPayload("00db", p.movi, std::vector<StandardEntry>(n, e)));
        return videoOnly(superIndexPayload("00db", std::vector<SuperEntry>(n, {p.tailAt, uint32_t(ix.size()), n})), ix);
    });
    avi::File f;
    EXPECT_FALSE(open(f, l.bytes));
    EXPECT_NE(f.getErrorCode(), E::NO_ERROR);
    EXPECT_LE(f.getVideoTotalFrames(), int64_t(l.bytes.size() / 8 + 1));
}
