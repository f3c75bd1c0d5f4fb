#include "array_pool.h"

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <utility>
#include <new>

#include <sys/mman.h>

namespace korva::python {

namespace {

// What the pool keeps at most: a few frames of full HD doubles.
constexpr size_t POOL_BYTES = size_t(256) << 20;
// Blocks are aligned for the widest vector stores.
constexpr size_t ALIGNMENT = 64;
// Blocks of many frames (a Dask chunk) are laid on huge pages, where the
// system allows them: filling one then takes a fraction of the page faults and
// of the address translations that small pages cost.
constexpr size_t HUGE_PAGE = size_t(2) << 20;
constexpr size_t HUGE_FROM = size_t(16) << 20;

void* allocate(size_t bytes) {
    const size_t alignment = bytes >= HUGE_FROM ? HUGE_PAGE : ALIGNMENT;
    const size_t rounded = (bytes + alignment - 1) / alignment * alignment;
    void* memory = std::aligned_alloc(alignment, rounded);
    if (memory == nullptr) throw std::bad_alloc();
#ifdef MADV_HUGEPAGE
    if (alignment == HUGE_PAGE) madvise(memory, rounded, MADV_HUGEPAGE);
#endif
    return memory;
}

struct Block {
    void* memory;
    size_t bytes;
};

class ArrayPool {
public:
    void* take(size_t bytes) {
        {
            std::lock_guard<std::mutex> hold(mutex_);
            for (size_t i = blocks_.size(); i-- > 0;) {
                if (blocks_[i].bytes != bytes) continue;
                void* memory = blocks_[i].memory;
                held_ -= bytes;
                blocks_.erase(blocks_.begin() + long(i));
                return memory;
            }
        }
        return allocate(bytes);
    }

    void give(void* memory, size_t bytes) {
        std::lock_guard<std::mutex> hold(mutex_);
        // The oldest blocks make room; a block larger than the pool is freed.
        while (!blocks_.empty() && held_ + bytes > POOL_BYTES) {
            std::free(blocks_.front().memory);
            held_ -= blocks_.front().bytes;
            blocks_.erase(blocks_.begin());
        }
        if (bytes > POOL_BYTES) {
            std::free(memory);
            return;
        }
        blocks_.push_back({memory, bytes});
        held_ += bytes;
    }

    size_t held() {
        std::lock_guard<std::mutex> hold(mutex_);
        return held_;
    }

private:
    std::mutex mutex_;
    std::vector<Block> blocks_;
    size_t held_ = 0;
};

// Never destroyed: arrays may die after the module's static objects.
ArrayPool& pool() {
    static ArrayPool* made = new ArrayPool;
    return *made;
}

} // namespace

py::array pooledArray(const py::dtype& dtype, const std::vector<py::ssize_t>& shape,
                      const std::vector<py::ssize_t>& strides, size_t bytes) {
    auto* block = new Block{pool().take(bytes), bytes};
    py::capsule owner(block, [](void* pointer) {
        auto* returned = static_cast<Block*>(pointer);
        pool().give(returned->memory, returned->bytes);
        delete returned;
    });
    return py::array(dtype, shape, strides, block->memory, owner);
}

PooledBytes::PooledBytes(size_t bytes) : memory_(static_cast<uint8_t*>(pool().take(bytes))), bytes_(bytes) {
    std::memset(memory_, 0, bytes);
}

PooledBytes::~PooledBytes() {
    if (memory_ != nullptr) pool().give(memory_, bytes_);
}

PooledBytes& PooledBytes::operator=(PooledBytes&& other) noexcept {
    if (this != &other) {
        if (memory_ != nullptr) pool().give(memory_, bytes_);
        memory_ = std::exchange(other.memory_, nullptr);
        bytes_ = std::exchange(other.bytes_, 0);
    }
    return *this;
}

size_t pooledBytes() { return pool().held(); }

} // namespace korva::python
