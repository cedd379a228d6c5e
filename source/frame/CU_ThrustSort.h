#pragma once

namespace rvz {

// Sorts n device keys in place into ascending order with Thrust's device
// sort. Returns 0 on success, or the runtime's code of a failed sort.
int SortKeys(unsigned int* keys, unsigned int n);

}  // namespace rvz
