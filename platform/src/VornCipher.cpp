// SPDX-License-Identifier: Apache-2.0
#include <openssl/err.h>

#include <vorncipher/VornCipher.h>
#include <vorncipher/VornCipherEncrypt.h>

#include "MasterKey.h"
#include "VornCipherText.h"

namespace {

/// Leaves the thread's OpenSSL error queue as it was: a refused text must not look to the TLS code that
/// runs next on this thread like an error of its own.
class ErrorQueueMark {
public:
    ErrorQueueMark() { ERR_set_mark(); }
    ~ErrorQueueMark() { ERR_pop_to_mark(); }
    ErrorQueueMark(const ErrorQueueMark&) = delete;
    ErrorQueueMark& operator=(const ErrorQueueMark&) = delete;
};

using TextOperation = VornStatus (*)(const vorn::Bytes&, vorn::Purpose, const std::string&, std::string&);

int WithMasterKey(TextOperation operation, vorn::Purpose purpose, const std::string& in, std::string& out) {
    const ErrorQueueMark mark;
    vorn::Bytes masterKey;
    const VornStatus status = vorn::ReadMasterKey(vorn::MasterKeyPath(), masterKey);
    return status == VORN_OK ? operation(masterKey, purpose, in, out) : status;
}

} // namespace

int VornCipher::Decrypt(const std::string& cipherText, std::string& plainText, VornCipherKey key,
                        unsigned int value) {
    return WithMasterKey(vorn::OpenText, {key, value}, cipherText, plainText);
}

int VornCipherEncrypt::Encrypt(const std::string& plainText, std::string& cipherText, VornCipherKey key,
                               unsigned int value) {
    return WithMasterKey(vorn::SealText, {key, value}, plainText, cipherText);
}
