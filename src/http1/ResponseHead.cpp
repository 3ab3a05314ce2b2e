// SPDX-License-Identifier: Apache-2.0
#include "http1/ResponseHead.h"

#include "http1/Bytes.h"

namespace httpclient::http1 {
namespace {

bool SameName(std::string_view one, std::string_view other) noexcept {
    if (one.size() != other.size()) {
        return false;
    }
    if (one == other) {
        return true; // servers mostly write them as they are asked for
    }
    for (std::size_t i = 0; i < one.size(); ++i) {
        if (LowerOf(one[i]) != LowerOf(other[i])) {
            return false;
        }
    }
    return true;
}

} // namespace

std::string_view ResponseHead::NameAt(std::size_t index) const noexcept {
    const Place& place = PlaceOf(index);
    return {m_text.data() + place.nameAt, place.nameSize};
}

std::string_view ResponseHead::ValueAt(std::size_t index) const noexcept {
    const Place& place = PlaceOf(index);
    return {m_text.data() + place.valueAt, place.valueSize};
}

std::pair<std::string_view, std::string_view> ResponseHead::at(std::size_t index) const noexcept {
    return {NameAt(index), ValueAt(index)};
}

std::optional<std::string_view> ResponseHead::find(std::string_view name) const noexcept {
    for (std::size_t i = 0; i < m_size; ++i) {
        if (SameName(NameAt(i), name)) {
            return ValueAt(i);
        }
    }
    return std::nullopt;
}

std::vector<std::string_view> ResponseHead::findAll(std::string_view name) const {
    std::vector<std::string_view> values;
    for (std::size_t i = 0; i < m_size; ++i) {
        if (SameName(NameAt(i), name)) {
            values.push_back(ValueAt(i));
        }
    }
    return values;
}

void ResponseHead::Clear() noexcept {
    status = 0;
    m_text.clear();
    m_size = 0;
    m_more.clear();
}

void ResponseHead::Add(std::string_view name, std::string_view value) {
    const auto placeOf = [this](std::string_view part) {
        return static_cast<std::uint32_t>(part.data() - m_text.data());
    };
    const Place place{placeOf(name), static_cast<std::uint32_t>(name.size()), placeOf(value),
                      static_cast<std::uint32_t>(value.size())};
    if (m_size < FEW) {
        m_few[m_size] = place;
    } else {
        m_more.push_back(place);
    }
    ++m_size;
}

} // namespace httpclient::http1
