// SPDX-License-Identifier: Apache-2.0
#include "seam/SystemCalls.h"

#include <cerrno>

#include <sys/socket.h>

#include "interpose/Next.h"

namespace {

thread_local SystemCalls* t_calls = nullptr;

} // namespace

SystemCalls::SystemCalls() {
    t_calls = this;
}

SystemCalls::~SystemCalls() {
    t_calls = nullptr;
}

bool SystemCalls::Interrupted(Kind kind, int flags) {
    SystemCalls* const current = t_calls;
    if (current == nullptr) {
        return false;
    }
    std::size_t* const counts[] = {&current->m_sends, &current->m_sendmsgs, &current->m_receives};
    ++*counts[static_cast<int>(kind)];
    const bool sends = kind == Kind::Send || kind == Kind::SendMessage;
    current->m_noSignal = current->m_noSignal && (!sends || (flags & MSG_NOSIGNAL) != 0);
    if (current->m_interruptions > 0) {
        --current->m_interruptions;
        errno = EINTR;
        return true;
    }
    return false;
}

using Kind = SystemCalls::Kind;

extern "C" ssize_t send(int fd, const void* bytes, size_t size, int flags) {
    static auto* const next = httpclient::testing::Next<ssize_t(int, const void*, size_t, int)>("send");
    return SystemCalls::Interrupted(Kind::Send, flags) ? -1 : next(fd, bytes, size, flags);
}

extern "C" ssize_t sendmsg(int fd, const msghdr* message, int flags) {
    static auto* const next = httpclient::testing::Next<ssize_t(int, const msghdr*, int)>("sendmsg");
    return SystemCalls::Interrupted(Kind::SendMessage, flags) ? -1 : next(fd, message, flags);
}

extern "C" ssize_t recv(int fd, void* to, size_t room, int flags) {
    static auto* const next = httpclient::testing::Next<ssize_t(int, void*, size_t, int)>("recv");
    return SystemCalls::Interrupted(Kind::Receive, flags) ? -1 : next(fd, to, room, flags);
}
