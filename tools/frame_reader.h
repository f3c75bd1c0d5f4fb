#ifndef KORVA_TOOLS_FRAME_READER_H
#define KORVA_TOOLS_FRAME_READER_H

#include <cstdint>
#include <string>
#include <vector>

#include <korva/korva.h>

// Reads the frames of an AVI file's video by number as the reader's RGB24
// frame: rows bottom-up, blue first, padded to 4 bytes. One buffer serves
// every frame, grown only when a damaged index gives a frame more bytes.
class RGB24FrameReader {
public:
    // Opens the file and checks that its video can be turned into RGB and
    // that its geometry is sane; returns an empty string or why not.
    std::string open(const std::string& aviPath);

    int64_t frameCount() const { return frames_; }
    uint32_t width() const { return width_; }
    uint32_t height() const { return height_; }
    avi::File& file() { return file_; }

    // Reads frame number (from 0, below frameCount) into the buffer; returns
    // an empty string or the text of what failed.
    std::string read(int64_t number);

    // The frame last read: height rows of stride bytes, the bottom row first.
    const uint8_t* rows() const { return reinterpret_cast<const uint8_t*>(buffer_.data()); }
    size_t stride() const { return size_t(rgbRowBytes(int32_t(width_))); }

private:
    avi::File file_;
    std::string path_;
    int64_t frames_ = 0;
    uint32_t width_ = 0, height_ = 0;
    std::vector<char> buffer_;
};

#endif
