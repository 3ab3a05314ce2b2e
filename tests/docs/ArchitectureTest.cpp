// SPDX-License-Identifier: Apache-2.0
// The tables of the architecture page name every file of src, and no other.
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/Pattern.h"

namespace {

namespace fs = std::filesystem;

const fs::path ROOT(PROJECT_DIRECTORY);

using httpclient::testing::Pattern;
using Names = std::set<std::string>;

/// Headers and sources by their paths below src.
Names FilesOfTheTree() {
    Names names;
    for (const auto& entry : fs::recursive_directory_iterator(ROOT / "src")) {
        if (entry.path().extension() == ".h" || entry.path().extension() == ".cpp") {
            names.insert(entry.path().lexically_relative(ROOT / "src").string());
        }
    }
    return names;
}

/// The texts between two back-quotes.
std::vector<std::string> Quoted(const std::string& text) {
    static const Pattern quoted("`([^`]+)`");
    std::vector<std::string> names;
    for (const auto& match : quoted.AllIn(text)) {
        names.push_back(match[1]);
    }
    return names;
}

/// The names in the tables "Room | Files", each with its room; a room goes on where its column is empty.
std::vector<std::string> NamesOfThePage() {
    static const Pattern rowPattern(R"(^\| ?(\w*) \| ([^|]*) \|.*)");
    std::ifstream page(ROOT / "docs/architecture.md");
    EXPECT_TRUE(page.is_open());
    std::vector<std::string> names;
    std::string room;
    bool inTable = false;
    for (std::string line; std::getline(page, line);) {
        inTable = line.rfind("| Room | Files |", 0) == 0 || (inTable && line.rfind('|', 0) == 0);
        const auto rows = rowPattern.AllIn(line);
        if (!inTable || rows.empty()) {
            continue;
        }
        room = rows[0][1].empty() ? room : rows[0][1];
        for (const std::string& name : Quoted(rows[0][2])) {
            names.push_back(room + "/" + name);
        }
    }
    return names;
}

/// The files of a name: one, or a header and its source where it has no ending, or those that "*" stands for.
Names FilesOf(const std::string& name, const Names& tree) {
    if (name.find('*') != std::string::npos) {
        const Pattern pattern(Pattern("\\*").Replaced(Pattern("\\.").Replaced(name, "\\."), "[^/]*"));
        Names files;
        for (const std::string& file : tree) {
            if (pattern.IsAllOf(file)) {
                files.insert(file);
            }
        }
        return files;
    }
    return fs::path(name).has_extension() ? Names{name} : Names{name + ".h", name + ".cpp"};
}

} // namespace

TEST(Architecture, NamesEveryFileOfTheSourcesAndNoOther) {
    const Names tree = FilesOfTheTree();
    EXPECT_GT(tree.size(), 100U);
    Names named;
    for (const std::string& name : NamesOfThePage()) {
        const Names files = FilesOf(name, tree);
        EXPECT_FALSE(files.empty()) << name << " stands for no file";
        for (const std::string& file : files) {
            EXPECT_EQ(tree.count(file), 1U) << name << " stands for " << file << ", which is not there";
            EXPECT_TRUE(named.insert(file).second) << file << " is named twice";
        }
    }
    for (const std::string& file : tree) {
        EXPECT_EQ(named.count(file), 1U) << file << " is missing from docs/architecture.md";
    }
}
