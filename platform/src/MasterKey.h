// SPDX-License-Identifier: Apache-2.0
/// @file
/// The master key: where it lies, what a safe file is, and how it is read and made.
#pragma once

#include <cstddef>
#include <string>

#include <vorncipher/VornStatus.h>

#include "VornCipherBytes.h"

namespace vorn {

constexpr std::size_t MASTER_KEY_SIZE = 32;

/// The path of the master key file: the value of VORN_KEY_FILE, "" when unset.
std::string MasterKeyPath();

/// Reads a master key file, provided that it is safe.
/// @param[out] key MASTER_KEY_SIZE bytes; untouched on failure.
VornStatus ReadMasterKey(const std::string& path, Bytes& key);

/// Makes a master key file of mode 0600; never overwrites, leaves nothing behind on failure.
VornStatus MakeMasterKey(const std::string& path);

} // namespace vorn
