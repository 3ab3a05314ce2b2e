// SPDX-License-Identifier: Apache-2.0
#include "tour/Stop.h"

#include <algorithm>

namespace tour {
namespace {

/// Made on first use: the stops are statics of other files.
std::vector<const Stop*>& Registered() {
    static std::vector<const Stop*> stops;
    return stops;
}

} // namespace

Stop::Stop(int place, const char* promise, void (*show)(Tour&))
    : m_place(place), m_promise(promise), m_show(show) {
    Registered().push_back(this);
}

std::vector<const Stop*> Stop::All() {
    std::vector<const Stop*> stops = Registered();
    std::sort(stops.begin(), stops.end(),
              [](const Stop* a, const Stop* b) { return a->m_place < b->m_place; });
    return stops;
}

} // namespace tour
