// Test hooks of the host backend. Not part of the library's interface: the
// tests use them to make the platform fail on purpose.
#pragma once

#include <cstddef>

#include "host_runtime.h"

namespace rvz {
namespace host {
namespace testing {

// The next `count` kernel launches after `skip` more successful ones fail
// with `code`: the launch is skipped and the code becomes the last error.
void inject_launch_faults(int count, cudaError_t code, int skip = 0);

// The same for device and page-locked host allocations.
void inject_alloc_faults(int count, cudaError_t code, int skip = 0);

void clear_faults();

// Launches below `threads` kernel threads run without a parallel region; the
// thread-count tests set 0 so that every launch of theirs uses a team.
void set_serial_launch_limit(long long threads);

// Device and page-locked allocations not yet freed.
size_t live_allocations();

}  // namespace testing
}  // namespace host
}  // namespace rvz
