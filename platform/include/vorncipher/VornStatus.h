// SPDX-License-Identifier: Apache-2.0
/// @file
/// What the cipher and the master key answer.
#pragma once

/// The status of every operation on the cipher and the master key: 0, or why not.
enum VornStatus : int {
    VORN_OK = 0,
    VORN_KEY_FILE_UNSET = 1,          ///< VORN_KEY_FILE is unset or empty.
    VORN_KEY_FILE_UNREADABLE = 2,     ///< The master key file is missing or cannot be read.
    VORN_KEY_FILE_NOT_REGULAR = 3,    ///< The master key file is a directory, a pipe, a device or the like.
    VORN_KEY_FILE_FOREIGN = 4,        ///< The master key file belongs to neither this user nor root.
    VORN_KEY_FILE_OPEN_TO_OTHERS = 5, ///< The mode lets the group or others at the master key file.
    VORN_KEY_FILE_MALFORMED = 6,      ///< The master key file does not hold a master key.
    VORN_KEY_FILE_EXISTS = 7,         ///< A new master key would overwrite something.
    VORN_KEY_FILE_UNWRITABLE = 8,     ///< The new master key file could not be written.
    VORN_KEY_DIRECTORY_UNSAFE = 9,    ///< Others may replace files in the new master key file's directory.
    VORN_TEXT_REFUSED = 10,  ///< One answer to every text that does not decrypt, whatever the reason.
    VORN_TEXT_TOO_LONG = 11, ///< More plain text than the cipher takes.
    VORN_CRYPTO_FAILED = 12  ///< The crypto library failed.
};

/// A sentence about a status, for people.
/// @return a text that lives as long as the process; never null.
__attribute__((visibility("default"))) const char* VornStatusText(int status);
