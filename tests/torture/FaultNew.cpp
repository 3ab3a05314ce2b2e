// SPDX-License-Identifier: Apache-2.0
// The allocator of C++ code.
#include <cstdlib>

#include "FaultLedger.h"
#include "interpose/Heap.h"

namespace httpclient::testing {

void* heap::Take(std::size_t size, std::size_t alignment, const void* caller) noexcept {
    if (fault_ledger::RefusesMemory(caller)) {
        return nullptr;
    }
#ifdef C_MEMORY_IS_HELD // malloc() would count the call once more
    void* const block = __libc_memalign(alignment, size);
    fault_ledger::NoteAllocated(block, caller);
    return block;
#else
    return FromMalloc(size, alignment);
#endif
}

void heap::GiveBack(void* block) noexcept {
    std::free(block);
}

} // namespace httpclient::testing
