#include "frame_reader.h"

#include <algorithm>

namespace {

// Frames past this many bytes are refused rather than allocated: a damaged
// header can claim any geometry.
const uint64_t MAX_FRAME_BYTES = uint64_t(1) << 30;

std::string quoted(const std::string& path) { return "'" + path + "'"; }

} // namespace

std::string RGB24FrameReader::open(const std::string& aviPath) {
    path_ = aviPath;
    if (!file_.open(aviPath.c_str(), "rb")) {
        return "cannot read " + quoted(aviPath) + ": " + file_.getErrorMsg();
    }
    if (!file_.hasVideo()) {
        return quoted(aviPath) + " has no video stream";
    }
    frames_ = file_.getVideoTotalFrames();
    const uint16_t depth = file_.getVideoBitsPerPixel();
    const bool knownDepth = depth == 2 || depth == 4 || depth == 8 || depth == 16 || depth == 24 || depth == 32;
    if (file_.isVideoCompressed() || !knownDepth) {
        const std::string fourcc = file_.getVideoFourCC();
        return quoted(aviPath) + " holds video that cannot be turned into RGB (" +
               (file_.isVideoCompressed() ? "compressed as '" + fourcc + "'" : std::to_string(depth) + " bits a pixel") +
               ")";
    }
    width_ = file_.getVideoWidth();
    height_ = file_.getVideoHeight();
    const uint64_t frameBytes = uint64_t(height_) * stride();
    if (width_ == 0 || height_ == 0 || width_ > INT32_MAX / 4 || height_ > INT32_MAX || frameBytes > MAX_FRAME_BYTES) {
        return quoted(aviPath) + " has a picture of " + std::to_string(width_) + "x" + std::to_string(height_) +
               " pixels, which cannot be turned into RGB";
    }
    const uint64_t bufferBytes =
        std::max<uint64_t>({frameBytes, file_.getRGB24VideoFrameSize(), file_.getIndexedVideoFrameSize()});
    if (bufferBytes > MAX_FRAME_BYTES) {
        return quoted(aviPath) + " claims frames of " + std::to_string(bufferBytes) + " bytes, which is past any picture";
    }
    buffer_.assign(bufferBytes, 0);
    return std::string();
}

std::string RGB24FrameReader::read(int64_t number) {
    // Room for every read form of the frame, as the reader asks: a damaged
    // index may give this frame more bytes than its geometry.
    const uint64_t stored = file_.getRawVideoFrameSize(long(number));
    if (stored > MAX_FRAME_BYTES) {
        return "frame " + std::to_string(number) + " of " + quoted(path_) + " claims " + std::to_string(stored) +
               " bytes, which is past any picture";
    }
    if (stored > buffer_.size()) buffer_.resize(stored, 0);
    file_.readRGB24VideoFrame(buffer_.data(), long(number));
    if (file_.getErrorCode() != avi::errors::NO_ERROR) {
        return "cannot read frame " + std::to_string(number) + " of " + quoted(path_) + ": " + file_.getErrorMsg();
    }
    return std::string();
}
