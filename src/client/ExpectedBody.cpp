// SPDX-License-Identifier: Apache-2.0
#include "client/ExpectedBody.h"

#include <cstdlib>
#include <utility>

#include <strings.h>

namespace {

constexpr char NAME[] = "\nContent-Length:";
constexpr std::size_t NAME_LENGTH = sizeof NAME - 1;

// What a server may have us reserve by its word alone.
constexpr unsigned long LONGEST = 64UL * 1024 * 1024;

thread_local const std::string* t_head = nullptr;

/// The value of the last line of that name; a text may hold the header lines of more than one response.
unsigned long AnnouncedLength(const std::string& head) {
    for (std::size_t at = head.rfind('\n'); at != std::string::npos && at > 0;
         at = head.rfind('\n', at - 1)) {
        if (strncasecmp(head.c_str() + at, NAME, NAME_LENGTH) == 0) {
            return std::strtoul(head.c_str() + at + NAME_LENGTH, nullptr, 10);
        }
    }
    return 0;
}

} // namespace

ExpectedBody::ExpectedBody(const std::string& head) : m_previous(std::exchange(t_head, &head)) {}

ExpectedBody::~ExpectedBody() {
    t_head = m_previous;
}

std::size_t ExpectedBody::Size() {
    const unsigned long announced = t_head == nullptr ? 0 : AnnouncedLength(*t_head);
    return announced > LONGEST ? 0 : announced;
}
