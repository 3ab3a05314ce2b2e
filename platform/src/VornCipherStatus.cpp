// SPDX-License-Identifier: Apache-2.0
#include <vorncipher/VornStatus.h>

const char* VornStatusText(int status) {
    switch (status) {
    case VORN_OK:
        return "all is well";
    case VORN_KEY_FILE_UNSET:
        return "no master key file is named (VORN_KEY_FILE is unset or empty)";
    case VORN_KEY_FILE_UNREADABLE:
        return "the master key file is missing or cannot be read";
    case VORN_KEY_FILE_NOT_REGULAR:
        return "the master key file is not a regular file";
    case VORN_KEY_FILE_FOREIGN:
        return "the master key file belongs to neither this user nor root";
    case VORN_KEY_FILE_OPEN_TO_OTHERS:
        return "the master key file's mode lets the group or others at it (0600 or 0400 is safe)";
    case VORN_KEY_FILE_MALFORMED:
        return "the master key file does not hold a master key";
    case VORN_KEY_FILE_EXISTS:
        return "the file is there already and is left as it is";
    case VORN_KEY_FILE_UNWRITABLE:
        return "the master key file could not be written";
    case VORN_KEY_DIRECTORY_UNSAFE:
        return "others may replace files in the master key file's directory";
    case VORN_TEXT_REFUSED:
        return "the text does not decrypt: not a cipher text, tampered with, or made for another key";
    case VORN_TEXT_TOO_LONG:
        return "the text is too long";
    case VORN_CRYPTO_FAILED:
        return "the crypto library failed";
    default:
        return "an unknown status";
    }
}
