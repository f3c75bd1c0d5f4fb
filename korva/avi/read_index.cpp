#include <korva/avi/file.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include <boost/lexical_cast.hpp>
#include <boost/numeric/conversion/cast.hpp>

#include <korva/avi/riff.h>

namespace avi {

namespace {

const uint32_t NO_STREAM = 256;
const uint32_t LEGACY_ENTRY_BYTES = 16;
const uint32_t STANDARD_ENTRY_BYTES = 8;
const uint32_t SUPER_ENTRY_BYTES = 16;
const uint32_t INDEX_HEADER_BYTES = 12;
// Bytes between the base index header and the first entry (dwReserved of a
// super index, qwBaseOffset and dwReserved of a standard index).
const uint32_t ENTRIES_LEAD_BYTES = 12;
// A super index may point at further super indexes; deeper nesting than this
// is taken as a loop in a damaged file.
const unsigned MAX_SUPER_INDEX_DEPTH = 4;
// Marks a payload whose length the caller vouches for.
const uint64_t UNBOUNDED = std::numeric_limits<uint64_t>::max();

// The stream number carried by the first two characters of a chunk id, if it is
// the audio or the video stream; otherwise NO_STREAM.
uint32_t streamNumberFromChunkId(const std::string& text, uint32_t audioStream, uint32_t videoStream) {
    if (text.size() != 2) return NO_STREAM;
    uint32_t number;
    if (text[0] >= '0' && text[0] <= '9' && text[1] >= '0' && text[1] <= '9') {
        number = uint32_t(text[0] - '0') * 10u + uint32_t(text[1] - '0');
    } else {
        // The general conversion also takes a sign before one digit.
        try {
            number = boost::lexical_cast<uint32_t>(text);
        } catch (const boost::bad_lexical_cast&) {
            return NO_STREAM;
        }
    }
    if (number == audioStream) return number;
    if (number == videoStream) return number;
    return NO_STREAM;
}

std::string leadingDigits(const char* chunkId) {
    return std::string(chunkId, strnlen(chunkId, 2));
}

} // namespace

// --- Entry collection ------------------------------------------------------------

void File::addIndexEntry(const char* chunkId, unsigned int offset, unsigned int size, unsigned long base) {
    const IndexEntry entry(offset, size, base);
    const char a = chunkId[2];
    const char b = chunkId[3];
    if (a == 'd' && (b == 'b' || b == 'c')) {
        videoIndex->push_back(entry);
        mainHeader.dwTotalFrames = static_cast<uint32_t>(videoIndex->size());
        if (videoFrameSize == 0) videoFrameSize = size;
    } else if (a == 'w' && b == 'b') {
        audioIndex->push_back(entry);
        if (audioChunkSize == 0) audioChunkSize = size;
    }
}

void File::addIndexEntry(unsigned int chunkId, unsigned int offset, unsigned int size, unsigned long base) {
    char text[5] = {};
    std::memcpy(text, &chunkId, 4);
    addIndexEntry(text, offset, size, base);
}

void File::addIndexEntry(unsigned long stream, const char* chunkId, unsigned int offset, unsigned int size,
                         unsigned long base) {
    if (stream == videoStreamIndex && size == 0) {
        setError(errors::BAD_VIDEO_CHUNK_SIZE);
        return;
    }
    addIndexEntry(chunkId, offset, size, base);
}

void File::addIndexEntry(unsigned long stream, unsigned int chunkId, unsigned int offset, unsigned int size,
                         unsigned long base) {
    if (stream == videoStreamIndex && (size == 0 || size >= 2147483647u)) {
        setError(errors::BAD_VIDEO_CHUNK_SIZE);
        return;
    }
    addIndexEntry(chunkId, offset, size, base);
}

// --- OpenDML indexes ----------------------------------------------------------------

aviindex_chunk File::parseOpenDMLBaseIndex(char* payload) {
    aviindex_chunk header;
    header.wLongsPerEntry = readLE16(payload);
    header.bIndexSubType = static_cast<uint8_t>(payload[2]);
    header.bIndexType = static_cast<uint8_t>(payload[3]);
    header.nEntriesInUse = readLE32(payload + 4);
    header.dwChunkId = readLE32(payload + 8);
    return header;
}

void File::parseStreamIndex(unsigned long stream, char* payload) {
    parseIndexChunk(stream, payload, UNBOUNDED, 0);
}

void File::parseOpenDMLSuperIndex(unsigned long stream, const aviindex_chunk& header, char* entries) {
    parseSuperIndexEntries(stream, header, entries, UNBOUNDED, 0);
}

void File::parseOpenDMLStandardIndex(unsigned long stream, const aviindex_chunk& header, char* entries) {
    parseStandardIndexEntries(stream, header, entries, UNBOUNDED);
}

void File::parseIndexChunk(unsigned long stream, const char* payload, uint64_t length, unsigned depth) {
    if (stream != audioStreamIndex && stream != videoStreamIndex) return;
    // Any error standing from an earlier step, in this index or elsewhere,
    // ends the parse of this chunk.
    if (getErrorCode() != errors::NO_ERROR) return;
    if (length < INDEX_HEADER_BYTES) {
        setError(errors::INVALID_INDEX);
        return;
    }
    const aviindex_chunk header = parseOpenDMLBaseIndex(const_cast<char*>(payload));
    const char* rest = payload + INDEX_HEADER_BYTES;
    const uint64_t restLength = length - INDEX_HEADER_BYTES;
    switch (header.bIndexType) {
    case AVI_INDEX_OF_INDEXES:
        parseSuperIndexEntries(stream, header, rest, restLength, depth);
        break;
    case AVI_INDEX_OF_CHUNKS:
        parseStandardIndexEntries(stream, header, rest, restLength);
        break;
    case AVI_INDEX_IS_DATA:
        setError(errors::UNSUPPORTED_INDEX_TYPE);
        break;
    default:
        setError(errors::INVALID_INDEX);
        break;
    }
}

void File::parseSuperIndexEntries(unsigned long stream, const aviindex_chunk& header, const char* entries,
                                  uint64_t length, unsigned depth) {
    const uint64_t count = header.nEntriesInUse;
    if (depth >= MAX_SUPER_INDEX_DEPTH || ENTRIES_LEAD_BYTES + count * SUPER_ENTRY_BYTES > length) {
        setError(errors::INVALID_INDEX);
        return;
    }
    std::vector<char> chunk;
    for (uint64_t i = 0; i < count; ++i) {
        const char* entry = entries + ENTRIES_LEAD_BYTES + i * SUPER_ENTRY_BYTES;
        const uint64_t offset = readLE64(entry);
        const uint32_t size = readLE32(entry + 8);
        // An index chunk reaching past the end of the file reads short; find
        // that out before the stated size decides an allocation.
        if (offset > fileSize || size > fileSize - offset) {
            setError(errors::FREAD_FAILED);
            return;
        }
        chunk.resize(size);
        if (readAt(chunk.data(), size, offset) != size) {
            setError(errors::FREAD_FAILED);
            return;
        }
        // Step over the chunk's own head; the id is not checked.
        const uint64_t payloadLength = size >= 8 ? size - 8 : 0;
        parseIndexChunk(stream, chunk.data() + std::min<uint32_t>(size, 8), payloadLength, depth + 1);
    }
}

void File::parseStandardIndexEntries(unsigned long stream, const aviindex_chunk& header, const char* entries,
                                     uint64_t length) {
    if (header.bIndexSubType != AVI_INDEX_SUB_DEFAULT) {
        setError(errors::UNSUPPORTED_INDEX_TYPE);
        return;
    }
    const uint64_t count = header.nEntriesInUse;
    if (ENTRIES_LEAD_BYTES + count * STANDARD_ENTRY_BYTES > length) {
        setError(errors::INVALID_INDEX);
        return;
    }
    // Every chunk has an 8-byte head, so a file cannot hold more chunks than
    // one per 8 bytes. Super indexes that list the same standard index over and
    // over would otherwise multiply a small file into a huge index.
    if (length != UNBOUNDED) {
        const uint64_t held = videoIndex->size() + audioIndex->size();
        if (held + count > fileSize / 8 + 1) {
            setError(errors::INVALID_INDEX);
            return;
        }
    }
    const uint64_t base = readLE64(entries);
    for (uint64_t i = 0; i < count; ++i) {
        const char* entry = entries + ENTRIES_LEAD_BYTES + i * STANDARD_ENTRY_BYTES;
        addIndexEntry(stream, header.dwChunkId, readLE32(entry), readLE32(entry + 4), base);
        if (getErrorCode() != errors::NO_ERROR) return;
    }
}

// --- Legacy index and scan ------------------------------------------------------------

void File::parseLegacyIndex() {
    if (idx1Position == 0) return;
    char sizeField[4];
    if (readAt(sizeField, sizeof sizeField, idx1Position) != sizeof sizeField) {
        setError(errors::FREAD_FAILED);
        return;
    }
    const uint32_t count = evenChunkSize(sizeField) / LEGACY_ENTRY_BYTES;
    if (count == 0) {
        setError(errors::INVALID_LEGACY_INDEX);
        return;
    }
    // Entries are read in blocks; the block shrinks to what the file still holds,
    // and an entry cut off by the end of the file is a parse error.
    const uint64_t first = uint64_t(idx1Position) + 4;
    const uint64_t available = fileSize > first ? (fileSize - first) / LEGACY_ENTRY_BYTES : 0;
    const uint32_t BLOCK_ENTRIES = 4096;
    std::vector<char> block(std::min<uint64_t>({count, available, BLOCK_ENTRIES}) * LEGACY_ENTRY_BYTES);
    for (uint32_t done = 0; done < count;) {
        const uint32_t wanted = std::min<uint32_t>(count - done, BLOCK_ENTRIES);
        const uint64_t position = first + uint64_t(done) * LEGACY_ENTRY_BYTES;
        const uint32_t inBlock = done < available ? static_cast<uint32_t>(std::min<uint64_t>(wanted, available - done)) : 0;
        const size_t got = inBlock ? readAt(block.data(), inBlock * LEGACY_ENTRY_BYTES, position) : 0;
        const uint32_t whole = static_cast<uint32_t>(got / LEGACY_ENTRY_BYTES);
        for (uint32_t k = 0; k < whole; ++k) {
            const char* entry = block.data() + k * LEGACY_ENTRY_BYTES;
            const uint32_t stream = streamNumberFromChunkId(leadingDigits(entry), audioStreamIndex, videoStreamIndex);
            if (stream == NO_STREAM) continue;
            addIndexEntry(static_cast<unsigned long>(stream), readLE32(entry), readLE32(entry + 8) + 8u,
                          readLE32(entry + 12), moviPosition);
            if (getErrorCode() != errors::NO_ERROR) return;
        }
        if (whole < wanted) {
            setError(errors::LEGACY_INDEX_PARSE_ERROR);
            return;
        }
        done += wanted;
    }
}

void File::verifyIndex() {
    if (videoPresent && videoIndex->empty()) {
        buildLegacyIndex(videoChunkId);
        if (getErrorCode() != errors::NO_ERROR) return;
    }
    if (audioPresent && audioIndex->empty()) buildLegacyIndex(audioChunkId);
}

void File::buildLegacyIndex(const char* chunkId) {
    if (fseeko(fileHandle, static_cast<off_t>(moviPosition) - 4, SEEK_SET) != 0) {
        setError(errors::SEEK_FAILED);
        return;
    }
    char head[8];
    if (std::fread(head, 1, sizeof head, fileHandle) != sizeof head) {
        setError(errors::FREAD_FAILED);
        return;
    }
    // The list size counts the "movi" code, so this limit lies four bytes
    // behind the list's end.
    const int64_t limit = ftello(fileHandle) + int64_t(evenChunkSize(head));
    for (;;) {
        const int64_t position = ftello(fileHandle);
        if (position < 0 || limit <= position) break;
        if (std::fread(head, 1, sizeof head, fileHandle) != sizeof head) {
            setError(errors::VIDEO_CHUNKS_MISSING);
            return;
        }
        const uint32_t size = evenChunkSize(head + 4);
        if (std::memcmp(head, chunkId, 4) == 0) {
            const uint64_t dataPosition = static_cast<uint64_t>(position) + sizeof head;
            const uint32_t offset = boost::numeric_cast<uint32_t>(dataPosition - moviPosition);
            const uint32_t stream = streamNumberFromChunkId(leadingDigits(head), audioStreamIndex, videoStreamIndex);
            addIndexEntry(static_cast<unsigned long>(stream), chunkId, offset, size, moviPosition);
            if (getErrorCode() != errors::NO_ERROR) return;
        }
        if (fseeko(fileHandle, static_cast<off_t>(size), SEEK_CUR) != 0) {
            setError(errors::SEEK_FAILED);
            return;
        }
    }
}

} // namespace avi
