#include <gtest/gtest.h>

#include <korva/korva.h>

#include "support/avi_builder.h"

using namespace korvatest;

TEST(Smoke, ReadsLegacyAndOpenDmlFiles) {
    for (IndexKind kind : {IndexKind::Legacy, IndexKind::OpenDML}) {
        AviSpec spec;
        spec.hasAudio = true;
        spec.index = kind;
        spec.segments = 3;
        for (int i = 0; i < 5; ++i) spec.frames.push_back(patternBytes(24, i));
        for (int i = 0; i < 5; ++i) spec.audioChunks.push_back(patternBytes(100, 100 + i));
        TempDir dir;
        writeFile(dir.path("a.avi"), buildAvi(spec).bytes);
        avi::File f;
        ASSERT_TRUE(f.open(dir.path("a.avi").c_str(), "rb")) << f.getErrorMsg();
        EXPECT_EQ(f.getVideoTotalFrames(), 5);
        std::vector<char> buf(24);
        for (int i = 0; i < 5; ++i) {
            f.readVideoFrame(buf.data());
            ASSERT_EQ(f.getErrorCode(), 0) << f.getErrorMsg();
            EXPECT_EQ(Bytes(buf.begin(), buf.end()), patternBytes(24, i));
        }
        std::vector<char> audio(500);
        f.readAudio(audio.data(), audio.size());
        EXPECT_TRUE(f.isEndOfAudio()) << int(kind) << " " << f.getAudioBytesRead() << " " << f.getAudioTotalBytes() << " " << f.getErrorMsg();
    }
}
