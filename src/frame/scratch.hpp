// Working memory of one call: taken from the heap at the start of an export
// and released on every path before it returns.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace effects::detail {

// An uninitialised array of trivially copyable T owned for one call.
template <class T>
class ScratchBuffer {
public:
    explicit ScratchBuffer(std::size_t count) : data_(new T[count]), size_(count) {}
    T* data() { return data_.get(); }
    const T* data() const { return data_.get(); }
    T& operator[](std::size_t i) { return data_[i]; }
    const T& operator[](std::size_t i) const { return data_[i]; }
    std::size_t size() const { return size_; }

private:
    std::unique_ptr<T[]> data_;
    std::size_t size_;
};

// `count` pointers to `count` blocks of `size` bytes each, or nullptr when
// any allocation fails (then nothing stays allocated). The only place,
// with its release, where the library tests an allocation.
uint8_t** AllocateRowArray(int32_t count, int32_t size);
void FreeRowArray(uint8_t** rows, int32_t count);

}  // namespace effects::detail
