// Memory for the store's large arrays (the chunks of an order, the memory of
// checked frames, the entry summaries): a block of 2 MB or more is mapped on
// its own, in whole large pages where the system gives them, so that filling
// an array of a large table costs a few page faults instead of one for every
// 4 KB; a smaller one comes from malloc. Both answer nullptr when memory
// cannot be had.
#pragma once

#include <cstddef>
#include <new>

void *BigAlloc(size_t len);
void BigFree(void *p, size_t len);

// An allocator for std::vector over BigAlloc.
template <typename T> struct BigAllocator {
  using value_type = T;
  BigAllocator() = default;
  template <typename U> BigAllocator(const BigAllocator<U> &) {}
  T *allocate(size_t n) {
    void *p = BigAlloc(n * sizeof(T));
    if (p == nullptr)
      throw std::bad_alloc();
    return static_cast<T *>(p);
  }
  void deallocate(T *p, size_t n) { BigFree(p, n * sizeof(T)); }
  template <typename U> bool operator==(const BigAllocator<U> &) const {
    return true;
  }
};
