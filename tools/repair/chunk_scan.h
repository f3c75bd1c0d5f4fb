#ifndef KORVA_TOOLS_REPAIR_CHUNK_SCAN_H
#define KORVA_TOOLS_REPAIR_CHUNK_SCAN_H

// A walk over every chunk of an AVI file that trusts neither its header nor
// its indexes: it enters RIFF and "movi" lists wherever they stand, keeps each
// complete video and audio chunk in file order, steps over indexes, "JUNK" and
// runs of zero bytes, and where the bytes make no sense it looks for the next
// place where a chunk plausibly begins.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "stream_formats.h"

namespace korva::repair {

struct FoundChunk {
    uint64_t payload; // file offset of the first payload byte
    uint32_t size;
    bool video;
};

enum class IndexKind { None, Idx1Relative, Idx1Absolute, Idx1Unusable, OpenDML };

struct DroppedRun {
    uint64_t offset;
    uint64_t bytes;
    std::string why;
};

struct ScanResult {
    bool headerPresent = false; // the file starts with a RIFF "AVI " head
    uint64_t leadingHole = 0;   // zero bytes at the start, where a header should be
    IndexKind index = IndexKind::None;
    uint32_t openDMLIndexes = 0;
    uint32_t riffChunks = 0;
    std::vector<FoundChunk> chunks;
    uint64_t videoFrames = 0;
    uint64_t audioBytes = 0;
    // Two-digit stream numbers of the kept chunks, -1 for none.
    int videoStream = -1;
    int audioStream = -1;
    // Video chunk ids seen with each suffix, kept or not.
    uint64_t uncompressedIds = 0; // "##db"
    uint64_t compressedIds = 0;   // "##dc"
    // Video chunks whose size is not the frame size of the format.
    uint64_t wrongSizeFrames = 0;
    uint32_t wrongSize = 0;
    uint64_t droppedChunks = 0;
    uint64_t droppedBytes = 0;
    uint64_t zeroBytes = 0;           // zero runs stepped over, beyond the leading hole
    std::vector<DroppedRun> drops;    // the first few places where bytes were dropped
};

// Called now and then with the bytes walked so far.
using Progress = std::function<void(uint64_t done, uint64_t total)>;

// Walks the file at path. Video chunks are kept when their size is the frame
// size of formats.video (any size for compressed video); audio chunks when
// formats.audio is known. Throws std::runtime_error when the file cannot be read.
ScanResult scanChunks(const std::string& path, const StreamFormats& formats, const Progress& progress = {});

const char* indexKindText(IndexKind kind);

} // namespace korva::repair

#endif
