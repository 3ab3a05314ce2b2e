// SPDX-License-Identifier: Apache-2.0
// The client of the engine that the settings of a CHttpClient ask for.
#include <chrono>
#include <cstdint>
#include <limits>
#include <memory>

#include "client/ProfiledClient.h"
#include "client/UrlHost.h"
#include "http1/Bytes.h"

namespace {

constexpr std::chrono::seconds DEFAULT_CONNECT_TIMEOUT(2);
// As long as libcurl takes them, or longer: hosts of the first road know no limit.
constexpr std::uint64_t MAX_BODY = std::numeric_limits<std::int64_t>::max();
constexpr std::size_t MAX_HEAD = 300UL * 1024;

const std::string& ANY_NAME = *new std::string("*"); // never destroyed: threads may outlive main()

} // namespace

/// Scheme, host and port, unchecked: the engine says what is wrong with them.
std::string ProfiledClient::Origin(bool tls) const {
    std::string origin = tls ? "https" : m_strScheme;
    origin.append("://");
    AppendUrlHost(origin, m_strDomain);
    origin.append(1, ':').append(std::to_string(m_nPort));
    return origin;
}

httpclient::ClientOptions ProfiledClient::Options(bool tls) const {
    httpclient::ClientOptions options(Origin(tls));
    options.connectTimeout(m_nConnectTimeout == 0 ? DEFAULT_CONNECT_TIMEOUT
                                                  : std::chrono::seconds(m_nConnectTimeout));
    options.maxBody(MAX_BODY).maxHead(MAX_HEAD);
    options.identity(httpclient::Identity::Platform).identityAccess(m_bSiaAccess);
    httpclient::TlsOptions verification;
    if (m_serverName == ANY_NAME) {
        verification.verifyHost(false);
    } else {
        verification.serverName(m_serverName);
    }
    return options.tls(std::move(verification));
}

/// Never plain when either asks for TLS.
bool ProfiledClient::NeedsTls(bool bSSL) const {
    return bSSL || httpclient::http1::EqualsIgnoringCase(m_strScheme, "https");
}

/// @return the client for the send's argument and the settings of the moment.
/// @throw std::invalid_argument when they are of no use; std::bad_alloc
const httpclient::Client& ProfiledClient::EngineClient(bool tls) const {
    std::atomic<const httpclient::Client*>& place = m_engineClients[tls ? 1 : 0];
    const httpclient::Client* known = place.load(std::memory_order_acquire);
    if (known == nullptr) {
        auto made = std::make_unique<const httpclient::Client>(Options(tls));
        if (place.compare_exchange_strong(known, made.get(), std::memory_order_acq_rel)) {
            known = made.release();
        }
    }
    return *known;
}

void ProfiledClient::ForgetEngineClients() {
    for (std::atomic<const httpclient::Client*>& place : m_engineClients) {
        const std::unique_ptr<const httpclient::Client> last(place.exchange(nullptr));
    }
}
