// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <new>

#include "interpose/Allocations.h"
#include "interpose/Tally.h"

namespace httpclient::testing {

namespace {

thread_local Tally t_tally;

// The nothrow form of every operator; 0 bytes still make an object of their own.
void* Allocate(std::size_t size) noexcept {
    return t_tally.Refuses() ? nullptr : std::malloc(size > 0 ? size : 1);
}

void* Allocate(std::size_t size, std::align_val_t alignment) noexcept {
    const auto unit = static_cast<std::size_t>(alignment);
    // aligned_alloc() wants whole units.
    return t_tally.Refuses() ? nullptr
                             : std::aligned_alloc(unit, size > 0 ? (size + unit - 1) / unit * unit : unit);
}

void* OrThrow(void* memory) {
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

CountedNew::CountedNew(std::size_t failing) {
    t_tally.Arm(failing);
}

CountedNew::~CountedNew() {
    t_tally.Disarm();
}

std::size_t CountedNew::Count() const {
    return t_tally.asked;
}

} // namespace httpclient::testing

using httpclient::testing::Allocate;
using httpclient::testing::OrThrow;

// All the forms are replaced, so that no pair of them is mixed from here and from the standard library.
void* operator new(std::size_t size) {
    return OrThrow(Allocate(size));
}
void* operator new[](std::size_t size) {
    return OrThrow(Allocate(size));
}
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return Allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
    return Allocate(size);
}
void* operator new(std::size_t size, std::align_val_t alignment) {
    return OrThrow(Allocate(size, alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return OrThrow(Allocate(size, alignment));
}
void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t& /*tag*/) noexcept {
    return Allocate(size, alignment);
}
void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t& /*tag*/) noexcept {
    return Allocate(size, alignment);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t& /*tag*/) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t /*alignment*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::align_val_t /*alignment*/) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t /*alignment*/, const std::nothrow_t& /*tag*/) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::align_val_t /*alignment*/, const std::nothrow_t& /*tag*/) noexcept {
    std::free(memory);
}
