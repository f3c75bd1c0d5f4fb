// Counts every allocation of the process, to show that a steady stream
// through the video queue makes none.

#include <korva/korva.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {
std::atomic<long> allocations{0};
}

void* operator new(std::size_t bytes) {
    ++allocations;
    if (void* p = std::malloc(bytes ? bytes : 1)) return p;
    throw std::bad_alloc();
}
// The replacement pair: what this new takes from malloc, delete gives back.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
#pragma GCC diagnostic pop

namespace {

TEST(VideoQueue, SteadyStreamAllocatesNothing) {
    MMVideoQueue queue(3, FOURCC_RGB, FOURCC_RGB, VIDEO_SINGLE, 64, 48, true);
    std::vector<float> planes(3 * 64 * 48);
    auto round = [&](int queued) {
        for (int i = 0; i < queued; ++i) {
            VideoFrame* frame = queue.createVideoFrame();
            ASSERT_NE(frame, nullptr);
            frame->init(nullptr, rgbFrameBytes(64, 48), i, 0);
            queue.enqueueFrame(frame);
        }
        for (int i = 0; i < queued; ++i) {
            queue.copyVideoFrame(&planes[0], &planes[64 * 48], &planes[2 * 64 * 48]);
            queue.releaseFront();
        }
    };
    round(3);
    const long before = allocations;
    for (int i = 0; i < 100; ++i) round(1 + i % 3);
    EXPECT_EQ(allocations - before, 0);
}

} // namespace
