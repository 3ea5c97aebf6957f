#include "tests/unit/support/allocations.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

long liveCnt = 0;

} // namespace

long unit::LiveAllocationCnt() {
    return liveCnt;
}

// NOLINTBEGIN(cppcoreguidelines-no-malloc): a replacement of operator new needs malloc
void* operator new(std::size_t size) {
    void* const memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    ++liveCnt;
    return memory;
}

void operator delete(void* memory) noexcept {
    liveCnt -= memory == nullptr ? 0 : 1;
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    operator delete(memory);
}
// NOLINTEND(cppcoreguidelines-no-malloc)
