#include "frame_reader.h"

#include <algorithm>
#include <limits>

#include <sys/stat.h>

#include "array_pool.h"
#include "audio_samples.h"
#include "failure.h"
#include "picture_layout.h"

namespace korva::python {

namespace {

uint64_t fileBytes(const std::string& path) {
    struct stat status;
    return ::stat(path.c_str(), &status) == 0 ? uint64_t(status.st_size) : 0;
}

} // namespace

FrameReader::FrameReader(const std::string& path) : path_(path) {
    {
        py::gil_scoped_release unlocked;
        if (!file_.open(path.c_str(), "rb")) throwIfFailed(file_, path_);
    }
    // An error the open lived through (a frame count that the data cannot
    // hold, say) leaves the file readable: the caller is warned, not refused.
    if (file_.getErrorCode() != avi::errors::NO_ERROR) warning_ = file_.getErrorMsg();
    file_.clearError();
    if (!file_.hasVideo()) return;

    const uint64_t width = file_.getVideoWidth(), height = file_.getVideoHeight();
    // Kernels count pixels and bytes of a frame in 32-bit signed integers, and
    // no frame of more than the file's own bytes can be read from it.
    const uint64_t pixels = width * height;
    if (width == 0 || height == 0 || width > INT32_MAX || height > INT32_MAX || pixels > INT32_MAX / 4 ||
        (!file_.isVideoCompressed() && pixels > 8 * fileBytes(path_))) {
        fail(avi::errors::UNSUPPORTED_FILE, path_);
    }
    width_ = int32_t(width);
    height_ = int32_t(height);
    frames_ = file_.getVideoTotalFrames();
    if (file_.isVideoCompressed()) return;

    // Every read form fits in the largest of these; the input kernel reads a
    // whole packed frame of the geometry, whatever the stored size.
    const uint64_t packed = std::max<uint64_t>({frames_ > 0 ? file_.getRawVideoFrameSize(0) : 0,
                                                file_.getRGB24VideoFrameSize(), file_.getIndexedVideoFrameSize(),
                                                uint64_t(rgbFrameBytes(width_, height_))});
    file_.clearError();
    packed_ = PooledBytes(packed);
    strip_.assign(stripBufferBytes(width_), 0);
}

double FrameReader::fps() const { return file_.hasVideo() ? file_.getVideoFrameRate() : 0.0; }

int FrameReader::bits() const { return file_.hasVideo() ? file_.getVideoBitsPerPixel() : 0; }

std::optional<std::string> FrameReader::fourcc() const {
    const std::string code = file_.getVideoFourCC();
    if (code.empty()) return std::nullopt;
    return code;
}

py::object FrameReader::audioFormat() const {
    if (!file_.hasAudio()) return py::none();
    py::dict format;
    format["rate"] = file_.getAudioSampleRate();
    format["bits"] = file_.getAudioBitsPerSample();
    format["channels"] = file_.getAudioNumberOfChannels();
    format["total_bytes"] = file_.getAudioTotalBytes();
    return std::move(format);
}

void FrameReader::requireOpen() const {
    if (!open_) throw py::value_error("I/O operation on a closed VideoReader");
}

py::array FrameReader::newPictures(const std::vector<py::ssize_t>& leading, VideoDataType type, bool columnOrder) {
    const py::dtype dtype = elementDtype(type);
    const py::ssize_t e = dtype.itemsize(), h = height_, w = width_;
    std::vector<py::ssize_t> shape(leading), strides;
    shape.insert(shape.end(), {h, w, 3});
    // Frames one after the other, each one C- or F-contiguous on its own.
    const py::ssize_t frame = 3 * h * w * e;
    for (size_t i = 0; i < leading.size(); ++i) strides.push_back(frame);
    if (columnOrder) strides.insert(strides.end(), {e, h * e, h * w * e});
    else strides.insert(strides.end(), {3 * w * e, 3 * e, e});
    size_t bytes = size_t(frame);
    for (py::ssize_t count : leading) bytes *= size_t(count);
    return pooledArray(dtype, shape, strides, bytes);
}

void FrameReader::fill(int64_t index, VideoDataType type, bool columnOrder, uint8_t* picture) {
    file_.readRGB24VideoFrame(reinterpret_cast<char*>(packed_.data()), long(index));
    if (file_.getErrorCode() != avi::errors::NO_ERROR) {
        throw AviFailure{file_.getErrorCode(), file_.getErrorMsg(), path_, index};
    }
    packedToPicture(type, packed_.data(), picture, strip_.data(), width_, height_, columnOrder);
}

py::array FrameReader::frame(int64_t index, VideoDataType type, bool columnOrder) {
    requireOpen();
    py::array picture = newPictures({}, type, columnOrder);
    auto* out = static_cast<uint8_t*>(picture.mutable_data());
    py::gil_scoped_release unlocked;
    std::lock_guard<std::mutex> hold(mutex_);
    fill(index, type, columnOrder, out);
    return picture;
}

py::array FrameReader::frames(const std::vector<int64_t>& indexes, VideoDataType type, bool columnOrder) {
    requireOpen();
    py::array pictures = newPictures({py::ssize_t(indexes.size())}, type, columnOrder);
    auto* out = static_cast<uint8_t*>(pictures.mutable_data());
    const int64_t frameBytes = 3 * int64_t(width_) * height_ * videoDataTypeSize[type];
    py::gil_scoped_release unlocked;
    std::lock_guard<std::mutex> hold(mutex_);
    for (size_t i = 0; i < indexes.size(); ++i) fill(indexes[i], type, columnOrder, out + i * frameBytes);
    return pictures;
}

py::array FrameReader::audio(int sampleType) {
    requireOpen();
    if (!file_.hasAudio()) throw AviFailure{avi::errors::AUDIO_CHUNKS_MISSING, "'" + path_ + "' has no audio stream",
                                            path_};
    const AudioLayout layout = audioLayout(file_.getAudioBitsPerSample(), file_.getAudioNumberOfChannels());
    if (file_.isAudioCompressed()) fail(avi::errors::COMPRESSED_AUDIO_UNSUPPORTED, path_);
    if (!layout.valid()) fail(avi::errors::UNSUPPORTED_AUDIO_STREAM, path_);
    // The stated length cannot be more than the file holds.
    const uint64_t total = std::min<uint64_t>(file_.getAudioTotalBytes(), fileBytes(path_));
    const int64_t samples = int64_t(total / layout.frameBytes());
    std::vector<uint8_t> stored(size_t(samples) * layout.frameBytes());
    {
        py::gil_scoped_release unlocked;
        std::lock_guard<std::mutex> hold(mutex_);
        file_.resetAudio();
        file_.readAudio(reinterpret_cast<char*>(stored.data()), stored.size());
        throwIfFailed(file_, path_);
    }
    return samplesFromFile(stored.data(), samples, layout, sampleType);
}

void FrameReader::close() {
    py::gil_scoped_release unlocked;
    std::lock_guard<std::mutex> hold(mutex_);
    if (!open_) return;
    file_.close();
    open_ = false;
    packed_ = {};
    strip_ = {};
}

} // namespace korva::python
