// SPDX-License-Identifier: Apache-2.0
#include "KeyFileOption.h"

#include <cstdlib>

void AddKeyFileOption(CLI::App& command) {
    command
        .add_option_function<std::string>(
            "--key-file", [](const std::string& path) { setenv("VORN_KEY_FILE", path.c_str(), 1); },
            "The master key file; default: the value of VORN_KEY_FILE")
        ->type_name("FILE");
}
