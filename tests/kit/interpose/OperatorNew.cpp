// SPDX-License-Identifier: Apache-2.0
// Every form of operator new and delete, so that no pair of them is mixed from here and from the standard library.
#include <new>

#include "interpose/Heap.h"

namespace {

using httpclient::testing::heap::GiveBack;
using httpclient::testing::heap::Take;

constexpr std::align_val_t USUAL{__STDCPP_DEFAULT_NEW_ALIGNMENT__};

// 0 bytes still make an object of their own.
void* TakeOrNull(std::size_t size, std::align_val_t alignment, const void* caller) noexcept {
    return Take(size > 0 ? size : 1, static_cast<std::size_t>(alignment), caller);
}

void* TakeOrThrow(std::size_t size, std::align_val_t alignment, const void* caller) {
    void* const block = TakeOrNull(size, alignment, caller);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

} // namespace

void* operator new(std::size_t size) {
    return TakeOrThrow(size, USUAL, __builtin_return_address(0));
}
void* operator new[](std::size_t size) {
    return TakeOrThrow(size, USUAL, __builtin_return_address(0));
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return TakeOrNull(size, USUAL, __builtin_return_address(0));
}
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return TakeOrNull(size, USUAL, __builtin_return_address(0));
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return TakeOrThrow(size, alignment, __builtin_return_address(0));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return TakeOrThrow(size, alignment, __builtin_return_address(0));
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t& /*tag*/) noexcept {
    return TakeOrNull(size, alignment, __builtin_return_address(0));
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t& /*tag*/) noexcept {
    return TakeOrNull(size, alignment, __builtin_return_address(0));
}
void operator delete(void* block) noexcept {
    GiveBack(block);
}
void operator delete[](void* block) noexcept {
    GiveBack(block);
}
void operator delete(void* block, std::size_t /*size*/) noexcept {
    GiveBack(block);
}
void operator delete[](void* block, std::size_t /*size*/) noexcept {
    GiveBack(block);
}
void operator delete(void* block, const std::nothrow_t& /*tag*/) noexcept {
    GiveBack(block);
}
void operator delete[](void* block, const std::nothrow_t& /*tag*/) noexcept {
    GiveBack(block);
}
void operator delete(void* block, std::align_val_t /*alignment*/) noexcept {
    GiveBack(block);
}
void operator delete[](void* block, std::align_val_t /*alignment*/) noexcept {
    GiveBack(block);
}
void operator delete(void* block, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
    GiveBack(block);
}
void operator delete[](void* block, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
    GiveBack(block);
}
void operator delete(void* block, std::align_val_t /*alignment*/, const std::nothrow_t& /*tag*/) noexcept {
    GiveBack(block);
}
void operator delete[](void* block, std::align_val_t /*alignment*/, const std::nothrow_t& /*tag*/) noexcept {
    GiveBack(block);
}
