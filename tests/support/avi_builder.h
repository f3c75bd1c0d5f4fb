#ifndef KORVA_TESTS_SUPPORT_AVI_BUILDER_H
#define KORVA_TESTS_SUPPORT_AVI_BUILDER_H

// Builds AVI files byte by byte for tests, fuzz seeds and benchmarks.
// Low level: chunk, list and record helpers that write exactly what they are
// told, so that tests can also build broken files. High level: buildAvi lays out
// a whole file with one video and/or one audio stream and the chosen indexes.

#include <cstdint>
#include <string>
#include <vector>

namespace korvatest {

using Bytes = std::vector<uint8_t>;

// --- Low level -------------------------------------------------------------------

Bytes le32(uint32_t v);
Bytes fourcc(const std::string& code); // exactly four bytes, zero-filled
Bytes cat(std::initializer_list<Bytes> parts);
void append(Bytes& to, const Bytes& from);
void putLE32(Bytes& into, size_t at, uint32_t v); // patch in place
void putLE64(Bytes& into, size_t at, uint64_t v);

// A chunk head with the payload's own size, the payload, and a pad byte if odd.
Bytes chunk(const std::string& id, const Bytes& payload);
// "LIST" (or "RIFF") with its type and children.
Bytes list(const std::string& type, const Bytes& children, const std::string& id = "LIST");

struct MainHeaderFields {
    uint32_t microSecPerFrame = 40000, flags = 0x10, totalFrames = 0, streams = 1, width = 0, height = 0;
};
Bytes avihPayload(const MainHeaderFields& f); // 56 bytes

struct StreamHeaderFields {
    std::string type = "vids", handler = "";
    uint32_t flags = 0, scale = 1, rate = 25, length = 0, sampleSize = 0, bufferSize = 0, quality = 0xFFFFFFFFu;
};
Bytes strhPayload(const StreamHeaderFields& f); // 56 bytes, an empty frame rectangle

struct Rgbq { uint8_t blue, green, red, reserved; };
Bytes bitmapInfoPayload(int32_t width, int32_t height, uint16_t bits, uint32_t compression,
                        const std::vector<Rgbq>& colormap = {});
Bytes waveFormatPayload(uint16_t tag, uint16_t channels, uint32_t rate, uint16_t bits, size_t totalSize = 18);

// "indx"/"ix##" payload of a standard index.
struct StandardEntry { uint32_t offset, size; };
Bytes standardIndexPayload(const std::string& chunkId, uint64_t base, const std::vector<StandardEntry>& entries,
                           uint8_t subType = 0, uint8_t type = 1);
struct SuperEntry { uint64_t offset; uint32_t size, duration; };
Bytes superIndexPayload(const std::string& chunkId, const std::vector<SuperEntry>& entries, uint8_t type = 0);
struct LegacyEntry { std::string id; uint32_t flags, offset, size; };
Bytes idx1Payload(const std::vector<LegacyEntry>& entries);

// --- High level ----------------------------------------------------------------------

enum class IndexKind { Legacy, None, OpenDML, OpenDMLAndLegacy };

struct VideoPlan {
    int32_t width = 4, height = 2; // negative height: rows stored top-down
    uint16_t bits = 24;
    uint32_t compression = 0, scale = 1, rate = 25;
    std::vector<Rgbq> colormap;
};

struct AudioPlan {
    uint16_t tag = 1, channels = 2;
    uint32_t rate = 8000;
    uint16_t bits = 16;
    int64_t lengthOverride = -1; // sample frames stated in the stream header; by default the sum of the chunks
};

struct AviPlan {
    bool hasVideo = true, hasAudio = false, audioFirst = false; // audioFirst: audio is stream 0
    VideoPlan video;
    AudioPlan audio;
    std::vector<Bytes> frames, audioChunks;
    IndexKind index = IndexKind::Legacy;
    unsigned segments = 1; // RIFF segments, OpenDML only
    uint32_t mainFlags = 0x10;
    int64_t totalFramesOverride = -1;
};

struct BuiltAvi {
    Bytes bytes;
    uint64_t moviPosition = 0;                // position of the first "movi" code
    std::vector<uint64_t> frameDataPositions; // absolute positions of frame data
};

BuiltAvi buildAvi(const AviPlan& plan);

// Frame of `size` bytes whose content depends on the frame number and seed.
Bytes patternBytes(size_t size, uint32_t seed);

// --- Files -----------------------------------------------------------------------------

void writeFile(const std::string& path, const Bytes& bytes);
// A fresh directory under the system's temporary directory, removed with its
// contents when the object goes.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    std::string path(const std::string& name) const;

private:
    std::string root;
};
// Writes `bytes` to a new file in a directory that lasts for the whole run and returns its path.
std::string tempFile(const Bytes& bytes);

// Runs a shell command and gathers its standard output; false when it could
// not run or exited other than with 0.
bool runCommand(const std::string& command, std::string& output);

} // namespace korvatest

#endif
