#include "array_pool.h"

#include <cstdlib>
#include <mutex>
#include <new>

namespace korva::python {

namespace {

// What the pool keeps at most: a few frames of full HD doubles.
constexpr size_t POOL_BYTES = size_t(256) << 20;
// Blocks are aligned for the widest vector stores.
constexpr size_t ALIGNMENT = 64;

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
        void* memory = std::aligned_alloc(ALIGNMENT, (bytes + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT);
        if (memory == nullptr) throw std::bad_alloc();
        return memory;
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

size_t pooledBytes() { return pool().held(); }

} // namespace korva::python
