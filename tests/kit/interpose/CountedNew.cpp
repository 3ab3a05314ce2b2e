// SPDX-License-Identifier: Apache-2.0
#include "interpose/Allocations.h"
#include "interpose/Heap.h"
#include "interpose/Tally.h"

namespace httpclient::testing {

namespace {

thread_local Tally t_tally;

} // namespace

CountedNew::CountedNew(std::size_t failing, Failing howMany) {
    t_tally.Arm(failing, howMany);
}

CountedNew::~CountedNew() {
    t_tally.Disarm();
}

std::size_t CountedNew::Count() const {
    return t_tally.asked;
}

bool CountedNew::Works() {
    const Tally former = t_tally;
    t_tally.Arm(0, Failing::One);
    ::operator delete(::operator new(1));
    const bool works = t_tally.asked == 1;
    t_tally = former;
    return works;
}

void* heap::Take(std::size_t size, std::size_t alignment, const void* /*caller*/) noexcept {
    return t_tally.Refuses() ? nullptr : FromMalloc(size, alignment);
}

void heap::GiveBack(void* block) noexcept {
    std::free(block);
}

} // namespace httpclient::testing
