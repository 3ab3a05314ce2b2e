// SPDX-License-Identifier: Apache-2.0
#include "interpose/ThreadCreate.h"

#include <cerrno>

#include <pthread.h>

#include "interpose/Next.h"
#include "interpose/Tally.h"

namespace httpclient::testing {

namespace {

thread_local Tally t_tally;

} // namespace

RefusedThread::RefusedThread(std::size_t n) {
    t_tally.Arm(n);
}

RefusedThread::~RefusedThread() {
    t_tally.Disarm();
}

std::size_t RefusedThread::Asked() const {
    return t_tally.asked;
}

} // namespace httpclient::testing

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                              void* argument) noexcept {
    using namespace httpclient::testing;
    static auto* const next =
        Next<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)>("pthread_create");
    return t_tally.Refuses() ? EAGAIN : next(thread, attributes, body, argument);
}
