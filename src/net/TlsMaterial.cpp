// SPDX-License-Identifier: Apache-2.0
#include "net/TlsMaterial.h"

#include <algorithm>
#include <exception>
#include <new>
#include <stdexcept>
#include <utility>

#include "net/OpenSsl.h"
#include "net/TlsBuilder.h"
#include "net/TlsContext.h"
#include "support/Cleansing.h"
#include "support/Trace.h"

namespace httpclient::net {

namespace {

constexpr std::chrono::seconds LOOK_PAUSE{1}; // between looks at the files
constexpr std::chrono::seconds RETRY_PAUSE{
    10}; // between attempts at material that was bad and has not changed

} // namespace

/// While it lives, its thread is the one that reads, if no other was.
class TlsMaterial::Reading {
public:
    explicit Reading(TlsMaterial& material) : m_material(material) {
        const std::lock_guard<std::mutex> lock(m_material.m_lock);
        m_reader = m_material.m_reader;
        if (begun()) {
            m_material.m_reader = std::this_thread::get_id();
        }
    }
    ~Reading() {
        if (!begun()) {
            return;
        }
        std::vector<std::shared_ptr<Waker>> waiters;
        {
            const std::lock_guard<std::mutex> lock(m_material.m_lock);
            m_material.m_reader = std::thread::id{};
            waiters.swap(m_material.m_waiters);
        }
        for (const std::shared_ptr<Waker>& waiter : waiters) {
            waiter->Wake();
        }
    }
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;

    bool begun() const noexcept { return m_reader == std::thread::id{}; }
    /// @return whether it is this very thread that reads: code of the host that it calls has come back here.
    bool within() const noexcept { return m_reader == std::this_thread::get_id(); }

private:
    TlsMaterial& m_material;
    std::thread::id m_reader; ///< which thread read before
};

TlsMaterial::TlsMaterial(TlsSettings settings) : m_settings(std::move(settings)) {}

TlsMaterial::~TlsMaterial() {
    ForgetTexts();
}

void TlsMaterial::CheckTexts() {
    if (m_settings.from != TlsSettings::From::Memory) {
        return;
    }
    std::error_code error;
    std::string message;
    if (Current(Clock::now(), error, message) == nullptr) {
        throw std::invalid_argument(message);
    }
}

std::shared_ptr<const TlsContext> TlsMaterial::InUse() const noexcept {
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_inUse;
}

std::shared_ptr<const TlsContext> TlsMaterial::Current(Time now, std::error_code& error,
                                                       std::string& message) {
    if (auto inUse = InUse()) {
        return inUse;
    }
    const Reading reading(*this);
    if (reading.within()) {
        error = std::make_error_code(std::errc::resource_deadlock_would_occur);
        message = "TLS: the key password function needs the key itself";
        return nullptr;
    }
    if (!reading.begun()) {
        error = std::make_error_code(std::errc::operation_in_progress);
        return nullptr;
    }
    if (auto inUse = InUse()) {
        return inUse; // another thread was quicker
    }
    FileStamps stamps(m_settings);
    // A short while the last answer holds, so that a crowd of calls does not read in turn what is wrong.
    if (!m_error || !(stamps == m_stamps) || now - m_attempted >= LOOK_PAUSE) {
        Attempt(now, std::move(stamps));
    }
    error = m_error;
    message = m_message;
    return InUse();
}

bool TlsMaterial::AwaitReader(const std::shared_ptr<Waker>& waker) {
    const std::lock_guard<std::mutex> lock(m_lock);
    if (m_reader == std::thread::id{} || m_reader == std::this_thread::get_id()) {
        return false;
    }
    m_waiters.push_back(waker);
    return true;
}

bool TlsMaterial::Refresh(Time now) noexcept {
    const Reading reading(*this);
    if (!reading.begun() || InUse() == nullptr || m_settings.from == TlsSettings::From::Memory) {
        return false;
    }
    try {
        return Renew(now);
    } catch (const std::exception&) {
        return false; // memory is exhausted: the next look sees the same change
    }
}

bool TlsMaterial::Renew(Time now) {
    if (m_looked != Time::min() && now - m_looked < LOOK_PAUSE) {
        return false;
    }
    m_looked = now;
    FileStamps stamps(m_settings);
    if (!IsDue(now, stamps)) {
        return false;
    }
    const bool changed = !(stamps == m_stamps);
    const std::string complaint = m_message;
    const auto before = InUse();
    Attempt(now, std::move(stamps));
    if (m_error && (changed || m_message != complaint)) {
        Trace<LogMessage::TlsMaterialKept>(m_message.c_str());
    }
    return InUse() != before;
}

bool TlsMaterial::IsDue(Time now, const FileStamps& stamps) const {
    return !(stamps == m_stamps) || m_stamps.fresh() || (m_error && now - m_attempted >= RETRY_PAUSE);
}

void TlsMaterial::Attempt(Time now, FileStamps stamps) {
    try {
        TlsTexts texts;
        ReadTexts(m_settings, texts);
        const OpenSslUse use;
        const TlsDigest digest = DigestOf(texts);
        if (InUse() == nullptr || digest != m_digest) {
            Use(Make(texts));
            m_digest = digest;
        }
        m_error.clear();
        m_message.clear();
    } catch (const WrongMaterial& wrong) {
        m_message = wrong.what();
        m_error = wrong.error();
    }
    m_stamps = std::move(stamps);
    m_attempted = std::max(now, Clock::now()); // a password may have been long in coming
    if (!m_error && m_settings.from == TlsSettings::From::Memory) {
        ForgetTexts();
    }
}

std::shared_ptr<const TlsContext> TlsMaterial::Make(const TlsTexts& texts) const {
    TlsSettings kept;
    kept.from = m_settings.from;
    if (kept.from == TlsSettings::From::Files) {
        kept.authorities = m_settings.authorities;
        kept.certificate = m_settings.certificate;
        kept.key = m_settings.key;
    }
    kept.verifyHost = m_settings.verifyHost;
    kept.name = m_settings.name;
    return std::make_shared<const TlsContext>(std::move(kept), BuildContext(m_settings, texts));
}

void TlsMaterial::Use(std::shared_ptr<const TlsContext> context) noexcept {
    const std::lock_guard<std::mutex> lock(m_lock);
    m_inUse.swap(context); // the old one ends after the lock
}

void TlsMaterial::Drop() noexcept {
    const Reading reading(*this);
    if (reading.begun()) {
        m_stamps = FileStamps();
        m_error.clear();
        std::string().swap(m_message);
    }
    Use(nullptr);
}

void TlsMaterial::ForgetTexts() {
    if (m_settings.from == TlsSettings::From::Memory) {
        for (std::string* const text : {&m_settings.certificate, &m_settings.key}) {
            { const Cleansing cleansing(*text); }
            text->clear();
        }
    }
}

} // namespace httpclient::net
