#include <korva/avi/file.h>

#include <cstdio>

#include <boost/numeric/conversion/cast.hpp>

#include <korva/avi/riff.h>

// Chunks stream into the movi list in call order. A RIFF chunk is kept under
// 2 GiB by closing it and opening an "AVIX" RIFF chunk when the next chunk would
// not fit; the head of a later RIFF chunk is left as a 24-byte hole and filled
// when that chunk closes, the first one's head by the header at close.

namespace avi {

namespace {

const uint64_t RIFF_LIMIT = 0x7FFFFFFF;
const uint64_t AVIX_HOLE = 24; // "RIFF", size, "AVIX" and "LIST", size, "movi"

} // namespace

uint64_t File::filePosition() const {
    const off_t position = ftello(fileHandle);
    return position < 0 ? ~uint64_t(0) : static_cast<uint64_t>(position);
}

void File::writeVideoFrame(char* data) { writeVideoFrame(data, videoFrameSize); }

void File::writeVideoFrame(char* data, unsigned size) {
    // Frames of odd size are not padded: the next chunk starts at an odd offset.
    writeMoviEntry(data, size, size, videoChunkId, *videoIndex);
}

void File::writeAudio(char* data) {
    // An odd chunk size is told in the head while the even size is written; the
    // caller's buffer provides the pad byte.
    writeMoviEntry(data, audioChunkDataSize, audioChunkSize, audioChunkId, *audioIndex);
}

void File::writeMoviEntry(char* data, unsigned headSize, unsigned payloadBytes, char* chunkId,
                          std::vector<IndexEntry>& index) {
    updateRiffChunk(payloadBytes);
    uint32_t offset;
    try {
        offset = boost::numeric_cast<uint32_t>(filePosition() - moviPosition);
    } catch (const boost::numeric::positive_overflow&) {
        setError(errors::INVALID_INDEX_OFFSET);
        return;
    }
    index.push_back(IndexEntry(offset, headSize, moviPosition));
    writeChunk(chunkId, headSize);
    if (!writeBytes(data, payloadBytes)) return;
    curMoviBytes += payloadBytes + 8u;
}

bool File::isFirstRiffChunk() { return videoSuperIndex->empty() && audioSuperIndex->empty(); }

uint32_t File::getCurRiffChunkSize() {
    const uint64_t position = filePosition();
    // The first RIFF chunk counts its own 8-byte head, a later one does not, so
    // the first turns over 8 bytes earlier.
    if (isFirstRiffChunk()) return boost::numeric_cast<uint32_t>(position);
    return boost::numeric_cast<uint32_t>(position - moviPosition + 12u);
}

bool File::atRiffBoundary(uint64_t payloadBytes) {
    uint64_t total = payloadBytes + getCurRiffChunkSize() + 8u;
    // Both standard indexes are projected one entry longer, whichever stream
    // is being written. The legacy index is not counted.
    if (videoPresent) total += getOpenDMLStandardIndexLength(videoIndex->size() + 1) + 8u;
    if (audioPresent) total += getOpenDMLStandardIndexLength(audioIndex->size() + 1) + 8u;
    return total > RIFF_LIMIT;
}

void File::updateRiffChunk(uint64_t payloadBytes) {
    if (!atRiffBoundary(payloadBytes)) return;
    closeCurRiffChunk();
    fseeko(fileHandle, static_cast<off_t>(filePosition() + AVIX_HOLE), SEEK_SET);
    moviPosition = filePosition() - 4u;
}

void File::closeCurRiffChunk() {
    // Decided before the standard indexes add their super index entries.
    const bool first = isFirstRiffChunk();
    if (videoPresent) writeOpenDMLStandardIndex(videoChunkId, videoStreamIndex, *videoIndex, *videoSuperIndex);
    if (audioPresent) writeOpenDMLStandardIndex(audioChunkId, audioStreamIndex, *audioIndex, *audioSuperIndex);
    if (first) {
        writeLegacyIndex();
        firstRiffEnd = static_cast<uint32_t>(filePosition());
        firstRiffVideoEntries = boost::numeric_cast<uint32_t>(videoIndex->size());
        firstRiffAudioEntries = boost::numeric_cast<uint32_t>(audioIndex->size());
        firstRiffMoviBytes = curMoviBytes;
    } else {
        writeAVIXChunk();
        extraVideoEntries += boost::numeric_cast<uint32_t>(videoIndex->size());
    }
    videoIndex->clear();
    audioIndex->clear();
    curMoviBytes = 0;
}

void File::writeAVIXChunk() {
    const uint64_t resume = filePosition();
    const uint32_t size = getCurRiffChunkSize();
    fseeko(fileHandle, static_cast<off_t>(moviPosition - 20u), SEEK_SET);
    writeList("RIFF", size, "AVIX");
    writeList("LIST", size - 12u, "movi");
    fseeko(fileHandle, static_cast<off_t>(resume), SEEK_SET);
}

} // namespace avi
