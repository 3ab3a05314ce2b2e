// SPDX-License-Identifier: Apache-2.0
#include "pool/HttpsConnection.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "support/Cleansing.h"
#include "support/JsonFile.h"
#include "support/PlatformTls.h"
#include "support/Trace.h"

const char* SSL_ROOT = "SSL_ROOT";

CHttpsConnection::CHttpsConnection(std::string address, int port)
    : CHttpConnection(std::move(address), port) {
    std::string cipherText;
    GetCipherText(cipherText);
    if (cipherText.empty()) {
        Trace<LogMessage::KeyPasswordMissing>();
    }

    CURL* curl = GetCurl();
    const std::string root = GetSslPath();
    const std::string caPath = platform_tls::AuthoritiesDirectory(root);
    const std::string caFile = platform_tls::AuthoritiesFile(root);
    const std::string certificate = platform_tls::CertificateFile(root);
    const std::string key = platform_tls::KeyFile(root);

    std::string password;
    const Cleansing cleansing(password); // libcurl keeps a copy of its own
    const int status = platform_tls::DecryptPassword(cipherText, password);
    if (status != 0 || password.empty()) {
        Trace<LogMessage::KeyPasswordNotDecrypted>(status);
    }
    if (status != 0) {
        password.clear(); // what a failed decryption may have left is no password
    }

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
    return platform_tls::Root();
}

void CHttpsConnection::GetCipherText(std::string& cipherText) const {
    std::string manifest;
    const auto path = [&] { return manifest = platform_tls::ManifestPath(GetSslPath()); };
    const auto take = [&](Json::Value& value) { cipherText = platform_tls::CipherText(value); };
    // The constructor reports the empty text of a manifest that cannot be opened.
    LoadJsonFile<NO_MESSAGE, LogMessage::ManifestNotParsed, LogMessage::ManifestNotRead>(
        manifest, path, platform_tls::STRICT_MANIFEST, take);
}
