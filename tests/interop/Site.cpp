// SPDX-License-Identifier: Apache-2.0
#include "Site.h"

#include <cstddef>

namespace interop {

namespace {

constexpr std::size_t SMALL = 128;
constexpr std::size_t LONG = 1 << 20;
constexpr std::size_t TEXT = 64UL * 1024;
constexpr std::size_t CHUNKED = 96UL * 1024;

/// Every byte there is, in an order that shows what is missing or twice.
std::string Bytes(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) {
        bytes[i] = static_cast<char>((i * 31 + i / 256 + i / 65536) & 0xff);
    }
    return bytes;
}

std::string Lines(std::size_t size) {
    std::string text;
    for (int number = 0; text.size() < size; ++number) {
        text += "line " + std::to_string(number) + "\n";
    }
    text.resize(size);
    return text;
}

} // namespace

const Content& TheContent() {
    static const Content content{Lines(SMALL), Bytes(LONG), Lines(TEXT), Lines(CHUNKED)};
    return content;
}

Site::Site() : m_client(m_ca.IssueClient()) {
    const Content& content = TheContent();
    m_directory.Write("site/small.txt", content.small);
    m_directory.Write("site/closing.txt", content.small);
    m_directory.Write("site/long.bin", content.longer);
    m_directory.Write("site/text.txt", content.text);
    m_directory.Write("site/chunked.txt", content.chunked);
    const httpclient::testing::Identity server = m_ca.IssueServer();
    m_directory.Write("server.pem", server.certificatePem);
    m_directory.Write("server.key", server.keyPem);
    m_directory.Write("both.pem", server.certificatePem + server.keyPem);
    m_directory.Write("ca.pem", m_ca.certificatePem());
}

} // namespace interop
