// SPDX-License-Identifier: Apache-2.0
/// @file
/// Texts that are built again and again.
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>

/// Where the memory of the last text waits for the next one. One that is never destroyed, as it should be for
/// hosts that still send while their statics are destroyed, keeps at most one text.
using SparePlace = std::atomic<std::string*>;

/// A text, empty at first, in the memory of the last one of its place, so that it allocates nothing; whoever
/// comes while that is taken has a text of its own.
class SpareText {
public:
    explicit SpareText(SparePlace& place) : m_place(place), m_text(place.exchange(nullptr)) {
        if (m_text) {
            m_text->clear();
        } else {
            m_text = std::make_unique<std::string>();
        }
    }
    ~SpareText() {
        if (m_text->capacity() <= LONGEST_KEPT) {
            m_text.reset(m_place.exchange(m_text.release()));
        }
    }
    SpareText(const SpareText&) = delete;
    SpareText& operator=(const SpareText&) = delete;

    std::string& operator*() const { return *m_text; }

private:
    static constexpr std::size_t LONGEST_KEPT = 64UL * 1024; // what a place may hold on to

    SparePlace& m_place;
    std::unique_ptr<std::string> m_text;
};
