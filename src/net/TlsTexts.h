// SPDX-License-Identifier: Apache-2.0
/// @file
/// TLS material as text: what is read, and what tells that it has changed.
#pragma once

#include <array>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include <sys/stat.h>

#include "net/TlsSettings.h"

namespace httpclient::net {

/// Material that cannot be used. Its text names the file or the part, and the reason; never a secret.
class WrongMaterial : public std::runtime_error {
public:
    WrongMaterial(const std::string& part, std::error_code error)
        : std::runtime_error(part + ": " + error.message()), m_error(error) {}
    WrongMaterial(const std::string& part, std::error_code error, const std::string& reason)
        : std::runtime_error(part + ": " + reason), m_error(error) {}
    std::error_code error() const noexcept { return m_error; }

private:
    std::error_code m_error;
};

/// A PEM text, and what it is called in messages: its path, or what it is.
struct PemText {
    std::string label;
    std::string text;
};

/// What a context is made of. The secrets in it are wiped at its end.
struct TlsTexts {
    TlsTexts() = default;
    ~TlsTexts();
    TlsTexts(const TlsTexts&) = delete;
    TlsTexts& operator=(const TlsTexts&) = delete;

    PemText authorities; ///< without a label: none but those found
    std::vector<PemText>
        foundAuthorities;   ///< besides: the system's, or those of a directory; some may be wrong
    PemText certificate;    ///< without a label: none
    PemText key;            ///< without a label: it stands in the certificate's text
    std::string cipherText; ///< the platform's encrypted key password
};

using TlsDigest = std::array<unsigned char, 32>;

/// @return what tells these texts from others.
TlsDigest DigestOf(const TlsTexts& texts);

/// What a look at a file has shown.
struct FileStamp {
    int error = 0; ///< why nothing can be seen
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    timespec modified{};
    timespec changed{};
};

/// The files of a set of material at one moment: all of them, but of the system's authorities, which are hundreds, the
/// directories.
class FileStamps {
public:
    /// Looks. Material of memory is not looked after: it has no files.
    explicit FileStamps(const TlsSettings& settings);
    FileStamps() = default;

    /// Whether a file was written so lately that a further change might not show in its stamp.
    bool fresh() const noexcept { return m_fresh; }

    friend bool operator==(const FileStamps& one, const FileStamps& other);

private:
    std::vector<std::string> m_paths;
    std::vector<FileStamp> m_stamps;
    bool m_fresh = false;
};

/// Reads the texts, from files where they are in files.
/// @throw WrongMaterial, std::bad_alloc
void ReadTexts(const TlsSettings& settings, TlsTexts& texts);

} // namespace httpclient::net
