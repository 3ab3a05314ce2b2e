// SPDX-License-Identifier: Apache-2.0
#include "net/TlsMaterial.h"

#include <exception>
#include <new>
#include <stdexcept>
#include <utility>

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

/// Says which thread reads, for as long as it does.
class TlsMaterial::Reading {
public:
    explicit Reading(TlsMaterial& material) : m_material(material) {
        m_material.m_reader = std::this_thread::get_id();
    }
    ~Reading() { m_material.m_reader = std::thread::id{}; }
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;

private:
    TlsMaterial& m_material;
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
    if (m_reader == std::this_thread::get_id()) {
        error = std::make_error_code(std::errc::resource_deadlock_would_occur);
        message = "TLS: the key password function needs the key itself";
        return nullptr;
    }
    const std::lock_guard<std::mutex> readers(m_readers);
    const Reading reading(*this);
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

bool TlsMaterial::Refresh(Time now) noexcept {
    const std::unique_lock<std::mutex> readers(m_readers, std::try_to_lock);
    if (!readers.owns_lock() || InUse() == nullptr || m_settings.from == TlsSettings::From::Memory) {
        return false;
    }
    const Reading reading(*this);
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
    m_attempted = now;
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
    kept.anyName = m_settings.anyName;
    return std::make_shared<const TlsContext>(std::move(kept), BuildContext(m_settings, texts));
}

void TlsMaterial::Use(std::shared_ptr<const TlsContext> context) {
    const std::lock_guard<std::mutex> lock(m_lock);
    m_inUse.swap(context); // the old one ends after the lock
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
