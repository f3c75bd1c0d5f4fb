#include <korva/avi/file.h>

#include <cstdio>
#include <cstring>
#include <vector>

#include <boost/numeric/conversion/cast.hpp>

#include <korva/avi/riff.h>

// The three indexes of a written file: an "ix##" standard index at the end of
// every movi list, an "idx1" legacy index behind the first one, and an "indx"
// super index per stream in the header that lists the standard indexes.

namespace avi {

namespace {

const uint32_t STANDARD_ENTRY_BYTES = 8;
const uint32_t SUPER_ENTRY_BYTES = 16;

} // namespace

bool File::writeBytes(const void* data, size_t count) {
    if (count == 0) return true;
    if (std::fwrite(data, 1, count, fileHandle) == count) return true;
    setError(errors::FWRITE_FAILED);
    return false;
}

void File::writeChunk(const char* fourcc, unsigned size) {
    if (!writeBytes(fourcc, 4)) return;
    writeBytes(toLE32(size), 4);
}

void File::writeList(const char* fourcc, unsigned size, const char* type) {
    writeChunk(fourcc, size);
    writeBytes(type, 4);
}

uint32_t File::getOpenDMLSuperIndexLength(uint64_t entries) {
    return SUPER_ENTRY_BYTES * boost::numeric_cast<uint32_t>(entries) + 24u;
}

uint32_t File::getOpenDMLStandardIndexLength(uint64_t entries) {
    return STANDARD_ENTRY_BYTES * boost::numeric_cast<uint32_t>(entries) + 24u;
}

void File::populateOpenDMLBaseIndex(aviindex_chunk& record, const char* chunkId, uint16_t longsPerEntry,
                                    uint8_t indexType, unsigned entriesInUse) {
    record.wLongsPerEntry = longsPerEntry;
    record.bIndexSubType = AVI_INDEX_SUB_DEFAULT;
    record.bIndexType = indexType;
    record.nEntriesInUse = entriesInUse;
    std::memcpy(&record.dwChunkId, chunkId, 4);
}

void File::copyOpenDMLBaseIndex2Buf(const aviindex_chunk& record, char* buffer) {
    std::memcpy(buffer, toLE16(record.wLongsPerEntry), 2);
    buffer[2] = static_cast<char>(record.bIndexSubType);
    buffer[3] = static_cast<char>(record.bIndexType);
    std::memcpy(buffer + 4, toLE32(record.nEntriesInUse), 4);
    std::memcpy(buffer + 8, toLE32(record.dwChunkId), 4);
}

void File::writeOpenDMLBaseIndex(const char* chunkId, uint16_t longsPerEntry, uint8_t indexType,
                                 unsigned entriesInUse) {
    aviindex_chunk record;
    populateOpenDMLBaseIndex(record, chunkId, longsPerEntry, indexType, entriesInUse);
    char buffer[sizeof(aviindex_chunk)];
    copyOpenDMLBaseIndex2Buf(record, buffer);
    writeBytes(buffer, sizeof buffer);
}

void File::writeOpenDMLStandardIndex(const char* chunkId, unsigned int stream, const std::vector<IndexEntry>& entries,
                                     std::vector<SuperIndexEntry>& superIndex) {
    const uint64_t position = filePosition();
    const uint32_t length = getOpenDMLStandardIndexLength(entries.size());
    const uint32_t count = boost::numeric_cast<uint32_t>(entries.size());
    char name[16];
    std::snprintf(name, sizeof name, "ix0%u", stream);
    writeChunk(name, length);
    writeOpenDMLBaseIndex(chunkId, 2, AVI_INDEX_OF_CHUNKS, count);
    // All entries of one RIFF chunk share its movi position as their base. An
    // empty index repeats the base this stream's index last had, or the current
    // movi position if it never had one.
    uint64_t base = moviPosition;
    if (!entries.empty()) {
        base = entries.front().getBase();
        if (&entries == audioIndex) lastAudioIndexBase = base;
        else lastVideoIndexBase = base;
    } else if (&entries == audioIndex) {
        if (lastAudioIndexBase != 0) base = lastAudioIndexBase;
    } else if (lastVideoIndexBase != 0) {
        base = lastVideoIndexBase;
    }
    if (!writeBytes(toLE64(base), 8)) return;
    if (!writeBytes(toLE32(0), 4)) return;
    std::vector<char> block(size_t(count) * STANDARD_ENTRY_BYTES);
    char* at = block.data();
    for (const IndexEntry& e : entries) {
        // The offset points at the payload, 8 bytes behind the chunk head.
        std::memcpy(at, toLE32(e.getOffset() + 8u), 4);
        std::memcpy(at + 4, toLE32(e.getSize()), 4);
        at += STANDARD_ENTRY_BYTES;
    }
    if (!writeBytes(block.data(), block.size())) return;
    const uint32_t sampleSize = streamHeaders[stream % MAX_STREAMS].dwSampleSize;
    const uint32_t duration = sampleSize != 0 ? sampleSize * count : count;
    superIndex.push_back(SuperIndexEntry(position, length + 8u, duration));
}

void File::writeOpenDMLSuperIndex(const char* chunkId, const std::vector<SuperIndexEntry>& entries) {
    const uint32_t count = boost::numeric_cast<uint32_t>(entries.size());
    writeChunk("indx", getOpenDMLSuperIndexLength(entries.size()));
    writeOpenDMLBaseIndex(chunkId, 4, AVI_INDEX_OF_INDEXES, count);
    const char reserved[12] = {};
    writeBytes(reserved, sizeof reserved);
    if (count == 0) return;
    std::vector<char> block(size_t(count) * SUPER_ENTRY_BYTES);
    char* at = block.data();
    for (const SuperIndexEntry& e : entries) {
        std::memcpy(at, toLE64(e.getOffset()), 8);
        std::memcpy(at + 8, toLE32(e.getSize()), 4);
        std::memcpy(at + 12, toLE32(e.getDuration()), 4);
        at += SUPER_ENTRY_BYTES;
    }
    writeBytes(block.data(), block.size());
}

uint32_t File::getLegacyIndexLength() {
    uint64_t entries = 0;
    if (videoPresent) entries += videoIndex->size();
    if (audioPresent) entries += audioIndex->size();
    return boost::numeric_cast<uint32_t>(16u * entries);
}

void File::writeLegacyIndex() {
    writeChunk("idx1", getLegacyIndexLength());
    // Every video entry stands before every audio entry, whatever the order of
    // the chunks in the file.
    const struct {
        bool present;
        const char* id;
        const std::vector<IndexEntry>* entries;
    } streams[2] = {{videoPresent, videoChunkId, videoIndex}, {audioPresent, audioChunkId, audioIndex}};
    for (const auto& s : streams) {
        if (!s.present) continue;
        for (const IndexEntry& e : *s.entries) {
            if (!writeBytes(s.id, 4) || !writeBytes(toLE32(0), 4) || !writeBytes(toLE32(e.getOffset()), 4) ||
                !writeBytes(toLE32(e.getSize()), 4)) {
                return;
            }
        }
    }
    legacyIndexWritten = true;
}

} // namespace avi
