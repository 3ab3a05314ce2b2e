// SPDX-License-Identifier: Apache-2.0
#include "ovexcommon/SecureMem.h"

#include <cerrno>
#include <cstdint>
#include <cstring>

namespace {

// A size above this is a negative number in disguise (RSIZE_MAX of C11's Annex K).
constexpr std::size_t MAX_SIZE = SIZE_MAX >> 1;

void Fill(void* dest, int c, std::size_t count) {
    std::memset(dest, c, count);
    // Says that the bytes are read after this, so that no optimiser, not even one at link time,
    // drops the fill.
    __asm__ __volatile__("" : : "r"(dest) : "memory");
}

} // namespace

// The results of C11's Annex K: a count that does not fit is refused, and yet the whole destination is
// filled, so that a caller who ignores the answer leaves no secret behind.
int memset_s(void* dest, std::size_t destMax, int c, std::size_t count) {
    if (dest == nullptr || destMax > MAX_SIZE) {
        return EINVAL;
    }
    if (count > destMax) {
        Fill(dest, c, destMax);
        return EOVERFLOW;
    }
    Fill(dest, c, count);
    return 0;
}
