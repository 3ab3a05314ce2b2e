// SPDX-License-Identifier: Apache-2.0
/// @file
/// Holds TLS material up to date.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "net/Net.h"
#include "net/TlsSettings.h"
#include "net/TlsTexts.h"
#include "support/Waker.h"

namespace httpclient::net {

class TlsContext;

/// Holds one set of material up to date.
///
/// Files are looked at once a second at most. A change that does not parse or does not match leaves the old
/// material in use and is logged once per change; it is tried again every few seconds, because what was wanting may be
/// the password. The same content in other files is no change.
///
/// @par Thread Safety
/// Any thread. Reading files happens on the caller's thread of Current() the first time, later on that of Refresh(),
/// on one thread at a time. The host's password function runs there, under no lock.
class TlsMaterial {
public:
    explicit TlsMaterial(TlsSettings settings);
    ~TlsMaterial();
    TlsMaterial(const TlsMaterial&) = delete;
    TlsMaterial& operator=(const TlsMaterial&) = delete;

    /// Memory: reads the material now. @throw std::invalid_argument when it does not parse or match; std::bad_alloc.
    void CheckTexts();
    /// @return the material in use; reads it when there is none yet, unless another thread is reading it just now.
    /// @param[out] error why there is none: operation_in_progress while another thread reads.
    /// @param[out] message the same for a log: what is wrong with which file.
    /// @throw std::bad_alloc
    std::shared_ptr<const TlsContext> Current(Time now, std::error_code& error, std::string& message);
    /// Has a waker woken when the thread that reads just now has come to its end.
    /// @return false: none reads, or this very one. @throw std::bad_alloc
    bool AwaitReader(const std::shared_ptr<Waker>& waker);
    /// @return the material in use without reading anything; null when none was read.
    std::shared_ptr<const TlsContext> InUse() const noexcept;
    /// Looks whether the files changed, and reads them anew. For the keeper thread. @return whether there is new
    /// material. Does nothing while another thread reads, and before the first Current() that had material.
    bool Refresh(Time now) noexcept;
    /// Forgets what was read, the private key above all. For an engine that has ended.
    void Drop() noexcept;

private:
    class Reading;

    void Attempt(Time now, FileStamps stamps);
    bool Renew(Time now);
    bool IsDue(Time now, const FileStamps& stamps) const;
    std::shared_ptr<const TlsContext> Make(const TlsTexts& texts) const;
    void Use(std::shared_ptr<const TlsContext> context) noexcept;
    void ForgetTexts();

    TlsSettings m_settings; // changed only by ForgetTexts(), when nobody reads it any more

    // The reader's alone:
    FileStamps m_stamps;  // of the last attempt
    TlsDigest m_digest{}; // of what is in use
    Time m_attempted{};   // when material was last read
    Time m_looked = Time::min();
    std::error_code m_error; // of the last attempt; empty: it gave what is in use
    std::string m_message;

    mutable std::mutex m_lock;
    // Under m_lock:
    std::thread::id m_reader; // of the thread that reads just now
    std::vector<std::shared_ptr<Waker>> m_waiters;
    std::shared_ptr<const TlsContext> m_inUse;
};

} // namespace httpclient::net
