#include <gtest/gtest.h>
#include <memory>
#include <korva/korva.h>
#include "support/avi_builder.h"

using namespace korvatest;
namespace E = avi::errors;
namespace {
Bytes riffFile(const Bytes& body, const std::string& type = "AVI ") { return list(type, body, "RIFF"); }
Bytes strh(const std::string& type, uint32_t rate = 25, uint32_t flags = 0) {
    return strhPayload({type, "", flags, 1, rate});
}
Bytes strl(const Bytes& h, const Bytes& fmt) { return list("strl", cat({chunk("strh", h), chunk("strf", fmt)})); }
Bytes video(int32_t w = 4, uint32_t rate = 25) { return strl(strh("vids", rate), bitmapInfoPayload(w, 2, 24, 0)); }
Bytes audio(uint16_t bits = 16, size_t n = 18) { return strl(strh("auds"), waveFormatPayload(1, 2, 8000, bits, n)); }
Bytes avih(uint32_t streams) { return chunk("avih", avihPayload({40000, 0x10, 0, streams, 0, 0})); }
Bytes hdrl(uint32_t streams, const Bytes& strls) { return list("hdrl", cat({avih(streams), strls})); }
Bytes headersOnly(uint32_t streams, const Bytes& strls) { return riffFile(hdrl(streams, strls)); }

struct AviHeaders : ::testing::Test {
    bool parse(const Bytes& bytes) { // a fresh object in f
        writeFile(path = dir.path("h" + std::to_string(count++) + ".avi"), bytes);
        return (f = std::make_unique<avi::File>())->openToGetInformation(path.c_str());
    }
    TempDir dir;
    int count = 0;
    std::string path;
    std::unique_ptr<avi::File> f;
};
} // namespace

TEST_F(AviHeaders, RefusedFilesAndTheErrorsThatStand) {
    const Bytes ok = headersOnly(1, video()), vs = strh("vids");
    auto withHdrlStart = [](const Bytes& first) { return riffFile(list("hdrl", cat({first, video()}))); };
    struct Case { const char* what; Bytes bytes; int code; const char* present; } cases[] = { // streams found
        {"no RIFF", cat({fourcc("RIFX"), Bytes(ok.begin() + 4, ok.end())}), E::RIFF_CHUNK_MISSING, ""},
        {"WAVE", riffFile(chunk("fmt ", Bytes(16)), "WAVE"), E::WAVE_UNSUPPORTED, ""},
        {"AVIX first", riffFile(list("movi", {}), "AVIX"), E::AVI_CHUNK_MISSING, ""},
        {"avih not first", withHdrlStart(cat({chunk("JUNK", Bytes(4)), avih(1)})), E::MAIN_HEADER_MISSING, ""},
        {"avih of 58", withHdrlStart(chunk("avih", Bytes(58))), E::UNSUPPORTED_MAIN_HEADER, ""},
        {"9 streams", headersOnly(9, video()), E::TOO_MANY_STREAMS, ""},
        {"strl of 2 GiB", headersOnly(1, chunkWithSize("LIST", 0x7FFFFFF0u, cat({fourcc("strl"), Bytes(64, 7)}))),
         E::FREAD_FAILED, ""},
        {"2 declared, 1 list", riffFile(cat({hdrl(2, video()), list("movi", {})})), E::STREAM_LIST_MISSING, "v"},
        // A refused sub-chunk stands, but the walk goes on to the next list.
        {"strh of 66", headersOnly(2, cat({strl(cat({vs, Bytes(10)}), bitmapInfoPayload(4, 2, 24, 0)), audio()})),
         E::BAD_STRL_LENGTH, "a"},
        {"biSize 44", headersOnly(2, cat({strl(vs, cat({le32(44), Bytes(40)})), audio()})),
         E::UNSUPPORTED_BITMAP_HEADER, "va"},
        {"audio strf of 130", headersOnly(2, cat({audio(16, 130), video()})), E::UNSUPPORTED_AUDIO_HEADER, "va"},
    };
    for (const Case& c : cases) {
        EXPECT_TRUE(!parse(c.bytes) && f->getErrorCode() == c.code) << c.what << ": " << f->getErrorMsg();
        EXPECT_EQ(std::string(f->hasVideo() ? "v" : "") + (f->hasAudio() ? "a" : ""), c.present) << c.what;
    }
    parse(riffFile(list("movi", {}), "AVIX"));
    EXPECT_EQ(f->getErrorMsg(), "'" + path + "' is not a valid AVI file (AVI chunk is missing)");
}

TEST_F(AviHeaders, FirstVideoAndFirstAudioStreamAreSelected) {
    // An unknown type is passed over, the disabled flag is not looked at, a second video stream is ignored.
    const Bytes disabled = strl(strh("vids", 30, 1), bitmapInfoPayload(4, 2, 24, 0));
    ASSERT_TRUE(parse(headersOnly(4, cat({strl(strh("txts", 1), Bytes(8)), disabled, video(8, 50), audio(8)}))));
    EXPECT_TRUE(f->getVideoWidth() == 4u && f->getVideoStreamRate() == 30u && f->getAudioBitsPerSample() == 8u);
    EXPECT_TRUE(parse(headersOnly(1, cat({video(), audio()}))) && !f->hasAudio()); // lists behind dwStreams: unseen
}

// The ramps of 2, 4 and 8 bits and colormaps of 8-bit files are also checked entry by entry by the repacking walk.
TEST_F(AviHeaders, ColormapFromFileOrUnscaledGreyRamp) {
    // bits, bytes of 9 behind the header (fewer than 4 are dropped; a 24-bit file keeps them), entries
    const size_t cases[][3] = {{8, 0, 256}, {4, 0, 16}, {1, 0, 0}, {24, 0, 0}, {8, 2, 256}, {8, 6, 1}, {24, 4, 1}};
    for (const auto& c : cases) {
        const Bytes format = cat({bitmapInfoPayload(4, 2, uint16_t(c[0]), 0), Bytes(c[1], 9)});
        ASSERT_TRUE(parse(headersOnly(1, strl(strh("vids"), format))));
        const std::vector<avi::tagRGBQUAD> map = f->getColormap();
        ASSERT_EQ(map.size(), c[2]) << c[0] << " +" << c[1];
        const uint8_t last = c[1] >= 4 ? 9 : uint8_t(c[2] - 1), reserved = c[1] >= 4 ? 9 : 0;
        EXPECT_TRUE(map.empty() || (map.back().rgbBlue == last && map.back().rgbGreen == last &&
                                    map.back().rgbRed == last && map.back().rgbReserved == reserved)) << c[0];
    }
}
