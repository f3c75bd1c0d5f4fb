#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <sys/stat.h>

#include <korva/korva.h>

#include "support/avi_builder.h"

using namespace korvatest;
namespace fs = korva::filesystem;

namespace {

AviPlan videoAndAudio(unsigned frames = 3) {
    AviPlan plan;
    plan.hasAudio = true;
    for (unsigned i = 0; i < frames; ++i) {
        plan.frames.push_back(patternBytes(24, i));
        plan.audioChunks.push_back(patternBytes(40, 50 + i));
    }
    return plan;
}

bool exists(const std::string& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

} // namespace

TEST(AviOpen, ModeIsJudgedByItsFirstLetter) {
    TempDir dir;
    const std::string path = dir.path("a.avi");
    writeFile(path, buildAvi(videoAndAudio()).bytes);
    for (const char* mode : {"r", "rb", "r+"}) {
        avi::File f;
        EXPECT_TRUE(f.open(path.c_str(), mode) && f.hasVideo() && f.hasAudio()) << mode << ": " << f.getErrorMsg();
        EXPECT_EQ(f.getErrorCode(), 0) << mode;
    }
    for (const char* mode : {"w", "wb"}) {
        avi::File f;
        EXPECT_TRUE(f.open(dir.path(std::string("out-") + mode).c_str(), mode)) << mode;
        EXPECT_TRUE(exists(dir.path(std::string("out-") + mode))) << mode;
    }
    for (const char* mode : {"a", "", "R", "br"}) {
        avi::File f;
        EXPECT_FALSE(f.open(path.c_str(), mode)) << '"' << mode << '"';
        EXPECT_EQ(f.getErrorCode(), avi::errors::UNSUPPORTED_MODE);
        EXPECT_STREQ(f.getErrorMsg(), "Unsupported read/write mode");
    }
}

TEST(AviOpen, OpenFailureTextQuotesTheLastReadName) {
    TempDir dir;
    const std::string missing = dir.path("missing.avi"), unwritable = dir.path("no-dir/out.avi");
    avi::File f;
    EXPECT_FALSE(f.open(unwritable.c_str(), "wb")); // a write open records no name
    EXPECT_EQ(f.getErrorCode(), avi::errors::FILE_OPEN_FAILED);
    EXPECT_STREQ(f.getErrorMsg(), "Unable to open AVI file ('')");
    EXPECT_FALSE(f.open(missing.c_str(), "rb"));
    EXPECT_EQ(f.getErrorMsg(), "Unable to open AVI file ('" + missing + "')");
    EXPECT_FALSE(f.open(unwritable.c_str(), "w"));
    EXPECT_EQ(f.getErrorMsg(), "Unable to open AVI file ('" + missing + "')");
}

TEST(AviOpen, SupportProblemsStandBehindASuccessfulOpen) {
    // bits per audio sample, main header flags, code after open
    const int cases[][3] = {{24, 0x10, avi::errors::UNSUPPORTED_AUDIO_STREAM},
                            {12, 0x10, avi::errors::UNSUPPORTED_AUDIO_STREAM},
                            {16, 0x30, avi::errors::INTERNAL_INDEX_UNSUPPORTED},
                            {24, 0x20, avi::errors::UNSUPPORTED_AUDIO_STREAM}, // the audio check comes first
                            {8, 0x110, 0}};                                   // interleaved passes
    TempDir dir;
    for (const auto& c : cases) {
        AviPlan plan = videoAndAudio();
        plan.audio.bits = uint16_t(c[0]);
        plan.mainFlags = uint32_t(c[1]);
        writeFile(dir.path("s.avi"), buildAvi(plan).bytes);
        avi::File f, info;
        EXPECT_TRUE(f.open(dir.path("s.avi").c_str(), "rb")) << c[0] << " " << c[1];
        EXPECT_EQ(f.getErrorCode(), c[2]) << c[0] << " " << c[1];
        EXPECT_EQ(f.getVideoTotalFrames(), 3);
        EXPECT_TRUE(info.openToGetInformation(dir.path("s.avi").c_str())); // verifies nothing
        EXPECT_EQ(info.getErrorCode(), 0);
    }
    // An error standing from before reads as the parse's own failure.
    avi::File f;
    f.setError(avi::errors::SEEK_FAILED);
    EXPECT_FALSE(f.open(dir.path("s.avi").c_str(), "rb"));
    EXPECT_EQ(f.getErrorCode(), avi::errors::SEEK_FAILED);
}

TEST(AviOpen, VideoAndAudioWithoutAnyChunkIsRefused) {
    for (IndexKind kind : {IndexKind::None, IndexKind::OpenDML}) { // the latter with empty indexes
        AviPlan plan = videoAndAudio(0);
        plan.index = kind;
        TempDir dir;
        writeFile(dir.path("e.avi"), buildAvi(plan).bytes);
        avi::File f;
        EXPECT_FALSE(f.open(dir.path("e.avi").c_str(), "rb")) << int(kind);
        EXPECT_EQ(f.getErrorCode(), avi::errors::ALL_CHUNKS_MISSING) << int(kind);
    }
}

TEST(AviOpen, TopDownFileReadsBottomUpAndClosesTwice) {
    AviPlan plan;
    plan.video.bits = 8;
    plan.video.height = -2; // rows of 4 bytes, stored top-down
    plan.frames = {patternBytes(8, 1)};
    TempDir dir;
    writeFile(dir.path("c.avi"), buildAvi(plan).bytes);
    avi::File f;
    f.close(); // never opened
    ASSERT_TRUE(f.open(dir.path("c.avi").c_str(), "rb")) << f.getErrorMsg();
    EXPECT_EQ(f.getVideoHeight(), 2u);
    EXPECT_EQ(f.getColormap().size(), 256u);
    std::vector<char> frame(8);
    f.readVideoFrame(frame.data());
    const Bytes s = patternBytes(8, 1);
    EXPECT_EQ(Bytes(frame.begin(), frame.end()), cat({Bytes(s.begin() + 4, s.end()), Bytes(s.begin(), s.begin() + 4)}));
    EXPECT_EQ(f.getVideoFramesRead(), 1u);
    f.close();
    EXPECT_TRUE(f.getColormap().empty());
    EXPECT_EQ(f.getVideoFramesRead(), 0u);
    f.close();
} // and the destructor closes once more

TEST(AviOpen, UnicodeNamesThroughBothOverloads) {
    TempDir dir;
    const std::string utf8 = dir.path("vid\xC3\xA9o-\xE6\x97\xA5-\xF0\x9F\x98\x80.avi");
    writeFile(utf8, buildAvi(videoAndAudio()).bytes);
    const ustring wide = fs::codecvt_narrow_string_to_ustring(true).do_convert(utf8.data(), utf8.size());
    avi::File byWide, byNarrow, missing, writer;
    EXPECT_TRUE(byWide.open(wide, "rb")) << byWide.getErrorMsg();
    EXPECT_TRUE(byNarrow.open(utf8.c_str(), "rb")) << byNarrow.getErrorMsg();
    EXPECT_FALSE(missing.open(wide + u"\u00DF", "rb"));
    EXPECT_EQ(missing.getErrorMsg(), "Unable to open AVI file ('" + utf8 + "\xC3\x9F')");
    EXPECT_TRUE(writer.open(wide + u".w", "wb"));
    EXPECT_TRUE(exists(utf8 + ".w"));
}

TEST(Filesystem, Utf8AndUtf16RoundTrip) {
    const std::string narrow = "a\xC3\xA9\xE6\x97\xA5\xF0\x9F\x98\x80z";
    const ustring wide = u"a\u00E9\u65E5\U0001F600z"; // the emoji as a surrogate pair
    ASSERT_EQ(wide.size(), 6u);
    EXPECT_TRUE(fs::codecvt_narrow_string_to_ustring(false).do_convert(narrow.data(), narrow.size()) == wide);
    EXPECT_EQ(fs::codecvt_ustring_to_narrow_string(false).do_convert(wide.data(), wide.size()), narrow);
    EXPECT_TRUE(fs::codecvt_narrow_string_to_ustring(true).do_convert("ab\0c", 4) == ustring(u"ab\0c", 4));

    const char16_t lone[] = {u'x', 0xD800, u'y', 0xDC00};
    EXPECT_EQ(fs::codecvt_ustring_to_narrow_string(true).do_convert(lone, 4), "x\xEF\xBF\xBDy\xEF\xBF\xBD");
    EXPECT_THROW(fs::codecvt_ustring_to_narrow_string(false).do_convert(lone, 4), std::range_error);
    EXPECT_TRUE(fs::codecvt_narrow_string_to_ustring(true).do_convert("\xFFq", 2) == u"\uFFFDq");
    EXPECT_THROW(fs::codecvt_narrow_string_to_ustring(false).do_convert("\xFFq", 2), std::range_error);
}
