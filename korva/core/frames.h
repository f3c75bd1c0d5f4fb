#ifndef KORVA_CORE_FRAMES_H
#define KORVA_CORE_FRAMES_H

#include <korva/core/export.h>

// Reference-counted blocks of media bytes that travel through the frame
// queues. No class here has virtual functions: Release frees any frame
// through the base class, so the derived classes add only plain fields.

#include <atomic>
#include <cstdint>

class KORVA_API MMFrame {
public:
    MMFrame() = default;
    // Frees data with delete[] if it is set.
    ~MMFrame();
    MMFrame(const MMFrame&) = delete;
    MMFrame& operator=(const MMFrame&) = delete;

    // Gives up one hold and returns the holds left. At 0 the frame and its
    // buffer are freed and the object must not be touched again. This is a
    // plain read, subtract and write, not an atomic decrement: two threads
    // must never release one frame at once. The store is a release so that a
    // pool that sees the frame free again also sees the holder done with it.
    int32_t Release();

    // Holders of the frame. Only the queues' pool logic reads it from another
    // thread, with an acquiring load.
    std::atomic<int32_t> refCount{1};
    uint8_t* data = nullptr;
    int32_t size = 0;
};

// A block of interleaved audio samples, consumed in bites from position on.
class KORVA_API AudioFrame : public MMFrame {
public:
    // A size below 1 changes nothing. Otherwise a new buffer of size bytes,
    // filled from source unless it is null; meant to be called once.
    void init(void* source, int size);

    int32_t position = 0;
};

// A packed picture with two values that travel with it for the caller.
class KORVA_API VideoFrame : public MMFrame {
public:
    // Stores size and the stamps, allocates a buffer only if there is none
    // yet (a pooled frame keeps its own, made at the largest size), and
    // copies size bytes from source unless it is null.
    void init(void* source, int size, double a, double b);

    double stampA = 0.0;
    double stampB = 0.0;
};

#endif
