// SPDX-License-Identifier: Apache-2.0
#include "net/KeyPassword.h"

#include <new>

#include <cxxabi.h>

#include <openssl/err.h>
#include <openssl/pem.h>

#include "net/TlsErrors.h"
#include "support/Cleansing.h"
#include "support/PlatformTls.h"

namespace httpclient::net {

namespace {

std::string Ask(const TlsSettings& settings, const TlsTexts& texts) {
    try {
        return settings.keyPassword();
    } catch (const abi::__forced_unwind&) {
        throw; // the thread is being cancelled in the host's function
    } catch (...) {
        const std::string& label = texts.key.label.empty() ? texts.certificate.label : texts.key.label;
        throw WrongMaterial(label, TlsError(ERR_LIB_PEM, PEM_R_BAD_PASSWORD_READ),
                            "the key password function failed");
    }
}

/// What cannot be decrypted is no password; the key may not need one.
void Decrypt(const std::string& cipherText, std::string& password) {
    if (platform_tls::DecryptPassword(cipherText, password) != 0) {
        { const Cleansing cleansing(password); }
        password.clear();
    }
}

} // namespace

KeyPassword::KeyPassword(const TlsSettings& settings, const TlsTexts& texts)
    : m_text(settings.keyPassword ? Ask(settings, texts) : std::string()) {
    if (!settings.keyPassword && settings.from == TlsSettings::From::Platform) {
        Decrypt(texts.cipherText, m_text);
    }
}

KeyPassword::~KeyPassword() {
    const Cleansing cleansing(m_text);
}

int KeyPassword::Give(char* to, int room, int /*writing*/, void* password) noexcept {
    if (password == nullptr) {
        return 0;
    }
    const std::string& text = static_cast<const KeyPassword*>(password)->m_text;
    if (text.size() > static_cast<std::size_t>(room)) {
        return -1;
    }
    text.copy(to, text.size());
    return static_cast<int>(text.size());
}

} // namespace httpclient::net
