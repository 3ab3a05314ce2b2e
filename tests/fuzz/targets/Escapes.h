// SPDX-License-Identifier: Apache-2.0
/// @file
/// Percent-escapes, in other code than the library's.
#pragma once

#include <string>

/// @return the text with all but letters, digits and "-._~" escaped.
inline std::string Escaped(const std::string& text) {
    static const std::string plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    std::string escaped;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (plain.find(c) != std::string::npos && c != '\0') {
            escaped += c;
        } else {
            escaped.append(1, '%')
                .append(1, "0123456789ABCDEF"[byte / 16])
                .append(1, "0123456789ABCDEF"[byte % 16]);
        }
    }
    return escaped;
}

/// @return the text without its escapes, up to its first NUL.
inline std::string Unescaped(const std::string& text) {
    const auto digit = [&text](std::string::size_type at) {
        static const std::string digits = "0123456789abcdef0123456789ABCDEF";
        const auto found = at < text.size() && text[at] != '\0' ? digits.find(text[at]) : std::string::npos;
        return found == std::string::npos ? -1 : static_cast<int>(found % 16);
    };
    std::string plain;
    for (std::string::size_type i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && digit(i + 1) >= 0 && digit(i + 2) >= 0) {
            plain += static_cast<char>(digit(i + 1) * 16 + digit(i + 2));
            i += 2;
        } else {
            plain += text[i];
        }
    }
    return plain.substr(0, plain.find('\0'));
}
