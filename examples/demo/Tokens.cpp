// SPDX-License-Identifier: Apache-2.0
#include "demo/Tokens.h"

#include <algorithm>

namespace demo {

std::string Tokens::Issue(const std::string& service, const std::string& credential,
                          const std::string& client) {
    if (service.empty() || credential.empty()) {
        return "";
    }
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::string token = "demo-token-" + std::to_string(m_issued.size() + 1) + "-for-" + service;
    m_issued.push_back({token, service, client, credential.size()});
    return token;
}

bool Tokens::Accepts(const std::string& token) const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return std::any_of(m_issued.begin() + static_cast<std::ptrdiff_t>(m_withdrawn), m_issued.end(),
                       [&](const Issued& issued) { return issued.token == token; });
}

void Tokens::Withdraw() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_withdrawn = m_issued.size();
}

std::vector<Tokens::Issued> Tokens::AllIssued() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_issued;
}

} // namespace demo
