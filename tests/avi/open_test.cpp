#include <gtest/gtest.h>
#include <fstream>
#include <stdexcept>
#include <korva/korva.h>
#include "support/avi_builder.h"

using namespace korvatest;
namespace fs = korva::filesystem;

static Bytes videoAndAudio(unsigned frames, uint16_t bits = 16, uint32_t flags = 0x10, IndexKind index = {}) {
    AviPlan plan;
    plan.hasAudio = true, plan.audio.bits = bits, plan.mainFlags = flags, plan.index = index;
    for (unsigned i = 0; i < frames; ++i)
        plan.frames.push_back(patternBytes(24, i)), plan.audioChunks.push_back(patternBytes(40, 50 + i));
    return buildAvi(plan).bytes;
}

TEST(AviOpen, ModeIsJudgedByItsFirstLetterAndSupportProblemsStand) {
    TempDir dir;
    writeFile(dir.path("a.avi"), videoAndAudio(3));
    for (const char* mode : {"r", "rb", "r+", "w", "wb", "a", "", "R", "br"}) {
        const bool write = mode[0] == 'w', ok = write || mode[0] == 'r';
        avi::File f;
        const std::string path = dir.path(write ? std::string("out-") + mode : "a.avi");
        EXPECT_EQ(f.open(path.c_str(), mode), ok) << '"' << mode << '"';
        EXPECT_EQ(f.getErrorCode(), ok ? 0 : int(avi::errors::UNSUPPORTED_MODE)) << mode;
        EXPECT_TRUE(write ? std::ifstream(path).good() : !ok || (f.hasVideo() && f.hasAudio())) << mode;
    }
    // Support problems stand behind a successful open: audio bits, main header flags, code; audio is checked first
    const int cases[][3] = {{24, 0x10, avi::errors::UNSUPPORTED_AUDIO_STREAM}, {8, 0x110, 0}, // interleaved passes
                            {16, 0x30, avi::errors::INTERNAL_INDEX_UNSUPPORTED}, {24, 0x20, 30}};
    for (const auto& c : cases) {
        writeFile(dir.path("s.avi"), videoAndAudio(3, uint16_t(c[0]), uint32_t(c[1])));
        avi::File f, info;
        EXPECT_TRUE(f.open(dir.path("s.avi").c_str(), "rb") && f.getVideoTotalFrames() == 3 && f.getErrorCode() == c[2])
            << c[0] << " " << c[1] << ": " << f.getErrorCode();
        EXPECT_TRUE(info.openToGetInformation(dir.path("s.avi").c_str()) && info.getErrorCode() == 0); // no checks
    }
    for (IndexKind kind : {IndexKind::None, IndexKind::OpenDML}) { // the latter with empty indexes
        writeFile(dir.path("e.avi"), videoAndAudio(0, 16, 0x10, kind));
        avi::File f;
        EXPECT_TRUE(!f.open(dir.path("e.avi").c_str(), "rb") && f.getErrorCode() == avi::errors::ALL_CHUNKS_MISSING);
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
