#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include <korva/korva.h>

#include "support/avi_builder.h"

using namespace korvatest;
namespace E = avi::errors;

namespace {

Bytes riffFile(const Bytes& body, const std::string& type = "AVI ") { return list(type, body, "RIFF"); }
Bytes head(const Bytes& b, size_t n) { return Bytes(b.begin(), b.begin() + std::ptrdiff_t(n)); }

Bytes strh(const std::string& type, uint32_t rate = 25, uint32_t scale = 1, uint32_t length = 0, uint32_t flags = 0) {
    StreamHeaderFields h;
    h.type = type, h.rate = rate, h.scale = scale, h.length = length, h.flags = flags;
    return strhPayload(h);
}
Bytes strl(const Bytes& header, const Bytes& format, const Bytes& extra = {}) {
    return list("strl", cat({chunk("strh", header), chunk("strf", format), extra}));
}
Bytes video(int32_t width = 4, uint16_t bits = 24, uint32_t compression = 0) {
    return strl(strh("vids", 30000, 1001), bitmapInfoPayload(width, 2, bits, compression));
}
Bytes audio(uint16_t bits = 16, uint16_t channels = 2, uint32_t length = 0, uint16_t tag = 1, size_t size = 18) {
    return strl(strh("auds", 8000, 1, length), waveFormatPayload(tag, channels, 8000, bits, size));
}
Bytes avih(uint32_t streams) {
    MainHeaderFields m;
    m.streams = streams;
    return chunk("avih", avihPayload(m));
}
Bytes hdrl(uint32_t streams, const Bytes& rest) { return list("hdrl", cat({avih(streams), rest})); }
Bytes headersOnly(uint32_t streams, const Bytes& strls) { return riffFile(hdrl(streams, strls)); }

class AviHeaders : public ::testing::Test {
protected:
    // Writes the bytes to a fresh file and parses them; the object stays in f.
    bool parse(const Bytes& bytes) {
        path = dir.path("h" + std::to_string(count++) + ".avi");
        writeFile(path, bytes);
        f = std::make_unique<avi::File>();
        return f->openToGetInformation(path.c_str());
    }
    TempDir dir;
    int count = 0;
    std::string path;
    std::unique_ptr<avi::File> f;
};

} // namespace

TEST_F(AviHeaders, RefusedFilesAndTheErrorsThatStand) {
    const Bytes ok = headersOnly(1, video()), big(0x40, 7), vs = strh("vids");
    const Bytes wave = waveFormatPayload(1, 2, 8000, 16);
    auto withHdrlStart = [](const Bytes& first) { return riffFile(list("hdrl", cat({first, video()}))); };
    auto strlOfSize = [&](uint32_t n) { return headersOnly(1, chunkWithSize("LIST", n, cat({fourcc("strl"), big}))); };
    // "present" names the streams selected when the parse stops.
    struct Case { const char* what; Bytes bytes; int code; const char* present; } cases[] = {
        {"empty file", {}, E::FREAD_FAILED, ""},
        {"shorter than 12", head(ok, 11), E::FREAD_FAILED, ""},
        {"no RIFF", cat({fourcc("RIFX"), Bytes(ok.begin() + 4, ok.end())}), E::RIFF_CHUNK_MISSING, ""},
        {"WAVE", riffFile(chunk("fmt ", Bytes(16)), "WAVE"), E::WAVE_UNSUPPORTED, ""},
        {"AVIX first", riffFile(list("movi", {}), "AVIX"), E::AVI_CHUNK_MISSING, ""},
        {"no hdrl", riffFile(list("movi", chunk("00db", Bytes(24)))), E::MAIN_HEADER_MISSING, ""},
        {"avih not first", withHdrlStart(cat({chunk("JUNK", Bytes(4)), avih(1)})), E::MAIN_HEADER_MISSING, ""},
        {"avih of 58", withHdrlStart(chunk("avih", Bytes(58))), E::UNSUPPORTED_MAIN_HEADER, ""},
        {"avih of 57", withHdrlStart(chunk("avih", Bytes(57))), E::UNSUPPORTED_MAIN_HEADER, ""},
        {"9 streams", headersOnly(9, video()), E::TOO_MANY_STREAMS, ""},
        {"2 declared, 1 list", riffFile(cat({hdrl(2, video()), list("movi", {})})), E::STREAM_LIST_MISSING, "v"},
        {"2 declared, 1 list, then the end", headersOnly(2, video()), E::FREAD_FAILED, "v"},
        {"chunk before strl", headersOnly(1, cat({chunk("JUNK", Bytes(4)), video()})), E::STREAM_LIST_MISSING, ""},
        {"list of type strx", headersOnly(1, list("strx", chunk("strh", vs))), E::STREAM_LIST_MISSING, ""},
        {"strl cut by the end of file", head(ok, ok.size() - 10), E::FREAD_FAILED, ""},
        // List sizes that must not decide an allocation.
        {"strl of 2 GiB", strlOfSize(0x7FFFFFF0u), E::FREAD_FAILED, ""},
        {"strl size wraps to 0", strlOfSize(~0u), E::FREAD_FAILED, ""},
        {"strl size 2", strlOfSize(2), E::FREAD_FAILED, ""},
        // Sub-chunks overrunning their list, with the next list right behind.
        {"strh overruns", headersOnly(2, cat({list("strl", chunkWithSize("strh", 60, vs)), audio()})),
         E::STREAM_LIST_MISSING, ""},
        {"strf overruns", headersOnly(2, cat({list("strl", cat({chunk("strh", vs), chunkWithSize("strf", ~1u, big)})),
                                              audio()})),
         E::STREAM_LIST_MISSING, ""},
        {"indx overruns", headersOnly(2, cat({video(), strl(strh("auds"), wave, chunkWithSize("indx", 1000, big))})),
         E::STREAM_LIST_MISSING, "va"},
        // A refused sub-chunk stands, but the walk goes on to the next list.
        {"strh of 66", headersOnly(2, cat({strl(cat({vs, Bytes(10)}), bitmapInfoPayload(4, 2, 24, 0)), audio()})),
         E::BAD_STRL_LENGTH, "a"},
        {"biSize 44", headersOnly(2, cat({strl(vs, cat({le32(44), Bytes(40)})), audio()})),
         E::UNSUPPORTED_BITMAP_HEADER, "va"},
        {"audio strf of 130", headersOnly(2, cat({audio(16, 2, 0, 1, 130), video()})), E::UNSUPPORTED_AUDIO_HEADER,
         "va"},
    };
    for (const Case& c : cases) {
        EXPECT_FALSE(parse(c.bytes)) << c.what;
        EXPECT_EQ(f->getErrorCode(), c.code) << c.what << ": " << f->getErrorMsg();
        EXPECT_EQ(f->hasVideo(), std::string(c.present).find('v') != std::string::npos) << c.what;
        EXPECT_EQ(f->hasAudio(), std::string(c.present).find('a') != std::string::npos) << c.what;
        if (c.code == E::RIFF_CHUNK_MISSING || c.code == E::AVI_CHUNK_MISSING) {
            EXPECT_EQ(std::string(f->getErrorMsg()).rfind("'" + path + "' is not a valid AVI file (", 0), 0u);
        }
    }
}

TEST_F(AviHeaders, ShortAndOddHeadersAreReadWithinTheirBounds) {
    const Bytes vs = strh("vids", 30), bmp = bitmapInfoPayload(6, 2, 24, 0);
    const uint32_t ANY = ~0u; // words a short header lacks have no defined value
    struct Case { const char* what; Bytes bytes; uint32_t rate; } cases[] = {
        {"strh of 48", headersOnly(1, strl(head(vs, 48), bmp)), 30},
        {"strh of 64", headersOnly(1, strl(cat({vs, Bytes(8)}), bmp)), 30},
        {"strh of 4 ends the list", headersOnly(1, strl(vs, bmp, chunk("strh", fourcc("vids")))), ANY},
        {"strf of 8 ends the list", headersOnly(1, strl(vs, head(bmp, 8))), 30},
        {"avih of 28", riffFile(list("hdrl", cat({chunk("avih", head(avihPayload({}), 28)), strl(vs, bmp)}))), 30},
        {"odd unknown sub-chunk, audio strf of 16 last",
         headersOnly(2, cat({list("strl", cat({chunk("strh", vs), chunk("strn", Bytes(3, 'x')), chunk("strf", bmp)})),
                             audio(16, 2, 0, 1, 16)})),
         30},
        {"unknown top-level chunks", riffFile(cat({chunk("JUNK", Bytes(5)), list("INFO", {}), hdrl(1, strl(vs, bmp))})),
         30},
        {"the last hdrl wins", riffFile(cat({hdrl(1, video(9)), hdrl(1, strl(vs, bmp)), list("movi", {})})), 30},
    };
    for (const Case& c : cases) {
        EXPECT_TRUE(parse(c.bytes)) << c.what << ": " << f->getErrorMsg();
        EXPECT_TRUE(f->hasVideo()) << c.what;
        EXPECT_EQ(f->getVideoWidth(), 6u) << c.what;
        if (c.rate != ANY) {
            EXPECT_EQ(f->getVideoStreamRate(), c.rate) << c.what;
        }
    }
}

TEST_F(AviHeaders, FirstVideoAndFirstAudioStreamAreSelected) {
    // An unknown type and the disabled flag select nothing; a second video
    // stream is ignored.
    ASSERT_TRUE(parse(headersOnly(4, cat({strl(strh("txts", 1), Bytes(8)),
                                          strl(strh("vids", 30, 1, 0, 1), bitmapInfoPayload(4, 2, 24, 0)),
                                          strl(strh("vids", 50), bitmapInfoPayload(8, 2, 24, 0)), audio(8)}))));
    EXPECT_EQ(f->getVideoWidth(), 4u);
    EXPECT_EQ(f->getVideoStreamRate(), 30u);
    EXPECT_EQ(f->getAudioBitsPerSample(), 8u);

    ASSERT_TRUE(parse(headersOnly(1, cat({video(), audio()}))));
    EXPECT_TRUE(f->hasVideo());
    EXPECT_FALSE(f->hasAudio()); // lists behind dwStreams are never seen
    EXPECT_TRUE(parse(headersOnly(3, cat({video(), audio()})))) << f->getErrorMsg(); // done after the pair

    AviPlan plan;
    plan.hasAudio = plan.audioFirst = true;
    plan.frames = {patternBytes(24, 1), patternBytes(24, 2)};
    plan.audioChunks = {patternBytes(16, 3)};
    ASSERT_TRUE(parse(buildAvi(plan).bytes));
    EXPECT_EQ(f->getVideoStreamRate(), 25u); // the record of stream 1, not 0
    std::vector<char> frame(24);
    f->readVideoFrame(frame.data(), 1);
    EXPECT_EQ(Bytes(frame.begin(), frame.end()), patternBytes(24, 2)) << f->getErrorMsg();
}

TEST_F(AviHeaders, TopLevelWalkEdges) {
    AviPlan plan;
    plan.frames = {patternBytes(24, 1), patternBytes(24, 2), patternBytes(24, 3)};
    plan.totalFramesOverride = 9;
    const Bytes built = buildAvi(plan).bytes;

    // No declared stream: nothing selected, but "idx1" is still read.
    Bytes bytes = built;
    putLE32(bytes, 12 + 12 + 8 + 24, 0); // dwStreams
    ASSERT_TRUE(parse(bytes)) << f->getErrorMsg();
    EXPECT_FALSE(f->hasVideo() || f->hasAudio());
    EXPECT_EQ(f->getVideoTotalFrames(), 3);

    // A chunk of size 0 makes the step wrap to nearly 4 GiB: the walk ends
    // there, "idx1" is not seen and the declared total stands.
    bytes = built;
    const Bytes junk = chunkWithSize("JUNK", 0, {});
    bytes.insert(bytes.begin() + 20 + (bytes[16] | bytes[17] << 8), junk.begin(), junk.end());
    ASSERT_TRUE(parse(bytes)) << f->getErrorMsg();
    EXPECT_TRUE(f->hasVideo());
    EXPECT_EQ(f->getVideoTotalFrames(), 9);
}

TEST_F(AviHeaders, ColormapFromFileOrUnscaledGreyRamp) {
    // extra: bytes of 9 behind the header and the file's colormap.
    struct Case { uint16_t bits; std::vector<Rgbq> fileMap; size_t extra, entries; } cases[] = {
        {8, {}, 0, 256}, {4, {}, 0, 16}, {2, {}, 0, 4}, {1, {}, 0, 0}, {16, {}, 0, 0}, {24, {}, 0, 0},
        {24, {}, 2, 0},  {8, {}, 2, 256}, // fewer than 4 bytes are dropped
        {8, {}, 6, 1},   {8, {{1, 2, 3, 4}, {5, 6, 7, 8}}, 0, 2}, {24, {{1, 2, 3, 4}}, 0, 1},
    };
    for (const Case& c : cases) {
        const Bytes format = cat({bitmapInfoPayload(4, 2, c.bits, 0, c.fileMap), Bytes(c.extra, 9)});
        ASSERT_TRUE(parse(headersOnly(1, strl(strh("vids"), format))));
        const std::vector<avi::tagRGBQUAD> map = f->getColormap();
        ASSERT_EQ(map.size(), c.entries) << c.bits << " +" << c.extra;
        for (size_t k = 0; k < map.size(); ++k) {
            const Bytes got{map[k].rgbBlue, map[k].rgbGreen, map[k].rgbRed, map[k].rgbReserved};
            const Rgbq q = k < c.fileMap.size()                  ? c.fileMap[k]
                           : k < c.fileMap.size() + c.extra / 4 ? Rgbq{9, 9, 9, 9}
                                                                : Rgbq{uint8_t(k), uint8_t(k), uint8_t(k), 0};
            const Bytes want{q.blue, q.green, q.red, q.reserved};
            ASSERT_EQ(got, want) << c.bits << " +" << c.extra << " entry " << k;
        }
    }
}

TEST_F(AviHeaders, VideoGetters) {
    struct Case { uint32_t compression; std::string fourcc; bool compressed; } cases[] = {
        {0, "", false}, {0x47504A4Du, "MJPG", true}, {256, std::string("\0\1\0\0", 4), false}};
    for (const Case& c : cases) {
        ASSERT_TRUE(parse(headersOnly(1, video(4, 16, c.compression))));
        EXPECT_EQ(f->getVideoFourCC(), c.fourcc);
        EXPECT_EQ(f->isVideoCompressed(), c.compressed) << c.compression; // the low byte only
    }
    EXPECT_EQ(f->getVideoStreamRate(), 30000u);
    EXPECT_EQ(f->getVideoStreamScale(), 1001u);
    EXPECT_DOUBLE_EQ(f->getVideoFrameRate(), 30000.0 / 1001.0);
    EXPECT_EQ(f->getVideoBitsPerPixel(), 16u);
}

TEST_F(AviHeaders, AudioGetters) {
    struct Case { uint16_t bits, channels, tag; uint32_t length; uint64_t total; } cases[] = {
        {16, 2, 1, 100, 400}, {12, 2, 1, 100, 200}, {8, 1, 2, 5, 5}, {24, 2, 1, 10, 60},
        {16, 2, 1, 0x80000001u, 4}, {16, 3, 1, 0x40000000u, 0x80000000u}, // 32-bit product
    };
    for (const Case& c : cases) {
        ASSERT_TRUE(parse(headersOnly(1, audio(c.bits, c.channels, c.length, c.tag))));
        EXPECT_EQ(f->getAudioTotalBytes(), c.total) << c.bits << " " << c.length;
        EXPECT_EQ(f->getAudioBitsPerSample(), c.bits);
        EXPECT_EQ(f->getAudioNumberOfChannels(), c.channels);
        EXPECT_EQ(f->getAudioSampleRate(), 8000u);
        EXPECT_EQ(f->isAudioCompressed(), c.tag != 1);
    }
}
