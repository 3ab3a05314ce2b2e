// SPDX-License-Identifier: Apache-2.0
#include "engine/Counts.h"

#include <memory>
#include <new>
#include <utility>

namespace httpclient::engine {

const char* Ending::name() const noexcept {
    static constexpr std::array<const char*, CLASSES> STATUSES{"2xx", "3xx", "4xx", "5xx"};
    return m_index < CLASSES ? STATUSES[m_index]
                             : httpclient::ToString(static_cast<FailureKind>(m_index - CLASSES));
}

const char* ToString(CloseReason reason) noexcept {
    static constexpr std::array<const char*, CLOSE_REASONS> REASONS{"idle",    "age",   "server",  "error",
                                                                    "surplus", "limit", "shutdown"};
    return REASONS[static_cast<std::size_t>(reason)]; // cppcheck-suppress CastIntegerToAddressAtReturn
}

OriginCounts::OriginCounts(std::string text) : origin(std::move(text)) {
    for (std::size_t method = 0; method < METHODS; ++method) {
        m_unlabelled[method].method = method;
        m_others[method].method = method;
        m_others[method].label = OTHER;
    }
}

OriginCounts::~OriginCounts() {
    for (const auto& slot : m_table) {
        delete slot.load();
    }
}

/// What Route() has not found at once: another one has the same number, or it is new, or has no name of its own.
RouteCounts& OriginCounts::Search(std::size_t method, const std::string& label) noexcept {
    if (label.size() > LONGEST_LABEL || label == OTHER) {
        return m_others[method];
    }
    const std::size_t hash = HashOf(method, label);
    std::unique_ptr<RouteCounts> added;
    for (std::size_t place = hash;; ++place) {
        std::atomic<RouteCounts*>& slot = m_table[place % SLOTS];
        RouteCounts* route = slot.load(std::memory_order_acquire);
        if (route == nullptr) {
            if (!added) {
                added.reset(Add(method, label, hash));
            }
            if (!added) {
                return m_others[method];
            }
            if (slot.compare_exchange_strong(route, added.get(), std::memory_order_acq_rel)) {
                return *added.release();
            }
        }
        // cppcheck-suppress nullPointerRedundantCheck ; an exchange that fails tells who was first
        if (route->method == method && route->label == label) {
            if (added) {
                m_routes.fetch_sub(1); // GCOVR_EXCL_LINE: another thread was first, at this very moment
            }
            return *route;
        }
    }
}

/// @return a new route, which has a place among those that there may be; null: there is no place, or no memory.
RouteCounts* OriginCounts::Add(std::size_t method, std::string_view label, std::size_t hash) noexcept {
    if (m_routes.load(std::memory_order_relaxed) >= MOST_ROUTES) {
        return nullptr;
    }
    if (m_routes.fetch_add(1) >= MOST_ROUTES) {
        m_routes.fetch_sub(1); // GCOVR_EXCL_LINE: another thread took the last place at this very moment
        return nullptr;        // GCOVR_EXCL_LINE: likewise
    }
    try {
        auto route = std::make_unique<RouteCounts>();
        route->method = method;
        route->label = label;
        route->hash = hash;
        return route.release();
    } catch (const std::bad_alloc&) {
        m_routes.fetch_sub(1);
        return nullptr;
    }
}

} // namespace httpclient::engine
