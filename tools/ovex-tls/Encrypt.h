// SPDX-License-Identifier: Apache-2.0
/// @file
/// Encrypting the password of a TLS key.
#pragma once

#include <string>

#include "Secret.h"

/// Makes sure that there is a usable master key, before a password is asked for in vain. @throw Failure
void RequireMasterKey();

/// The text that a manifest holds for a password. @throw Failure when there is no usable master key.
std::string EncryptedPassword(const Secret& password);
