// SPDX-License-Identifier: Apache-2.0
#include "ForgetfulLibraries.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <new>
#include <string_view>

#include <link.h>
#include <malloc.h>
#include <strings.h>

#include "interpose/Heap.h"

namespace {

struct Range {
    std::uintptr_t begin = 0;
    std::uintptr_t end = 0;
};

std::array<Range, 16> g_ranges{}; // of code
std::atomic<std::size_t> g_count{0};
std::atomic<bool> g_all{false};

bool IsForgetful(std::string_view path) {
    const std::string_view file = path.substr(path.rfind('/') + 1);
    const std::array<std::string_view, 4> names{"libcurl", "libcrypto", "libssl", "libjsoncpp"};
    return std::any_of(names.begin(), names.end(),
                       [&](std::string_view name) { return file.substr(0, name.size()) == name; });
}

int Note(dl_phdr_info* object, std::size_t /*size*/, void* /*unused*/) {
    if (!IsForgetful(object->dlpi_name)) {
        return 0;
    }
    for (int index = 0; index < object->dlpi_phnum; ++index) {
        const ElfW(Phdr)& header = object->dlpi_phdr[index];
        if (header.p_type == PT_LOAD && (header.p_flags & PF_X) != 0 && g_count < g_ranges.size()) {
            const std::uintptr_t begin = object->dlpi_addr + header.p_vaddr;
            g_ranges[g_count] = {begin, begin + header.p_memsz};
            ++g_count;
        }
    }
    return 0;
}

bool IsWipedFor(const void* caller) {
    const auto address = reinterpret_cast<std::uintptr_t>(caller);
    const auto* const end = g_ranges.begin() + g_count.load();
    return g_all || std::any_of(g_ranges.cbegin(), end, [address](const Range& range) {
               return address >= range.begin && address < range.end;
           });
}

void GiveBack(void* block, const void* caller) noexcept {
    if (block != nullptr && IsWipedFor(caller)) {
        explicit_bzero(block, malloc_usable_size(block));
    }
    __libc_free(block);
}

} // namespace

std::size_t WipeAfterForgetfulLibraries() {
    dl_iterate_phdr(&Note, nullptr);
    return g_count;
}

WipingAll::WipingAll() {
    g_all = true;
}

WipingAll::~WipingAll() {
    g_all = false;
}

extern "C" {

void free(void* block) noexcept {
    GiveBack(block, __builtin_return_address(0));
}

void* realloc(void* block, std::size_t size) noexcept {
    const void* const caller = __builtin_return_address(0);
    if (block == nullptr || size == 0 || !IsWipedFor(caller)) {
        return __libc_realloc(block, size);
    }
    void* const other = __libc_malloc(size);
    if (other != nullptr) {
        std::memcpy(other, block, std::min(size, malloc_usable_size(block)));
        GiveBack(block, caller);
    }
    return other;
}

} // extern "C"

// NOLINTBEGIN(cert-dcl54-cpp): operator new is the standard library's, which calls malloc()
void operator delete(void* block) noexcept {
    GiveBack(block, __builtin_return_address(0));
}
void operator delete(void* block, std::size_t /*size*/) noexcept {
    GiveBack(block, __builtin_return_address(0));
}
void operator delete[](void* block) noexcept {
    GiveBack(block, __builtin_return_address(0));
}
void operator delete[](void* block, std::size_t /*size*/) noexcept {
    GiveBack(block, __builtin_return_address(0));
}
// NOLINTEND(cert-dcl54-cpp)
