// Counts the allocations of the test programs that link this file.

#pragma once

namespace unit {

// The number of allocations by operator new in the whole program that are not freed yet.
[[nodiscard]] long LiveAllocationCnt();

} // namespace unit
