#include <gtest/gtest.h>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <korva/korva.h>
#include "support/avi_builder.h"

using namespace korvatest;
namespace E = avi::errors;
namespace fs = korva::filesystem;
namespace {
Bytes videoAndAudio(unsigned frames, uint16_t bits = 16, uint32_t flags = 0x10, IndexKind index = {}) {
    AviPlan plan;
    plan.hasAudio = true;
    plan.audio.bits = bits;
    plan.mainFlags = flags;
    plan.index = index;
    for (unsigned i = 0; i < frames; ++i) {
        plan.frames.push_back(patternBytes(24, i));
        plan.audioChunks.push_back(patternBytes(40, 50 + i));
    }
    return buildAvi(plan).bytes;
}
Bytes riffFile(const Bytes& body, const std::string& type = "AVI ") { return list(type, body, "RIFF"); }
Bytes strh(std::string type, uint32_t rate = 25, uint32_t flags = 0) { return strhPayload({type, "", flags, 1, rate}); }
Bytes strl(const Bytes& h, const Bytes& fmt) { return list("strl", cat({chunk("strh", h), chunk("strf", fmt)})); }
Bytes video(int32_t w = 4, uint32_t rate = 25) { return strl(strh("vids", rate), bitmapInfoPayload(w, 2, 24, 0)); }
Bytes audio(uint16_t bits = 16, size_t n = 18) { return strl(strh("auds"), waveFormatPayload(1, 2, 8000, bits, n)); }
Bytes avih(uint32_t streams) { return chunk("avih", avihPayload({40000, 0x10, 0, streams, 0, 0})); }
Bytes hdrl(uint32_t streams, const Bytes& strls) { return list("hdrl", cat({avih(streams), strls})); }
Bytes headersOnly(uint32_t streams, const Bytes& strls) { return riffFile(hdrl(streams, strls)); }

struct AviHeaders : ::testing::Test {
    bool parse(const Bytes& bytes) { // a fresh object in f
        path = tempFile(bytes);
        f = std::make_unique<avi::File>();
        return f->openToGetInformation(path.c_str());
    }
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
        {"strl of 2 GiB", headersOnly(1, cat({fourcc("LIST"), le32(0x7FFFFFF0u), fourcc("strl"), Bytes(64, 7)})),
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

TEST(AviOpen, ModeIsJudgedByItsFirstLetterAndSupportProblemsStand) {
    const std::string file = tempFile(videoAndAudio(3));
    for (const char* mode : {"r", "rb", "r+", "w", "wb", "a", "", "R", "br"}) {
        const bool write = mode[0] == 'w', ok = write || mode[0] == 'r';
        avi::File f;
        const std::string path = write ? file + "-out-" + mode : file;
        EXPECT_EQ(f.open(path.c_str(), mode), ok) << '"' << mode << '"';
        EXPECT_EQ(f.getErrorCode(), ok ? 0 : int(E::UNSUPPORTED_MODE)) << mode;
        EXPECT_TRUE(write ? std::ifstream(path).good() : !ok || (f.hasVideo() && f.hasAudio())) << mode;
    }
    // Support problems stand behind a successful open: audio bits, main header flags, code; audio is checked first
    const int cases[][3] = {{24, 0x10, E::UNSUPPORTED_AUDIO_STREAM}, {8, 0x110, 0}, // interleaved passes
                            {16, 0x30, E::INTERNAL_INDEX_UNSUPPORTED}, {24, 0x20, 30}};
    for (const auto& c : cases) {
        const std::string path = tempFile(videoAndAudio(3, uint16_t(c[0]), uint32_t(c[1])));
        avi::File f, info;
        EXPECT_TRUE(f.open(path.c_str(), "rb") && f.getVideoTotalFrames() == 3 && f.getErrorCode() == c[2])
            << c[0] << " " << c[1] << ": " << f.getErrorCode();
        EXPECT_TRUE(info.openToGetInformation(path.c_str()) && info.getErrorCode() == 0); // no checks
    }
    for (IndexKind kind : {IndexKind::None, IndexKind::OpenDML}) { // the latter with empty indexes
        avi::File f;
        EXPECT_FALSE(f.open(tempFile(videoAndAudio(0, 16, 0x10, kind)).c_str(), "rb"));
        EXPECT_EQ(f.getErrorCode(), E::ALL_CHUNKS_MISSING);
    }
}
TEST(AviOpen, UnicodeNamesThroughBothOverloads) {
    TempDir dir;
    const std::string utf8 = dir.path("vid\xC3\xA9o-\xE6\x97\xA5-\xF0\x9F\x98\x80.avi");
    writeFile(utf8, videoAndAudio(3));
    const ustring wide = fs::codecvt_narrow_string_to_ustring(true).do_convert(utf8.data(), utf8.size());
    avi::File byWide, byNarrow, missing, writer;
    EXPECT_TRUE(byWide.open(wide, "rb") && byNarrow.open(utf8.c_str(), "rb")) << byWide.getErrorMsg();
    EXPECT_TRUE(!missing.open(wide + u"\u00DF", "rb") &&
                std::string(missing.getErrorMsg()) == "Unable to open AVI file ('" + utf8 + "\xC3\x9F')");
    EXPECT_TRUE(writer.open(wide + u".w", "wb") && std::ifstream(utf8 + ".w").good());
    // Names that are not valid text: the lenient conversions put U+FFFD in, the strict ones throw.
    const char16_t lone[] = {u'x', 0xD800, u'y', 0xDC00};
    EXPECT_EQ(fs::codecvt_ustring_to_narrow_string(true).do_convert(lone, 4), "x\xEF\xBF\xBDy\xEF\xBF\xBD");
    EXPECT_THROW(fs::codecvt_ustring_to_narrow_string(false).do_convert(lone, 4), std::range_error);
    EXPECT_TRUE(fs::codecvt_narrow_string_to_ustring(true).do_convert("\xFFq", 2) == u"\uFFFDq");
    EXPECT_THROW(fs::codecvt_narrow_string_to_ustring(false).do_convert("\xFFq", 2), std::range_error);
}

// The texts of codes 0..47, then of 255, -1 and -46. 1, 2, 3 and 28 are composed (the file name is empty
// on a fresh object); 0, 44 and everything past 45 fall to the hexadecimal default.
const std::vector<std::string> TEXTS = {"Unknown error (0)", "'' is not a valid AVI file (RIFF chunk is missing)",
    "'' is not a valid AVI file (AVI chunk is missing)", "Unable to open AVI file ('')", "Seek operation failed",
    "Fread operation failed", "Fwrite operation failed", "getFilePos operation failed", "setFilePos operation failed",
    "Number of frames reported in the AVI header does not match number of ##db chunks",
    "Corrupted file: audio chunks are missing", "Corrupted file: video chunks are missing",
    "Corrupted file: both audio and video chunks are missing", "Corrupted file: main AVI header information is missing",
    "Corrupted file: stream list is missing", "Encountered unexpected length of strl chunk",
    "Corrupted file: stream headers is missing", "Unable to read audio format header",
    "Unable to read video frame format header", "Unsupported bitmap header found", "Unsupported main header found",
    "Unsupported audio format header found", "Failed to read AVI colormap", "Cannot set colormap during read",
    "Colormap required to write this file", "Cannot over-write a non-empty colormap",
    "Colormap can only have maximum of 256 entries", "Out of memory",
    "AVI files with more than 8 streams are not supported", "Interleaved AVI files are not supported",
    "Unsupported audio stream.Audio must be 8 or 16 bits",
    "AVI files that require use of internal index are not supported", "Compressed video streams are not supported",
    "Compressed audio streams are not supported", "Unsupported read/write mode", "Invalid Legacy Index",
    "Error parsing the legacy index", "Unsupported AVI index type", "Invalid AVI index",
    "Invalid Index Offset Calculated", "Unsupported AVI file", "Invalid number of frames",
    "Invalid value for Bits Per Pixel", "WAVE files are only supported on Windows platforms.", "Unknown error (2c)",
    "Read attempted for a video that is not indexed", "Unknown error (2e)", "Unknown error (2f)", "Unknown error (ff)",
    "Unknown error (ffffffff)", "Unknown error (ffffffd2)"};

TEST(AviErrors, EveryCodeStoresItsTextAndTheLastStandsUntilClearError) {
    avi::File f; // a later code replaces an earlier one; a composed text is rebuilt, not appended to
    for (int round : {0, 1})
        for (size_t i = 0; i < TEXTS.size(); ++i) {
            const int32_t code = i < 48 ? int32_t(i) : std::vector<int32_t>{255, -1, -46}[i - 48];
            f.setError(static_cast<avi::errors::error_T>(code));
            EXPECT_EQ(f.getErrorCode(), code);
            EXPECT_STREQ(f.getErrorMsg(), TEXTS[i].c_str()) << "code " << code << " round " << round;
        }
    f.clearError();
    EXPECT_TRUE(f.getErrorCode() == 0 && std::string(f.getErrorMsg()).empty());
}
