#include <gtest/gtest.h>

#include <fstream>
#include <stdexcept>
#include <string>

#include <korva/korva.h>

#include "support/avi_builder.h"

using namespace korvatest;
namespace fs = korva::filesystem;

static Bytes videoAndAudio(unsigned frames, uint16_t bits = 16, uint32_t flags = 0x10, IndexKind index = {}) {
    AviPlan plan;
    plan.hasAudio = true, plan.audio.bits = bits, plan.mainFlags = flags, plan.index = index;
    for (unsigned i = 0; i < frames; ++i) {
        plan.frames.push_back(patternBytes(24, i));
        plan.audioChunks.push_back(patternBytes(40, 50 + i));
    }
    return buildAvi(plan).bytes;
}

TEST(AviOpen, ModeIsJudgedByItsFirstLetter) {
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
}

TEST(AviOpen, SupportProblemsStandBehindASuccessfulOpen) {
    // bits per audio sample, main header flags, code after open; the audio check comes first
    const int cases[][3] = {{24, 0x10, avi::errors::UNSUPPORTED_AUDIO_STREAM}, {8, 0x110, 0}, // interleaved passes
                            {16, 0x30, avi::errors::INTERNAL_INDEX_UNSUPPORTED}, {24, 0x20, 30}};
    TempDir dir;
    for (const auto& c : cases) {
        writeFile(dir.path("s.avi"), videoAndAudio(3, uint16_t(c[0]), uint32_t(c[1])));
        avi::File f, info;
        EXPECT_TRUE(f.open(dir.path("s.avi").c_str(), "rb") && f.getVideoTotalFrames() == 3) << c[0] << " " << c[1];
        EXPECT_EQ(f.getErrorCode(), c[2]) << c[0] << " " << c[1];
        EXPECT_TRUE(info.openToGetInformation(dir.path("s.avi").c_str()) && info.getErrorCode() == 0); // no checks
    }
    for (IndexKind kind : {IndexKind::None, IndexKind::OpenDML}) { // the latter with empty indexes
        writeFile(dir.path("e.avi"), videoAndAudio(0, 16, 0x10, kind));
        avi::File f;
        EXPECT_FALSE(f.open(dir.path("e.avi").c_str(), "rb")) << int(kind);
        EXPECT_EQ(f.getErrorCode(), avi::errors::ALL_CHUNKS_MISSING) << int(kind);
    }
}

TEST(AviOpen, UnicodeNamesThroughBothOverloads) {
    TempDir dir;
    const std::string utf8 = dir.path("vid\xC3\xA9o-\xE6\x97\xA5-\xF0\x9F\x98\x80.avi");
    writeFile(utf8, videoAndAudio(3));
    const ustring wide = fs::codecvt_narrow_string_to_ustring(true).do_convert(utf8.data(), utf8.size());
    avi::File byWide, byNarrow, missing, writer;
    EXPECT_TRUE(byWide.open(wide, "rb")) << byWide.getErrorMsg();
    EXPECT_TRUE(byNarrow.open(utf8.c_str(), "rb")) << byNarrow.getErrorMsg();
    EXPECT_FALSE(missing.open(wide + u"\u00DF", "rb"));
    EXPECT_EQ(missing.getErrorMsg(), "Unable to open AVI file ('" + utf8 + "\xC3\x9F')");
    EXPECT_TRUE(writer.open(wide + u".w", "wb"));
    EXPECT_TRUE(std::ifstream(utf8 + ".w").good());
    const char16_t lone[] = {u'x', 0xD800, u'y', 0xDC00};
    EXPECT_EQ(fs::codecvt_ustring_to_narrow_string(true).do_convert(lone, 4), "x\xEF\xBF\xBDy\xEF\xBF\xBD");
    EXPECT_THROW(fs::codecvt_ustring_to_narrow_string(false).do_convert(lone, 4), std::range_error);
    EXPECT_TRUE(fs::codecvt_narrow_string_to_ustring(true).do_convert("\xFFq", 2) == u"\uFFFDq");
    EXPECT_THROW(fs::codecvt_narrow_string_to_ustring(false).do_convert("\xFFq", 2), std::range_error);
}
