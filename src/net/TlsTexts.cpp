// SPDX-License-Identifier: Apache-2.0
#include "net/TlsTexts.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <exception>
#include <new>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "net/AuthorityFiles.h"
#include "net/Descriptor.h"
#include "net/OpenSsl.h"
#include "net/Socket.h"
#include "support/Cleansing.h"
#include "support/PlatformTls.h"

namespace httpclient::net {

namespace {

constexpr off_t MAX_FILE = 16 << 20;
// File systems tell times apart that are a clock tick away from each other, some only seconds.
constexpr time_t FRESH_SECONDS = 2;

/// Where the platform's files are, at this moment.
struct PlatformPaths {
    std::string root = platform_tls::Root();
    std::string manifest = platform_tls::ManifestPath(root);
    std::string authorities = platform_tls::AuthoritiesFile(root);
    std::string authoritiesDirectory = platform_tls::AuthoritiesDirectory(root);
    std::string certificate = platform_tls::CertificateFile(root);
    std::string key = platform_tls::KeyFile(root);
};

std::vector<std::string> PathsOf(const TlsSettings& settings) {
    std::vector<std::string> paths;
    if (settings.from == TlsSettings::From::Platform) {
        const PlatformPaths platform;
        std::error_code unseen; // what cannot be listed now is listed later, and that is a change
        paths = HashedFiles(platform.authoritiesDirectory, unseen);
        paths.insert(paths.end(),
                     {platform.authorities, platform.certificate, platform.key, platform.manifest});
    } else if (settings.from == TlsSettings::From::Files) {
        if (settings.authorities.empty()) {
            SystemAuthorities system;
            paths = std::move(system.directories);
            paths.push_back(std::move(system.file));
        }
        for (const std::string* path : {&settings.authorities, &settings.certificate, &settings.key}) {
            if (!path->empty()) {
                paths.push_back(*path);
            }
        }
    }
    return paths;
}

FileStamp StampOf(const std::string& path) {
    FileStamp stamp;
    struct stat seen {};
    if (stat(path.c_str(), &seen) != 0) {
        stamp.error = errno;
        return stamp;
    }
    stamp.device = seen.st_dev;
    stamp.inode = seen.st_ino;
    stamp.size = seen.st_size;
    stamp.modified = seen.st_mtim;
    stamp.changed = seen.st_ctim;
    return stamp;
}

bool Same(const timespec& one, const timespec& other) {
    return one.tv_sec == other.tv_sec && one.tv_nsec == other.tv_nsec;
}

bool Same(const FileStamp& one, const FileStamp& other) {
    return one.error == other.error && one.device == other.device && one.inode == other.inode &&
           one.size == other.size && Same(one.modified, other.modified) && Same(one.changed, other.changed);
}

[[noreturn]] void Refuse(const std::string& path, int number) {
    if (number == ENOMEM) {
        throw std::bad_alloc();
    }
    throw WrongMaterial(path, SystemError(number));
}

/// @return why something is not to be read; 0: it is.
int WhyNotRead(const struct stat& seen) {
    if (S_ISDIR(seen.st_mode)) {
        return EISDIR;
    }
    if (!S_ISREG(seen.st_mode)) {
        return EINVAL;
    }
    return seen.st_size > MAX_FILE ? EFBIG : 0;
}

/// Reads a file. No copy of it is left elsewhere, because the text has its length from the start.
/// @return an error of the system; 0: none.
int TryRead(const std::string& path, PemText& pem) {
    pem.label = path;
    // Without O_NONBLOCK a pipe of that name would be waited for.
    const Descriptor file(
        Uninterrupted([&] { return open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY); }));
    struct stat seen {};
    if (!file || fstat(file.get(), &seen) != 0) {
        return errno;
    }
    if (const int number = WhyNotRead(seen); number != 0) {
        return number;
    }
    std::string& text = pem.text;
    text.resize(static_cast<std::size_t>(seen.st_size));
    std::size_t filled = 0;
    while (filled < text.size()) {
        const ssize_t count =
            Uninterrupted([&] { return read(file.get(), &text[filled], text.size() - filled); });
        if (count < 0) {
            return errno;
        }
        if (count == 0) {
            break;
        }
        filled += static_cast<std::size_t>(count);
    }
    text.resize(filled);
    return 0;
}

void ReadFile(const std::string& path, PemText& pem) {
    if (const int number = TryRead(path, pem); number != 0) {
        Refuse(path, number);
    }
}

/// What is found and cannot be read is passed over, unless only the process lacks something: the rest would be taken
/// for all there is until the files change.
void PassOver(const std::string& path, int number) {
    if (number == ENOMEM || number == EMFILE || number == ENFILE) {
        Refuse(path, number);
    }
}

void ReadFound(const std::string& path, TlsTexts& texts) {
    PemText found;
    if (const int number = TryRead(path, found); number != 0) {
        return PassOver(path, number);
    }
    texts.foundAuthorities.push_back(std::move(found));
}

void ReadDirectory(const std::string& directory, TlsTexts& texts) {
    std::error_code error;
    const std::vector<std::string> files = HashedFiles(directory, error);
    if (error) {
        PassOver(directory, error.value());
    }
    for (const std::string& file : files) {
        ReadFound(file, texts);
    }
}

void ReadSystemAuthorities(TlsTexts& texts) {
    const SystemAuthorities system;
    ReadFound(system.file, texts);
    for (const std::string& directory : system.directories) {
        ReadDirectory(directory, texts);
    }
}

void ReadFiles(const TlsSettings& settings, TlsTexts& texts) {
    if (settings.authorities.empty()) {
        ReadSystemAuthorities(texts);
    } else {
        ReadFile(settings.authorities, texts.authorities);
    }
    if (!settings.certificate.empty()) {
        ReadFile(settings.certificate, texts.certificate);
    }
    if (!settings.key.empty()) {
        ReadFile(settings.key, texts.key);
    }
}

/// A manifest that cannot be read leaves the key without a password, which it may not need.
void ReadManifest(const std::string& manifest, std::string& cipherText) {
    try {
        static_cast<void>(platform_tls::ReadCipherText(manifest, cipherText));
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        cipherText.clear();
    }
}

void ReadPlatform(TlsTexts& texts) {
    const PlatformPaths paths;
    ReadFile(paths.authorities, texts.authorities);
    ReadDirectory(paths.authoritiesDirectory, texts);
    ReadFile(paths.certificate, texts.certificate);
    ReadFile(paths.key, texts.key);
    ReadManifest(paths.manifest, texts.cipherText);
}

void Assign(PemText& pem, const std::string& text, const char* label) {
    if (!text.empty()) {
        pem.label = label;
        pem.text = text;
    }
}

} // namespace

TlsTexts::~TlsTexts() {
    for (std::string* const text : {&certificate.text, &key.text, &cipherText}) {
        const Cleansing cleansing(*text);
    }
}

TlsDigest DigestOf(const TlsTexts& texts) {
    const DigestPtr digest(EVP_MD_CTX_new());
    bool success = digest != nullptr && EVP_DigestInit_ex(digest.get(), EVP_sha256(), nullptr) == 1;
    const auto add = [&](const std::string& text) {
        const std::size_t size = text.size(); // where one text ends and the next begins counts, too
        success = success && EVP_DigestUpdate(digest.get(), &size, sizeof size) == 1 &&
                  EVP_DigestUpdate(digest.get(), text.data(), size) == 1;
    };
    for (const std::string* text :
         {&texts.authorities.text, &texts.certificate.text, &texts.key.text, &texts.cipherText}) {
        add(*text);
    }
    for (const PemText& found : texts.foundAuthorities) {
        add(found.text);
    }
    TlsDigest result{};
    if (!success || EVP_DigestFinal_ex(digest.get(), result.data(), nullptr) != 1) {
        throw std::bad_alloc();
    }
    return result;
}

FileStamps::FileStamps(const TlsSettings& settings) : m_paths(PathsOf(settings)) {
    const time_t now = time(nullptr);
    m_stamps.reserve(m_paths.size());
    for (const std::string& path : m_paths) {
        const FileStamp& stamp = m_stamps.emplace_back(StampOf(path));
        m_fresh = m_fresh || stamp.changed.tv_sec > now - FRESH_SECONDS;
    }
}

bool operator==(const FileStamps& one, const FileStamps& other) {
    return one.m_paths == other.m_paths &&
           std::equal(one.m_stamps.begin(), one.m_stamps.end(), other.m_stamps.begin(), other.m_stamps.end(),
                      [](const FileStamp& left, const FileStamp& right) { return Same(left, right); });
}

void ReadTexts(const TlsSettings& settings, TlsTexts& texts) {
    switch (settings.from) {
    case TlsSettings::From::Platform:
        ReadPlatform(texts);
        return;
    case TlsSettings::From::Files:
        ReadFiles(settings, texts);
        return;
    case TlsSettings::From::Memory:
        if (settings.authorities.empty()) {
            ReadSystemAuthorities(texts);
        }
        Assign(texts.authorities, settings.authorities, "authorities");
        Assign(texts.certificate, settings.certificate, "certificate");
        Assign(texts.key, settings.key, "key");
    }
}

} // namespace httpclient::net
