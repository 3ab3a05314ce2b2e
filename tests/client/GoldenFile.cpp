// SPDX-License-Identifier: Apache-2.0
#include "GoldenFile.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include <httpclient/testing/Files.h>

namespace {

std::string Escaped(char byte) {
    switch (byte) {
    case '\r':
        return "\\r";
    case '\n':
        return "\\n";
    case '\\':
        return "\\\\";
    default:
        break;
    }
    const auto value = static_cast<unsigned char>(byte);
    if (value >= 0x20 && value < 0x7f) {
        return std::string(1, byte);
    }
    std::array<char, 5> code{};
    std::snprintf(code.data(), code.size(), "\\x%02x", value);
    return code.data();
}

} // namespace

void ExpectGolden(const std::string& path, const std::string& text) {
    if (std::getenv("UPDATE_GOLDEN_FILES") != nullptr) {
        std::ofstream(path, std::ios::binary) << text;
        return;
    }
    ASSERT_TRUE(std::filesystem::is_regular_file(path)) << path;
    EXPECT_EQ(httpclient::testing::ReadFile(path), text) << "set UPDATE_GOLDEN_FILES to write " << path;
}

std::string Shown(const std::string& bytes, const std::string& indent) {
    std::string text;
    bool lineBegins = true;
    for (const char byte : bytes) {
        if (lineBegins) {
            text += indent;
        }
        text += Escaped(byte);
        lineBegins = byte == '\n';
        if (lineBegins) {
            text += '\n';
        }
    }
    return lineBegins ? text : text + "\n";
}

std::string Section(const std::string& heading, const std::vector<std::string>& lines) {
    std::string text = heading + '\n';
    for (const std::string& line : lines) {
        text += "    " + line + '\n';
    }
    return text + '\n';
}
