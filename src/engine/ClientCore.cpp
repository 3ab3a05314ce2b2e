// SPDX-License-Identifier: Apache-2.0
#include "engine/ClientCore.h"

#include <utility>

#include <openssl/evp.h>

#include "engine/identity/Configured.h"
#include "net/OpenSsl.h"

namespace httpclient::engine {

namespace {

/// Appends a part so that no two lists of parts give the same text.
void AppendPart(std::string& key, const std::string& part) {
    key += std::to_string(part.size());
    key += ':';
    key += part;
}

/// A text of its own for each text, which tells nothing of it: keys of TLS material must not lie about.
std::string Digest(const std::string& text) {
    const net::OpenSslUse use;
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    if (EVP_Digest(text.data(), text.size(), digest, &size, EVP_sha256(), nullptr) != 1) {
        throw std::bad_alloc();
    }
    return {reinterpret_cast<const char*>(digest), size};
}

std::string KeyOf(const Origin& origin, const ClientOptions::Body& options) {
    std::string key = origin.Text();
    AppendPart(key, options.connectTo);
    if (!origin.tls) {
        return key;
    }
    const TlsOptions::Body& tls = options.tls.internals();
    const net::TlsSettings& settings = tls.settings;
    key += std::to_string(static_cast<int>(settings.from)) + (settings.verifyHost ? 'v' : '-') +
           std::to_string(tls.passwordId);
    AppendPart(key, settings.name);
    const bool secret = settings.from == net::TlsSettings::From::Memory;
    for (const std::string* part : {&settings.authorities, &settings.certificate, &settings.key}) {
        AppendPart(key, secret ? Digest(*part) : *part);
    }
    return key;
}

} // namespace

ClientCore::ClientCore(const ClientOptions::Body& options)
    : m_options((CheckOptions(options), options)), m_origin(ParseOrigin(options.origin)),
      m_place(ParsePlace(options.connectTo, m_origin)), m_text(m_origin.Text()),
      m_key(KeyOf(m_origin, options)), m_budget(options.retry.internals().budget) {
    // Of plain origins, too: options are right or wrong by themselves.
    const net::TlsSettings& tls = options.tls.internals().settings;
    CheckServerName(tls.name);
    if (tls.from == net::TlsSettings::From::Memory) {
        MakeMaterial()->CheckTexts();
    }
    if (m_options.identity == Identity::Platform) {
        ReadIdentity(); // here, since no loop may read files
    }
}

ClientCore::~ClientCore() {
    for (const Known* known = m_known.load(); known != nullptr;) {
        const std::unique_ptr<const Known> last(std::exchange(known, known->before));
    }
}

std::shared_ptr<net::TlsMaterial> ClientCore::MakeMaterial() const {
    net::TlsSettings settings = m_options.tls.internals().settings;
    if (settings.name.empty()) {
        settings.name = m_origin.host;
    }
    return std::make_shared<net::TlsMaterial>(std::move(settings));
}

const std::shared_ptr<Destination>& ClientCore::DestinationIn(Core& core) const {
    const Known* known = m_known.load(std::memory_order_acquire);
    while (known == nullptr || known->core != &core) {
        auto made = std::make_unique<Known>();
        made->core = &core;
        made->before = known;
        made->destination = core.pool().Share(std::make_shared<Destination>(
            m_key, m_origin, m_place, m_origin.tls ? MakeMaterial() : nullptr, core.statistics().Of(m_text)));
        if (m_known.compare_exchange_weak(known, made.get(), std::memory_order_acq_rel)) {
            known = made.release();
        }
    }
    return known->destination;
}

} // namespace httpclient::engine
