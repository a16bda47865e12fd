// A small-object pool for the nodes of value trees and their field lists: a
// decoded result is hundreds of thousands of small nodes, and the general heap
// makes that cost more than the parsing. Memory is reused, never given back.
#pragma once

#include <cstddef>
#include <new>

namespace quillorn::transport {

// Blocks up to kMaxPooledSize come from per-thread free lists that spill into a
// shared list; larger ones go to the global heap. Any thread may free what
// another allocated. `size` on free must be the size that was asked for.
inline constexpr std::size_t kMaxPooledSize = 4096;
void* PoolAllocate(std::size_t size);
void PoolFree(void* block, std::size_t size) noexcept;

// For the containers inside the nodes (a record's field list).
template <typename T>
struct TRpcPoolAllocator {
  using value_type = T;
  TRpcPoolAllocator() noexcept = default;
  template <typename U>
  TRpcPoolAllocator(const TRpcPoolAllocator<U>&) noexcept {}  // NOLINT: rebinding
  T* allocate(std::size_t n) {
    if (n > static_cast<std::size_t>(-1) / sizeof(T)) throw std::bad_array_new_length();
    return static_cast<T*>(PoolAllocate(n * sizeof(T)));
  }
  void deallocate(T* p, std::size_t n) noexcept { PoolFree(p, n * sizeof(T)); }
  template <typename U>
  bool operator==(const TRpcPoolAllocator<U>&) const noexcept { return true; }
};

}  // namespace quillorn::transport
