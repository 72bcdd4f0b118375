// Replaced global allocation functions: malloc and free underneath, with a
// counter that throws std::bad_alloc at the armed allocation.
#include "support/failing_allocator.h"

#include <cstdlib>
#include <new>

namespace {

// The test calls into the library from one thread, so plain counters do.
bool g_armed = false;
bool g_hit = false;
long g_target = 0;
long g_count = 0;

void* counted_allocation(std::size_t size) {
  if (g_armed && ++g_count == g_target) {
    g_hit = true;
    throw std::bad_alloc();
  }
  void* p = std::malloc(size != 0 ? size : 1);
  if (p == nullptr) throw std::bad_alloc();
  return p;
}

}  // namespace

namespace deflash_test {

void fail_allocation_at(long n) {
  g_count = 0;
  g_target = n;
  g_hit = false;
  g_armed = true;
}

bool disarm_allocation_failure() {
  g_armed = false;
  return g_hit;
}

long allocations_since_armed() { return g_count; }

}  // namespace deflash_test

// Every replaceable form that allocates or frees without an alignment
// argument, so that no memory allocated here is freed by another allocator.
void* operator new(std::size_t size) { return counted_allocation(size); }
void* operator new[](std::size_t size) { return counted_allocation(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return counted_allocation(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return counted_allocation(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }
