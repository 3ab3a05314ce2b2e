// SPDX-License-Identifier: Apache-2.0
// The operations page explains every message of the library, and no other.
#include "support/Messages.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Pattern.h"

using httpclient::testing::Pattern;

namespace {

/// Level and text.
using Messages = std::multiset<std::pair<int, std::string>>;

std::string ReadText(const std::filesystem::path& path) {
    std::ifstream file(path);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

Messages OfTheTable() {
    Messages messages;
    for (const LogMessageRow& row : LOG_MESSAGES) {
        messages.emplace(static_cast<int>(row.level), row.text);
    }
    return messages;
}

/// The rows of the page that begin "| level | `text` |".
Messages OfThePage() {
    const std::string page = ReadText(std::filesystem::path(PROJECT_DIRECTORY) / "docs/operations.md");
    Messages messages;
    for (const auto& row : Pattern("\\n\\| (\\d+) \\| `([^`]+)` \\|").AllIn(page)) {
        messages.emplace(std::stoi(row[1]), row[2]);
    }
    return messages;
}

/// The names of messages in the sources of the library, without those of the table itself.
std::set<std::string> NamesInUse() {
    std::set<std::string> names;
    for (const auto& entry :
         std::filesystem::recursive_directory_iterator(std::filesystem::path(PROJECT_DIRECTORY) / "src")) {
        if (entry.path().extension() != ".cpp") {
            continue;
        }
        const std::string source = ReadText(entry.path());
        for (const auto& use : Pattern("LogMessage::(\\w+)").AllIn(source)) {
            names.insert(use[1]);
        }
    }
    return names;
}

std::string Difference(const Messages& these, const Messages& those) {
    Messages rest;
    std::set_difference(these.begin(), these.end(), those.begin(), those.end(),
                        std::inserter(rest, rest.end()));
    std::string text;
    for (const auto& [level, message] : rest) {
        text += std::to_string(level) + " " + message + "\n";
    }
    return text;
}

TEST(Operations, NameEveryMessageOfTheLibraryWithItsLevelAndNoOther) {
    const Messages table = OfTheTable();
    const Messages page = OfThePage();
    EXPECT_EQ(Difference(table, page), "") << "stands in src/support/Messages.h only";
    EXPECT_EQ(Difference(page, table), "") << "stands in docs/operations.md only";
}

TEST(Operations, NameNoMessageThatTheLibraryNeverLogs) {
    EXPECT_EQ(NamesInUse().size(), std::size(LOG_MESSAGES));
}

} // namespace
