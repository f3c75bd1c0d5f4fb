#include <korva/core/frames.h>

#include <cstring>
#include <new>

MMFrame::~MMFrame() { delete[] data; }

int32_t MMFrame::Release() {
    const int32_t left = refCount.load(std::memory_order_relaxed) - 1;
    refCount.store(left, std::memory_order_release);
    if (left != 0) {
        return left;
    }
    // Frames come from a plain new of their own class, and the derived
    // classes hold nothing that needs a destructor: ending the base and
    // handing the storage back to the global allocator frees any of them
    // with no virtual call.
    this->~MMFrame();
    ::operator delete(static_cast<void*>(this));
    return 0;
}

void AudioFrame::init(void* source, int bytes) {
    if (bytes < 1) {
        return;
    }
    size = bytes;
    data = new uint8_t[bytes];
    if (source) {
        std::memcpy(data, source, static_cast<size_t>(bytes));
    }
}

void VideoFrame::init(void* source, int bytes, double a, double b) {
    size = bytes;
    stampA = a;
    stampB = b;
    if (!data) {
        // A negative size becomes a huge request here, which new[] refuses.
        data = new uint8_t[static_cast<size_t>(static_cast<int64_t>(bytes))];
    }
    if (source) {
        std::memcpy(data, source, static_cast<size_t>(bytes));
    }
}
