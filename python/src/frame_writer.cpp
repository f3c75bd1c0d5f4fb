#include "frame_writer.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include <boost/numeric/conversion/converter_policies.hpp>

#include "failure.h"
#include "picture_layout.h"

namespace korva::python {

namespace {

// Writers serialise their numbers through buffers that all files share, so
// only one writer of the process may be inside the library at a time.
std::mutex& writerCalls() {
    static std::mutex calls;
    return calls;
}

// Runs one writer call of the library, turning its refusals into AviFailure.
template <class Call> void writerCall(avi::File& file, const std::string& path, Call call) {
    std::lock_guard<std::mutex> hold(writerCalls());
    try {
        call();
    } catch (const boost::numeric::bad_numeric_cast&) {
        // A length or position that no longer fits the format's 32 bits.
        fail(avi::errors::INVALID_INDEX_OFFSET, path);
    }
    throwIfFailed(file, path);
}

} // namespace

FrameWriter::FrameWriter(const std::string& path, int32_t width, int32_t height, double fps, double audioRate,
                         int32_t audioChannels, int32_t audioBits)
    : path_(path), width_(width), height_(height) {
    py::gil_scoped_release unlocked;
    writerCall(file_, path_, [&] {
        if (!file_.open(path_.c_str(), "w")) return;
        open_ = true;
        file_.setVideoInfo(unsigned(width), unsigned(height), fps);
        if (file_.getErrorCode() != avi::errors::NO_ERROR || audioRate <= 0) return;
        audio_ = audioLayout(audioBits, audioChannels);
        const int64_t samplesPerChunk = std::max<int64_t>(1, std::llround(audioRate / fps));
        chunkBytes_ = samplesPerChunk * audio_.frameBytes();
        // One byte more for the pad of an odd chunk, which the writer takes
        // from the caller's buffer.
        chunk_.assign(size_t(chunkBytes_) + 1, 0);
        file_.setAudioInfo(audioRate, unsigned(audioBits), unsigned(audioChannels), unsigned(chunkBytes_));
    });
    packed_ = PooledBytes(size_t(rgbFrameBytes(width, height)));
    strip_.assign(stripBufferBytes(width), 0);
}

void FrameWriter::requireOpen() const {
    if (!open_) throw py::value_error("I/O operation on a closed VideoWriter");
}

void FrameWriter::writeFrame(const py::array& picture, VideoDataType type, bool columnOrder) {
    requireOpen();
    const auto* pixels = static_cast<const uint8_t*>(picture.data());
    py::gil_scoped_release unlocked;
    std::lock_guard<std::mutex> hold(mutex_);
    pictureToPacked(pictureKernels().output[type], pixels, packed_.data(), strip_.data(), width_, height_,
                    videoDataTypeSize[type], columnOrder);
    writerCall(file_, path_, [&] { file_.writeVideoFrame(reinterpret_cast<char*>(packed_.data())); });
    ++framesWritten_;
}

void FrameWriter::writeAudio(const py::array& samples, AudioDataType sampleType) {
    requireOpen();
    if (chunkBytes_ == 0) throw py::value_error("this VideoWriter was opened without audio (give audio_rate)");
    const auto* in = static_cast<const uint8_t*>(samples.data());
    int64_t left = samples.shape(0);
    const int64_t inFrameBytes = int64_t(audioDataTypeSize[sampleType]) * audio_.channels;
    py::gil_scoped_release unlocked;
    std::lock_guard<std::mutex> hold(mutex_);
    while (left > 0) {
        const int64_t take = std::min(left, (chunkBytes_ - gathered_) / audio_.frameBytes());
        samplesToFile(in, sampleType, chunk_.data() + gathered_, take, audio_);
        gathered_ += take * audio_.frameBytes();
        in += take * inFrameBytes;
        left -= take;
        if (gathered_ == chunkBytes_) writeAudioChunk();
    }
}

void FrameWriter::writeAudioChunk() {
    writerCall(file_, path_, [&] { file_.writeAudio(reinterpret_cast<char*>(chunk_.data())); });
    gathered_ = 0;
}

void FrameWriter::close() {
    py::gil_scoped_release unlocked;
    std::lock_guard<std::mutex> hold(mutex_);
    if (!open_) return;
    open_ = false;
    try {
        if (gathered_ > 0) {
            // Silence is the middle of the range: 128 for unsigned 8-bit samples.
            const uint8_t silence = audio_.stored == AUDIO_UINT8 ? 0x80 : 0;
            std::fill(chunk_.begin() + gathered_, chunk_.begin() + chunkBytes_, silence);
            writeAudioChunk();
        }
    } catch (...) {
        // What reached the file still gets its indexes and header.
        std::lock_guard<std::mutex> calls(writerCalls());
        file_.close();
        throw;
    }
    writerCall(file_, path_, [&] { file_.close(); });
}

FrameWriter::~FrameWriter() {
    std::lock_guard<std::mutex> calls(writerCalls());
    file_.close();
}

} // namespace korva::python
