// Memory that was allocated and not freed yet: the test programs that link this count it.

#pragma once

namespace unit {

// Allocations by operator new, of the whole program, that are still held.
[[nodiscard]] long LiveAllocationCnt();

} // namespace unit
