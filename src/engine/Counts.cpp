// SPDX-License-Identifier: Apache-2.0
#include "engine/Counts.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <new>
#include <string_view>
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

RouteCounts& OriginCounts::Route(Method method, const std::string& label) noexcept {
    const std::size_t number = std::min(static_cast<std::size_t>(method), METHODS - 1);
    if (label.empty()) {
        return m_unlabelled[number];
    }
    if (label.size() > LONGEST_LABEL || label == OTHER) {
        return m_others[number];
    }
    std::unique_ptr<RouteCounts> added;
    for (std::size_t place = std::hash<std::string_view>()(label) + number;; ++place) {
        std::atomic<RouteCounts*>& slot = m_table[place % SLOTS];
        RouteCounts* route = slot.load(std::memory_order_acquire);
        if (route == nullptr) {
            if (!added) {
                added.reset(Add(number, label));
            }
            if (!added) {
                return m_others[number];
            }
            if (slot.compare_exchange_strong(route, added.get(), std::memory_order_acq_rel)) {
                return *added.release();
            }
        }
        // cppcheck-suppress nullPointerRedundantCheck ; an exchange that fails tells who was first
        if (route->method == number && route->label == label) {
            if (added) {
                m_routes.fetch_sub(1); // GCOVR_EXCL_LINE: another thread was first, at this very moment
            }
            return *route;
        }
    }
}

/// @return a new route, which has a place among those that there may be; null: there is no place, or no memory.
RouteCounts* OriginCounts::Add(std::size_t method, const std::string& label) noexcept {
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
        return route.release();
    } catch (const std::bad_alloc&) {
        m_routes.fetch_sub(1);
        return nullptr;
    }
}

} // namespace httpclient::engine
