#ifndef KORVA_QUEUE_NODE_CACHE_H
#define KORVA_QUEUE_NODE_CACHE_H

// List nodes kept for reuse, so that a steady stream of frames through a
// queue allocates nothing once as many nodes exist as frames were ever queued
// at once. Not thread-safe on its own: the queue takes and gives nodes only
// while it holds its resource lock.

#include <cstddef>
#include <new>

class NodeCache {
public:
    NodeCache() = default;
    NodeCache(const NodeCache&) = delete;
    NodeCache& operator=(const NodeCache&) = delete;
    ~NodeCache() {
        while (free_) {
            Link* next = free_->next;
            ::operator delete(free_);
            free_ = next;
        }
    }

    // Nodes of one size only, that of the list's nodes; a request of any
    // other size goes to the allocator.
    void* take(std::size_t bytes) {
        if (bytes != nodeBytes_ || !free_) {
            return ::operator new(bytes < sizeof(Link) ? sizeof(Link) : bytes);
        }
        Link* node = free_;
        free_ = node->next;
        return node;
    }

    void give(void* node, std::size_t bytes) {
        if (nodeBytes_ == 0 && bytes >= sizeof(Link)) {
            nodeBytes_ = bytes;
        }
        if (bytes != nodeBytes_) {
            ::operator delete(node);
            return;
        }
        free_ = new (node) Link{free_};
    }

private:
    struct Link {
        Link* next;
    };
    Link* free_ = nullptr;
    std::size_t nodeBytes_ = 0;
};

// The list's allocator over a queue's NodeCache.
template <class T> struct CachingAllocator {
    using value_type = T;
    NodeCache* cache;

    explicit CachingAllocator(NodeCache* cache) : cache(cache) {}
    template <class U> CachingAllocator(const CachingAllocator<U>& other) : cache(other.cache) {}

    T* allocate(std::size_t n) { return static_cast<T*>(cache->take(n * sizeof(T))); }
    void deallocate(T* p, std::size_t n) { cache->give(p, n * sizeof(T)); }

    template <class U> bool operator==(const CachingAllocator<U>& other) const { return cache == other.cache; }
    template <class U> bool operator!=(const CachingAllocator<U>& other) const { return cache != other.cache; }
};

#endif
