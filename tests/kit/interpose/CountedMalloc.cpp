// SPDX-License-Identifier: Apache-2.0
#include "interpose/Allocations.h"
#include "interpose/Heap.h"
#include "interpose/Tally.h"

namespace httpclient::testing {

namespace {

thread_local Tally t_tally;

} // namespace

CountedMalloc::CountedMalloc(std::size_t failing, Failing howMany) {
    t_tally.Arm(failing, howMany);
}

CountedMalloc::~CountedMalloc() {
    t_tally.Disarm();
}

std::size_t CountedMalloc::Count() const {
    return t_tally.asked;
}

bool c_heap::Refuses(const void* /*caller*/) noexcept {
    return t_tally.Refuses();
}

void c_heap::Taken(void* /*block*/, const void* /*caller*/) noexcept {}

void c_heap::GivingBack(void* /*block*/) noexcept {}

} // namespace httpclient::testing
