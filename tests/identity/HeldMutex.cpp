// SPDX-License-Identifier: Apache-2.0
#include "HeldMutex.h"

#include <cerrno>
#include <cstdlib>
#include <stdexcept>

using httpclient::testing::PATIENCE;

namespace {

/// What glibc writes into a held lock that others wait for.
constexpr int HELD_AND_WAITED_FOR = 2;

/// Makes a lock that is not in use anew. @return whether it could.
bool Remake(pthread_mutex_t& mutex, int type) {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, type);
    const bool remade = pthread_mutex_destroy(&mutex) == 0 && pthread_mutex_init(&mutex, &attributes) == 0;
    pthread_mutexattr_destroy(&attributes);
    return remade;
}

} // namespace

HeldMutex::HeldMutex(pthread_mutex_t& mutex) : m_mutex(mutex) {
    pthread_mutex_lock(&m_mutex);
}

HeldMutex::~HeldMutex() {
    Release();
}

bool HeldMutex::WaitForWaiter() const {
    const auto deadline = std::chrono::steady_clock::now() + PATIENCE;
    while (__atomic_load_n(&m_mutex.__data.__lock, __ATOMIC_RELAXED) != HELD_AND_WAITED_FOR) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::promise<void>().get_future().wait_for(std::chrono::milliseconds(1));
    }
    return true;
}

void HeldMutex::Release() {
    if (std::exchange(m_held, false)) {
        pthread_mutex_unlock(&m_mutex);
    }
}

RefusingMutex::RefusingMutex(pthread_mutex_t& mutex) : m_mutex(mutex) {
    if (!Remake(m_mutex, PTHREAD_MUTEX_ERRORCHECK)) {
        throw std::logic_error("the lock is in use");
    }
    pthread_mutex_lock(&m_mutex); // for this very thread, a second attempt is an error
}

RefusingMutex::~RefusingMutex() {
    pthread_mutex_unlock(&m_mutex);
    if (!Remake(m_mutex, PTHREAD_MUTEX_DEFAULT)) {
        std::abort(); // its next user would be misled
    }
}

bool RefusingMutex::WasReleased() const {
    return pthread_mutex_lock(&m_mutex) != EDEADLK;
}

bool IsFree(pthread_mutex_t& mutex) {
    return pthread_mutex_trylock(&mutex) == 0 && pthread_mutex_unlock(&mutex) == 0;
}
