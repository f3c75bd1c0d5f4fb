#include "avi_builder.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace korvatest {

namespace {
Bytes le16(uint16_t v) { return Bytes{uint8_t(v), uint8_t(v >> 8)}; }
Bytes le64(uint64_t v) { return cat({le32(uint32_t(v)), le32(uint32_t(v >> 32))}); }
void putLE(Bytes& b, size_t at, uint64_t v, int n) { for (int i = 0; i < n; ++i) b.at(at + i) = uint8_t(v >> 8 * i); }
} // namespace

Bytes le32(uint32_t v) { return Bytes{uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)}; }

Bytes fourcc(const std::string& code) {
    Bytes out(4, 0);
    std::copy_n(code.begin(), std::min<size_t>(4, code.size()), out.begin());
    return out;
}

void append(Bytes& to, const Bytes& from) { to.insert(to.end(), from.begin(), from.end()); }

Bytes cat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& p : parts) append(out, p);
    return out;
}

void putLE32(Bytes& into, size_t at, uint32_t v) { putLE(into, at, v, 4); }
void putLE64(Bytes& into, size_t at, uint64_t v) { putLE(into, at, v, 8); }

Bytes chunk(const std::string& id, const Bytes& payload) {
    Bytes out = cat({fourcc(id), le32(uint32_t(payload.size())), payload});
    if (payload.size() % 2) out.push_back(0);
    return out;
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
                le32(0), le32(f.length), le32(f.bufferSize), le32(f.quality), le32(f.sampleSize), le32(0), le32(0)});
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
    Bytes out = cat({le16(4), Bytes{0, type}, le32(uint32_t(entries.size())), fourcc(chunkId), Bytes(12, 0)});
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

using SuperEntries = std::vector<std::vector<SuperEntry>>; // per stream

// Lays the file out with the super index entries `given` (none: zeros in their place) and returns in `found` the
// entries that fit the layout. The entries take the same room either way.
BuiltAvi lay(const AviPlan& plan, const SuperEntries& given, SuperEntries& found) {
    const bool opendml = plan.index == IndexKind::OpenDML || plan.index == IndexKind::OpenDMLAndLegacy;
    const bool legacy = plan.index == IndexKind::Legacy || plan.index == IndexKind::OpenDMLAndLegacy;
    const unsigned segments = opendml ? std::max(1u, plan.segments) : 1u;
    const VideoPlan& v = plan.video;
    const AudioPlan& a = plan.audio;
    std::vector<bool> isVideo; // per stream, in stream order
    if (plan.hasVideo && !plan.audioFirst) isVideo.push_back(true);
    if (plan.hasAudio) isVideo.push_back(false);
    if (plan.hasVideo && plan.audioFirst) isVideo.push_back(true);
    const auto dataId = [&](size_t k) {
        return "0" + std::to_string(k) + (!isVideo[k] ? "wb" : v.compression ? "dc" : "db");
    };

    uint64_t audioBytes = 0;
    for (const Bytes& c : plan.audioChunks) audioBytes += c.size();
    const uint32_t blockAlign = std::max<uint32_t>(1, a.channels * (a.bits / 8));
    const uint32_t audioLength = a.lengthOverride >= 0 ? uint32_t(a.lengthOverride) : uint32_t(audioBytes / blockAlign);
    Bytes strls;
    for (size_t k = 0; k < isVideo.size(); ++k) {
        const Bytes body = isVideo[k]
            ? cat({chunk("strh", strhPayload({"vids", "", 0, v.scale, v.rate, uint32_t(plan.frames.size()), 0})),
                   chunk("strf", bitmapInfoPayload(v.width, v.height, v.bits, v.compression, v.colormap))})
            : cat({chunk("strh", strhPayload({"auds", "", 0, 1, a.rate, audioLength, blockAlign})),
                   chunk("strf", waveFormatPayload(a.tag, a.channels, a.rate, a.bits))});
        const std::vector<SuperEntry> entries = given.empty() ? std::vector<SuperEntry>(segments) : given[k];
        append(strls, list("strl", opendml ? cat({body, chunk("indx", superIndexPayload(dataId(k), entries))}) : body));
    }
    const uint32_t totalFrames =
        plan.totalFramesOverride >= 0 ? uint32_t(plan.totalFramesOverride) : uint32_t(plan.frames.size());
    const MainHeaderFields m{40000, plan.mainFlags, totalFrames, uint32_t(isVideo.size()), uint32_t(v.width),
                             uint32_t(std::abs(v.height))};

    BuiltAvi out;
    Bytes& file = out.bytes;
    file = cat({fourcc("RIFF"), le32(0), fourcc("AVI "), list("hdrl", cat({chunk("avih", avihPayload(m)), strls}))});
    std::vector<LegacyEntry> legacyEntries;
    found.assign(isVideo.size(), {});
    for (unsigned seg = 0; seg < segments; ++seg) {
        const size_t riffStart = seg ? file.size() : 0;
        if (seg) append(file, cat({fourcc("RIFF"), le32(0), fourcc("AVIX")}));
        const size_t listStart = file.size();
        append(file, cat({fourcc("LIST"), le32(0), fourcc("movi")}));
        const uint64_t moviPos = listStart + 8;
        if (seg == 0) out.moviPosition = moviPos;
        // Each stream's items are split evenly over the segments, and interleaved within them.
        const auto first = [&](size_t items, unsigned s) { return items * s / segments; };
        const size_t rounds = std::max(first(plan.frames.size(), seg + 1) - first(plan.frames.size(), seg),
                                       first(plan.audioChunks.size(), seg + 1) - first(plan.audioChunks.size(), seg));
        std::vector<std::vector<StandardEntry>> standard(isVideo.size());
        for (size_t i = 0; i < rounds; ++i) {
            for (size_t k = 0; k < isVideo.size(); ++k) {
                const std::vector<Bytes>& items = isVideo[k] ? plan.frames : plan.audioChunks;
                const size_t n = first(items.size(), seg) + i;
                if (n >= first(items.size(), seg + 1)) continue;
                const uint64_t head = file.size();
                const uint32_t size = uint32_t(items[n].size());
                append(file, chunk(dataId(k), items[n]));
                standard[k].push_back({uint32_t(head + 8 - moviPos), size});
                if (seg == 0) legacyEntries.push_back({dataId(k), 0x10, uint32_t(head - moviPos), size});
                if (isVideo[k]) out.frameDataPositions.push_back(head + 8);
            }
        }
        for (size_t k = 0; opendml && k < isVideo.size(); ++k) {
            const Bytes ix = chunk("ix0" + std::to_string(k), standardIndexPayload(dataId(k), moviPos, standard[k]));
            found[k].push_back({file.size(), uint32_t(ix.size()), uint32_t(standard[k].size())});
            append(file, ix);
        }
        putLE32(file, listStart + 4, uint32_t(file.size() - listStart - 8));
        if (seg == 0 && legacy) append(file, chunk("idx1", idx1Payload(legacyEntries)));
        putLE32(file, riffStart + 4, uint32_t(file.size() - riffStart - 8));
    }
    return out;
}

} // namespace

BuiltAvi buildAvi(const AviPlan& plan) {
    SuperEntries super, again;
    lay(plan, {}, super); // the first pass finds where the standard indexes land
    return lay(plan, super, again);
}

void writeFile(const std::string& path, const Bytes& bytes) {
    FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) throw std::runtime_error("cannot create " + path);
    const bool ok = bytes.empty() || std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
    if (std::fclose(f) != 0 || !ok) throw std::runtime_error("cannot write " + path);
}

TempDir::TempDir() {
    const char* base = std::getenv("TMPDIR");
    root = std::string(base && *base ? base : "/tmp") + "/korva-test-XXXXXX";
    if (mkdtemp(root.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(root, ignored);
}

std::string TempDir::path(const std::string& name) const { return root + "/" + name; }

std::string tempFile(const Bytes& bytes) {
    static const TempDir dir;
    static int files = 0;
    const std::string path = dir.path("f" + std::to_string(files++) + ".avi");
    writeFile(path, bytes);
    return path;
}

bool runCommand(const std::string& command, std::string& output) {
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return false;
    output.clear();
    char block[65536];
    for (size_t got; (got = std::fread(block, 1, sizeof block, pipe)) > 0;) output.append(block, got);
    return pclose(pipe) == 0;
}

} // namespace korvatest
