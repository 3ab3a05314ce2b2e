// SPDX-License-Identifier: Apache-2.0
#include "ToolRun.h"

#include <unistd.h>

using httpclient::testing::Command;

namespace {

/// What the dynamic loader and the sanitizers want to know stays; everything else is the test's to set.
bool IsKept(const std::string& variable) {
    for (const char* prefix : {"LD_", "ASAN_", "LSAN_", "TSAN_", "UBSAN_"}) {
        if (variable.compare(0, std::char_traits<char>::length(prefix), prefix) == 0) {
            return true;
        }
    }
    return false;
}

Variables WithKept(Variables variables) {
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        if (IsKept(text)) {
            variables.emplace(text.substr(0, text.find('=')), text.substr(text.find('=') + 1));
        }
    }
    return variables;
}

} // namespace

Command ToolCommand(const std::vector<std::string>& arguments, const Variables& variables) {
    Command command;
    command.words = {OVEX_TLS_PROGRAM};
    command.words.insert(command.words.end(), arguments.begin(), arguments.end());
    command.environment = WithKept(variables);
    return command;
}

ToolResult RunTool(const std::vector<std::string>& arguments, const Variables& variables,
                   const std::string& input, const std::string& directory) {
    Command command = ToolCommand(arguments, variables);
    command.input = input;
    command.directory = directory;
    return httpclient::testing::RunCommand(command);
}
