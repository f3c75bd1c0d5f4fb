#include <korva/avi/file.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include <korva/avi/riff.h>

namespace avi {

namespace {

const uint32_t MAIN_HEADER_BYTES = 56;
const uint32_t STREAM_HEADER_MAX_BYTES = 64;
const uint32_t WAVE_FORMAT_MAX_BYTES = 128;
const uint32_t WAVE_FORMAT_FIELD_BYTES = 18;
const uint32_t BITMAP_HEADER_BYTES = 40;

bool readExact(FILE* stream, void* buffer, size_t count) {
    return std::fread(buffer, 1, count, stream) == count;
}

// Copies a four-character code the way a bounded string copy does: at most four
// characters, stopping at a zero byte, the rest zero-filled and terminated.
void copyFourCC(char (&target)[5], const char* source) {
    std::memset(target, 0, sizeof target);
    for (int i = 0; i < 4 && source[i] != '\0'; ++i) target[i] = source[i];
}

} // namespace

void File::parseFile() {
    char head[12];
    if (!readExact(fileHandle, head, sizeof head)) {
        setError(errors::FREAD_FAILED);
        return;
    }
    if (!isFourCC(head, "RIFF")) {
        setError(errors::RIFF_CHUNK_MISSING);
        return;
    }
    if (isFourCC(head + 8, "WAVE")) {
        setError(errors::WAVE_UNSUPPORTED);
        return;
    }
    if (!isFourCC(head + 8, "AVI ")) {
        setError(errors::AVI_CHUNK_MISSING);
        return;
    }
    riffSize = uint32_t(evenChunkSize(head + 4) + 8u);

    // A flat walk over the top level: lists are not entered and later RIFF
    // segments are stepped over whole; they are reached through the indexes.
    for (;;) {
        if (!readExact(fileHandle, head, sizeof head)) break;
        const int64_t position = ftello(fileHandle);
        if (isFourCC(head, "LIST")) {
            if (isFourCC(head + 8, "hdrl")) {
                hdrlPosition = static_cast<uint32_t>(position);
            } else if (isFourCC(head + 8, "movi")) {
                moviPosition = static_cast<uint64_t>(position - 4);
            }
        } else if (isFourCC(head, "idx1")) {
            idx1Position = static_cast<uint32_t>(position - 8);
            break;
        }
        const uint32_t distance = evenChunkSize(head + 4) - 4u;
        if (fseeko(fileHandle, static_cast<off_t>(distance), SEEK_CUR) != 0) {
            setError(errors::SEEK_FAILED);
            return;
        }
    }

    parseMainHeader();
    if (getErrorCode() != errors::NO_ERROR) return;
    if (mainHeader.dwStreams > MAX_STREAMS) {
        setError(errors::TOO_MANY_STREAMS);
        return;
    }
    parseStreamLists();
    if (getErrorCode() != errors::NO_ERROR) return;
    if (videoIndex->empty() && audioIndex->empty()) parseLegacyIndex();
}

void File::parseMainHeader() {
    fseeko(fileHandle, static_cast<off_t>(hdrlPosition), SEEK_SET);
    char head[8];
    if (!readExact(fileHandle, head, sizeof head)) {
        setError(errors::FREAD_FAILED);
        return;
    }
    if (!isFourCC(head, "avih")) {
        setError(errors::MAIN_HEADER_MISSING);
        return;
    }
    const uint32_t length = evenChunkSize(head + 4);
    if (length > MAIN_HEADER_BYTES) {
        setError(errors::UNSUPPORTED_MAIN_HEADER);
        return;
    }
    // A shorter header is accepted; the words it lacks read as 0.
    char payload[MAIN_HEADER_BYTES] = {};
    if (!readExact(fileHandle, payload, length)) {
        setError(errors::FREAD_FAILED);
        return;
    }
    strlPosition = static_cast<uint32_t>(ftello(fileHandle));
    uint32_t* words = &mainHeader.dwMicroSecPerFrame;
    static_assert(sizeof(MainAVIHeader) == MAIN_HEADER_BYTES, "avih record is 14 words");
    for (uint32_t i = 0; i < MAIN_HEADER_BYTES / 4; ++i) words[i] = readLE32(payload + 4 * i);
    const uint32_t flags = mainHeader.dwFlags;
    flagHasIndex = (flags & AVIF_HASINDEX) != 0;
    flagMustUseIndex = (flags & AVIF_MUSTUSEINDEX) != 0;
    flagIsInterleaved = (flags & AVIF_ISINTERLEAVED) != 0;
    flagTrustCkType = (flags & AVIF_TRUSTCKTYPE) != 0;
    flagWasCaptureFile = (flags & AVIF_WASCAPTUREFILE) != 0;
    flagCopyrighted = (flags & AVIF_COPYRIGHTED) != 0;
}

void File::parseStreamLists() {
    audioPresent = false;
    videoPresent = false;
    audioStreamIndex = 0;
    videoStreamIndex = 0;
    uint32_t position = strlPosition;
    if (mainHeader.dwStreams == 0) return;

    std::vector<char> list;
    for (uint32_t stream = 0; stream < mainHeader.dwStreams; ++stream) {
        char head[12];
        fseeko(fileHandle, static_cast<off_t>(position), SEEK_SET);
        if (!readExact(fileHandle, head, sizeof head)) {
            setError(errors::FREAD_FAILED);
            return;
        }
        if (!isFourCC(head, "LIST") || !isFourCC(head + 8, "strl")) {
            setError(errors::STREAM_LIST_MISSING);
            return;
        }
        const uint32_t listSize = evenChunkSize(head + 4);
        const uint32_t length = listSize - 4u;
        // A list longer than the rest of the file could never be read whole;
        // refuse it before it decides an allocation.
        const uint64_t payloadStart = uint64_t(position) + sizeof head;
        if (payloadStart > fileSize || length > fileSize - payloadStart) {
            setError(errors::FREAD_FAILED);
            return;
        }
        list.resize(length);
        if (!readExact(fileHandle, list.data(), length)) {
            setError(errors::FREAD_FAILED);
            return;
        }
        if (!walkStreamList(stream, list.data(), length)) return;
        if (videoPresent && audioPresent) return;
        position = position + listSize + 8u;
    }
}

// Hands each sub-chunk of one stream list to its parser. Errors of a sub-chunk
// stand and the walk goes on; a chunk we would parse that runs past the end of
// the list refuses the whole file.
bool File::walkStreamList(unsigned int stream, char* list, uint32_t length) {
    uint32_t at = 0;
    while (at < length) {
        if (length - at < 8) break; // trailing bytes too short for a chunk head
        const char* id = list + at;
        const uint32_t size = evenChunkSize(list + at + 4);
        char* payload = list + at + 8;
        const uint32_t room = length - at - 8;
        const bool known = isFourCC(id, "strh") || isFourCC(id, "strf") || isFourCC(id, "indx");
        if (size > room) {
            if (!known) break;
            setError(errors::STREAM_LIST_MISSING);
            return false;
        }
        if (isFourCC(id, "strh")) {
            parseStreamHeader(stream, payload, size);
        } else if (isFourCC(id, "strf")) {
            parseStreamFormat(stream, payload, size);
        } else if (isFourCC(id, "indx")) {
            parseIndexChunk(stream, payload, size, 0);
        }
        at += 8 + size;
    }
    return true;
}

void File::parseStreamHeader(unsigned int stream, char* src, unsigned long length) {
    if (length > STREAM_HEADER_MAX_BYTES) {
        setError(errors::BAD_STRL_LENGTH);
        return;
    }
    if (stream >= MAX_STREAMS) return;
    // Work on a zero-filled copy so that a short header reads as zeros.
    char payload[STREAM_HEADER_MAX_BYTES] = {};
    std::memcpy(payload, src, length);
    AVIStreamHeader& record = streamHeaders[stream];
    copyFourCC(record.fccType, payload);
    copyFourCC(record.fccHandler, payload + 4);
    record.dwFlags = readLE32(payload + 8);
    record.dwPriorityLanguage = readLE32(payload + 12);
    record.dwInitialFrames = readLE32(payload + 16);
    record.dwScale = readLE32(payload + 20);
    record.dwRate = readLE32(payload + 24);
    record.dwStart = readLE32(payload + 28);
    record.dwLength = readLE32(payload + 32);
    record.dwSuggestedBufferSize = readLE32(payload + 36);
    record.dwQuality = readLE32(payload + 40);
    record.dwSampleSize = readLE32(payload + 44);
    if (length == 56) {
        for (int i = 0; i < 4; ++i) record.rcFrame[i] = readLE16(payload + 48 + 2 * i);
    } else if (length == 64) {
        for (int i = 0; i < 4; ++i) record.rcFrame[i] = readLE32(payload + 48 + 4 * i);
    }
    record.disabled = (record.dwFlags & AVISF_DISABLED) != 0;
    record.videoPaletteChanges = false;
}

void File::parseStreamFormat(unsigned int stream, char* src, unsigned long length) {
    if (stream >= MAX_STREAMS) return;
    const AVIStreamHeader& record = streamHeaders[stream];
    if (std::strcmp(record.fccType, "auds") == 0) {
        if (audioPresent) return;
        audioPresent = true;
        audioStreamIndex = stream;
        std::snprintf(audioChunkId, sizeof audioChunkId, "0%dwb", static_cast<int>(stream));
        parseAudioStreamFormat(src, length);
    } else if (std::strcmp(record.fccType, "vids") == 0) {
        if (videoPresent) return;
        videoPresent = true;
        videoStreamIndex = stream;
        std::snprintf(videoChunkId, sizeof videoChunkId, "0%ddb", static_cast<int>(stream));
        parseVideoStreamFormat(src, length);
    }
}

void File::parseAudioStreamFormat(char* src, unsigned long length) {
    if (length > WAVE_FORMAT_MAX_BYTES) {
        setError(errors::UNSUPPORTED_AUDIO_HEADER);
        return;
    }
    char payload[WAVE_FORMAT_FIELD_BYTES] = {};
    std::memcpy(payload, src, std::min<unsigned long>(length, sizeof payload));
    waveHeader.wFormatTag = readLE16(payload);
    waveHeader.nChannels = readLE16(payload + 2);
    waveHeader.nSamplesPerSec = readLE32(payload + 4);
    waveHeader.nAvgBytesPerSec = readLE32(payload + 8);
    waveHeader.nBlockAlign = readLE16(payload + 12);
    waveHeader.wBitsPerSample = readLE16(payload + 14);
    waveHeader.cbSize = readLE16(payload + 16);
}

void File::parseVideoStreamFormat(char* src, unsigned long length) {
    char payload[BITMAP_HEADER_BYTES] = {};
    std::memcpy(payload, src, std::min<unsigned long>(length, sizeof payload));
    bitmapHeader.biSize = readLE32(payload);
    if (bitmapHeader.biSize != BITMAP_HEADER_BYTES) {
        setError(errors::UNSUPPORTED_BITMAP_HEADER);
        return;
    }
    bitmapHeader.biWidth = readLE32(payload + 4);
    bitmapHeader.biHeight = readLE32(payload + 8);
    bitmapHeader.biPlanes = readLE16(payload + 12);
    bitmapHeader.biBitCount = readLE16(payload + 14);
    bitmapHeader.biCompression = readLE32(payload + 16);
    bitmapHeader.biSizeImage = readLE32(payload + 20);
    bitmapHeader.biXPelsPerMeter = readLE32(payload + 24);
    bitmapHeader.biYPelsPerMeter = readLE32(payload + 28);
    bitmapHeader.biClrUsed = readLE32(payload + 32);
    bitmapHeader.biClrImportant = readLE32(payload + 36);

    if (length > BITMAP_HEADER_BYTES) {
        const unsigned long entries = (length - BITMAP_HEADER_BYTES) / 4;
        colormap.resize(entries);
        if (entries != 0) std::memcpy(colormap.data(), src + BITMAP_HEADER_BYTES, entries * 4);
    }
    if (static_cast<int32_t>(bitmapHeader.biHeight) < 0) {
        topDownFrames = true;
        bitmapHeader.biHeight = 0u - bitmapHeader.biHeight;
        mainHeader.dwHeight = bitmapHeader.biHeight;
    }
    assignClrmapIf2or4or8bitAVIwithNoClrmap();
}

void File::assignClrmapIf2or4or8bitAVIwithNoClrmap() {
    const uint16_t depth = bitmapHeader.biBitCount;
    if (!colormap.empty() || (depth != 2 && depth != 4 && depth != 8)) return;
    // An unscaled ramp: entry k is the grey k, also for 2 and 4 bits.
    const unsigned entries = 1u << depth;
    colormap.resize(entries);
    for (unsigned k = 0; k < entries; ++k) {
        const uint8_t v = static_cast<uint8_t>(k);
        colormap[k] = tagRGBQUAD{v, v, v, 0};
    }
}

void File::verifySupport() {
    if (audioPresent && waveHeader.wBitsPerSample != 8 && waveHeader.wBitsPerSample != 16) {
        setError(errors::UNSUPPORTED_AUDIO_STREAM);
        return;
    }
    if (flagMustUseIndex) setError(errors::INTERNAL_INDEX_UNSUPPORTED);
}

} // namespace avi
