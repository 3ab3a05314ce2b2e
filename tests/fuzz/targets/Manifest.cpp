// SPDX-License-Identifier: Apache-2.0
// The TLS manifest, and through it the cipher text of the key password.
#include "../Require.h"
#include "../Surroundings.h"
#include "../Target.h"
#include "pool/HttpsConnection.h"

namespace {

/// One of the messages that a connection may log while it is made: none of them holds anything
/// of the manifest.
bool IsExpected(const std::string& line) {
    const auto begins = [&line](std::string_view text) { return line.compare(0, text.size(), text) == 0; };
    return line == "[3] CHttpClientImp::CHttpsConnection, the enc text is null!" ||
           line == "[5] CHttpsConnection::GetCipherText, parse file catch an exception!" ||
           (begins("[5] CHttpsConnection::GetCipherText, parse ") &&
            line.find("manifest.json error!") != line.npos) ||
           (begins("[3] CHttpClientImp::CHttpsConnection, the plain text is null or dec error, ret=") &&
            line.size() < 100);
}

} // namespace

void FuzzManifest(std::string_view input) {
    Surroundings::Instance().WriteManifest(input);
    StartLog();
    const CHttpsConnection connection("127.0.0.1", 443);
    Require(connection.GetCurl() != nullptr, "a connection is made whatever the manifest holds");
    for (const std::string& line : Logged()) {
        Require(IsExpected(line), "the log holds nothing of the manifest");
    }

    StartLog();
    std::string cipherText = "untouched";
    connection.GetCipherText(cipherText);
    Require(Logged().empty() || cipherText == "untouched", "a failure leaves the text alone");
}
