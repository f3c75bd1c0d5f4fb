#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <boost/numeric/conversion/cast.hpp>

#include <korva/avi/riff.h>
#include <korva/korva.h>

#include "support/avi_builder.h"

// Written files are checked as bytes. Every position follows from the header
// length H, the chunks in call order and the record layouts; expected records
// are built with the test builder and compared whole.

using namespace korvatest;

namespace {

const uint64_t ANY = ~uint64_t(0);

// Bytes of a file from `origin` on, addressed by file position, so that the
// far end of a 2 GiB file can be looked at without reading the rest.
struct Image {
    Bytes b;
    uint64_t origin = 0;
    Bytes sub(uint64_t pos, uint64_t n) const {
        if (pos < origin || pos - origin + n > b.size()) throw std::out_of_range("no bytes at " + std::to_string(pos));
        return Bytes(b.begin() + long(pos - origin), b.begin() + long(pos - origin + n));
    }
    uint32_t u32(uint64_t pos) const { return avi::readLE32(sub(pos, 4).data()); }
    uint64_t u64(uint64_t pos) const { return avi::readLE64(sub(pos, 8).data()); }
    std::string id(uint64_t pos) const { const Bytes s = sub(pos, 4); return std::string(s.begin(), s.end()); }
    uint64_t end() const { return origin + b.size(); }
};

Image load(const std::string& path, uint64_t from = 0, uint64_t count = ANY) {
    Image img{{}, from};
    FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr || fseeko(f, off_t(from), SEEK_SET) != 0) throw std::runtime_error("cannot read " + path);
    char block[65536];
    for (size_t got; img.b.size() < count && (got = std::fread(block, 1, sizeof block, f)) > 0;)
        img.b.insert(img.b.end(), block, block + got);
    std::fclose(f);
    img.b.resize(std::min<uint64_t>(img.b.size(), count));
    return img;
}

uint64_t sizeOf(const std::string& path) {
    struct stat s;
    return stat(path.c_str(), &s) == 0 ? uint64_t(s.st_size) : ANY;
}

char* data(Bytes& b) { return reinterpret_cast<char*>(b.data()); }

void expectAt(const Image& img, uint64_t pos, const Bytes& want, const std::string& what) {
    EXPECT_EQ(img.sub(pos, want.size()), want) << what << " at " << pos;
}

// Chunks of a list, by id ("LIST:strl" for lists), each with its head position.
using Children = std::vector<std::pair<std::string, uint64_t>>;
Children walk(const Image& img, uint64_t from, uint64_t end) {
    Children out;
    for (uint32_t size; from + 8 <= end; from += 8 + size + (size & 1)) {
        size = img.u32(from + 4);
        out.push_back({img.id(from) == "LIST" ? "LIST:" + img.id(from + 8) : img.id(from), from});
    }
    return out;
}
std::string ids(const Children& c) {
    std::string s;
    for (const auto& [id, pos] : c) s += (s.empty() ? "" : " ") + id;
    return s;
}
uint64_t find(const Children& c, const std::string& id) {
    for (const auto& [name, pos] : c)
        if (name == id) return pos;
    throw std::runtime_error("no " + id);
}

struct Header {
    uint32_t H; // the header length, size of the "hdrl" list
    Children hdrl;
    std::vector<Children> strl;
};
Header header(const Image& img) {
    Header h{img.u32(16), {}, {}};
    EXPECT_EQ(img.id(0) + img.id(8) + img.id(12) + img.id(20), "RIFFAVI LISThdrl");
    h.hdrl = walk(img, 24, 20 + uint64_t(h.H));
    for (const auto& [id, pos] : h.hdrl)
        if (id == "LIST:strl") h.strl.push_back(walk(img, pos + 12, pos + 8 + img.u32(pos + 4)));
    return h;
}

Bytes words(std::initializer_list<uint32_t> values) {
    Bytes out;
    for (uint32_t v : values) append(out, le32(v));
    return out;
}
Bytes strh(const std::string& type, uint32_t scale, uint32_t rate, uint32_t length, uint32_t suggested,
           uint32_t sampleSize) {
    return cat({fourcc(type), fourcc(type == "vids" ? "DIB " : "    "),
                words({0, 0, 0, scale, rate, 0, length, suggested, 0, sampleSize}), Bytes(8, 0)});
}
// A standard index; base ANY takes the base from the file, which the writer
// does not define for an index that never had an entry.
void expectIx(const Image& img, uint64_t pos, const std::string& name, const std::string& id, uint64_t base,
              const std::vector<StandardEntry>& e) {
    expectAt(img, pos, chunk(name, standardIndexPayload(id, base == ANY ? img.u64(pos + 20) : base, e)), name);
}
void expectIndx(const Image& img, const Children& strl, const std::string& id, const std::vector<SuperEntry>& e) {
    expectAt(img, find(strl, "indx"), chunk("indx", superIndexPayload(id, e)), "indx of " + id);
}

template <class Body>
std::string writeAvi(const TempDir& dir, const std::string& name, Body body, int expectedError = 0) {
    const std::string path = dir.path(name);
    avi::File f;
    EXPECT_TRUE(f.open(path.c_str(), "w"));
    body(f);
    f.close();
    EXPECT_EQ(f.getErrorCode(), expectedError) << f.getErrorMsg();
    return path;
}

} // namespace

TEST(AviWriter, HeaderLengthJunkAndTotalsByConfiguration) {
    struct Row {
        bool video, audio;
        uint64_t entries;
        uint32_t H;
        int64_t junk; // size of the JUNK chunk; -1: none
        uint32_t usPerFrame, total, dmlh, suggested, width;
    };
    const Row rows[] = {
        {true, false, 4096, 65792, 65520, 40000, 2, 2, 24, 4},  {false, true, 4096, 65880, 65520, 125, 3, 0, 1002, 0},
        {true, true, 4096, 131564, 131032, 40000, 2, 2, 24, 4}, {true, false, 1, 272, 0, 40000, 2, 2, 24, 4},
        {false, true, 1, 360, 0, 125, 3, 0, 1002, 0},           {true, true, 1, 524, -1, 40000, 2, 2, 24, 4},
    };
    TempDir dir;
    for (const Row& r : rows) {
        SCOPED_TRACE(std::to_string(r.video) + std::to_string(r.audio) + " entries " + std::to_string(r.entries));
        Bytes frame = patternBytes(24, 1), audio = patternBytes(1002, 2);
        const Image img = load(writeAvi(dir, "h.avi", [&](avi::File& f) {
            f.setNumSuperIndexEntries(r.entries);
            if (r.video) f.setVideoInfo(4, 2, 25.0);
            if (r.audio) f.setAudioInfo(8000, 8, 1, 1001); // odd: 1002 bytes are written
            EXPECT_EQ(f.getHeaderLength(), r.H);
            for (int i = 0; i < 3; ++i) {
                if (r.video && i < 2) f.writeVideoFrame(data(frame));
                if (r.audio) f.writeAudio(data(audio));
            }
        }));
        const Header h = header(img);
        EXPECT_EQ(h.H, r.H);
        EXPECT_EQ(ids(h.hdrl), std::string(r.video && r.audio ? "avih LIST:strl LIST:strl" : "avih LIST:strl") +
                                   " LIST:odml" + (r.junk < 0 ? "" : " JUNK"));
        if (r.junk >= 0) {
            EXPECT_EQ(img.u32(h.hdrl.back().second + 4), r.junk); // fills the header up to movi
        }
        EXPECT_EQ(img.id(r.H + 20) + img.id(r.H + 28) + img.id(r.H + 32), r.video ? "LISTmovi00db" : "LISTmovi00wb");
        EXPECT_EQ(img.u32(4), img.end() - 8); // one RIFF chunk, ending the file
        expectAt(img, 24, chunk("avih", words({r.usPerFrame, 0, 0, 0x810, r.total, 0, uint32_t(r.video) + r.audio,
                                              r.suggested, r.width, r.width / 2, 0, 0, 0, 0})), "avih");
        expectAt(img, find(h.hdrl, "LIST:odml"), list("odml", chunk("dmlh", le32(r.dmlh))), "odml");
        if (r.audio) { // the odd chunk size stands in dwSuggestedBufferSize; dwLength is 3 x 1001
            const Bytes want = chunk("strh", strh("auds", 536870, 4294960000u, 3003, 1001, 1));
            expectAt(img, find(h.strl.back(), "strh"), want, "strh");
        }
    }
}

TEST(AviWriter, HeaderRecordValues) {
    TempDir dir;
    Bytes frame = patternBytes(1700, 3), audio = patternBytes(7056, 4);
    const Image img = load(writeAvi(dir, "r.avi", [&](avi::File& f) {
        f.setVideoInfo(33, 17, 25.0); // rows of 99 bytes padded to 100
        f.setAudioInfo(44100, 16, 2, 7056);
        for (int i = 0; i < 5; ++i) {
            if (i < 3) f.writeVideoFrame(data(frame));
            f.writeAudio(data(audio));
        }
    }));
    const Header h = header(img);
    ASSERT_EQ(h.strl.size(), 2u);
    const uint64_t ix = h.H + 32 + 3 * (8 + 1700) + 5 * (8 + 7056);
    Bytes bitmap = bitmapInfoPayload(33, 17, 24, 0);
    putLE32(bitmap, 20, 1700); // biSizeImage
    expectAt(img, h.hdrl[1].second,
             list("strl", cat({chunk("strh", strh("vids", 1000000, 25000000, 3, 1700, 0)), chunk("strf", bitmap),
                               chunk("indx", superIndexPayload("00db", {{ix, 56, 3}}))})),
             "video strl");
    // The audio super index duration is dwSampleSize 4 x 5 chunks.
    expectAt(img, h.hdrl[2].second,
             list("strl", cat({chunk("strh", strh("auds", 97391, 4294943100u, 8820, 7056, 4)),
                               chunk("strf", waveFormatPayload(1, 2, 44100, 16, 128)),
                               chunk("indx", superIndexPayload("01wb", {{ix + 56, 72, 20}}))})),
             "audio strl");
    EXPECT_EQ(img.u32(h.H + 24), ix + 56 + 72 - (h.H + 28)); // movi: chunks and both standard indexes
}

TEST(AviWriter, ChunksAndIndexesFollowCallOrder) {
    for (bool audioFirst : {false, true}) {
        SCOPED_TRACE(audioFirst ? "audio is stream 0" : "video is stream 0");
        const std::string vid = audioFirst ? "01db" : "00db", aud = audioFirst ? "00wb" : "01wb";
        struct Rec {
            bool video;
            uint64_t pos;
            uint32_t size;
            Bytes payload;
        };
        std::vector<Rec> recs;
        uint64_t movi = 0;
        TempDir dir;
        const Image img = load(writeAvi(dir, "o.avi", [&](avi::File& f) {
            if (audioFirst) f.setAudioInfo(8000, 16, 1, 3);
            f.setVideoInfo(3, 1, 25.0, "", 16); // frame size 0: frames come with their own size
            if (!audioFirst) f.setAudioInfo(8000, 16, 1, 3);
            movi = f.getHeaderLength() + 28;
            uint64_t pos = movi + 4;
            const std::string ops = "VAAVAZVA"; // Z: the frame-sized overload, 0 bytes
            for (size_t i = 0; i < ops.size(); ++i) {
                Bytes p = patternBytes(ops[i] == 'V' ? 7 : ops[i] == 'A' ? 4 : 0, uint32_t(i));
                if (ops[i] == 'V') f.writeVideoFrame(data(p), 7);
                if (ops[i] == 'Z') f.writeVideoFrame(data(p));
                if (ops[i] == 'A') f.writeAudio(data(p)); // 3 in the head, 4 bytes written
                recs.push_back({ops[i] != 'A', pos, ops[i] == 'V' ? 7u : ops[i] == 'A' ? 3u : 0u, p});
                pos += 8 + p.size();
            }
        }));
        const Header h = header(img);
        EXPECT_EQ(recs[1].pos % 2, 1u); // behind an odd frame, unpadded
        std::vector<StandardEntry> vIx, aIx;
        std::vector<LegacyEntry> legacy;
        for (bool video : {true, false})
            for (const Rec& r : recs) {
                if (r.video != video) continue;
                expectAt(img, r.pos, cat({fourcc(video ? vid : aud), le32(r.size), r.payload}), "chunk");
                (video ? vIx : aIx).push_back({uint32_t(r.pos - movi + 8), r.size});
                legacy.push_back({video ? vid : aud, 0, uint32_t(r.pos - movi), r.size}); // all video first
            }
        EXPECT_EQ(vIx[0].offset, 12u); // the first chunk: 12 in ix##, 4 in idx1
        EXPECT_EQ(legacy[0].offset, 4u);
        const uint64_t ixV = recs.back().pos + 8 + recs.back().payload.size(), ixA = ixV + 64, idx1 = ixA + 64;
        expectIx(img, ixV, audioFirst ? "ix01" : "ix00", vid, movi, vIx); // the video index first
        expectIx(img, ixA, audioFirst ? "ix00" : "ix01", aud, movi, aIx);
        expectAt(img, idx1, chunk("idx1", idx1Payload(legacy)), "idx1");
        EXPECT_EQ(img.end(), idx1 + 8 + 128);
        EXPECT_EQ(img.u32(movi - 4), idx1 - movi);
        const Children& vs = h.strl[audioFirst ? 1 : 0];
        const Children& as = h.strl[audioFirst ? 0 : 1];
        expectIndx(img, vs, vid, {{ixV, 64, 4}});
        expectIndx(img, as, aud, {{ixA, 64, 8}}); // dwSampleSize 2 x 4 chunks
        // Sizes stay 0 whatever the sized overload wrote; dwLength is 4 x 3 bytes / 2.
        expectAt(img, find(as, "strh"), chunk("strh", strh("auds", 536870, 4294960000u, 6, 3, 2)), "audio strh");
        expectAt(img, find(vs, "strh"), chunk("strh", strh("vids", 1000000, 25000000, 4, 0, 0)), "video strh");
        EXPECT_EQ(img.u32(find(vs, "strf") + 28), 0u); // biSizeImage
    }
}

TEST(AviWriter, FourCCSelectsChunkSuffix) {
    struct Row {
        std::string fourcc, chunkId;
        bool audioFirst;
    };
    for (const Row& r : {Row{"", "00db", false}, Row{"MJPG", "00dc", false}, Row{"ABCDE", "00db", false},
                         Row{"abc", "00db", false}, Row{"MJPG", "01dc", true}}) {
        SCOPED_TRACE("'" + r.fourcc + "'");
        TempDir dir;
        Bytes frame = patternBytes(16, 5);
        const Image img = load(writeAvi(dir, "f.avi", [&](avi::File& f) {
            if (r.audioFirst) f.setAudioInfo(8000, 8, 1, 100);
            f.setVideoInfo(2, 2, 25.0, r.fourcc);
            f.writeVideoFrame(data(frame));
        }));
        const Header h = header(img);
        const Children& v = h.strl.at(r.audioFirst ? 1 : 0);
        EXPECT_EQ(img.u32(find(v, "strf") + 24), r.chunkId[3] == 'c' ? avi::readLE32("MJPG") : 0u);
        EXPECT_EQ(img.id(h.H + 32), r.chunkId);
        EXPECT_EQ(img.id(find(v, "indx") + 16), r.chunkId);
    }
}

TEST(AviWriter, ConfigurationErrors) {
    TempDir dir;
    for (unsigned bits : {0u, 1u, 3u, 12u, 64u}) {
        avi::File f;
        ASSERT_TRUE(f.open(dir.path("bad.avi").c_str(), "w"));
        f.setVideoInfo(4, 2, 25.0, "", bits);
        EXPECT_EQ(f.getErrorCode(), avi::errors::INVALID_BITS_PER_PIXEL) << bits;
        EXPECT_FALSE(f.hasVideo());
        f.close(); // no stream configured: nothing is written
        EXPECT_EQ(sizeOf(dir.path("bad.avi")), 0u);
    }
    const std::vector<avi::tagRGBQUAD> three(3, avi::tagRGBQUAD{1, 2, 3, 0});
    for (size_t first : {3u, 256u, 257u}) {
        avi::File f;
        ASSERT_TRUE(f.open(dir.path("c.avi").c_str(), "w"));
        f.setColormap(std::vector<avi::tagRGBQUAD>(first));
        EXPECT_EQ(f.getErrorCode(), first > 256 ? avi::errors::COLORMAP_TOO_LARGE : avi::errors::NO_ERROR);
        f.clearError();
        f.setColormap(three);
        EXPECT_EQ(f.getErrorCode(), first > 256 ? avi::errors::NO_ERROR : avi::errors::COLORMAP_NOT_EMPTY);
    }
    const std::string noMap = writeAvi(dir, "nomap.avi", [&](avi::File& f) { f.setVideoInfo(4, 2, 25.0, "", 8); },
                                       avi::errors::COLORMAP_REQUIRED);
    EXPECT_EQ(ids(header(load(noMap)).hdrl), "avih LIST:odml JUNK"); // the video stream list is left out
    avi::File notWriting;
    notWriting.setColormap(three);
    EXPECT_EQ(notWriting.getErrorCode(), avi::errors::COLORMAP_DURING_READ);
}

// Written into "strf" at 8 bits only, counted in biClrUsed at any depth.
TEST(AviWriter, ColormapIsWrittenAndReadBack) {
    for (auto [bits, n] : {std::pair<unsigned, size_t>{24, 3}, {8, 16}, {8, 256}}) {
        std::vector<avi::tagRGBQUAD> map(n);
        std::vector<Rgbq> same(bits == 8 ? n : 0);
        for (size_t i = 0; i < n; ++i) map[i] = {uint8_t(i), uint8_t(255 - i), uint8_t(i * 7), 0};
        for (size_t i = 0; i < same.size(); ++i) same[i] = {map[i].rgbBlue, map[i].rgbGreen, map[i].rgbRed, 0};
        TempDir dir;
        Bytes frame = patternBytes(5 * (bits == 8 ? 8 : 24), 7);
        const std::string path = writeAvi(dir, "p.avi", [&](avi::File& f) {
            f.setVideoInfo(7, 5, 10.0, "", bits);
            f.writeVideoFrame(data(frame));
            f.setColormap(map); // any time before close
        });
        const Image img = load(path);
        const Header h = header(img);
        Bytes bitmap = bitmapInfoPayload(7, 5, uint16_t(bits), 0, same);
        putLE32(bitmap, 20, uint32_t(frame.size()));
        putLE32(bitmap, 32, uint32_t(n));
        expectAt(img, find(h.strl.at(0), "strf"), chunk("strf", bitmap), "strf");
        EXPECT_EQ(img.u32(h.hdrl.back().second + 4), 65520 - 4 * same.size()); // out of the reserved room
        avi::File r;
        ASSERT_TRUE(r.open(path.c_str(), "rb")) << r.getErrorMsg();
        const std::vector<avi::tagRGBQUAD> back = r.getColormap();
        ASSERT_EQ(back.size(), bits == 8 ? n : 0);
        for (size_t i = 0; i < back.size(); ++i) EXPECT_EQ(std::memcmp(&back[i], &map[i], 4), 0) << i;
        Bytes got(frame.size());
        r.readVideoFrame(data(got));
        EXPECT_EQ(got, frame);
        r.setColormap(map);
        EXPECT_EQ(r.getErrorCode(), avi::errors::COLORMAP_DURING_READ);
    }
}

TEST(AviWriter, CloseWithoutChunksWritesEmptyIndexesAndZeroTotals) {
    TempDir dir;
    const Image img = load(writeAvi(dir, "e.avi", [](avi::File& f) {
        f.setVideoInfo(4, 2, 25.0);
        f.setAudioInfo(44100, 16, 2, 400);
    }));
    const Header h = header(img);
    ASSERT_EQ(img.end(), h.H + 104u);
    EXPECT_EQ(img.u32(4), h.H + 96);
    EXPECT_EQ(img.u32(24 + 8 + 16), 0u);
    expectAt(img, find(h.hdrl, "LIST:odml"), list("odml", chunk("dmlh", le32(0))), "odml");
    for (const Children& s : h.strl) EXPECT_EQ(img.u32(find(s, "strh") + 8 + 32), 0u);
    EXPECT_EQ(img.u32(h.H + 24), 4u + 32 + 32);
    expectIx(img, h.H + 32, "ix00", "00db", ANY, {});
    expectIx(img, h.H + 64, "ix01", "01wb", ANY, {});
    expectAt(img, h.H + 96, chunk("idx1", {}), "idx1");
    expectIndx(img, h.strl[0], "00db", {{h.H + 32u, 32, 0}});
    expectIndx(img, h.strl[1], "01wb", {{h.H + 64u, 32, 0}});
}

// Reserved super index room puts the first chunk right below 2 GiB without
// writing gigabytes: the header stays a hole of the file until close.
TEST(AviWriter, FirstChunkAloneTurnsOverTheFirstRiffChunk) {
    TempDir dir;
    const uint32_t H = 16u * 134217700 + 256; // video alone
    const uint64_t R = H + 72u;               // "AVIX" behind ix00 (32) and an empty idx1 (8)
    Bytes frame = patternBytes(112, 8);
    const std::string path = writeAvi(dir, "big.avi", [&](avi::File& f) {
        f.setNumSuperIndexEntries(134217700);
        f.setVideoInfo(2, 2, 25.0, "", 16);
        ASSERT_EQ(f.getHeaderLength(), H);
        EXPECT_EQ(f.getCurRiffChunkSize(), H + 32); // the first RIFF chunk counts its own head
        EXPECT_FALSE(f.atRiffBoundary(111));        // 111 + (H + 32) + 8 + (32 + 8) is 0x7FFFFFFF
        EXPECT_TRUE(f.atRiffBoundary(112));
        f.writeVideoFrame(data(frame), 112);
        EXPECT_EQ(f.getCurRiffChunkSize(), 136u); // a later one counts from "AVIX"
        EXPECT_FALSE(f.atRiffBoundary(0x7FFFFFFF - 192));
        EXPECT_TRUE(f.atRiffBoundary(0x7FFFFFFF - 191));
    });
    ASSERT_EQ(sizeOf(path), R + 184);
    const Image head = load(path, 0, 4096), tail = load(path, H + 20);
    const Header h = header(head);
    EXPECT_EQ(head.u32(4), R - 8);
    EXPECT_EQ(head.u32(24 + 8 + 16), 1u);
    expectAt(head, find(h.hdrl, "LIST:odml"), list("odml", chunk("dmlh", le32(1))), "odml");
    expectIndx(head, h.strl.at(0), "00db", {{H + 32u, 32, 0}, {R + 144, 40, 1}});
    expectAt(tail, H + 20, cat({fourcc("LIST"), le32(36), fourcc("movi")}), "first movi");
    expectIx(tail, H + 32, "ix00", "00db", ANY, {});
    expectAt(tail, H + 64, chunk("idx1", {}), "idx1");
    expectAt(tail, R, cat({fourcc("RIFF"), le32(176), fourcc("AVIX"), fourcc("LIST"), le32(164), fourcc("movi"),
                           fourcc("00db"), le32(112), frame}), "AVIX");
    expectIx(tail, R + 144, "ix00", "00db", R + 20, {{12, 112}});
}

TEST(AviWriter, ChunkThatExactlyFitsStaysAndOneByteMoreTurnsOver) {
    TempDir dir;
    const uint32_t H = 32u * 67108844 + 492; // both streams
    const uint64_t R = H + 140u;
    Bytes sound = patternBytes(4, 9), frame = patternBytes(8, 10);
    const std::string path = writeAvi(dir, "big2.avi", [&](avi::File& f) {
        f.setNumSuperIndexEntries(67108844);
        f.setVideoInfo(2, 2, 25.0, "", 16);
        f.setAudioInfo(8000, 8, 1, 4);
        ASSERT_EQ(f.getHeaderLength(), H);
        f.writeAudio(data(sound));
        // Both standard indexes are projected one entry longer: 40 + 48 bytes.
        EXPECT_FALSE(f.atRiffBoundary(7));
        EXPECT_TRUE(f.atRiffBoundary(8));
        f.writeVideoFrame(data(frame), 8);
    });
    ASSERT_EQ(sizeOf(path), R + 112);
    const Image head = load(path, 0, 4096), tail = load(path, H + 20);
    const Header h = header(head);
    EXPECT_EQ(head.u32(4), R - 8);
    EXPECT_LE(head.u32(4), 0x7FFFFFFFu);
    expectAt(tail, H + 20, cat({fourcc("LIST"), le32(88), fourcc("movi"), fourcc("01wb"), le32(4), sound}), "movi");
    expectIx(tail, H + 44, "ix00", "00db", ANY, {}); // a video index without chunks
    expectIx(tail, H + 76, "ix01", "01wb", H + 28, {{12, 4}});
    expectAt(tail, H + 116, chunk("idx1", idx1Payload({{"01wb", 0, 4, 4}})), "idx1");
    expectAt(tail, R, cat({fourcc("RIFF"), le32(104), fourcc("AVIX"), fourcc("LIST"), le32(92), fourcc("movi"),
                           fourcc("00db"), le32(8), frame}), "AVIX");
    expectIx(tail, R + 40, "ix00", "00db", R + 20, {{12, 8}});
    expectIx(tail, R + 80, "ix01", "01wb", ANY, {});
    expectIndx(head, h.strl.at(0), "00db", {{H + 44u, 32, 0}, {R + 40, 40, 1}});
    expectIndx(head, h.strl.at(1), "01wb", {{H + 76u, 40, 1}, {R + 80, 32, 0}});
    EXPECT_EQ(head.u32(24 + 8 + 16), 1u);
    EXPECT_EQ(head.u32(find(h.strl[1], "strh") + 8 + 32), 4u); // audio of the first RIFF chunk
    avi::File r; // the reader finds both RIFF chunks through the super indexes
    ASSERT_TRUE(r.open(path.c_str(), "rb")) << r.getErrorMsg();
    Bytes got(8), heard(4);
    r.readVideoFrame(data(got));
    r.readAudio(data(heard), 4);
    EXPECT_EQ(got, frame);
    EXPECT_EQ(heard, sound);
}

TEST(AviWriter, LengthArithmeticWrapsAndOverflowPropagates) {
    avi::File f;
    EXPECT_EQ(f.getOpenDMLSuperIndexLength(4096), 65560u);
    EXPECT_EQ(f.getStrlLength(1, 116, 4096), 65684u);
    EXPECT_EQ(f.getStrlLength(1, 204, 4096), 65772u);
    EXPECT_EQ(f.getStrlLength(0, 204, 4096), 0u);
    EXPECT_EQ(f.getOpenDMLHeaderLength(), 16u);
    EXPECT_EQ(f.getOpenDMLSuperIndexLength(0xFFFFFFFFull), 8u); // 32-bit arithmetic
    EXPECT_EQ(f.getOpenDMLStandardIndexLength(0xFFFFFFFFull), 16u);
    EXPECT_THROW(f.getOpenDMLStandardIndexLength(1ull << 32), boost::numeric::positive_overflow);
    EXPECT_THROW(f.getOpenDMLSuperIndexLength(1ull << 32), boost::numeric::positive_overflow);
    TempDir dir;
    ASSERT_TRUE(f.open(dir.path("o.avi").c_str(), "w"));
    f.setNumSuperIndexEntries(1ull << 32);
    EXPECT_THROW(f.setVideoInfo(4, 2, 25.0), boost::numeric::positive_overflow);
    EXPECT_THROW(f.setAudioInfo(8000, 8, 1, 10), boost::numeric::positive_overflow);
    f.setNumSuperIndexEntries(1); // so that close can compute the header
    f.close();
}

TEST(AviWriter, WriteFailuresAreReportedWithoutCrashing) {
    {
        avi::File f;
        ASSERT_TRUE(f.open("/dev/full", "w"));
        f.setVideoInfo(64, 64, 25.0);
        Bytes frame = patternBytes(64 * 192, 11);
        for (int i = 0; i < 3; ++i) f.writeVideoFrame(data(frame));
        f.close();
        EXPECT_EQ(f.getErrorCode(), avi::errors::FWRITE_FAILED);
    }
    // A file that fills up: a size limit in a child process fails the writes.
    TempDir dir;
    const std::string path = dir.path("full.avi");
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{100000, 100000};
        int status = setrlimit(RLIMIT_FSIZE, &limit) == 0 ? 0 : 10;
        {
            avi::File f;
            if (!f.open(path.c_str(), "w")) _exit(11);
            f.setNumSuperIndexEntries(16);
            f.setVideoInfo(64, 64, 25.0);
            f.setAudioInfo(8000, 8, 1, 800);
            Bytes frame = patternBytes(64 * 192, 12), sound = patternBytes(800, 13);
            for (int i = 0; i < 20; ++i, f.writeAudio(data(sound))) f.writeVideoFrame(data(frame));
            if (f.getErrorCode() != avi::errors::FWRITE_FAILED) status = 12; // already while streaming
            f.close();
            if (f.getErrorCode() != avi::errors::FWRITE_FAILED) status = 13;
        }
        _exit(status);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << "child ended by signal " << WTERMSIG(status);
    EXPECT_EQ(WEXITSTATUS(status), 0);
    // Chunks went out up to the limit. The header need not be there: the seek
    // back to offset 0 fails while the stream cannot empty its buffer.
    EXPECT_EQ(sizeOf(path), 100000u);
}

TEST(AviWriter, FilesReadBackFrameForFrameAndByteForByte) {
    struct Row {
        const char* name;
        unsigned width, height, bits;               // bits 0: no video
        unsigned sized;                             // bytes through the sized overload; 0: frame-sized
        unsigned rate, sampleBits, channels, chunk; // rate 0: no audio
        bool audioFirst;
    };
    const Row rows[] = {
        {"video 24-bit odd width", 33, 17, 24, 0, 0, 0, 0, 0, false},
        {"audio only", 0, 0, 0, 0, 44100, 16, 2, 7056, false},
        {"both", 5, 3, 24, 0, 22050, 8, 1, 882, false},
        {"audio first", 7, 3, 24, 0, 8000, 8, 2, 320, true},
        {"8-bit colormap", 7, 5, 8, 0, 11025, 16, 1, 440, false},
        {"16-bit sized", 6, 4, 16, 48, 8000, 16, 2, 320, false},
        {"32-bit sized", 3, 3, 32, 36, 0, 0, 0, 0, false},
        {"odd audio chunk", 1, 1, 24, 0, 8000, 8, 1, 3, true},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        const unsigned frameBytes = r.sized ? r.sized : r.height * (((r.bits / 8) * r.width + 3) & ~3u);
        const int frames = r.bits ? 6 : 0, chunks = r.rate ? 9 : 0;
        std::vector<Bytes> video, audio;
        for (int i = 0; i < frames; ++i) video.push_back(patternBytes(frameBytes, 100 + i));
        for (int i = 0; i < chunks; ++i) audio.push_back(patternBytes((r.chunk + 1) & ~1u, 200 + i));
        TempDir dir;
        const std::string path = writeAvi(dir, "rt.avi", [&](avi::File& f) {
            if (r.audioFirst) f.setAudioInfo(r.rate, r.sampleBits, r.channels, r.chunk);
            if (r.bits) f.setVideoInfo(r.width, r.height, 25.0, "", r.bits);
            if (r.rate && !r.audioFirst) f.setAudioInfo(r.rate, r.sampleBits, r.channels, r.chunk);
            if (r.bits == 8) f.setColormap(std::vector<avi::tagRGBQUAD>(256, avi::tagRGBQUAD{9, 8, 7, 0}));
            for (int i = 0; i < std::max(frames, chunks); ++i) {
                if (i < chunks && r.audioFirst) f.writeAudio(data(audio[i]));
                if (i < frames && r.sized) f.writeVideoFrame(data(video[i]), r.sized);
                if (i < frames && !r.sized) f.writeVideoFrame(data(video[i]));
                if (i < chunks && !r.audioFirst) f.writeAudio(data(audio[i]));
            }
        });
        avi::File f;
        ASSERT_TRUE(f.open(path.c_str(), "rb") && f.getErrorCode() == 0) << f.getErrorMsg();
        ASSERT_EQ(f.hasVideo(), r.bits != 0);
        ASSERT_EQ(f.hasAudio(), r.rate != 0);
        if (r.bits) {
            EXPECT_EQ(std::to_string(f.getVideoWidth()) + "x" + std::to_string(f.getVideoHeight()) + "x" +
                          std::to_string(f.getVideoBitsPerPixel()),
                      std::to_string(r.width) + "x" + std::to_string(r.height) + "x" + std::to_string(r.bits));
            EXPECT_DOUBLE_EQ(f.getVideoFrameRate(), 25.0);
            ASSERT_EQ(f.getVideoTotalFrames(), frames);
            Bytes got(std::max(frameBytes, f.getRGB24VideoFrameSize()));
            for (int i = 0; i < frames; ++i) {
                f.readVideoFrame(data(got));
                ASSERT_EQ(f.getErrorCode(), 0) << f.getErrorMsg();
                EXPECT_EQ(Bytes(got.begin(), got.begin() + frameBytes), video[i]) << "frame " << i;
            }
            EXPECT_TRUE(f.isEndOfVideo());
        }
        if (r.rate) {
            EXPECT_EQ(std::to_string(f.getAudioSampleRate()) + " " + std::to_string(f.getAudioBitsPerSample()) + " " +
                          std::to_string(f.getAudioNumberOfChannels()),
                      std::to_string(r.rate) + " " + std::to_string(r.sampleBits) + " " + std::to_string(r.channels));
            ASSERT_EQ(f.getAudioTotalBytes(), uint64_t(chunks) * r.chunk);
            Bytes all, got(chunks * r.chunk);
            for (const Bytes& a : audio) all.insert(all.end(), a.begin(), a.begin() + r.chunk); // without pad bytes
            f.readAudio(data(got), got.size());
            EXPECT_EQ(f.getErrorCode(), 0) << f.getErrorMsg();
            EXPECT_EQ(got, all);
            EXPECT_TRUE(f.isEndOfAudio());
        }
    }
}
