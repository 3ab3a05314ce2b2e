// SPDX-License-Identifier: Apache-2.0
#include <json/value.h>
#include <json/writer.h>

#include <httpclient/testing/TlsRoot.h>

namespace httpclient::testing {

namespace {

std::filesystem::path Below(const std::string& name) {
    return std::filesystem::path("internal") / name;
}

} // namespace

std::string Manifest(const std::string& keyPass) {
    Json::Value manifest;
    manifest["filelist"]["server_key.pem"]["keyPass"] = keyPass;
    return manifest.toStyledString();
}

TlsRoot::TlsRoot(const std::string& caPem, const Identity& client, const std::string& password,
                 const std::string& keyPass) {
    Replace("trust.cer", caPem);
    Replace("server.cer", client.certificatePem);
    Replace("server_key.pem", password.empty() ? client.keyPem : EncryptKey(client.keyPem, password));
    Replace("manifest.json", Manifest(keyPass));
}

std::string TlsRoot::path() const {
    return m_directory.path();
}

std::filesystem::path TlsRoot::File(const std::string& name) const {
    return m_directory.path() / Below(name);
}

void TlsRoot::Replace(const std::string& name, const std::string& content) const {
    m_directory.Write(Below(name), content);
}

void TlsRoot::Remove(const std::string& name) const {
    std::filesystem::remove(File(name));
}

} // namespace httpclient::testing
