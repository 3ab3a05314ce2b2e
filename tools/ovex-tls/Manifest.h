// SPDX-License-Identifier: Apache-2.0
/// @file
/// The manifest of a TLS root, in which the encrypted key password stands.
#pragma once

#include <string>

namespace manifest {

/// A manifest that holds the encrypted password and nothing else.
std::string New(const std::string& cipherText);

/// The text of a manifest with another encrypted password; all other members stay.
/// @param name what failures call the manifest.
/// @throw Failure when the text is no manifest.
std::string WithPassword(const std::string& manifest, const std::string& cipherText, const std::string& name);

/// The encrypted password in a manifest, found the way a process finds it; "" when there is none.
/// @return false when the text is not JSON.
/// @throw Json::Exception when the shape is so wrong that a process meets an exception.
bool FindPassword(const std::string& manifest, std::string& cipherText);

} // namespace manifest
