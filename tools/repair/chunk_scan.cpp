#include "chunk_scan.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace korva::repair {

namespace {

uint32_t le32(const uint8_t* p) { return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24; }

bool is(const uint8_t* p, const char* code) { return std::memcmp(p, code, 4) == 0; }

bool isDigit(uint8_t c) { return c >= '0' && c <= '9'; }

// A window of the file in memory, moved forward as the walk goes: chunk heads
// and scans read from it, payloads are only stepped over.
class FileWindow {
public:
    explicit FileWindow(const std::string& path) : buffer_(new uint8_t[CAPACITY]) {
        fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
        struct stat status;
        if (fd_ < 0 || ::fstat(fd_, &status) != 0 || !S_ISREG(status.st_mode)) {
            if (fd_ >= 0) ::close(fd_);
            throw std::runtime_error(fd_ < 0 ? "cannot open it: " + std::string(std::strerror(errno))
                                             : "it is not a regular file");
        }
        size_ = uint64_t(status.st_size);
        ::posix_fadvise(fd_, 0, 0, POSIX_FADV_SEQUENTIAL);
    }
    ~FileWindow() { ::close(fd_); }
    FileWindow(const FileWindow&) = delete;
    FileWindow& operator=(const FileWindow&) = delete;

    uint64_t size() const { return size_; }

    // need bytes at position, or null when the file ends before them. A
    // chunk head after a jump over a payload brings in a small window: the
    // heads of small chunks that follow, but not the payload of a large one.
    const uint8_t* at(uint64_t position, size_t need) {
        if (position + need > size_) return nullptr;
        if (position < start_ || position + need > start_ + length_) fill(position, HEAD_WINDOW);
        return buffer_.get() + (position - start_);
    }

    // The bytes from position to the end of the window (at least one, if
    // any), in large windows, for scans over every byte.
    size_t available(uint64_t position) {
        if (position >= size_) return 0;
        if (position < start_ || position >= start_ + length_ || start_ + length_ - position < HEAD_WINDOW) {
            fill(position, CAPACITY);
        }
        return size_t(start_ + length_ - position);
    }

    bool covers(uint64_t position, size_t bytes) const {
        return position >= start_ && position + bytes <= start_ + length_;
    }

private:
    static constexpr size_t CAPACITY = size_t(1) << 20;
    static constexpr size_t HEAD_WINDOW = size_t(16) << 10;

    void fill(uint64_t position, size_t window) {
        start_ = position;
        length_ = 0;
        const size_t want = size_t(std::min<uint64_t>(window, size_ - position));
        while (length_ < want) {
            const ssize_t got = ::pread(fd_, buffer_.get() + length_, want - length_, off_t(start_ + length_));
            if (got < 0 && errno == EINTR) continue;
            if (got <= 0) throw std::runtime_error("a read failed at offset " + std::to_string(start_ + length_));
            length_ += size_t(got);
        }
    }

    int fd_ = -1;
    uint64_t size_ = 0;
    std::unique_ptr<uint8_t[]> buffer_;
    uint64_t start_ = 0;
    size_t length_ = 0;
};

constexpr size_t MAX_DROPS_KEPT = 8;

class Walk {
public:
    Walk(const std::string& path, const StreamFormats& formats, const Progress& progress)
        : file_(path), formats_(formats), progress_(progress) {}

    ScanResult run() {
        uint64_t p = 0;
        const uint8_t* head = file_.at(0, 12);
        if (head != nullptr && is(head, "RIFF") && is(head + 8, "AVI ")) {
            result_.headerPresent = true;
        } else {
            p = skipZeros(0);
            result_.leadingHole = p;
        }
        while (p + 8 <= file_.size()) {
            if (progress_ && p - reported_ >= (64u << 20)) {
                progress_(p, file_.size());
                reported_ = p;
            }
            p = step(p);
        }
        if (p < file_.size()) drop(p, file_.size() - p, "cut short at the end");
        if (progress_) progress_(file_.size(), file_.size());
        return result_;
    }

private:
    // Reads the chunk at p and returns where the next one begins.
    uint64_t step(uint64_t p) {
        // A copy: later reads may move the window under a pointer into it.
        uint8_t h[8];
        std::memcpy(h, file_.at(p, 8), 8);
        const uint32_t size = le32(h + 4);
        const uint64_t end = p + 8 + size;
        const bool fits = end <= file_.size();
        if (is(h, "RIFF") || is(h, "LIST")) {
            const uint8_t* type = file_.at(p + 8, 4);
            if (type != nullptr && is(h, "RIFF") && (is(type, "AVI ") || is(type, "AVIX"))) {
                ++result_.riffChunks;
                return p + 12;
            }
            if (type != nullptr && is(h, "LIST") && (is(type, "movi") || is(type, "rec "))) {
                if (is(type, "movi") && firstMovi_ == 0) firstMovi_ = p + 8;
                return p + 12;
            }
            if (type != nullptr && fits && size >= 4) return next(p, size);
            return lost(p, "a list head that runs past the end");
        }
        if (isStreamChunk(h)) {
            if (!fits) return lost(p, "a chunk cut short");
            return keepOrDrop(p, h, size);
        }
        if (is(h, "idx1") || is(h, "indx") || is(h, "JUNK") || (h[0] == 'i' && h[1] == 'x' && isDigit(h[2]) &&
                                                                    isDigit(h[3]))) {
            if (!fits) return lost(p, "an index cut short");
            noteIndex(p, h, size);
            return next(p, size);
        }
        if (le32(h) == 0) {
            const uint64_t q = skipZeros(p);
            result_.zeroBytes += q - p;
            return q;
        }
        return lost(p, "bytes that are no chunk");
    }

    static bool isStreamChunk(const uint8_t* h) {
        if (!isDigit(h[0]) || !isDigit(h[1])) return false;
        return (h[2] == 'd' && (h[3] == 'b' || h[3] == 'c')) || (h[2] == 'w' && h[3] == 'b') ||
               (h[2] == 'p' && h[3] == 'c');
    }

    static int streamNumber(const uint8_t* h) { return (h[0] - '0') * 10 + (h[1] - '0'); }

    bool plausibleVideoSize(uint32_t size) const {
        return formats_.video && (formats_.video->compressed() ? size > 0 : size == formats_.video->frameBytes());
    }

    uint64_t keepOrDrop(uint64_t p, const uint8_t* h, uint32_t size) {
        const int stream = streamNumber(h);
        if (h[2] == 'd') {
            if (h[3] == 'b') ++result_.uncompressedIds;
            else ++result_.compressedIds;
            if (!plausibleVideoSize(size)) {
                if (formats_.video && !formats_.video->compressed()) {
                    ++result_.wrongSizeFrames;
                    result_.wrongSize = size;
                }
                return dropChunk(p, size, "a video chunk of another size than the frames");
            }
            if (result_.videoStream < 0) result_.videoStream = stream;
            if (stream != result_.videoStream) return dropChunk(p, size, "a chunk of a second video stream");
            result_.chunks.push_back({p + 8, size, true});
            ++result_.videoFrames;
            return next(p, size);
        }
        if (h[2] == 'w' && formats_.audio && size > 0) {
            if (result_.audioStream < 0) result_.audioStream = stream;
            if (stream != result_.audioStream) return dropChunk(p, size, "a chunk of a second audio stream");
            result_.chunks.push_back({p + 8, size, false});
            result_.audioBytes += size;
            return next(p, size);
        }
        return dropChunk(p, size, "a chunk of a stream that is not kept");
    }

    uint64_t dropChunk(uint64_t p, uint32_t size, const char* why) {
        ++result_.droppedChunks;
        drop(p, 8 + uint64_t(size), why);
        return next(p, size);
    }

    void drop(uint64_t offset, uint64_t bytes, const std::string& why) {
        result_.droppedBytes += bytes;
        if (result_.drops.size() < MAX_DROPS_KEPT) result_.drops.push_back({offset, bytes, why});
    }

    // Bytes at p that make no chunk: dropped up to the next place a chunk
    // plausibly begins.
    uint64_t lost(uint64_t p, const char* why) {
        const uint64_t q = resync(p + 1);
        ++result_.droppedChunks;
        drop(p, q - p, why);
        return q;
    }

    // Where the chunk after one of size at p begins. Chunks are padded to an
    // even size, but a writer that died or did not pad leaves the next head
    // straight behind an odd payload: take whichever of the two places holds
    // a head.
    uint64_t next(uint64_t p, uint32_t size) {
        const uint64_t plain = p + 8 + size;
        if ((size & 1) == 0) return plain;
        if (headAt(plain + 1)) return plain + 1;
        if (headAt(plain)) return plain;
        return plain + 1;
    }

    bool headAt(uint64_t q) {
        const uint8_t* h = file_.at(q, 12);
        if (h == nullptr) return false;
        const uint32_t size = le32(h + 4);
        const bool fits = q + 8 + uint64_t(size) <= file_.size();
        if (isStreamChunk(h)) {
            return fits && (h[2] != 'd' || plausibleVideoSize(size)) && (h[2] != 'w' || size > 0);
        }
        if (is(h, "RIFF")) return is(h + 8, "AVIX") || is(h + 8, "AVI ");
        if (is(h, "LIST")) return is(h + 8, "movi") || is(h + 8, "rec ") || is(h + 8, "hdrl") || is(h + 8, "odml");
        if (is(h, "idx1") || is(h, "JUNK") || (h[0] == 'i' && h[1] == 'x' && isDigit(h[2]) && isDigit(h[3]))) {
            return fits;
        }
        return false;
    }

    // The first place from q on where a chunk plausibly begins, or the end.
    uint64_t resync(uint64_t q) {
        while (q < file_.size()) {
            size_t span = file_.available(q);
            const uint8_t* bytes = file_.at(q, 1);
            for (size_t i = 0; i < span; ++i) {
                const uint8_t c = bytes[i];
                if (!(isDigit(c) || c == 'R' || c == 'L' || c == 'i' || c == 'J')) continue;
                if (headAt(q + i)) return q + i;
                // A head near the window's end moves the window: go on from
                // the next byte in a fresh one.
                if (!file_.covers(q, span)) span = i + 1;
            }
            q += span;
            if (progress_ && q - reported_ >= (64u << 20)) {
                progress_(q, file_.size());
                reported_ = q;
            }
        }
        return file_.size();
    }

    // The first byte from q on that is not zero, or the end.
    uint64_t skipZeros(uint64_t q) {
        while (q < file_.size()) {
            const size_t span = file_.available(q);
            const uint8_t* bytes = file_.at(q, 1);
            size_t i = 0;
            while (i + 8 <= span) {
                uint64_t word;
                std::memcpy(&word, bytes + i, 8);
                if (word != 0) break;
                i += 8;
            }
            while (i < span && bytes[i] == 0) ++i;
            if (i < span) return q + i;
            q += span;
        }
        return file_.size();
    }

    void noteIndex(uint64_t p, const uint8_t* h, uint32_t size) {
        if (h[0] == 'i' && h[1] == 'x') {
            ++result_.openDMLIndexes;
            if (result_.index == IndexKind::None) result_.index = IndexKind::OpenDML;
            return;
        }
        if (!is(h, "idx1") || size < 16 || result_.index == IndexKind::Idx1Relative ||
            result_.index == IndexKind::Idx1Absolute) {
            return;
        }
        // The first entry names a chunk id and an offset, counted from the
        // "movi" code by the format, from the start of the file by some writers.
        const uint8_t* entry = file_.at(p + 8, 16);
        char id[4];
        std::memcpy(id, entry, 4);
        const uint32_t offset = le32(entry + 8);
        const auto carries = [&](uint64_t at) {
            const uint8_t* there = file_.at(at, 4);
            return there != nullptr && std::memcmp(there, id, 4) == 0;
        };
        if (firstMovi_ != 0 && carries(firstMovi_ + offset)) result_.index = IndexKind::Idx1Relative;
        else if (carries(offset)) result_.index = IndexKind::Idx1Absolute;
        else if (result_.index == IndexKind::None) result_.index = IndexKind::Idx1Unusable;
    }

    FileWindow file_;
    const StreamFormats& formats_;
    const Progress& progress_;
    ScanResult result_;
    uint64_t firstMovi_ = 0;
    uint64_t reported_ = 0;
};

} // namespace

ScanResult scanChunks(const std::string& path, const StreamFormats& formats, const Progress& progress) {
    return Walk(path, formats, progress).run();
}

const char* indexKindText(IndexKind kind) {
    switch (kind) {
    case IndexKind::None: return "none";
    case IndexKind::Idx1Relative: return "idx1, offsets from \"movi\"";
    case IndexKind::Idx1Absolute: return "idx1, offsets from the start of the file";
    case IndexKind::Idx1Unusable: return "idx1 that points at no chunk";
    case IndexKind::OpenDML: return "OpenDML";
    }
    return "unknown";
}

} // namespace korva::repair
