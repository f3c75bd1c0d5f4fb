#include "avi_builder.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include <ftw.h>
#include <unistd.h>

namespace korvatest {

Bytes le16(uint16_t v) { return Bytes{uint8_t(v), uint8_t(v >> 8)}; }

Bytes le32(uint32_t v) { return Bytes{uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)}; }

Bytes le64(uint64_t v) { return cat({le32(uint32_t(v)), le32(uint32_t(v >> 32))}); }

Bytes fourcc(const std::string& code) {
    Bytes out(4, 0);
    for (size_t i = 0; i < 4 && i < code.size(); ++i) out[i] = uint8_t(code[i]);
    return out;
}

void append(Bytes& to, const Bytes& from) { to.insert(to.end(), from.begin(), from.end()); }

Bytes cat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& p : parts) append(out, p);
    return out;
}

void putLE32(Bytes& into, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) into.at(at + i) = uint8_t(v >> (8 * i));
}

void putLE64(Bytes& into, size_t at, uint64_t v) {
    for (int i = 0; i < 8; ++i) into.at(at + i) = uint8_t(v >> (8 * i));
}

Bytes chunkWithSize(const std::string& id, uint32_t sizeField, const Bytes& payload) {
    Bytes out = cat({fourcc(id), le32(sizeField), payload});
    if (payload.size() % 2) out.push_back(0);
    return out;
}

Bytes chunk(const std::string& id, const Bytes& payload) {
    return chunkWithSize(id, uint32_t(payload.size()), payload);
}

Bytes list(const std::string& type, const Bytes& children, const std::string& id) {
    return chunk(id, cat({fourcc(type), children}));
}

Bytes avihPayload(const MainHeaderFields& f) {
    return cat({le32(f.microSecPerFrame), le32(0), le32(0), le32(f.flags), le32(f.totalFrames), le32(0),
                le32(f.streams), le32(0), le32(f.width), le32(f.height), le32(0), le32(0), le32(0), le32(0)});
}

Bytes strhPayload(const StreamHeaderFields& f) {
    return cat({fourcc(f.type), fourcc(f.handler), le32(f.flags), le32(0), le32(0), le32(f.scale), le32(f.rate),
                le32(0), le32(f.length), le32(0), le32(0xFFFFFFFFu), le32(f.sampleSize), le16(f.frame[0]),
                le16(f.frame[1]), le16(f.frame[2]), le16(f.frame[3])});
}

Bytes bitmapInfoPayload(int32_t width, int32_t height, uint16_t bits, uint32_t compression,
                        const std::vector<Rgbq>& colormap) {
    Bytes out = cat({le32(40), le32(uint32_t(width)), le32(uint32_t(height)), le16(1), le16(bits), le32(compression),
                     le32(0), le32(0), le32(0), le32(uint32_t(colormap.size())), le32(0)});
    for (const Rgbq& q : colormap) append(out, Bytes{q.blue, q.green, q.red, q.reserved});
    return out;
}

Bytes waveFormatPayload(uint16_t tag, uint16_t channels, uint32_t rate, uint16_t bits, size_t totalSize) {
    const uint16_t align = uint16_t(channels * (bits / 8));
    Bytes out = cat({le16(tag), le16(channels), le32(rate), le32(rate * align), le16(align), le16(bits), le16(0)});
    out.resize(totalSize, 0);
    return out;
}

Bytes standardIndexPayload(const std::string& chunkId, uint64_t base, const std::vector<StandardEntry>& entries,
                           uint8_t subType, uint8_t type) {
    Bytes out = cat({le16(2), Bytes{subType, type}, le32(uint32_t(entries.size())), fourcc(chunkId), le64(base),
                     le32(0)});
    for (const StandardEntry& e : entries) append(out, cat({le32(e.offset), le32(e.size)}));
    return out;
}

Bytes superIndexPayload(const std::string& chunkId, const std::vector<SuperEntry>& entries, uint8_t type) {
    Bytes out = cat({le16(4), Bytes{0, type}, le32(uint32_t(entries.size())), fourcc(chunkId), le32(0), le32(0),
                     le32(0)});
    for (const SuperEntry& e : entries) append(out, cat({le64(e.offset), le32(e.size), le32(e.duration)}));
    return out;
}

Bytes idx1Payload(const std::vector<LegacyEntry>& entries) {
    Bytes out;
    for (const LegacyEntry& e : entries) append(out, cat({fourcc(e.id), le32(e.flags), le32(e.offset), le32(e.size)}));
    return out;
}

Bytes patternBytes(size_t size, uint32_t seed) {
    Bytes out(size);
    uint32_t x = seed * 2654435761u + 12345u;
    for (size_t i = 0; i < size; ++i) {
        x = x * 1103515245u + 12345u;
        out[i] = uint8_t(x >> 16);
    }
    return out;
}

namespace {

struct StreamLayout {
    bool video;
    std::string dataId;  // "00db"
    std::string indexId; // "ix00"
};

// Splits n items over `segments` parts as evenly as possible.
size_t splitAt(size_t n, unsigned segments, unsigned s) { return n * s / segments; }

} // namespace

BuiltAvi buildAvi(const AviPlan& plan) {
    const bool opendml = plan.index == IndexKind::OpenDML || plan.index == IndexKind::OpenDMLAndLegacy;
    const bool legacy = plan.index == IndexKind::Legacy || plan.index == IndexKind::OpenDMLAndLegacy;
    const unsigned segments = opendml ? std::max(1u, plan.segments) : 1u;

    std::vector<StreamLayout> streams;
    auto addVideo = [&] {
        const std::string n = "0" + std::to_string(streams.size());
        streams.push_back({true, n + (plan.video.compression ? "dc" : "db"), "ix" + n});
    };
    auto addAudio = [&] {
        const std::string n = "0" + std::to_string(streams.size());
        streams.push_back({false, n + "wb", "ix" + n});
    };
    if (plan.audioFirst) {
        if (plan.hasAudio) addAudio();
        if (plan.hasVideo) addVideo();
    } else {
        if (plan.hasVideo) addVideo();
        if (plan.hasAudio) addAudio();
    }

    uint64_t audioBytes = 0;
    for (const Bytes& c : plan.audioChunks) audioBytes += c.size();
    const uint32_t blockAlign = std::max<uint32_t>(1, plan.audio.channels * (plan.audio.bits / 8));

    // --- Header list, with super index entries to be patched in. ---
    Bytes strls;
    std::vector<size_t> superEntryAt; // per stream: offset of its first super entry within strls
    for (const StreamLayout& s : streams) {
        StreamHeaderFields h;
        Bytes format;
        if (s.video) {
            h.type = "vids";
            h.scale = plan.video.scale;
            h.rate = plan.video.rate;
            h.length = uint32_t(plan.frames.size());
            format = bitmapInfoPayload(plan.video.width, plan.video.height, plan.video.bits, plan.video.compression,
                                       plan.video.colormap);
        } else {
            h.type = "auds";
            h.scale = 1;
            h.rate = plan.audio.rate;
            h.sampleSize = blockAlign;
            h.length = plan.audio.lengthOverride >= 0 ? uint32_t(plan.audio.lengthOverride)
                                                      : uint32_t(audioBytes / blockAlign);
            format = waveFormatPayload(plan.audio.tag, plan.audio.channels, plan.audio.rate, plan.audio.bits);
        }
        Bytes body = cat({chunk("strh", strhPayload(h)), chunk("strf", format)});
        if (opendml) {
            std::vector<SuperEntry> placeholders(segments, SuperEntry{0, 0, 0});
            // LIST head (12) + body so far + indx head (8) + 24 bytes of index header.
            superEntryAt.push_back(strls.size() + 12 + body.size() + 8 + 24);
            append(body, chunk("indx", superIndexPayload(s.dataId, placeholders)));
        }
        append(strls, list("strl", body));
    }
    MainHeaderFields m;
    m.flags = plan.mainFlags;
    m.totalFrames = plan.totalFramesOverride >= 0 ? uint32_t(plan.totalFramesOverride) : uint32_t(plan.frames.size());
    m.streams = uint32_t(streams.size());
    m.width = uint32_t(plan.video.width);
    m.height = uint32_t(plan.video.height < 0 ? -plan.video.height : plan.video.height);
    const Bytes hdrl = list("hdrl", cat({chunk("avih", avihPayload(m)), strls}));

    BuiltAvi out;
    Bytes& file = out.bytes;
    append(file, cat({fourcc("RIFF"), le32(0), fourcc("AVI ")}));
    const size_t strlsAt = file.size() + 12 + 8 + 56; // hdrl LIST head + avih chunk
    append(file, hdrl);

    std::vector<std::vector<SuperEntry>> superEntries(streams.size());
    std::vector<LegacyEntry> legacyEntries;
    for (unsigned seg = 0; seg < segments; ++seg) {
        size_t riffStart = 0;
        if (seg > 0) {
            riffStart = file.size();
            append(file, cat({fourcc("RIFF"), le32(0), fourcc("AVIX")}));
        }
        const size_t listStart = file.size();
        append(file, cat({fourcc("LIST"), le32(0), fourcc("movi")}));
        const uint64_t moviPos = listStart + 8;
        if (seg == 0) out.moviPosition = moviPos;

        const size_t v0 = splitAt(plan.frames.size(), segments, seg), v1 = splitAt(plan.frames.size(), segments, seg + 1);
        const size_t a0 = splitAt(plan.audioChunks.size(), segments, seg),
                     a1 = splitAt(plan.audioChunks.size(), segments, seg + 1);
        std::vector<std::vector<StandardEntry>> standard(streams.size());
        auto emit = [&](size_t streamNo, const Bytes& payload) {
            const StreamLayout& s = streams[streamNo];
            const uint64_t head = file.size();
            append(file, chunk(s.dataId, payload));
            standard[streamNo].push_back({uint32_t(head + 8 - moviPos), uint32_t(payload.size())});
            if (seg == 0) legacyEntries.push_back({s.dataId, 0x10, uint32_t(head - moviPos), uint32_t(payload.size())});
            (s.video ? out.frameDataPositions : out.audioDataPositions).push_back(head + 8);
        };
        const size_t rounds = std::max(v1 - v0, a1 - a0);
        for (size_t i = 0; i < rounds; ++i) {
            for (size_t k = 0; k < streams.size(); ++k) {
                if (streams[k].video && v0 + i < v1) emit(k, plan.frames[v0 + i]);
                if (!streams[k].video && a0 + i < a1) emit(k, plan.audioChunks[a0 + i]);
            }
        }
        if (opendml) {
            for (size_t k = 0; k < streams.size(); ++k) {
                const Bytes ix = chunk(streams[k].indexId, standardIndexPayload(streams[k].dataId, moviPos, standard[k]));
                superEntries[k].push_back({file.size(), uint32_t(ix.size()), uint32_t(standard[k].size())});
                append(file, ix);
            }
        }
        putLE32(file, listStart + 4, uint32_t(file.size() - listStart - 8));
        if (seg == 0 && legacy) append(file, chunk("idx1", idx1Payload(legacyEntries)));
        if (seg > 0) putLE32(file, riffStart + 4, uint32_t(file.size() - riffStart - 8));
        if (seg == 0) putLE32(file, 4, uint32_t(file.size() - 8));
    }
    for (size_t k = 0; k < superEntryAt.size(); ++k) {
        for (size_t e = 0; e < superEntries[k].size(); ++e) {
            const size_t at = strlsAt + superEntryAt[k] + 16 * e;
            putLE64(file, at, superEntries[k][e].offset);
            putLE32(file, at + 8, superEntries[k][e].size);
            putLE32(file, at + 12, superEntries[k][e].duration);
        }
    }
    return out;
}

void writeFile(const std::string& path, const Bytes& bytes) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) throw std::runtime_error("cannot create " + path);
    const bool ok = bytes.empty() || std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    if (std::fclose(f) != 0 || !ok) throw std::runtime_error("cannot write " + path);
}

TempDir::TempDir() {
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/korva-test-XXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    root = name.data();
}

TempDir::~TempDir() {
    nftw(
        root.c_str(), [](const char* p, const struct stat*, int, struct FTW*) { return ::remove(p); }, 16,
        FTW_DEPTH | FTW_PHYS);
}

std::string TempDir::path(const std::string& name) const { return root + "/" + name; }

} // namespace korvatest
