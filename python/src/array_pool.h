#ifndef KORVA_PYTHON_ARRAY_POOL_H
#define KORVA_PYTHON_ARRAY_POOL_H

// Memory for the arrays the reader hands out. A frame of full HD doubles is
// 50 MB; the allocator gives such blocks back to the system when an array
// dies and takes them anew for the next, and touching fresh pages costs more
// than filling them. The pool keeps the memory of arrays that died for the
// next arrays of the same size, up to a bound, so that a loop over frames
// keeps writing into the same warm pages.

#include <cstddef>
#include <cstdint>
#include <vector>

#include <pybind11/numpy.h>

namespace korva::python {

namespace py = pybind11;

// A new array of the shape and byte strides, whose memory (bytes of it, at
// least what the strides reach) comes from the pool and returns to it when the
// array and every view of it are gone.
py::array pooledArray(const py::dtype& dtype, const std::vector<py::ssize_t>& shape,
                      const std::vector<py::ssize_t>& strides, size_t bytes);

// A reader's or writer's packed frame buffer, zeroed, from the same pool. A
// file opened once a chunk (as Dask's tasks do) then finds a warm buffer; a
// worker process that gives freed memory straight back to the system would
// otherwise fault a fresh frame's pages in at every open.
class PooledBytes {
public:
    PooledBytes() = default;
    explicit PooledBytes(size_t bytes);
    ~PooledBytes();
    PooledBytes(const PooledBytes&) = delete;
    PooledBytes& operator=(const PooledBytes&) = delete;
    PooledBytes& operator=(PooledBytes&& other) noexcept;

    uint8_t* data() { return memory_; }

private:
    uint8_t* memory_ = nullptr;
    size_t bytes_ = 0;
};

// Bytes the pool holds for arrays to come (for tests).
size_t pooledBytes();

} // namespace korva::python

#endif
