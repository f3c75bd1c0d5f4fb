#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <korva/korva.h>

#include "support/avi_builder.h"

// Files of our writer handed to FFmpeg: what it probes must be what we
// configured, and what it decodes must be what we wrote. FFmpeg hands pictures
// out top-down with unpadded rows; ours are stored bottom-up with rows padded to
// four bytes, so the expected bytes are rearranged before comparing.

using namespace korvatest;

namespace {

bool installed() {
    return std::system("ffmpeg -version >/dev/null 2>&1") == 0 && std::system("ffprobe -version >/dev/null 2>&1") == 0;
}

// Runs a shell command and returns its standard output, failing the test on a
// non-zero exit.
std::string run(const std::string& command) {
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) throw std::runtime_error("cannot run " + command);
    std::string out;
    char block[65536];
    for (size_t got; (got = std::fread(block, 1, sizeof block, pipe)) > 0;) out.append(block, got);
    EXPECT_EQ(pclose(pipe), 0) << command;
    return out;
}

using Stream = std::map<std::string, std::string>;
std::vector<Stream> probe(const std::string& path) {
    std::istringstream lines(run("ffprobe -v error -count_frames -show_entries stream=index,codec_type,codec_name,width,"
                                 "height,pix_fmt,nb_frames,nb_read_frames,r_frame_rate,sample_rate,channels,sample_fmt"
                                 " -of default=nw=1 '" + path + "'"));
    std::vector<Stream> streams;
    for (std::string line; std::getline(lines, line);) {
        const size_t eq = line.find('=');
        if (eq == std::string::npos) continue;
        if (line.compare(0, eq, "index") == 0) streams.emplace_back();
        if (!streams.empty()) streams.back()[line.substr(0, eq)] = line.substr(eq + 1);
    }
    return streams;
}

std::string decode(const std::string& path, const std::string& map, const std::string& format) {
    return run("ffmpeg -v error -i '" + path + "' -map " + map + " -f " + format + " -");
}

struct Clip {
    unsigned width = 0, height = 0, bits = 24; // width 0: no video
    int frames = 0;
    unsigned rate = 0, sampleBits = 16, channels = 2, chunk = 0; // rate 0: no audio
    int chunks = 0;
};

struct Written {
    std::string path;
    std::string pictures; // as FFmpeg gives them in bgr24
    std::string sound;    // the sample bytes, without pad bytes
};

// Pixel n of the palette: distinct colours, so that a wrong lookup shows.
avi::tagRGBQUAD paletteEntry(int n) { return {uint8_t(n), uint8_t(255 - n), uint8_t(n * 5 + 1), 0}; }

Written writeClip(const TempDir& dir, const std::string& name, const Clip& c) {
    Written w{dir.path(name), {}, {}};
    avi::File f;
    EXPECT_TRUE(f.open(w.path.c_str(), "w"));
    const unsigned pixel = c.bits / 8, row = (c.width * pixel + 3) & ~3u;
    if (c.width) f.setVideoInfo(c.width, c.height, 25.0, "", c.bits);
    if (c.rate) f.setAudioInfo(c.rate, c.sampleBits, c.channels, c.chunk);
    std::vector<avi::tagRGBQUAD> palette;
    for (int n = 0; n < 256; ++n) palette.push_back(paletteEntry(n));
    if (c.bits == 8) f.setColormap(palette);
    for (int i = 0; i < std::max(c.frames, c.chunks); ++i) {
        if (i < c.frames) {
            Bytes frame = patternBytes(row * c.height, 1000 + i);
            if (c.bits == 32) f.writeVideoFrame(reinterpret_cast<char*>(frame.data()), unsigned(frame.size()));
            else f.writeVideoFrame(reinterpret_cast<char*>(frame.data()));
            for (unsigned y = c.height; y-- > 0;)
                for (unsigned x = 0; x < c.width; ++x) {
                    const uint8_t* p = frame.data() + y * row + x * pixel;
                    const avi::tagRGBQUAD q = c.bits == 8 ? palette[*p] : avi::tagRGBQUAD{p[0], p[1], p[2], 0};
                    w.pictures += {char(q.rgbBlue), char(q.rgbGreen), char(q.rgbRed)};
                }
        }
        if (i < c.chunks) {
            Bytes sound = patternBytes((c.chunk + 1) & ~1u, 2000 + i);
            f.writeAudio(reinterpret_cast<char*>(sound.data()));
            w.sound.append(reinterpret_cast<const char*>(sound.data()), c.chunk);
        }
    }
    f.close();
    EXPECT_EQ(f.getErrorCode(), 0) << f.getErrorMsg();
    return w;
}

} // namespace

TEST(FFmpegInterop, VideoAndAudioAreProbedAndDecodedAsWritten) {
    if (!installed()) GTEST_SKIP() << "ffmpeg is not installed";
    TempDir dir;
    Clip c;
    c.width = 33, c.height = 17, c.frames = 10; // rows of 99 bytes padded to 100
    c.rate = 44100, c.chunk = 7056, c.chunks = 10; // 1/25 s of stereo 16-bit samples a chunk
    const Written w = writeClip(dir, "av.avi", c);
    std::vector<Stream> s = probe(w.path);
    ASSERT_EQ(s.size(), 2u);
    EXPECT_EQ(s[0]["codec_type"] + " " + s[0]["codec_name"] + " " + s[0]["pix_fmt"], "video rawvideo bgr24");
    EXPECT_EQ(s[0]["width"] + "x" + s[0]["height"], "33x17");
    EXPECT_EQ(s[0]["nb_frames"], "10");
    EXPECT_EQ(s[0]["nb_read_frames"], "10");
    EXPECT_EQ(s[0]["r_frame_rate"], "25/1");
    EXPECT_EQ(s[1]["codec_type"] + " " + s[1]["codec_name"] + " " + s[1]["sample_fmt"], "audio pcm_s16le s16");
    EXPECT_EQ(s[1]["sample_rate"], "44100");
    EXPECT_EQ(s[1]["channels"], "2");
    EXPECT_EQ(s[1]["nb_frames"], "17640"); // sample frames
    const std::string pictures = decode(w.path, "0:v", "rawvideo -pix_fmt bgr24");
    ASSERT_EQ(pictures.size(), w.pictures.size());
    EXPECT_TRUE(pictures == w.pictures);
    const std::string sound = decode(w.path, "0:a", "s16le");
    ASSERT_EQ(sound.size(), w.sound.size());
    EXPECT_TRUE(sound == w.sound);
}

TEST(FFmpegInterop, VideoOnlyFilesOfEachWrittenDepth) {
    if (!installed()) GTEST_SKIP() << "ffmpeg is not installed";
    struct Row {
        unsigned width, height, bits;
        std::string pixFmt;
    };
    for (const Row& r : {Row{33, 17, 24, "bgr24"}, Row{7, 5, 8, "pal8"}, Row{5, 3, 32, "bgra"}}) {
        SCOPED_TRACE(r.pixFmt);
        TempDir dir;
        Clip c;
        c.width = r.width, c.height = r.height, c.bits = r.bits, c.frames = 4;
        const Written w = writeClip(dir, "v.avi", c);
        std::vector<Stream> s = probe(w.path);
        ASSERT_EQ(s.size(), 1u);
        EXPECT_EQ(s[0]["codec_type"] + " " + s[0]["pix_fmt"], "video " + r.pixFmt);
        EXPECT_EQ(s[0]["width"] + "x" + s[0]["height"], std::to_string(r.width) + "x" + std::to_string(r.height));
        EXPECT_EQ(s[0]["nb_read_frames"], "4");
        const std::string pictures = decode(w.path, "0:v", "rawvideo -pix_fmt bgr24");
        ASSERT_EQ(pictures.size(), w.pictures.size());
        EXPECT_TRUE(pictures == w.pictures);
    }
}

TEST(FFmpegInterop, AudioOnlyFileWithOddChunks) {
    if (!installed()) GTEST_SKIP() << "ffmpeg is not installed";
    TempDir dir;
    Clip c;
    c.rate = 11025, c.sampleBits = 8, c.channels = 1, c.chunk = 1103, c.chunks = 7; // a pad byte behind each
    const Written w = writeClip(dir, "a.avi", c);
    std::vector<Stream> s = probe(w.path);
    ASSERT_EQ(s.size(), 1u);
    EXPECT_EQ(s[0]["codec_type"] + " " + s[0]["codec_name"] + " " + s[0]["sample_fmt"], "audio pcm_u8 u8");
    EXPECT_EQ(s[0]["sample_rate"], "11025");
    EXPECT_EQ(s[0]["channels"], "1");
    EXPECT_EQ(s[0]["nb_frames"], std::to_string(7 * 1103));
    const std::string sound = decode(w.path, "0:a", "u8");
    ASSERT_EQ(sound.size(), w.sound.size());
    EXPECT_TRUE(sound == w.sound);
}
