#include "store/bigalloc.h"

#include <cstdlib>
#include <sys/mman.h>

namespace {

constexpr size_t kLargePage = size_t{2} << 20;

// A mapping of whole large pages: the system then places it on their
// boundaries, and every page of it can be a large one.
size_t MappedLength(size_t len) {
  return (len + kLargePage - 1) / kLargePage * kLargePage;
}

} // namespace

void *BigAlloc(size_t len) {
  if (len < kLargePage)
    return malloc(len == 0 ? 1 : len);
  size_t mlen = MappedLength(len);
  void *m = mmap(nullptr, mlen, PROT_READ | PROT_WRITE,
                 MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (m == MAP_FAILED)
    return nullptr;
  madvise(m, mlen, MADV_HUGEPAGE); // only advice: small pages work the same
  return m;
}

void BigFree(void *p, size_t len) {
  if (p == nullptr)
    return;
  if (len < kLargePage)
    free(p);
  else
    munmap(p, MappedLength(len));
}
