// Writes the seed corpus of the AVI read fuzzer into a directory: small files
// (each well under 4 KiB) that reach every index kind, every pixel depth, both
// row orders, audio and video alone and together, compressed video, and a few
// damaged files whose sizes and counts point far past their ends. Seeds that
// parse get the fuzzer past the header checks at once; the damaged ones start
// it at the refusal paths.
//
// Usage: avi_make_corpus DIRECTORY

#include <algorithm>
#include <cstdio>
#include <exception>
#include <functional>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <utility>
#include <vector>

#include "support/avi_builder.h"

using namespace korvatest;

namespace {

// Stored rows are padded to four bytes.
size_t storedFrameSize(int32_t width, int32_t height, uint16_t bits) {
    const size_t stride = (size_t(width) * bits + 31) / 32 * 4;
    return stride * size_t(height < 0 ? -height : height);
}

std::vector<Rgbq> palette(size_t entries) {
    std::vector<Rgbq> out;
    for (size_t i = 0; i < entries; ++i)
        out.push_back({uint8_t(i * 7), uint8_t(255 - i), uint8_t(i * 3 + 1), 0});
    return out;
}

AviPlan videoPlan(int32_t width, int32_t height, uint16_t bits, size_t frames, IndexKind index = IndexKind::Legacy) {
    AviPlan plan;
    plan.video.width = width;
    plan.video.height = height;
    plan.video.bits = bits;
    if (bits <= 8) plan.video.colormap = palette(size_t(1) << bits);
    plan.index = index;
    for (size_t f = 0; f < frames; ++f)
        plan.frames.push_back(patternBytes(storedFrameSize(width, height, bits), uint32_t(f + 1)));
    return plan;
}

// Audio chunks of the given sizes, rounded down to whole sample frames.
void addAudio(AviPlan& plan, uint16_t channels, uint16_t bits, std::vector<size_t> chunkBytes) {
    plan.hasAudio = true;
    plan.audio.channels = channels;
    plan.audio.bits = bits;
    const size_t align = std::max<size_t>(1, channels * (bits / 8));
    uint32_t seed = 100;
    for (size_t bytes : chunkBytes) plan.audioChunks.push_back(patternBytes(bytes / align * align, seed++));
}

Bytes build(const AviPlan& plan) { return buildAvi(plan).bytes; }

// Position of the first occurrence of a four-character code at or after `from`.
size_t find(const Bytes& bytes, const std::string& code, size_t from = 0) {
    const Bytes needle = fourcc(code);
    const auto at = std::search(bytes.begin() + std::ptrdiff_t(from), bytes.end(), needle.begin(), needle.end());
    if (at == bytes.end()) throw std::runtime_error("no " + code + " in a seed");
    return size_t(at - bytes.begin());
}

Bytes truncated(Bytes bytes, size_t length) {
    bytes.resize(length);
    return bytes;
}

std::vector<std::pair<std::string, Bytes>> seeds() {
    std::vector<std::pair<std::string, Bytes>> out;
    auto add = [&out](const std::string& name, const Bytes& bytes) { out.emplace_back(name, bytes); };

    // --- Index kinds, with audio interleaved. ---
    {
        AviPlan s = videoPlan(4, 2, 24, 3);
        addAudio(s, 2, 16, {64, 64, 64});
        add("legacy-24bit-audio.avi", build(s));
        s.index = IndexKind::None;
        add("no-index-24bit-audio.avi", build(s));
        s.index = IndexKind::OpenDML;
        add("opendml-1-segment.avi", build(s));
        s.segments = 3;
        add("opendml-3-segments.avi", build(s));
        s.index = IndexKind::OpenDMLAndLegacy;
        s.segments = 2;
        add("opendml-and-legacy.avi", build(s));
    }

    // --- Pixel depths, odd widths, row order. ---
    add("depth8-odd-width.avi", build(videoPlan(5, 3, 8, 3)));
    add("depth16-odd-width.avi", build(videoPlan(3, 2, 16, 3)));
    add("depth32.avi", build(videoPlan(3, 2, 32, 3)));
    add("depth24-odd-width.avi", build(videoPlan(5, 2, 24, 2)));
    add("depth4.avi", build(videoPlan(7, 2, 4, 2)));
    add("depth2.avi", build(videoPlan(9, 2, 2, 2)));
    {
        AviPlan s = videoPlan(6, 2, 4, 2);
        s.video.colormap.clear(); // the reader supplies a colormap of its own
        add("depth4-no-colormap.avi", build(s));
    }
    add("top-down-24bit.avi", build(videoPlan(3, -3, 24, 2)));
    add("top-down-8bit-odd-width.avi", build(videoPlan(5, -2, 8, 2)));
    add("top-down-16bit-opendml.avi", build(videoPlan(3, -2, 16, 2, IndexKind::OpenDML)));

    // --- One stream, or audio first. ---
    {
        AviPlan s;
        s.hasVideo = false;
        addAudio(s, 1, 8, {33, 100, 7});
        add("audio-only-8bit-mono.avi", build(s));
        s.index = IndexKind::None;
        add("audio-only-no-index.avi", build(s));
    }
    {
        AviPlan s = videoPlan(2, 2, 24, 2);
        s.audioFirst = true;
        addAudio(s, 2, 16, {40, 12, 80});
        add("audio-first.avi", build(s));
        s.audio.bits = 24; // opens, with an error standing for the audio
        s.audioChunks = {patternBytes(60, 1), patternBytes(18, 2)};
        add("audio-24bit.avi", build(s));
    }
    {
        AviPlan s;
        s.video.compression = 0x47504A4D; // "MJPG"
        s.frames = {patternBytes(17, 1), patternBytes(300, 2), patternBytes(1, 3), patternBytes(64, 4)};
        add("compressed-video.avi", build(s));
        s.index = IndexKind::OpenDML;
        addAudio(s, 2, 16, {20, 20});
        add("compressed-video-opendml-audio.avi", build(s));
    }

    // --- Damaged files. ---
    {
        AviPlan s = videoPlan(4, 2, 24, 3);
        addAudio(s, 2, 16, {64, 64, 64});
        const BuiltAvi b = buildAvi(s);
        add("damaged-cut-in-frame.avi", truncated(b.bytes, size_t(b.frameDataPositions[1]) + 5));
        add("damaged-cut-in-idx1.avi", truncated(b.bytes, b.bytes.size() - 5));

        Bytes hugeIdx1 = b.bytes;
        putLE32(hugeIdx1, find(hugeIdx1, "idx1") + 4, 0xFFFFFFF0u);
        add("damaged-huge-idx1-size.avi", hugeIdx1);

        // First entry: an offset near 4 GiB; second: a size near 2 GiB.
        Bytes hugeEntries = b.bytes;
        const size_t entries = find(hugeEntries, "idx1") + 8;
        putLE32(hugeEntries, entries + 8, 0xFFFFFF00u);
        putLE32(hugeEntries, entries + 16 + 12, 0x7FFFFFFFu);
        add("damaged-huge-idx1-entries.avi", hugeEntries);
    }
    {
        // No index, so the reader walks "movi": its sizes say far more than
        // the file holds.
        AviPlan s = videoPlan(4, 2, 24, 2, IndexKind::None);
        addAudio(s, 1, 16, {30, 30});
        Bytes bytes = build(s);
        putLE32(bytes, 4, 0xFFFFFFFFu);
        const size_t movi = find(bytes, "movi");
        putLE32(bytes, movi - 4, 0xFFFFFFFEu);
        putLE32(bytes, find(bytes, "01wb", movi) + 4, 0xFFFFFFF0u);
        add("damaged-huge-movi-sizes.avi", bytes);
    }
    {
        // A 65537 x 65535 picture in frames of a few bytes: geometry sizes that
        // wrap in 32 bits.
        AviPlan s;
        s.video.width = 65537;
        s.video.height = 65535;
        s.video.bits = 16;
        s.frames = {patternBytes(40, 1), patternBytes(40, 2)};
        add("damaged-huge-geometry.avi", build(s));
    }
    {
        AviPlan s = videoPlan(2, 2, 24, 4, IndexKind::OpenDML);
        addAudio(s, 2, 16, {16, 16, 16, 16});
        s.segments = 2;
        const Bytes good = build(s);

        Bytes superCount = good;
        putLE32(superCount, find(superCount, "indx") + 8 + 4, 0x10000000u);
        add("damaged-opendml-super-count.avi", superCount);

        Bytes standardCount = good;
        putLE32(standardCount, find(standardCount, "ix00") + 8 + 4, 0x0FFFFFFFu);
        add("damaged-opendml-standard-count.avi", standardCount);

        // First super entry of the video stream points far past the end.
        Bytes superOffset = good;
        putLE64(superOffset, find(superOffset, "indx") + 8 + 24, 0x0000FFFFFFFFFF00ull);
        add("damaged-opendml-super-offset.avi", superOffset);
    }
    return out;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: avi_make_corpus DIRECTORY\n");
        return 2;
    }
    const std::string dir = argv[1];
    mkdir(dir.c_str(), 0755);
    try {
        for (const auto& seed : seeds()) {
            if (seed.second.size() >= 4096) throw std::runtime_error(seed.first + " is not a small seed");
            writeFile(dir + "/" + seed.first, seed.second);
        }
    } catch (const std::exception& e) {
        std::fprintf(stderr, "avi_make_corpus: %s\n", e.what());
        return 1;
    }
    return 0;
}
