// SPDX-License-Identifier: Apache-2.0
#include "net/TlsContext.h"

#include <atomic>
#include <utility>

#include "net/Address.h"

namespace httpclient::net {

namespace {

std::uint64_t NextGeneration() {
    static std::atomic<std::uint64_t> last{0};
    return ++last;
}

std::string ServerName(const TlsSettings& settings) {
    const std::string name = ExpectedName(settings);
    return name == "*" || IsAddress(name) ? std::string() : name;
}

} // namespace

TlsContext::TlsContext(TlsSettings settings, ContextPtr context)
    : m_settings(std::move(settings)), m_context(std::move(context)), m_generation(NextGeneration()),
      m_serverName(ServerName(m_settings)) {}

std::string ExpectedName(const TlsSettings& settings) {
    std::string name = settings.name;
    if (NumericAddress(name)) {
        return name.substr(0, name.find('%'));
    }
    if (!name.empty() && name.back() == '.') {
        name.pop_back();
    }
    return name;
}

} // namespace httpclient::net
