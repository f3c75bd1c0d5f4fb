#include <korva/avi/file.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include <korva/filesystem/filesystem.h>

namespace avi {

const int32_t File::DEFAULT_BITS_PER_PIXEL = 24;
const int64_t File::INVALID_FRAME_INDEX = -1;

File::File()
    : errorCode(errors::NO_ERROR),
      fileHandle(nullptr),
      fileMode(0),
      moviPosition(0),
      hdrlPosition(0),
      idx1Position(0),
      strlPosition(0),
      videoFrameSize(0),
      audioChunkDataSize(0),
      audioChunkSize(0),
      riffSize(0),
      audioPresent(false),
      videoPresent(false),
      topDownFrames(false),
      rowBuffer(nullptr),
      rowBufferSize(0),
      stripBuffer(nullptr),
      mainHeader(),
      streamHeaders(),
      waveHeader(),
      bitmapHeader(),
      flagHasIndex(false),
      flagMustUseIndex(false),
      flagIsInterleaved(false),
      flagTrustCkType(false),
      flagWasCaptureFile(false),
      flagCopyrighted(false),
      audioStreamIndex(0),
      videoStreamIndex(0),
      audioChunkId(),
      videoChunkId(),
      audioIndex(new std::vector<IndexEntry>()),
      videoIndex(new std::vector<IndexEntry>()),
      videoSuperIndex(new std::vector<SuperIndexEntry>()),
      audioSuperIndex(new std::vector<SuperIndexEntry>()),
      videoFramesRead(0),
      audioChunkIndex(0),
      audioBytesRead(0),
      audioChunkOffset(0),
      legacyIndexWritten(false),
      firstRiffEnd(0),
      firstRiffVideoEntries(0),
      firstRiffAudioEntries(0),
      firstRiffMoviBytes(0),
      extraVideoEntries(0),
      curMoviBytes(0),
      lastVideoIndexBase(0),
      lastAudioIndexBase(0),
      numSuperIndexEntries(4096),
      fileSize(0) {}

File::~File() {
    close();
    colormap.clear();
    std::free(rowBuffer);
    std::free(stripBuffer);
    delete audioSuperIndex;
    delete videoSuperIndex;
    delete videoIndex;
    delete audioIndex;
}

bool File::openToGetInformation(ustring name) {
    fileName = korva::filesystem::codecvt_ustring_to_narrow_string(true).do_convert(name.data(), name.size());
    FILE* stream = korva::filesystem::fopen(name, "rb");
    if (stream == nullptr) {
        setError(errors::FILE_OPEN_FAILED);
        return false;
    }
    // A second open on the same object replaces the stream; the old one would
    // otherwise be lost.
    if (fileHandle != nullptr) std::fclose(fileHandle);
    fileHandle = stream;
    struct stat info;
    fileSize = (fstat(fileno(fileHandle), &info) == 0 && info.st_size > 0) ? static_cast<uint64_t>(info.st_size) : 0;
    fileMode = 0;
    parseFile();
    return getErrorCode() == errors::NO_ERROR;
}

bool File::openToGetInformation(const char* name) {
    const ustring wide = korva::filesystem::codecvt_narrow_string_to_ustring(true).do_convert(name, std::strlen(name));
    return openToGetInformation(wide);
}

bool File::open(ustring name, const char* mode) {
    const char kind = mode != nullptr ? mode[0] : '\0';
    if (kind == 'r') {
        if (!openToGetInformation(ustring(name))) return false;
        // Failures of these two stay standing for the caller to read, but do not
        // stop the open.
        verifySupport();
        verifyIndex();
        if (topDownFrames) {
            // The height can only be 0 here when a second open on this object
            // inherited the flag from an earlier file.
            // A frame larger than the file can never be read, so its rows need
            // no room either.
            const uint32_t height = getVideoHeight();
            std::free(rowBuffer);
            rowBufferSize = height != 0 && videoFrameSize <= fileSize ? videoFrameSize / height : 0;
            rowBuffer = static_cast<char*>(std::malloc(rowBufferSize));
            if (rowBuffer == nullptr && rowBufferSize != 0) {
                setError(errors::OUT_OF_MEMORY);
                return false;
            }
        }
        // Large 16- and 32-bit frames are repacked through a strip of scratch;
        // without it they take the plain way, so a failure here is no error.
        const uint16_t depth = getVideoBitsPerPixel();
        if (stripBuffer == nullptr && !isVideoCompressed() && (depth == 16 || depth == 32)) {
            stripBuffer = static_cast<uint8_t*>(std::malloc(STRIP_BYTES));
        }
        if (videoPresent && audioPresent && videoIndex->empty() && audioIndex->empty()) {
            setError(errors::ALL_CHUNKS_MISSING);
            return false;
        }
        return true;
    }
    if (kind == 'w') {
        fileMode = 1;
        FILE* stream = korva::filesystem::fopen(name, "wb");
        if (stream == nullptr) {
            setError(errors::FILE_OPEN_FAILED);
            return false;
        }
        if (fileHandle != nullptr) std::fclose(fileHandle);
        fileHandle = stream;
        return true;
    }
    setError(errors::UNSUPPORTED_MODE);
    return false;
}

bool File::open(const char* name, const char* mode) {
    const ustring wide = korva::filesystem::codecvt_narrow_string_to_ustring(true).do_convert(name, std::strlen(name));
    return open(wide, mode);
}

void File::close() {
    if (fileHandle == nullptr) return;
    if (fileMode == 1) {
        if (audioPresent || videoPresent) {
            closeCurRiffChunk();
            writeHeader();
        }
        resetWriter();
        // Buffered bytes meet a full disk only here.
        if (std::fflush(fileHandle) != 0) setError(errors::FWRITE_FAILED);
    } else {
        colormap.clear();
        if (topDownFrames && rowBuffer != nullptr) {
            std::free(rowBuffer);
            rowBuffer = nullptr;
            rowBufferSize = 0;
        }
        std::free(stripBuffer);
        stripBuffer = nullptr;
    }
    std::fclose(fileHandle);
    fileHandle = nullptr;
    videoFramesRead = 0;
}

size_t File::readAt(void* buffer, size_t count, uint64_t position) const {
    if (fileHandle == nullptr) return 0;
    const int fd = fileno(fileHandle);
    char* out = static_cast<char*>(buffer);
    size_t done = 0;
    while (done < count) {
        const ssize_t got = pread(fd, out + done, count - done, static_cast<off_t>(position + done));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        done += static_cast<size_t>(got);
    }
    return done;
}

// --- Getters -------------------------------------------------------------------

bool File::hasVideo() const { return videoPresent; }
bool File::hasAudio() const { return audioPresent; }
uint32_t File::getVideoWidth() const { return bitmapHeader.biWidth; }
uint32_t File::getVideoHeight() const { return bitmapHeader.biHeight; }
uint16_t File::getVideoBitsPerPixel() const { return bitmapHeader.biBitCount; }

std::string File::getVideoFourCC() const {
    if (bitmapHeader.biCompression == 0) return std::string();
    char code[4];
    std::memcpy(code, &bitmapHeader.biCompression, 4);
    return std::string(code, 4);
}

uint32_t File::getVideoStreamRate() const { return videoStream().dwRate; }
uint32_t File::getVideoStreamScale() const { return videoStream().dwScale; }

double File::getVideoFrameRate() const {
    return static_cast<double>(videoStream().dwRate) / static_cast<double>(videoStream().dwScale);
}

int64_t File::getVideoTotalFrames() const { return static_cast<int64_t>(mainHeader.dwTotalFrames); }
uint64_t File::getVideoFramesRead() const { return videoFramesRead; }
bool File::isEndOfVideo() const { return videoFramesRead == static_cast<uint64_t>(getVideoTotalFrames()); }
uint32_t File::getAudioSampleRate() const { return waveHeader.nSamplesPerSec; }
uint16_t File::getAudioBitsPerSample() const { return waveHeader.wBitsPerSample; }
uint16_t File::getAudioNumberOfChannels() const { return waveHeader.nChannels; }
uint32_t File::getAudioChunkSize() const { return audioChunkSize; }
uint64_t File::getAudioBytesRead() const { return audioBytesRead; }

uint64_t File::getAudioTotalBytes() const {
    // 32-bit product with wrap-around, as the stream header's fields are 32 bits.
    const uint32_t bytesPerSample = waveHeader.wBitsPerSample / 8u;
    const uint32_t total = uint32_t(waveHeader.nChannels) * audioStream().dwLength * bytesPerSample;
    return total;
}

bool File::isEndOfAudio() const { return audioBytesRead == getAudioTotalBytes(); }
bool File::isAudioCompressed() const { return waveHeader.wFormatTag != 1; }
bool File::isVideoCompressed() const { return (bitmapHeader.biCompression & 0xFFu) != 0; }
std::vector<tagRGBQUAD> File::getColormap() const { return colormap; }
void File::byteSwapOnBigEndian(void*, unsigned int, unsigned int) {}

} // namespace avi
