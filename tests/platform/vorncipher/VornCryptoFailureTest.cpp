// SPDX-License-Identifier: Apache-2.0
// Makes each call into the crypto library fail once. The functions below stand before the library's own in
// the order of dynamic linking, and pass on to them unless told to fail.
#include <dlfcn.h>

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/rand.h>

#include <vorncipher/VornCipher.h>
#include <vorncipher/VornCipherEncrypt.h>

#include "MasterKeyFixture.h"

namespace {

int g_callsUntilFailure = 0; // 0: none fails
int g_callsSeen = 0;

bool FailsNow() {
    ++g_callsSeen;
    if (g_callsUntilFailure == 0 || --g_callsUntilFailure != 0) {
        return false;
    }
    ERR_raise(ERR_LIB_USER, ERR_R_INTERNAL_ERROR); // as the crypto library does
    return true;
}

template <class Function> Function Next(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" {
int RAND_bytes(unsigned char* bytes, int count) {
    return FailsNow() ? 0 : Next<decltype(&RAND_bytes)>("RAND_bytes")(bytes, count);
}
int RAND_priv_bytes(unsigned char* bytes, int count) {
    return FailsNow() ? 0 : Next<decltype(&RAND_priv_bytes)>("RAND_priv_bytes")(bytes, count);
}
EVP_CIPHER_CTX* EVP_CIPHER_CTX_new() {
    return FailsNow() ? nullptr : Next<decltype(&EVP_CIPHER_CTX_new)>("EVP_CIPHER_CTX_new")();
}
EVP_KDF* EVP_KDF_fetch(OSSL_LIB_CTX* context, const char* algorithm, const char* properties) {
    return FailsNow() ? nullptr
                      : Next<decltype(&EVP_KDF_fetch)>("EVP_KDF_fetch")(context, algorithm, properties);
}
EVP_KDF_CTX* EVP_KDF_CTX_new(EVP_KDF* kdf) {
    return FailsNow() ? nullptr : Next<decltype(&EVP_KDF_CTX_new)>("EVP_KDF_CTX_new")(kdf);
}
int EVP_KDF_derive(EVP_KDF_CTX* context, unsigned char* key, size_t size, const OSSL_PARAM params[]) {
    return FailsNow() ? 0 : Next<decltype(&EVP_KDF_derive)>("EVP_KDF_derive")(context, key, size, params);
}
int EVP_CipherInit_ex(EVP_CIPHER_CTX* context, const EVP_CIPHER* cipher, ENGINE* engine,
                      const unsigned char* key, const unsigned char* nonce, int encrypt) {
    return FailsNow() ? 0
                      : Next<decltype(&EVP_CipherInit_ex)>("EVP_CipherInit_ex")(context, cipher, engine, key,
                                                                                nonce, encrypt);
}
int EVP_CipherUpdate(EVP_CIPHER_CTX* context, unsigned char* out, int* written, const unsigned char* in,
                     int size) {
    return FailsNow()
               ? 0
               : Next<decltype(&EVP_CipherUpdate)>("EVP_CipherUpdate")(context, out, written, in, size);
}
int EVP_CipherFinal_ex(EVP_CIPHER_CTX* context, unsigned char* out, int* written) {
    return FailsNow() ? 0 : Next<decltype(&EVP_CipherFinal_ex)>("EVP_CipherFinal_ex")(context, out, written);
}
int EVP_CIPHER_CTX_ctrl(EVP_CIPHER_CTX* context, int type, int number, void* pointer) {
    return FailsNow()
               ? 0
               : Next<decltype(&EVP_CIPHER_CTX_ctrl)>("EVP_CIPHER_CTX_ctrl")(context, type, number, pointer);
}
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

namespace {

constexpr unsigned int VALUE = 19;

class VornCryptoFailureTest : public MasterKeyFixture {
protected:
    void TearDown() override {
        g_callsUntilFailure = 0;
        MasterKeyFixture::TearDown();
    }

    /// How many calls into the crypto library an operation makes.
    template <class Operation> static int CallsOf(Operation operation) {
        EXPECT_EQ(operation(), VORN_OK); // the first one also sets the crypto library up
        g_callsSeen = 0;
        EXPECT_EQ(operation(), VORN_OK);
        return g_callsSeen;
    }
};

TEST_F(VornCryptoFailureTest, EncryptingFailsCleanlyAtEachCall) {
    std::string text;
    const auto encrypt = [&] { return VornCipherEncrypt::Encrypt("p4ss", text, VORN_CIPHER_KEY_TLS, VALUE); };
    const int calls = CallsOf(encrypt);
    ASSERT_GE(calls, 9);
    for (int call = 1; call <= calls; ++call) {
        text = "untouched";
        ERR_clear_error();
        g_callsUntilFailure = call;
        EXPECT_EQ(encrypt(), VORN_CRYPTO_FAILED) << call;
        EXPECT_EQ(text, "untouched") << call;
        EXPECT_EQ(ERR_peek_error(), 0UL) << call; // nothing left for the TLS code to stumble over
        EXPECT_EQ(encrypt(), VORN_OK) << call;
    }
}

TEST_F(VornCryptoFailureTest, DecryptingFailsCleanlyAtEachCall) {
    std::string text;
    ASSERT_EQ(VornCipherEncrypt::Encrypt("p4ss", text, VORN_CIPHER_KEY_TLS, VALUE), VORN_OK);
    std::string plain;
    const auto decrypt = [&] { return VornCipher::Decrypt(text, plain, VORN_CIPHER_KEY_TLS, VALUE); };
    const int calls = CallsOf(decrypt);
    ASSERT_GE(calls, 8);
    for (int call = 1; call <= calls; ++call) {
        plain = "untouched";
        ERR_clear_error();
        g_callsUntilFailure = call;
        EXPECT_NE(decrypt(), VORN_OK) << call;
        EXPECT_EQ(plain, "untouched") << call;
        EXPECT_EQ(ERR_peek_error(), 0UL) << call;
        EXPECT_EQ(decrypt(), VORN_OK) << call;
        EXPECT_EQ(plain, "p4ss") << call;
    }
}

TEST_F(VornCryptoFailureTest, AMasterKeyWithoutRandomBytesIsNotMade) {
    const std::string path = (m_directory / "new.key").string();
    g_callsUntilFailure = 1;
    EXPECT_EQ(VornMasterKey::Make(path), VORN_CRYPTO_FAILED);
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(VornMasterKey::Make(path), VORN_OK);
}

} // namespace
