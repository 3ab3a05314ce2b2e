// SPDX-License-Identifier: Apache-2.0
#include "engine/Statistics.h"

#include <new>

namespace httpclient::engine {

const char* ToString(HostCodeKind kind) noexcept {
    static constexpr std::array<const char*, HOST_CODE_KINDS> KINDS{"callback", "observer", "executor",
                                                                    "source", "sink"};
    return KINDS[static_cast<std::size_t>(kind)]; // cppcheck-suppress CastIntegerToAddressAtReturn
}

const char* Statistics::NameOfExchange(std::size_t index) noexcept {
    return index == 0 ? "ok" : httpclient::ToString(static_cast<FailureKind>(index - 1));
}

Statistics::Statistics() : m_otherOrigin(std::make_shared<OriginCounts>(std::string(OriginCounts::OTHER))) {}

std::shared_ptr<OriginCounts> Statistics::Of(const std::string& origin) noexcept {
    const std::lock_guard<std::mutex> lock(m_lock);
    try {
        const auto known = m_origins.find(origin);
        if (known != m_origins.end()) {
            return known->second;
        }
        if (m_origins.size() < MOST_ORIGINS) {
            return m_origins.emplace(origin, std::make_shared<OriginCounts>(origin)).first->second;
        }
    } catch (const std::bad_alloc&) {
        // counted all the same, though not by name
    }
    m_otherUsed.store(true, std::memory_order_relaxed);
    return m_otherOrigin;
}

void Statistics::CountTokenExchange(const std::string& service, std::optional<FailureKind> failure) noexcept {
    const std::size_t index = failure ? 1 + static_cast<std::size_t>(*failure) : 0;
    const std::lock_guard<std::mutex> lock(m_lock);
    try {
        if (m_services.size() < MOST_SERVICES || m_services.count(service) != 0) {
            return m_services[service][index].Add();
        }
    } catch (const std::bad_alloc&) {
        // counted all the same, though not by name
    }
    m_otherService[index].Add();
}

std::vector<std::shared_ptr<const OriginCounts>> Statistics::Origins() const {
    std::vector<std::shared_ptr<const OriginCounts>> result;
    result.reserve(MOST_ORIGINS + 1); // before the lock
    const std::lock_guard<std::mutex> lock(m_lock);
    for (const auto& entry : m_origins) {
        result.push_back(entry.second);
    }
    if (m_otherUsed.load(std::memory_order_relaxed)) {
        result.push_back(m_otherOrigin);
    }
    return result;
}

void Statistics::ForEachService(const std::function<void(const std::string&, const Exchanges&)>& look) const {
    const std::lock_guard<std::mutex> lock(m_lock);
    for (const auto& [service, exchanges] : m_services) {
        look(service, exchanges);
    }
    look(std::string(OriginCounts::OTHER), m_otherService);
}

} // namespace httpclient::engine
