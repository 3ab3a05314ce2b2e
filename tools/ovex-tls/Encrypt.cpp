// SPDX-License-Identifier: Apache-2.0
#include "Encrypt.h"

#include <iostream>
#include <memory>

#include <ovexcommon/OvexCommonUtils.h>
#include <vorncipher/VornCipherEncrypt.h>
#include <vorncipher/VornMasterKey.h>

#include "Commands.h"
#include "Failure.h"
#include "Files.h"
#include "KeyFileOption.h"
#include "Manifest.h"
#include "Password.h"
#include "TlsRoot.h"

void RequireMasterKey() {
    const std::string path = OvexCommonUtils::Ovexgetenv("VORN_KEY_FILE");
    const int status = VornMasterKey::Check(path);
    if (status != VORN_OK) {
        throw Failure(path.empty() ? VornStatusText(status) : path + ": " + VornStatusText(status));
    }
}

std::string EncryptedPassword(const Secret& password) {
    std::string text;
    const int status =
        VornCipherEncrypt::Encrypt(password.Text(), text, tls_root::PASSWORD_KEY, tls_root::PASSWORD_VALUE);
    if (status != VORN_OK) {
        throw Failure(VornStatusText(status));
    }
    return text;
}

namespace {

void Encrypt(const std::string& manifest) {
    RequireMasterKey();
    if (manifest.empty()) {
        std::cout << EncryptedPassword(ReadPassword(true)) << std::endl;
        return;
    }
    const std::string before = ReadFile(manifest);
    manifest::WithPassword(before, "", manifest); // fails on a bad manifest before a password is asked for
    const std::string text = EncryptedPassword(ReadPassword(true));
    ReplaceFile(manifest, manifest::WithPassword(before, text, manifest));
    std::cout << "updated " << manifest << '\n';
}

} // namespace

void AddEncrypt(CLI::App& app) {
    CLI::App* command = app.add_subcommand(
        "encrypt", "Encrypt a key password, read from standard input or asked for on the terminal");
    const auto manifest = std::make_shared<std::string>();
    command->add_option("--manifest", *manifest, "Put the text into this manifest instead of printing it")
        ->type_name("FILE");
    AddKeyFileOption(*command);
    command->callback([manifest] { Encrypt(*manifest); });
}
