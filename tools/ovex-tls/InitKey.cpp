// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>

#include <vorncipher/VornMasterKey.h>

#include "Commands.h"
#include "Failure.h"

namespace {

void InitKey(const std::string& path) {
    const int status = VornMasterKey::Make(path);
    if (status != VORN_OK) {
        throw Failure(path + ": " + VornStatusText(status));
    }
    std::cout
        << "made the master key file " << path << '\n'
        << "name it to the processes with VORN_KEY_FILE, and keep a copy: without it no text decrypts\n";
}

} // namespace

void AddInitKey(CLI::App& app) {
    CLI::App* command =
        app.add_subcommand("init-key", "Make a master key file (mode 0600; never overwrites)");
    const auto path = std::make_shared<std::string>();
    command->add_option("FILE", *path, "The file to make; default: the value of VORN_KEY_FILE")
        ->envname("VORN_KEY_FILE")
        ->required();
    command->callback([path] { InitKey(*path); });
}
