// SPDX-License-Identifier: Apache-2.0
#include "http1/KeptBody.h"

#include <algorithm>

namespace httpclient::http1 {
namespace {

constexpr std::size_t AHEAD = 1024UL * 1024;

} // namespace

void KeptBody::Open(std::string& text, std::uint64_t ceiling, bool known) noexcept {
    m_text = &text;
    m_start = text.size();
    m_filled = m_start;
    m_ceiling = std::min<std::uint64_t>(ceiling, text.max_size() - m_start);
    m_known = known;
}

/// The text's own growth would double it, beyond the ceiling, too.
void KeptBody::Reserve(std::size_t needed) {
    if (needed <= m_text->capacity()) {
        return;
    }
    const std::size_t most = m_start + static_cast<std::size_t>(m_ceiling);
    std::size_t wanted = std::max(needed, 2 * m_text->capacity());
    if (m_known) {
        wanted = std::max(wanted, needed + AHEAD);
    }
    std::string larger;
    larger.reserve(std::min(wanted, most));
    larger.append(*m_text, 0, m_filled);
    m_text->swap(larger);
}

void KeptBody::Append(const char* data, std::size_t size) {
    Trim();
    Reserve(m_filled + size);
    m_text->append(data, size);
    m_filled += size;
}

char* KeptBody::Room(std::size_t size) {
    Reserve(m_filled + size);
    if (m_text->size() < m_filled + size) {
        m_text->resize(m_filled + size);
    }
    return m_text->data() + m_filled;
}

void KeptBody::Trim() noexcept {
    if (m_text->size() > m_filled) {
        m_text->resize(m_filled); // shrinks: nothing is thrown
    }
}

} // namespace httpclient::http1
