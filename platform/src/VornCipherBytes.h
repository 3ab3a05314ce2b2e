// SPDX-License-Identifier: Apache-2.0
/// @file
/// Memory for keys and plain texts: overwritten before it is given back.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include <openssl/crypto.h>

namespace vorn {

/// An allocator that overwrites memory before it gives it back.
template <class T> class CleansingAllocator {
public:
    using value_type = T;

    CleansingAllocator() = default;
    template <class U> explicit CleansingAllocator(const CleansingAllocator<U>& /*other*/) {}

    T* allocate(std::size_t count) { return std::allocator<T>().allocate(count); }

    void deallocate(T* memory, std::size_t count) noexcept {
        OPENSSL_cleanse(memory, count * sizeof(T));
        std::allocator<T>().deallocate(memory, count);
    }

    template <class U> bool operator==(const CleansingAllocator<U>& /*other*/) const { return true; }
    template <class U> bool operator!=(const CleansingAllocator<U>& /*other*/) const { return false; }
};

/// Bytes that may be secret. A vector, since a short std::string would keep its bytes outside the allocator.
using Bytes = std::vector<unsigned char, CleansingAllocator<unsigned char>>;

} // namespace vorn
