// SPDX-License-Identifier: Apache-2.0
#include "interpose/Allocations.h"
#include "interpose/Heap.h"
#include "interpose/Tally.h"

namespace httpclient::testing {

Tally& OperatorNew::OfThisThread() {
    static thread_local Tally tally;
    return tally;
}

bool CountedNew::Works() {
    Tally& tally = OperatorNew::OfThisThread();
    const Tally former = tally;
    tally.Arm(0, Failing::One);
    ::operator delete(::operator new(1));
    const bool works = tally.asked == 1;
    tally = former;
    return works;
}

void* heap::Take(std::size_t size, std::size_t alignment, const void* /*caller*/) noexcept {
    return OperatorNew::OfThisThread().Refuses() ? nullptr : FromMalloc(size, alignment);
}

void heap::GiveBack(void* block) noexcept {
    std::free(block);
}

} // namespace httpclient::testing
