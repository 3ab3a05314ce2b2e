// SPDX-License-Identifier: Apache-2.0
// The allocator of C code. Builds with a sanitizer do without: its allocator cannot be held.
#include "FaultLedger.h"
#include "interpose/Heap.h"

namespace httpclient::testing {

bool c_heap::Refuses(const void* caller) noexcept {
    return fault_ledger::RefusesMemory(caller);
}

void c_heap::Taken(void* block, const void* caller) noexcept {
    fault_ledger::NoteAllocated(block, caller);
}

void c_heap::GivingBack(void* block) noexcept {
    fault_ledger::NoteFreed(block);
}

} // namespace httpclient::testing
