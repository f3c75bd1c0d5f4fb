#include "repair_support.h"

#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

#include <korva/korva.h>

#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace repairtest {

Bytes Recording::frame(uint64_t i) const { return korvatest::patternBytes(frameBytes(), uint32_t(1000 + i)); }

Bytes Recording::audio(uint64_t i) const { return korvatest::patternBytes(audioChunk, uint32_t(900000 + i)); }

uint32_t Recording::frameBytes() const { return uint32_t(rgbFrameBytes(int32_t(width), int32_t(height))); }

void writeRecording(const std::string& path, const Recording& r, uint64_t count, WriteProgress* progress) {
    avi::File file;
    file.open(path.c_str(), "w");
    file.setVideoInfo(r.width, r.height, r.fps);
    file.setAudioInfo(r.audioRate, 16, 2, r.audioChunk);
    for (uint64_t i = 0; i < count; ++i) {
        Bytes frame = r.frame(i), audio = r.audio(i);
        file.writeVideoFrame(reinterpret_cast<char*>(frame.data()));
        if (progress) progress->frames = i + 1;
        file.writeAudio(reinterpret_cast<char*>(audio.data()));
        if (progress) progress->audioChunks = i + 1;
    }
    if (progress) progress->closing = 1;
    file.close();
    if (progress) progress->closing = 2;
}

WriteProgress* sharedProgress() {
    void* memory = mmap(nullptr, sizeof(WriteProgress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) throw std::runtime_error("mmap failed");
    return new (memory) WriteProgress;
}

int startWriter(const std::string& path, const Recording& r, uint64_t count, WriteProgress* progress) {
    *progress = WriteProgress{};
    const pid_t child = fork();
    if (child == 0) {
        writeRecording(path, r, count, progress);
        _exit(0);
    }
    return child;
}

void killWriter(int child) {
    kill(child, SIGKILL);
    int status = 0;
    waitpid(child, &status, 0);
}

uint64_t sizeOf(const std::string& path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 ? uint64_t(status.st_size) : 0;
}

namespace {

std::string drain(std::FILE* stream) {
    std::string text;
    std::rewind(stream);
    char block[4096];
    for (size_t got; (got = std::fread(block, 1, sizeof block, stream)) > 0;) text.append(block, got);
    std::fclose(stream);
    return text;
}

} // namespace

RepairRun repair(const korva::repair::RepairOptions& options) {
    std::FILE* out = std::tmpfile();
    std::FILE* err = std::tmpfile();
    const int status = korva::repair::runRepair(options, out, err);
    return {status, drain(out), drain(err)};
}

RepairRun repair(const std::string& in, const std::string& out, const std::string& like) {
    korva::repair::RepairOptions options;
    options.in = in;
    options.out = out;
    options.like = like;
    return repair(options);
}

ReadBack readBack(const std::string& path) {
    ReadBack back;
    avi::File file;
    file.open(path.c_str(), "rb");
    back.error = file.getErrorCode();
    if (back.error != 0) return back;
    for (long n = 0; n < file.getVideoTotalFrames(); ++n) {
        Bytes frame(std::max(file.getRawVideoFrameSize(n), file.getRGB24VideoFrameSize()));
        file.readVideoFrame(reinterpret_cast<char*>(frame.data()), n);
        if (file.getErrorCode() != 0) {
            back.error = file.getErrorCode();
            return back;
        }
        frame.resize(file.getRawVideoFrameSize(n));
        back.frames.push_back(std::move(frame));
    }
    if (file.hasAudio()) {
        back.audio.resize(file.getAudioTotalBytes());
        file.readAudio(reinterpret_cast<char*>(back.audio.data()), back.audio.size());
        if (file.getErrorCode() != 0) back.error = file.getErrorCode();
    }
    return back;
}

Bytes fileBytes(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
}

void expectRecovered(const std::string& path, const Recording& r, uint64_t frames, uint64_t audioChunks,
                     bool checkAudio) {
    avi::File file;
    ASSERT_TRUE(file.open(path.c_str(), "rb")) << file.getErrorMsg();
    ASSERT_EQ(file.getErrorCode(), 0) << file.getErrorMsg();
    ASSERT_EQ(uint64_t(file.getVideoTotalFrames()), frames);
    Bytes frame(r.frameBytes());
    for (uint64_t n = 0; n < frames; ++n) {
        file.readVideoFrame(reinterpret_cast<char*>(frame.data()), long(n));
        ASSERT_EQ(file.getErrorCode(), 0) << "frame " << n;
        ASSERT_TRUE(frame == r.frame(n)) << "frame " << n << " of " << frames;
    }
    if (!checkAudio) return;
    ASSERT_EQ(file.hasAudio(), audioChunks > 0);
    if (audioChunks == 0) return;
    ASSERT_EQ(file.getAudioTotalBytes(), audioChunks * r.audioChunk);
    Bytes chunk(r.audioChunk);
    for (uint64_t k = 0; k < audioChunks; ++k) {
        file.readAudio(reinterpret_cast<char*>(chunk.data()), chunk.size());
        ASSERT_EQ(file.getErrorCode(), 0) << "audio chunk " << k;
        ASSERT_TRUE(chunk == r.audio(k)) << "audio chunk " << k << " of " << audioChunks;
    }
}

} // namespace repairtest
