// SPDX-License-Identifier: Apache-2.0
#include "interpose/WatchedBlocks.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <mutex>
#include <string_view>

#include <malloc.h>

#include "interpose/Heap.h"

namespace httpclient::testing {

namespace {

constexpr std::size_t PART = 15; // of a text that is looked for

std::array<std::atomic<const char*>, 4> g_lookedFor{};
std::atomic<bool> g_looking{false};
std::atomic<int> g_freed{0};
std::atomic<int> g_freedHolding{0};

// A plain array: noting a block must not allocate.
std::mutex g_mutex;
std::array<void*, 8192> g_live{};
std::size_t g_liveCount = 0;
std::atomic<bool> g_anyLive{false};
thread_local bool t_noting = false;
constexpr std::size_t NONE_REFUSED = std::numeric_limits<std::size_t>::max();
thread_local std::size_t t_refused = NONE_REFUSED; // from this size up

/// The first character is not looked for: a string that is cleared, or moved from, loses it and no other.
bool Holds(void* block, const char* text) {
    const std::string_view part = std::string_view(text).substr(1, PART);
    return memmem(block, malloc_usable_size(block), part.data(), part.size()) != nullptr;
}

void Note(void* block) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (g_liveCount == g_live.size()) {
        std::abort(); // more than any test here needs
    }
    g_live[g_liveCount++] = block;
}

void Forget(void* block) {
    const std::lock_guard<std::mutex> lock(g_mutex);
    auto* const end = g_live.begin() + g_liveCount;
    auto* const at = std::find(g_live.begin(), end, block);
    if (at != end) {
        *at = g_live[--g_liveCount];
    }
}

void Inspect(void* block) {
    if (!g_looking) {
        return;
    }
    ++g_freed;
    if (std::any_of(g_lookedFor.begin(), g_lookedFor.end(),
                    [block](const char* text) { return text != nullptr && Holds(block, text); })) {
        ++g_freedHolding;
    }
}

} // namespace

// calloc, so that looking at a block's unwritten end is well defined.
void* heap::Take(std::size_t size, std::size_t alignment, const void* /*caller*/) noexcept {
    if (size >= t_refused) {
        return nullptr;
    }
    void* const block =
        alignment <= __STDCPP_DEFAULT_NEW_ALIGNMENT__ ? std::calloc(1, size) : FromMalloc(size, alignment);
    if (block != nullptr && t_noting) {
        Note(block);
    }
    return block;
}

void heap::GiveBack(void* block) noexcept {
    if (block == nullptr) {
        return;
    }
    Inspect(block);
    if (g_anyLive) {
        Forget(block);
    }
    std::free(block);
}

FreedBlocks::FreedBlocks(std::initializer_list<const char*> texts) {
    if (texts.size() > g_lookedFor.size()) {
        std::abort(); // more than any test here needs
    }
    std::copy(texts.begin(), texts.end(), g_lookedFor.begin());
    g_freed = 0;
    g_freedHolding = 0;
    g_looking = true;
}

FreedBlocks::~FreedBlocks() {
    g_looking = false;
    std::fill(g_lookedFor.begin(), g_lookedFor.end(), nullptr);
}

int FreedBlocks::Count() const {
    return g_freed;
}

int FreedBlocks::Holding() const {
    return g_freedHolding;
}

RefusedBlocks::RefusedBlocks(std::size_t size) {
    t_refused = size;
}

RefusedBlocks::~RefusedBlocks() {
    t_refused = NONE_REFUSED;
}

LiveBlocks::LiveBlocks() {
    g_liveCount = 0;
    g_anyLive = true;
    t_noting = true;
}

LiveBlocks::~LiveBlocks() {
    Stop();
    g_anyLive = false;
}

void LiveBlocks::Stop() {
    t_noting = false;
}

std::size_t LiveBlocks::Count() const {
    return g_liveCount;
}

std::size_t LiveBlocks::Holding(const char* text) const {
    const std::lock_guard<std::mutex> lock(g_mutex);
    return static_cast<std::size_t>(std::count_if(g_live.begin(), g_live.begin() + g_liveCount,
                                                  [text](void* block) { return Holds(block, text); }));
}

} // namespace httpclient::testing
