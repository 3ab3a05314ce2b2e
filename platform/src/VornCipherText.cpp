// SPDX-License-Identifier: Apache-2.0
#include "VornCipherText.h"

#include <cstdint>
#include <memory>
#include <string_view>

#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/params.h>
#include <openssl/rand.h>

#include <vorncipher/VornCipherEncrypt.h>

#include "VornCipherBase64.h"

namespace vorn {
namespace {

constexpr std::string_view VERSION = "vorn1:";
constexpr std::size_t KEY_SIZE = 32;
constexpr std::size_t NONCE_SIZE = 12;
constexpr std::size_t TAG_SIZE = 16;
constexpr std::size_t MAX_BODY = NONCE_SIZE + VornCipherEncrypt::MAX_PLAIN_TEXT + TAG_SIZE;
constexpr std::size_t MAX_CIPHER_TEXT = VERSION.size() + (MAX_BODY * 4 + 2) / 3;

struct Free {
    void operator()(EVP_KDF* kdf) const { EVP_KDF_free(kdf); }
    void operator()(EVP_KDF_CTX* context) const { EVP_KDF_CTX_free(context); }
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};
template <class T> using Owner = std::unique_ptr<T, Free>;

void AppendBigEndian(Bytes& bytes, std::uint32_t number) {
    for (const unsigned int shift : {24U, 16U, 8U, 0U}) {
        bytes.push_back(static_cast<unsigned char>(number >> shift));
    }
}

/// What binds a text to its form and purpose: derives the key and is authenticated with the text.
Bytes Binding(Purpose purpose) {
    Bytes binding(VERSION.begin(), VERSION.end());
    AppendBigEndian(binding, static_cast<std::uint32_t>(purpose.key));
    AppendBigEndian(binding, purpose.value);
    return binding;
}

/// HKDF-SHA256 of the master key; no salt is needed, as the master key is uniformly random.
bool DeriveKey(const Bytes& masterKey, const Bytes& binding, Bytes& key) {
    Bytes secret = masterKey; // OSSL_PARAM asks for pointers to writable bytes
    Bytes info = binding;
    std::string digest = "SHA256";
    const OSSL_PARAM params[] = {
        OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, digest.data(), digest.size()),
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_KEY, secret.data(), secret.size()),
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_INFO, info.data(), info.size()),
        OSSL_PARAM_construct_end()};
    const Owner<EVP_KDF> kdf(EVP_KDF_fetch(nullptr, "HKDF", nullptr));
    const Owner<EVP_KDF_CTX> context(kdf ? EVP_KDF_CTX_new(kdf.get()) : nullptr);
    Bytes derived(KEY_SIZE);
    if (!context || EVP_KDF_derive(context.get(), derived.data(), derived.size(), params) <= 0) {
        return false;
    }
    key = std::move(derived);
    return true;
}

/// A GCM context that has its key and nonce and has taken the binding as additional data; null on failure.
Owner<EVP_CIPHER_CTX> StartGcm(bool encrypt, const Bytes& masterKey, Purpose purpose,
                               const unsigned char* nonce) {
    const Bytes binding = Binding(purpose);
    Bytes key;
    Owner<EVP_CIPHER_CTX> context(EVP_CIPHER_CTX_new());
    int length = 0;
    if (!context || !DeriveKey(masterKey, binding, key) ||
        EVP_CipherInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, key.data(), nonce, encrypt ? 1 : 0) !=
            1 ||
        EVP_CipherUpdate(context.get(), nullptr, &length, binding.data(), static_cast<int>(binding.size())) !=
            1) {
        return nullptr;
    }
    return context;
}

/// Nonce, cipher bytes and tag of a text; false when it has not the form of one.
bool ParseBody(const std::string& cipherText, Bytes& body) {
    if (cipherText.size() > MAX_CIPHER_TEXT || cipherText.compare(0, VERSION.size(), VERSION) != 0) {
        return false;
    }
    const auto* text = reinterpret_cast<const unsigned char*>(cipherText.data());
    return FromBase64Url(text + VERSION.size(), cipherText.size() - VERSION.size(), body) &&
           body.size() >= NONCE_SIZE + TAG_SIZE;
}

} // namespace

VornStatus SealText(const Bytes& masterKey, Purpose purpose, const std::string& plainText,
                    std::string& cipherText) {
    if (plainText.size() > VornCipherEncrypt::MAX_PLAIN_TEXT) {
        return VORN_TEXT_TOO_LONG;
    }
    Bytes body(NONCE_SIZE + plainText.size() + TAG_SIZE);
    if (RAND_bytes(body.data(), static_cast<int>(NONCE_SIZE)) != 1) {
        return VORN_CRYPTO_FAILED;
    }
    const auto context = StartGcm(true, masterKey, purpose, body.data());
    const auto* plain = reinterpret_cast<const unsigned char*>(plainText.data());
    unsigned char* cipher = body.data() + NONCE_SIZE;
    unsigned char* tag = cipher + plainText.size();
    int length = 0;
    if (!context ||
        EVP_CipherUpdate(context.get(), cipher, &length, plain, static_cast<int>(plainText.size())) != 1 ||
        EVP_CipherFinal_ex(context.get(), tag, &length) != 1 ||
        EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG, static_cast<int>(TAG_SIZE), tag) != 1) {
        return VORN_CRYPTO_FAILED;
    }
    const Bytes encoded = ToBase64Url(body);
    std::string text(VERSION);
    text.append(encoded.begin(), encoded.end());
    cipherText = std::move(text);
    return VORN_OK;
}

VornStatus OpenText(const Bytes& masterKey, Purpose purpose, const std::string& cipherText,
                    std::string& plainText) {
    Bytes body;
    if (!ParseBody(cipherText, body)) {
        return VORN_TEXT_REFUSED;
    }
    const auto context = StartGcm(false, masterKey, purpose, body.data());
    if (!context) {
        return VORN_CRYPTO_FAILED;
    }
    const std::size_t size = body.size() - NONCE_SIZE - TAG_SIZE;
    const unsigned char* cipher = body.data() + NONCE_SIZE;
    unsigned char* tag = body.data() + NONCE_SIZE + size;
    Bytes plain(size + 1); // never empty, so that its data is never null
    int length = 0;
    if (EVP_CipherUpdate(context.get(), plain.data(), &length, cipher, static_cast<int>(size)) != 1 ||
        EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_SET_TAG, static_cast<int>(TAG_SIZE), tag) != 1 ||
        EVP_CipherFinal_ex(context.get(), plain.data() + size, &length) != 1) {
        return VORN_TEXT_REFUSED;
    }
    // Not assign(first, last): with iterators it goes through a temporary string that nobody cleanses.
    plainText.assign(reinterpret_cast<const char*>(plain.data()), size);
    return VORN_OK;
}

} // namespace vorn
