#ifndef KORVA_AVI_FILE_H
#define KORVA_AVI_FILE_H

#include <korva/core/export.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include <korva/avi/errors.h>
#include <korva/avi/records.h>
#include <korva/core/types.h>

namespace avi {

// One uncompressed AVI file (RIFF with the OpenDML extensions), open for reading
// or writing. Failures leave a code and a text in the object (getErrorCode,
// getErrorMsg); only open and openToGetInformation return a result.
//
// Buffers belong to the caller. For frame n, a buffer of the largest of
// getRawVideoFrameSize(n), getRGB24VideoFrameSize() and getIndexedVideoFrameSize()
// bytes suffices for every read form. (Uncompressed frames are all read with the
// size of the first one; in a well-formed file that is every frame's size.)
//
// An object serves one thread at a time.
class KORVA_API File {
public:
    static const int32_t DEFAULT_BITS_PER_PIXEL;
    static const int64_t INVALID_FRAME_INDEX;

    // Stream numbers are two decimal digits in chunk ids; only 0 to 7 are served.
    static const uint32_t MAX_STREAMS = 8;

    File();
    ~File();
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    // --- Opening and closing ---------------------------------------------------
    bool open(ustring fileName, const char* mode);
    bool open(const char* fileName, const char* mode);
    bool openToGetInformation(ustring fileName);
    bool openToGetInformation(const char* fileName);
    void close();

    // --- Errors ----------------------------------------------------------------
    void setError(errors::error_T code);
    errors::error_T getErrorCode() const;
    const char* getErrorMsg() const;
    void clearError();

    // --- Stream properties -----------------------------------------------------
    bool hasVideo() const;
    bool hasAudio() const;
    uint32_t getVideoWidth() const;
    uint32_t getVideoHeight() const;
    uint16_t getVideoBitsPerPixel() const;
    std::string getVideoFourCC() const;
    uint32_t getVideoStreamRate() const;
    uint32_t getVideoStreamScale() const;
    double getVideoFrameRate() const;
    int64_t getVideoTotalFrames() const;
    uint64_t getVideoFramesRead() const;
    bool isEndOfVideo() const;
    uint32_t getAudioSampleRate() const;
    uint16_t getAudioBitsPerSample() const;
    uint16_t getAudioNumberOfChannels() const;
    uint32_t getAudioChunkSize() const;
    uint64_t getAudioBytesRead() const;
    uint64_t getAudioTotalBytes() const;
    bool isEndOfAudio() const;
    bool isAudioCompressed() const;
    bool isVideoCompressed() const;
    std::vector<tagRGBQUAD> getColormap() const;
    void byteSwapOnBigEndian(void* data, unsigned int elementSize, unsigned int count);

    // --- Header parsing --------------------------------------------------------
    void parseFile();
    void parseMainHeader();
    void parseStreamLists();
    void parseStreamHeader(unsigned int stream, char* payload, unsigned long length);
    void parseStreamFormat(unsigned int stream, char* payload, unsigned long length);
    void parseAudioStreamFormat(char* payload, unsigned long length);
    void parseVideoStreamFormat(char* payload, unsigned long length);
    void assignClrmapIf2or4or8bitAVIwithNoClrmap();
    void verifySupport();

    // --- Indexes ---------------------------------------------------------------
    void parseLegacyIndex();
    void buildLegacyIndex(const char* chunkId);
    void verifyIndex();
    void parseStreamIndex(unsigned long stream, char* payload);
    void addIndexEntry(const char* chunkId, unsigned int offset, unsigned int size, unsigned long base);
    void addIndexEntry(unsigned int chunkId, unsigned int offset, unsigned int size, unsigned long base);
    void addIndexEntry(unsigned long stream, const char* chunkId, unsigned int offset, unsigned int size,
                       unsigned long base);
    void addIndexEntry(unsigned long stream, unsigned int chunkId, unsigned int offset, unsigned int size,
                       unsigned long base);
    aviindex_chunk parseOpenDMLBaseIndex(char* payload);
    void parseOpenDMLSuperIndex(unsigned long stream, const aviindex_chunk& header, char* entries);
    void parseOpenDMLStandardIndex(unsigned long stream, const aviindex_chunk& header, char* entries);

    // --- Reading ---------------------------------------------------------------
    void readVideoFrame(char* buffer, long frame);
    void readVideoFrame(char* buffer);
    void readRGB24VideoFrame(char* buffer, long frame);
    void readRGB24VideoFrame(char* buffer);
    void readIndexedVideoFrame(char* buffer, long frame);
    void readAudio(char* buffer, unsigned long count);
    uint32_t getRawVideoFrameSize(long frame);
    void resetVideo();
    void resetAudio();
    void errorIfWrongNumFrameForRGB24();

    // --- Repacking to bottom-up RGB24, in place ---------------------------------
    uint32_t getRGB24VideoFrameSize();
    uint32_t getIndexedVideoFrameSize();
    uint32_t getRgb24PadLength();
    uint32_t getIndexedPadLength();
    uint32_t getRgb555PadLength();
    void rgb555ToRgb24(char* frame);
    void rgb555ToRgb24WPad(char* frame);
    void rgb32ToRgb24(char* frame);
    void rgb32ToRgb24WPad(char* frame);
    void indexedToRgb24(char* frame);
    void indexedToRgb24WPad(char* frame);
    void convertFrameToBottomUp(char* frame);

    // --- Writer configuration and header ----------------------------------------
    // Call order: open(name, "w"); setNumSuperIndexEntries (optional);
    // setVideoInfo and/or setAudioInfo (the first configured is stream 0);
    // setColormap (8-bit video); writeVideoFrame/writeAudio in any order; close.
    void setNumSuperIndexEntries(uint64_t entries);
    void setVideoInfo(unsigned width, unsigned height, double frameRate);
    void setVideoInfo(unsigned width, unsigned height, double frameRate, const std::string& fourcc);
    void setVideoInfo(unsigned width, unsigned height, double frameRate, const std::string& fourcc,
                      unsigned bitsPerPixel);
    void setAudioInfo(double sampleRate, unsigned bitsPerSample, unsigned channels, unsigned chunkBytes);
    void setColormap(const std::vector<tagRGBQUAD>& colors);
    void initWriter();
    void resetWriter();
    uint32_t getHeaderLength();
    uint32_t getStrlLength(uint8_t present, uint32_t baseLength, uint64_t entries);
    uint32_t getOpenDMLHeaderLength();
    uint32_t getMoviLength();
    void populateMainHeader();
    void populateVideoStreamHeader();
    void populateAudioStreamHeader();
    void populateBitmapHeader();
    void populateWaveHeader();
    void copyMainHeader2Buf(char* buffer);
    void copyStreamHeader2Buf(char* buffer, unsigned int stream);
    void copyBitmapHeader2Buf(char* buffer);
    void copyWaveHeader2Buf(char* buffer);
    void writeHeader();
    void writeVideoStreamHeader();
    void writeAudioStreamHeader();
    void writeOpenDMLHeader();

    // --- Writer chunks and RIFF rollover ------------------------------------------
    void writeVideoFrame(char* data);
    void writeVideoFrame(char* data, unsigned size);
    void writeAudio(char* data);
    void writeMoviEntry(char* data, unsigned headSize, unsigned payloadBytes, char* chunkId,
                        std::vector<IndexEntry>& index);
    void writeAVIXChunk();
    bool atRiffBoundary(uint64_t payloadBytes);
    bool isFirstRiffChunk();
    uint32_t getCurRiffChunkSize();
    void updateRiffChunk(uint64_t payloadBytes);
    void closeCurRiffChunk();

    // --- Writer indexes -------------------------------------------------------------
    void writeChunk(const char* fourcc, unsigned size);
    void writeList(const char* fourcc, unsigned size, const char* type);
    uint32_t getOpenDMLSuperIndexLength(uint64_t entries);
    uint32_t getOpenDMLStandardIndexLength(uint64_t entries);
    void writeOpenDMLStandardIndex(const char* chunkId, unsigned int stream, const std::vector<IndexEntry>& entries,
                                   std::vector<SuperIndexEntry>& superIndex);
    void writeOpenDMLSuperIndex(const char* chunkId, const std::vector<SuperIndexEntry>& entries);
    void writeOpenDMLBaseIndex(const char* chunkId, uint16_t longsPerEntry, uint8_t indexType, unsigned entriesInUse);
    void populateOpenDMLBaseIndex(aviindex_chunk& record, const char* chunkId, uint16_t longsPerEntry,
                                  uint8_t indexType, unsigned entriesInUse);
    void copyOpenDMLBaseIndex2Buf(const aviindex_chunk& record, char* buffer);
    void writeLegacyIndex();
    uint32_t getLegacyIndexLength();

private:
    // Writes bytes at the stream's position; false (and FWRITE_FAILED) when short.
    bool writeBytes(const void* data, size_t count);
    // The stream's position, or all ones when it cannot be had.
    uint64_t filePosition() const;

    // The frame a video read is to fetch and its byte count, after the checks
    // every read makes; null when there is nothing to read or on an error.
    const IndexEntry* selectVideoFrame(long frame, uint32_t& count);
    // Large 16- and 32-bit frames read strip by strip into stripBuffer and
    // converted from there, while each strip is still in cache. False when the
    // frame is not one of those and must take the plain way.
    bool readRGB24InStrips(char* buffer, long frame);
    static const uint32_t STRIP_BYTES = 256 * 1024;

    // Bounded forms of the OpenDML parse. `length` is the number of bytes that
    // may be read behind the pointer; `depth` counts nested super indexes.
    void parseIndexChunk(unsigned long stream, const char* payload, uint64_t length, unsigned depth);
    void parseSuperIndexEntries(unsigned long stream, const aviindex_chunk& header, const char* entries,
                                uint64_t length, unsigned depth);
    void parseStandardIndexEntries(unsigned long stream, const aviindex_chunk& header, const char* entries,
                                   uint64_t length);
    bool walkStreamList(unsigned int stream, char* list, uint32_t length);

    // Reads exactly `count` bytes at an absolute position without moving the
    // stream; returns the number of bytes that came.
    size_t readAt(void* buffer, size_t count, uint64_t position) const;
    // Bytes of the caller's frame buffer the repacking may touch.
    uint64_t frameBufferExtent();
    const AVIStreamHeader& videoStream() const { return streamHeaders[videoStreamIndex % MAX_STREAMS]; }
    const AVIStreamHeader& audioStream() const { return streamHeaders[audioStreamIndex % MAX_STREAMS]; }

    std::string errorMsg;
    errors::error_T errorCode;
    std::string fileName;
    FILE* fileHandle;
    int32_t fileMode;
    uint64_t moviPosition;
    uint32_t hdrlPosition;
    uint32_t idx1Position;
    uint32_t strlPosition;
    uint32_t videoFrameSize;
    uint32_t audioChunkDataSize;
    uint32_t audioChunkSize;
    uint64_t riffSize;
    bool audioPresent;
    bool videoPresent;
    bool topDownFrames;
    char* rowBuffer;
    uint32_t rowBufferSize;
    // Scratch for readRGB24InStrips, made by open for 16- and 32-bit video.
    uint8_t* stripBuffer;
    MainAVIHeader mainHeader;
    AVIStreamHeader streamHeaders[MAX_STREAMS];
    WAVEFORMATEX waveHeader;
    BITMAPINFOHEADER bitmapHeader;
    bool flagHasIndex;
    bool flagMustUseIndex;
    bool flagIsInterleaved;
    bool flagTrustCkType;
    bool flagWasCaptureFile;
    bool flagCopyrighted;
    uint32_t audioStreamIndex;
    uint32_t videoStreamIndex;
    char audioChunkId[5];
    char videoChunkId[5];
    std::vector<IndexEntry>* audioIndex;
    std::vector<IndexEntry>* videoIndex;
    std::vector<SuperIndexEntry>* videoSuperIndex;
    std::vector<SuperIndexEntry>* audioSuperIndex;
    uint64_t videoFramesRead;
    uint64_t audioChunkIndex;
    uint64_t audioBytesRead;
    uint64_t audioChunkOffset;
    bool legacyIndexWritten;
    uint32_t firstRiffEnd;
    uint32_t firstRiffVideoEntries;
    uint32_t firstRiffAudioEntries;
    uint32_t firstRiffMoviBytes;
    uint32_t extraVideoEntries;
    uint32_t curMoviBytes;
    // Base of the last non-empty standard index of each stream, which an empty
    // one repeats; 0 while there was none.
    uint64_t lastVideoIndexBase;
    uint64_t lastAudioIndexBase;
    uint64_t numSuperIndexEntries;
    std::vector<tagRGBQUAD> colormap;
    // Size of the open file, taken at open: every size and count read from the
    // file is checked against it before it drives a loop or an allocation.
    uint64_t fileSize;
};

} // namespace avi

#endif
