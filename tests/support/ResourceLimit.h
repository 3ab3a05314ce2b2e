// SPDX-License-Identifier: Apache-2.0
/// @file
/// Limits of the process, lowered for a test.
#pragma once

#include <sys/resource.h>

namespace httpclient::testing {

/// While it lives, the process, and what it starts, may use no more of a resource.
class ResourceLimit {
public:
    /// @param resource RLIMIT_NOFILE, say.
    ResourceLimit(__rlimit_resource resource, rlim_t most) : m_resource(resource) {
        getrlimit(m_resource, &m_former);
        const rlimit lower{most, m_former.rlim_max};
        setrlimit(m_resource, &lower);
    }
    ~ResourceLimit() { setrlimit(m_resource, &m_former); }
    ResourceLimit(const ResourceLimit&) = delete;
    ResourceLimit& operator=(const ResourceLimit&) = delete;

private:
    __rlimit_resource m_resource;
    rlimit m_former{};
};

} // namespace httpclient::testing
