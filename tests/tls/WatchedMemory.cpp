// SPDX-License-Identifier: Apache-2.0
#include "WatchedMemory.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>

#include <malloc.h>

namespace {

constexpr std::size_t PART = 16; // of a text that is looked for

std::atomic<const char*> g_lookedFor{nullptr};
std::atomic<int> g_freed{0};
std::atomic<int> g_freedHolding{0};

// A plain array: noting a block must not allocate.
std::mutex g_mutex;
std::array<void*, 8192> g_live{};
std::size_t g_liveCount = 0;
std::atomic<bool> g_anyLive{false};
thread_local bool t_noting = false;

bool Holds(void* block, const char* text) {
    return memmem(block, malloc_usable_size(block), text, std::min(PART, std::strlen(text))) != nullptr;
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
    const char* const text = g_lookedFor;
    if (text == nullptr) {
        return;
    }
    ++g_freed;
    if (Holds(block, text)) {
        ++g_freedHolding;
    }
}

} // namespace

// calloc, so that looking at a block's unwritten end is well defined.
void* operator new(std::size_t size) {
    void* const block = std::calloc(1, size == 0 ? 1 : size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    if (t_noting) {
        Note(block);
    }
    return block;
}
void operator delete(void* block) noexcept {
    if (block == nullptr) {
        return;
    }
    Inspect(block);
    if (g_anyLive) {
        Forget(block);
    }
    std::free(block);
}
void operator delete(void* block, std::size_t /*size*/) noexcept {
    operator delete(block);
}

FreedBlocks::FreedBlocks(const char* text) {
    g_freed = 0;
    g_freedHolding = 0;
    g_lookedFor = text;
}

FreedBlocks::~FreedBlocks() {
    g_lookedFor = nullptr;
}

int FreedBlocks::Count() const {
    return g_freed;
}

int FreedBlocks::Holding() const {
    return g_freedHolding;
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
