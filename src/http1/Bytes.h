// SPDX-License-Identifier: Apache-2.0
/// @file
/// What single bytes may stand for, by RFC 9110 and RFC 3986, and texts that are compared without regard to case.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace httpclient::http1 {

/// Classes of bytes, to be combined.
enum ByteClass : std::uint8_t {
    TokenByte = 1,      ///< RFC 9110, 5.6.2: names
    ValueByte = 2,      ///< RFC 9110, 5.5: visible, blank, HTAB, and 80 to FF
    TargetByte = 4,     ///< visible ASCII but "#"
    UnreservedByte = 8, ///< RFC 3986, 2.3
    QuotedByte = 16     ///< RFC 9110, 5.6.4: inside a quoted string, without its quote and its backslash
};

constexpr bool IsDigit(char byte) noexcept {
    return byte >= '0' && byte <= '9';
}

constexpr char LowerOf(char byte) noexcept {
    return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte + ('a' - 'A')) : byte;
}

constexpr bool IsBlank(char byte) noexcept {
    return byte == ' ' || byte == '\t';
}

namespace detail {

constexpr std::uint8_t ClassesOf(int code) noexcept {
    const char byte = static_cast<char>(code);
    const bool alphanumeric =
        code < 0x80 && (IsDigit(byte) || (LowerOf(byte) >= 'a' && LowerOf(byte) <= 'z'));
    const bool visible = code > 0x20 && code < 0x7F;
    unsigned classes = 0;
    if (alphanumeric ||
        (visible && std::string_view("!#$%&'*+-.^_`|~").find(byte) != std::string_view::npos)) {
        classes |= TokenByte;
    }
    if (visible || IsBlank(byte) || code >= 0x80) {
        classes |= ValueByte;
        if (byte != '"' && byte != '\\') {
            classes |= QuotedByte;
        }
    }
    if (visible && byte != '#') {
        classes |= TargetByte;
    }
    if (alphanumeric || (visible && std::string_view("-._~").find(byte) != std::string_view::npos)) {
        classes |= UnreservedByte;
    }
    return static_cast<std::uint8_t>(classes);
}

constexpr std::array<std::uint8_t, 256> MakeByteClasses() noexcept {
    std::array<std::uint8_t, 256> classes{};
    for (int code = 0; code < 256; ++code) {
        classes[static_cast<std::size_t>(code)] = ClassesOf(code);
    }
    return classes;
}

} // namespace detail

inline constexpr std::array<std::uint8_t, 256> BYTE_CLASSES = detail::MakeByteClasses();

inline bool Is(char byte, ByteClass wanted) noexcept {
    return (BYTE_CLASSES[static_cast<unsigned char>(byte)] & wanted) != 0;
}

/// @return whether every byte is of a class; true for an empty text.
inline bool AllAre(std::string_view text, ByteClass wanted) noexcept {
    unsigned common = wanted; // no branch per byte: what goes out is well-formed nearly always
    for (const char byte : text) {
        common &= BYTE_CLASSES[static_cast<unsigned char>(byte)];
    }
    return common != 0;
}

/// @param lower a text without capital letters.
inline bool EqualsIgnoringCase(std::string_view text, std::string_view lower) noexcept {
    if (text.size() != lower.size()) {
        return false;
    }
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (LowerOf(text[i]) != lower[i]) {
            return false;
        }
    }
    return true;
}

/// @return whether a CR stands without its LF. One at the very end may still get it.
inline bool HasBareCr(std::string_view text) noexcept {
    for (std::size_t at = text.find('\r'); at < text.size() - 1; at = text.find('\r', at + 1)) {
        if (text[at + 1] != '\n') {
            return true;
        }
    }
    return false;
}

/// @return the text without the blanks around it.
inline std::string_view Trimmed(std::string_view text) noexcept {
    while (!text.empty() && IsBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && IsBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

/// Takes the next element off a comma-separated list (RFC 9110, 5.6.1).
/// @param[in,out] rest what is left of the list; its data() is null after the last element.
/// @return the element without the blanks around it; may be empty.
inline std::string_view NextElement(std::string_view& rest) noexcept {
    const std::size_t comma = rest.find(',');
    const std::string_view element = Trimmed(rest.substr(0, comma));
    rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
    return element;
}

} // namespace httpclient::http1
