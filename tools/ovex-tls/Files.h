// SPDX-License-Identifier: Apache-2.0
/// @file
/// Reading, making and replacing small files.
#pragma once

#include <string>

#include <sys/types.h>

/// Reads a regular file. @throw Failure when it cannot be read, is no regular file or is unreasonably long.
std::string ReadFile(const std::string& path);

/// Makes a file that was not there. @throw Failure
void WriteNewFile(const std::string& path, const std::string& content, mode_t mode);

/// Makes sure that the name of a file or directory survives a crash. @throw Failure
void SyncNameOf(const std::string& path);

/// Replaces a file's content at one stroke: a reader sees the old content or the new, whatever happens
/// meanwhile. Mode and owner are kept; a symbolic link is followed. @throw Failure
void ReplaceFile(const std::string& path, const std::string& content);
