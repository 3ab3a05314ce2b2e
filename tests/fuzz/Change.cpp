// SPDX-License-Identifier: Apache-2.0
#include "Change.h"

#include <cstddef>
#include <vector>

namespace {

const std::vector<std::string>& Insertions() {
    static const std::vector<std::string> all = {
        "\r\n",
        "\n",
        "\r",
        " ",
        "\t",
        ":",
        ";",
        ",",
        "0",
        "\x01",
        "\x7F",
        "\xFF",
        "\r\n ",
        "5",
        "FF",
        "chunked",
        "gzip",
        "HTTP/1.1 200 OK\r\n",
        "Content-Length: 5\r\n",
        "Transfer-Encoding: chunked\r\n",
        "Connection: close\r\n",
        "0\r\n\r\n",
        "\"",
        "{",
        "}",
        "[",
    };
    return all;
}

} // namespace

void Change(std::string& text, std::mt19937& random) {
    const std::size_t at = random() % (text.size() + 1);
    switch (random() % 4) {
    case 0:
        text.insert(at, Insertions()[random() % Insertions().size()]);
        break;
    case 1:
        text.erase(at, 1 + random() % 4);
        break;
    case 2:
        if (at < text.size()) {
            text[at] = static_cast<char>(random() % 256);
        }
        break;
    default:
        text.insert(at, text.substr(random() % (text.size() + 1), random() % 20));
    }
}
