#include <gtest/gtest.h>
#include <boost/numeric/conversion/cast.hpp>
#include <csignal>
#include <fstream>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <korva/avi/riff.h>
#include <korva/korva.h>
#include "support/avi_builder.h"

using namespace korvatest;
namespace { // written files are checked as bytes, at positions that follow from the header length H
Bytes at(const std::string& path, uint64_t pos, size_t n) { // throws unless all n bytes are there
    std::ifstream in(path, std::ios::binary);
    Bytes out(n);
    if (!in.seekg(std::streamoff(pos)).read(reinterpret_cast<char*>(out.data()), std::streamsize(n)))
        throw std::out_of_range("no bytes at " + std::to_string(pos));
    return out;
}
uint32_t u32(const std::string& path, uint64_t pos) { return avi::readLE32(at(path, pos, 4).data()); }
std::string id(const std::string& path, uint64_t pos) { const Bytes s = at(path, pos, 4); return {s.begin(), s.end()}; }
uint64_t sizeOf(const std::string& path) { return uint64_t(std::ifstream(path, std::ios::ate).tellg()); }
void expectAt(const std::string& f, uint64_t p, const Bytes& want) { EXPECT_EQ(at(f, p, want.size()), want) << p; }
char* data(Bytes& b) { return reinterpret_cast<char*>(b.data()); }

// Position of the nth child `id` ("LIST:type" for lists) of the list at `list`; hdrl is at 12.
uint64_t find(const std::string& f, uint64_t list, const std::string& name, int nth = 0) {
    for (uint64_t p = list + 12, end = list + 8 + u32(f, list + 4); p + 8 <= end; p += 8 + ((u32(f, p + 4) + 1) & ~1u))
        if ((id(f, p) == "LIST" ? "LIST:" + id(f, p + 8) : id(f, p)) == name && nth-- == 0) return p;
    throw std::runtime_error("no " + name);
}
Bytes audioStrh(uint32_t scale, uint32_t rate, uint32_t length, uint32_t buffer, uint32_t sample) {
    return chunk("strh", strhPayload({"auds", "    ", 0, scale, rate, length, sample, buffer, 0}));
}
uint64_t strl(const std::string& f, int nth) { return find(f, 12, "LIST:strl", nth); }
std::string tmp(const std::string& name) { static const TempDir dir; return dir.path(name); }
template <class Body> std::string writeAvi(Body body, int error = 0) {
    avi::File f;
    EXPECT_TRUE(f.open(tmp("w.avi").c_str(), "w"));
    body(f);
    f.close();
    EXPECT_EQ(f.getErrorCode(), error) << f.getErrorMsg();
    return tmp("w.avi");
}
} // namespace

TEST(AviWriter, HeaderLengthJunkAndTotals) {
    struct R { bool video, audio; uint64_t entries; uint32_t H; int64_t junk; }; // junk -1: none
    for (const R& r : {R{true, false, 4096, 65792, 65520}, R{false, true, 4096, 65880, 65520},
                       R{true, true, 4096, 131564, 131032}, R{true, false, 1, 272, 0}, R{true, true, 1, 524, -1}}) {
        SCOPED_TRACE(r.H);
        Bytes frame = patternBytes(24, 1), audio = patternBytes(7056, 2);
        const std::string img = writeAvi([&](avi::File& f) {
            f.setNumSuperIndexEntries(r.entries);
            if (r.video) f.setVideoInfo(4, 2, 25.0);
            if (r.audio) f.setAudioInfo(44100, 16, 2, 7056);
            EXPECT_EQ(f.getHeaderLength(), r.H);
            for (int i = 0; i < 3; ++i) {
                if (r.video && i < 2) f.writeVideoFrame(data(frame));
                if (r.audio) f.writeAudio(data(audio));
            }
        });
        EXPECT_EQ(id(img, 0) + id(img, 8) + id(img, 12) + std::to_string(u32(img, 16)) + id(img, 20),
                  "RIFFAVI LIST" + std::to_string(r.H) + "hdrl");
        const int64_t j = r.junk < 0 ? 16 : r.junk; // JUNK fills the header up to movi, else odml (24 bytes) ends it
        EXPECT_EQ(id(img, 12 + r.H - j) + std::to_string(u32(img, 16 + r.H - j)),
                  (r.junk < 0 ? "LIST" : "JUNK") + std::to_string(j));
        EXPECT_EQ(id(img, r.H + 20) + id(img, r.H + 28) + id(img, r.H + 32), r.video ? "LISTmovi00db" : "LISTmovi00wb");
        EXPECT_EQ(u32(img, 4), sizeOf(img) - 8);    // one RIFF chunk, ending the file
        EXPECT_EQ(u32(img, 48), r.video ? 2u : 3u); // dwTotalFrames: frames, or audio chunks without video
        if (r.audio) // 44100 Hz over 4-byte samples: the rate keeps its low 32 bits
            expectAt(img, find(img, strl(img, r.video), "strh"), audioStrh(97391, 4294943100u, 5292, 7056, 4));
    }
}

// Chunks unpadded behind odd frames; ix## offsets from H + 28 (12 for the first chunk), idx1 from movi (4).
TEST(AviWriter, ChunksAndIndexesFollowCallOrder) {
    for (bool audioFirst : {false, true}) { // a four-letter FourCC makes "dc" chunks, "ABCDE" does not
        SCOPED_TRACE(audioFirst);
        const std::string vid = audioFirst ? "01dc" : "00db", aud = audioFirst ? "00wb" : "01wb";
        Bytes movi;
        std::vector<StandardEntry> ix[2]; // video, audio
        std::vector<LegacyEntry> idx1[2];
        uint64_t base = 0;
        const std::string img = writeAvi([&](avi::File& f) {
            for (bool video : {!audioFirst, audioFirst}) // frame size 0: sizes come with the frames
                video ? f.setVideoInfo(3, 1, 25.0, audioFirst ? "MJPG" : "ABCDE", 16) : f.setAudioInfo(8000, 16, 1, 3);
            base = f.getHeaderLength() + 28;
            for (char op : std::string("VAAVAZVA")) { // Z: the frame-sized overload, 0 bytes; A: 3 in the head
                Bytes b = patternBytes(op == 'V' ? 7 : op == 'A' ? 4 : 0, uint32_t(movi.size()));
                if (op == 'A') f.writeAudio(data(b));
                else op == 'V' ? f.writeVideoFrame(data(b), 7) : f.writeVideoFrame(data(b));
                const uint32_t size = op == 'V' ? 7 : op == 'A' ? 3 : 0;
                ix[op == 'A'].push_back({uint32_t(movi.size() + 12), size});
                idx1[op == 'A'].push_back({op == 'A' ? aud : vid, 0, uint32_t(movi.size() + 4), size});
                append(movi, cat({fourcc(op == 'A' ? aud : vid), le32(size), b}));
            }
        });
        const uint64_t end = base + 4 + movi.size(); // then the standard indexes, video first, and idx1
        expectAt(img, base + 4, cat({movi, chunk(audioFirst ? "ix01" : "ix00", standardIndexPayload(vid, base, ix[0])),
                                     chunk(audioFirst ? "ix00" : "ix01", standardIndexPayload(aud, base, ix[1])),
                                     chunk("idx1", cat({idx1Payload(idx1[0]), idx1Payload(idx1[1])}))}));
        EXPECT_TRUE(sizeOf(img) == end + 264 && u32(img, base - 4) == end + 128 - base); // file and movi sizes
        const uint64_t vs = strl(img, audioFirst), as = strl(img, !audioFirst);
        expectAt(img, find(img, vs, "indx"), chunk("indx", superIndexPayload(vid, {{end, 64, 4}})));
        expectAt(img, find(img, as, "indx"), chunk("indx", superIndexPayload(aud, {{end + 64, 64, 8}}))); // 2 x 4
        // The odd chunk size is dwSuggestedBufferSize; dwLength is 4 x 3 bytes / 2.
        expectAt(img, find(img, as, "strh"), audioStrh(536870, 4294960000u, 6, 3, 2));
        EXPECT_EQ(u32(img, find(img, vs, "strf") + 24), audioFirst ? avi::readLE32("MJPG") : 0u);
    }
}

TEST(AviWriter, ConfigurationErrorsAndOverflow) {
    avi::File f, notWriting;
    ASSERT_TRUE(f.open(tmp("bad.avi").c_str(), "w"));
    auto code = [](avi::File& x, auto call) { x.clearError(); call(); return x.getErrorCode(); };
    EXPECT_EQ(code(f, [&] { f.setVideoInfo(4, 2, 25.0, "", 12); }), avi::errors::INVALID_BITS_PER_PIXEL);
    for (auto [n, want] : {std::pair{257, avi::errors::COLORMAP_TOO_LARGE}, {256, avi::errors::NO_ERROR},
                           {3, avi::errors::COLORMAP_NOT_EMPTY}})
        EXPECT_EQ(code(f, [&, n = n] { f.setColormap(std::vector<avi::tagRGBQUAD>(n)); }), want) << n;
    EXPECT_EQ(code(notWriting, [&] { notWriting.setColormap({{1, 2, 3, 0}}); }), avi::errors::COLORMAP_DURING_READ);
    f.close(); // no stream configured: nothing is written
    EXPECT_EQ(sizeOf(tmp("bad.avi")), 0u);
    EXPECT_EQ(notWriting.getOpenDMLSuperIndexLength(0xFFFFFFFFull), 8u); // 32-bit arithmetic, but no wider
    EXPECT_THROW(notWriting.getOpenDMLStandardIndexLength(1ull << 32), boost::numeric::positive_overflow);
    writeAvi([](avi::File& o) {
        o.setNumSuperIndexEntries(1ull << 32);
        EXPECT_THROW(o.setVideoInfo(4, 2, 25.0), boost::numeric::positive_overflow);
        EXPECT_THROW(o.setAudioInfo(8000, 8, 1, 10), boost::numeric::positive_overflow);
        o.setNumSuperIndexEntries(1); // so that close can compute the header
    });
    auto noMap = writeAvi([](avi::File& w) { w.setVideoInfo(4, 2, 25.0, "", 8); }, avi::errors::COLORMAP_REQUIRED);
    EXPECT_THROW(strl(noMap, 0), std::runtime_error); // the video stream list is left out
}

// Reserved super index room puts the first chunk right below 2 GiB; the header stays a hole until close.
TEST(AviWriter, FirstChunkAloneTurnsOverTheFirstRiffChunk) {
    const uint64_t H = 16ull * 134217700 + 256, R = H + 72; // video alone; "AVIX" behind ix00 (32) and idx1 (8)
    Bytes frame = patternBytes(112, 8);
    const std::string big = writeAvi([&](avi::File& f) {
        f.setNumSuperIndexEntries(134217700);
        f.setVideoInfo(2, 2, 25.0, "", 16);
        EXPECT_EQ(f.getCurRiffChunkSize(), H + 32); // the first RIFF chunk counts its own head
        EXPECT_TRUE(!f.atRiffBoundary(111) && f.atRiffBoundary(112)); // 111 + (H + 32) + 8 + (32 + 8) is 0x7FFFFFFF
        f.writeVideoFrame(data(frame), 112);
        EXPECT_EQ(f.getCurRiffChunkSize(), 136u); // a later one counts from "AVIX"
        EXPECT_TRUE(!f.atRiffBoundary(0x7FFFFFFF - 192) && f.atRiffBoundary(0x7FFFFFFF - 191));
    });
    ASSERT_TRUE(sizeOf(big) == R + 184 && u32(big, 4) == R - 8);
    expectAt(big, find(big, 88, "indx"), chunk("indx", superIndexPayload("00db", {{H + 32, 32, 0}, {R + 144, 40, 1}})));
    expectAt(big, R, cat({fourcc("RIFF"), le32(176), fourcc("AVIX"), fourcc("LIST"), le32(164), fourcc("movi"),
                           chunk("00db", frame), chunk("ix00", standardIndexPayload("00db", R + 20, {{12, 112}}))}));
}

// /dev/full fails the writes at close; a file size limit in a child process, already while streaming.
TEST(AviWriter, WriteFailuresAreReportedWithoutCrashing) {
    const std::string path = tmp("full.avi"); // the directory is made before the fork
    for (bool limited : {false, true}) {
        const pid_t child = fork();
        if (child == 0) {
            const rlimit limit{100000, 100000};
            avi::File f;
            if (std::signal(SIGXFSZ, SIG_IGN) == SIG_ERR || (limited && setrlimit(RLIMIT_FSIZE, &limit) != 0) ||
                !f.open(limited ? path.c_str() : "/dev/full", "w"))
                _exit(10);
            f.setNumSuperIndexEntries(16);
            f.setVideoInfo(64, 64, 25.0);
            f.setAudioInfo(8000, 8, 1, 800);
            Bytes frame = patternBytes(64 * 192, 12), sound = patternBytes(800, 13);
            for (int i = 0; i < 20; ++i) {
                f.writeVideoFrame(data(frame));
                f.writeAudio(data(sound));
            }
            const int fail = avi::errors::FWRITE_FAILED, streaming = f.getErrorCode();
            f.close();
            _exit(limited && streaming != fail ? 12 : f.getErrorCode() != fail);
        }
        int status = 0;
        EXPECT_TRUE(waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    }
    EXPECT_EQ(sizeOf(path), 100000u); // chunks went out up to the limit
}

// Our reader takes what the writer wrote: audio as stream 0, 8-bit frames of padded rows with their colormap.
TEST(AviWriter, FilesReadBackFrameForFrameAndByteForByte) {
    const std::vector<avi::tagRGBQUAD> map(256, avi::tagRGBQUAD{9, 8, 7, 0});
    Bytes pictures, sound;
    const std::string path = writeAvi([&](avi::File& f) {
        f.setAudioInfo(11025, 8, 1, 441); // odd audio chunks
        f.setVideoInfo(7, 5, 25.0, "", 8);
        f.setColormap(map);
        for (uint32_t i = 0; i < 6; ++i) {
            Bytes v = patternBytes(40, 100 + i), a = patternBytes(442, 200 + i);
            f.writeVideoFrame(data(v));
            f.writeAudio(data(a));
            append(pictures, v);
            sound.insert(sound.end(), a.begin(), a.end() - 1);
        }
    });
    avi::File f;
    ASSERT_TRUE(f.open(path.c_str(), "rb") && f.getErrorCode() == 0) << f.getErrorMsg();
    ASSERT_TRUE(f.getVideoTotalFrames() == 6 && f.getAudioTotalBytes() == sound.size()) << f.getVideoTotalFrames();
    EXPECT_EQ(f.getVideoStreamRate(), 25000000u); // the record of stream 1: 1000000 x 25 frames a second
    const auto got = f.getColormap();
    EXPECT_TRUE(got.size() == 256 && got[255].rgbBlue == 9 && got[255].rgbGreen == 8 && got[255].rgbRed == 7);
    Bytes read(pictures.size()), heard(sound.size());
    for (size_t i = 0; i < 6; ++i) f.readVideoFrame(reinterpret_cast<char*>(&read[40 * i]));
    f.readAudio(data(heard), heard.size());
    EXPECT_TRUE(f.getErrorCode() == 0 && read == pictures && heard == sound) << f.getErrorMsg();
}
