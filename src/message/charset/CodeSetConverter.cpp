// SPDX-License-Identifier: Apache-2.0
#include "message/charset/CodeSetConverter.h"

#include <ovexcommon/SecureMem.h>

#ifdef HTTPCLIENT_GNU_ICONV
#include <iconv.h>
#else
#include "message/charset/IconvAdapter.h"
#endif

#include <cstring>
#include <map>
#include <memory>
#include <mutex>

namespace {

constexpr const char* UNKNOWN_CODE_SET = "UNKOWN"; // the marker is misspelt everywhere, and must stay so
constexpr std::size_t FAILED = static_cast<std::size_t>(-1);

void ReplaceEachByte(const char*, std::size_t count, void (*write)(const unsigned int*, std::size_t, void*),
                     void* arg, void*) {
    constexpr unsigned int REPLACEMENT = '?';
    for (std::size_t i = 0; i < count; ++i) {
        write(&REPLACEMENT, 1, arg);
    }
}

void ReplaceCharacter(unsigned int, void (*write)(const char*, std::size_t, void*), void* arg, void*) {
    write("?", 1, arg);
}

// NOLINTNEXTLINE(performance-no-int-to-ptr): this is how libiconv_open says no
const iconv_t NOT_OPEN = reinterpret_cast<iconv_t>(-1);

/// A conversion between two sets. Its shift state goes on from text to text; it is never closed.
class KeptConversion {
public:
    /// Opens the conversion unless it is open already.
    bool Open(const std::string& from, const std::string& to) {
        if (m_descriptor != NOT_OPEN) {
            return true;
        }
        m_descriptor = libiconv_open(to.c_str(), from.c_str());
        if (m_descriptor == NOT_OPEN) {
            return false;
        }
        iconv_fallbacks fallbacks{ReplaceEachByte, ReplaceCharacter, nullptr, nullptr, nullptr};
        libiconvctl(m_descriptor, ICONV_SET_FALLBACKS, &fallbacks);
        return true;
    }

    std::size_t Convert(const std::string& in, char* out, std::size_t room) {
        char* source = const_cast<char*>(in.data()); // libiconv doesn't write to it
        std::size_t left = in.size();
        const std::lock_guard<std::mutex> lock(m_mutex);
        return libiconv(m_descriptor, &source, &left, &out, &room);
    }

private:
    std::mutex m_mutex;
    iconv_t m_descriptor = NOT_OPEN;
};

/// @return the pair's conversion, opened if this is its first use; null if it can't be opened.
KeptConversion* FindConversion(const std::string& from, const std::string& to) {
    // Deliberately never destroyed: a detached worker may convert while the process exits.
    static auto* const mutex = new std::mutex;
    static auto* const s_mapConvDesc = new std::map<std::string, KeptConversion>;

    // Only names that hold a bar themselves could share a key, and no set has one of those.
    const std::string key = from + "|" + to;
    const std::lock_guard<std::mutex> lock(*mutex);
    const auto entry = s_mapConvDesc->try_emplace(key).first;
    if (!entry->second.Open(from, to)) {
        s_mapConvDesc->erase(entry);
        return nullptr;
    }
    return &entry->second; // map entries stay where they are, and none that was opened is ever erased
}

} // namespace

int ConvertCodeSet(const std::string& from, const std::string& to, const std::string& in, std::string& out) {
    if (from == to) { // comes first: even unknown sets convert to themselves
        out = in;
        return 0;
    }
    if (to == UNKNOWN_CODE_SET || from == UNKNOWN_CODE_SET) {
        return -1;
    }
    KeptConversion* const conversion = FindConversion(from, to);
    if (conversion == nullptr) {
        return -1;
    }

    const std::size_t size = 2 * in.size() + 2;
    const std::unique_ptr<char[]> buffer(new char[size]);
    memset_s(buffer.get(), size, 0, size);
    const std::size_t result = conversion->Convert(in, buffer.get(), size);
    if (result == FAILED) {
        return -1;
    }
    out.assign(buffer.get(), strnlen(buffer.get(), size)); // the text may fill the buffer without a NUL
    return static_cast<int>(result);
}
