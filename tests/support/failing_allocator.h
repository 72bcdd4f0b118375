// A global operator new that counts allocations and throws std::bad_alloc at
// a chosen one. Link failing_allocator.cc into one test executable only: it
// replaces the allocation functions of the whole program.
#ifndef DEFLASH_TESTS_SUPPORT_FAILING_ALLOCATOR_H_
#define DEFLASH_TESTS_SUPPORT_FAILING_ALLOCATOR_H_

namespace deflash_test {

/// Arms the allocator: the `n`-th allocation from now on (1 = the next one)
/// throws std::bad_alloc, and so does no other.
void fail_allocation_at(long n);

/// Disarms the allocator. True when the armed allocation was reached (and
/// thrown); false when the code between arming and disarming made fewer.
bool disarm_allocation_failure();

/// Allocations counted since the allocator was last armed.
long allocations_since_armed();

}  // namespace deflash_test

#endif  // DEFLASH_TESTS_SUPPORT_FAILING_ALLOCATOR_H_
