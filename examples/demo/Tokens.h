// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

namespace demo {

/// Invents service-identity tokens and knows which of them are still good. Servers may share one. Safe from
/// any thread.
class Tokens {
public:
    /// A token, and what it was given for.
    struct Issued {
        std::string token;
        std::string service;
        std::string client;          ///< the name in its certificate
        size_t credentialLength = 0; ///< of the JWT, which is not kept
    };

    /// @return a new token; "" when the service or the credential is missing.
    std::string Issue(const std::string& service, const std::string& credential, const std::string& client);
    /// @return whether this token has been issued and not withdrawn.
    bool Accepts(const std::string& token) const;
    /// Accepts none of those issued so far any more.
    void Withdraw();
    /// All that have been issued, in their order.
    std::vector<Issued> AllIssued() const;

private:
    mutable std::mutex m_mutex; ///< guards what follows
    std::vector<Issued> m_issued;
    size_t m_withdrawn = 0; ///< so many from the first on
};

} // namespace demo
