// SPDX-License-Identifier: Apache-2.0
#include "pool/HttpsConnection.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <iterator>
#include <utility>

#include <json/value.h>

#include <vorncipher/VornCipher.h>

#include "support/Cancellation.h"
#include "support/Cleansing.h"
#include "support/ExitGate.h"
#include "support/JsonFile.h"
#include "support/Trace.h"

const char* SSL_ROOT = "SSL_ROOT";

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

CHttpsConnection::CHttpsConnection(std::string address, int port)
    : CHttpConnection(std::move(address), port) {
    std::string cipherText;
    GetCipherText(cipherText);
    // The class name in this message and the next, and their level, are deliberate.
    if (cipherText.empty()) {
        Trace(TraceLevel::Progress, "CHttpClientImp::CHttpsConnection, the enc text is null!");
    }

    CURL* curl = GetCurl();
    const std::string root = GetSslPath();
    const std::string caPath = root + PRIVATE_DIR;
    const std::string caFile = root + PRIVATE_DIR + CA_FILE;
    const std::string certificate = root + CLIENT_CERTIFICATE;
    const std::string key = root + CLIENT_KEY;

    std::string password;
    const Cleansing cleansing(password); // libcurl keeps a copy of its own
    const int status = VornCipher::Decrypt(cipherText, password, KEY_SELECTOR, KEY_VALUE);
    if (status != 0 || password.empty()) {
        Trace(TraceLevel::Progress,
              "CHttpClientImp::CHttpsConnection, the plain text is null or dec error, ret=%d", status);
    }
    if (status != 0) {
        password.clear(); // what a failed decryption may have left is no password
    }

    ExitGate::Arm(); // OpenSSL is initialised by now
    const CURLcode results[] = {
        curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L),
        curl_easy_setopt(curl, CURLOPT_CAPATH, caPath.c_str()),
        curl_easy_setopt(curl, CURLOPT_CAINFO, caFile.c_str()),
        curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L),
        curl_easy_setopt(curl, CURLOPT_SSLCERT, certificate.c_str()),
        curl_easy_setopt(curl, CURLOPT_SSLCERTTYPE, "PEM"),
        curl_easy_setopt(curl, CURLOPT_SSLKEY, key.c_str()),
        curl_easy_setopt(curl, CURLOPT_KEYPASSWD, password.c_str()),
    };
    // A handle without its password has OpenSSL ask for one on the terminal, or on standard input, and wait.
    // The pool makes a handle anew when it is missing.
    if (std::find(std::begin(results), std::end(results), CURLE_OUT_OF_MEMORY) != std::end(results)) {
        DropCurl();
    }
}

CHttpsConnection::~CHttpsConnection() = default;

std::string CHttpsConnection::GetSslPath() const {
    const char* value = getenv(SSL_ROOT);
    std::string root = value != nullptr ? value : "";
    if (!root.empty() && root.back() != '/') {
        root += '/';
    }
    return root;
}

void CHttpsConnection::GetCipherText(std::string& cipherText) const {
    const auto read = [&] {
        const std::string manifest = GetSslPath() + MANIFEST_SUFFIX;
        Json::Value value;
        switch (ReadJsonFile(manifest, true, value)) {
        case JsonFileResult::NotOpened: // the constructor reports the empty text
            return;
        case JsonFileResult::NotParsed:
            Trace(TraceLevel::Error, "CHttpsConnection::GetCipherText, parse %s error!", manifest.c_str());
            return;
        case JsonFileResult::Ok:
            cipherText = value["filelist"]["server_key.pem"]["keyPass"].asString();
        }
    };
    if (!Contained(read)) {
        Trace(TraceLevel::Error, "CHttpsConnection::GetCipherText, parse file catch an exception!");
    }
}
