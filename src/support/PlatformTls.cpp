// SPDX-License-Identifier: Apache-2.0
#include "support/PlatformTls.h"

#include <cstdlib>

#include <json/value.h>

#include <vorncipher/VornCipher.h>

#include "pool/HttpsConnection.h"

namespace platform_tls {

namespace {

// Never destroyed, so that threads that outlive main() may still use them.
// The manifest's path holds two slashes after the root, deliberately.
const std::string& MANIFEST_SUFFIX = *new std::string("/internal/manifest.json");
const std::string& PRIVATE_DIR = *new std::string("internal/");
const std::string& CA_FILE = *new std::string("trust.cer");
const std::string& CLIENT_CERTIFICATE = *new std::string("internal/server.cer");
const std::string& CLIENT_KEY = *new std::string("internal/server_key.pem");

// What the key password was encrypted for.
constexpr auto KEY_SELECTOR = static_cast<VornCipherKey>(1);
constexpr unsigned int KEY_VALUE = 19;

} // namespace

std::string Root() {
    const char* value = getenv(SSL_ROOT);
    std::string root = value != nullptr ? value : "";
    if (!root.empty() && root.back() != '/') {
        root += '/';
    }
    return root;
}

std::string ManifestPath(const std::string& root) {
    return root + MANIFEST_SUFFIX;
}

std::string AuthoritiesDirectory(const std::string& root) {
    return root + PRIVATE_DIR;
}

std::string AuthoritiesFile(const std::string& root) {
    return root + PRIVATE_DIR + CA_FILE;
}

std::string CertificateFile(const std::string& root) {
    return root + CLIENT_CERTIFICATE;
}

std::string KeyFile(const std::string& root) {
    return root + CLIENT_KEY;
}

std::string CipherText(Json::Value& manifest) {
    return manifest["filelist"]["server_key.pem"]["keyPass"].asString();
}

JsonFileResult ReadCipherText(const std::string& manifest, std::string& cipherText) {
    Json::Value value;
    const JsonFileResult result = ReadJsonFile(manifest, STRICT_MANIFEST, value);
    if (result == JsonFileResult::Ok) {
        cipherText = CipherText(value);
    }
    return result;
}

int DecryptPassword(const std::string& cipherText, std::string& password) {
    return VornCipher::Decrypt(cipherText, password, KEY_SELECTOR, KEY_VALUE);
}

} // namespace platform_tls
