// SPDX-License-Identifier: Apache-2.0
#include "seam/NameService.h"

#include <csignal>
#include <mutex>
#include <utility>

#include <netdb.h>

#include <httpclient/testing/Patience.h>

#include "interpose/Next.h"

namespace {

std::mutex g_lock; // of what is current: a thread that outlives it finds it, or does not
NameService* g_current = nullptr;

using LookUpFunction = int(const char*, const char*, const addrinfo*, addrinfo**);

LookUpFunction* Real() {
    static LookUpFunction* const real = httpclient::testing::Next<LookUpFunction>("getaddrinfo");
    return real;
}

/// The list of numeric addresses, which freeaddrinfo() frees.
int ListOf(const std::vector<std::string>& addresses, const addrinfo* hints, addrinfo** result) {
    addrinfo numeric = *hints;
    numeric.ai_flags |= AI_NUMERICHOST;
    addrinfo** end = result;
    for (const std::string& address : addresses) {
        const int failure = Real()(address.c_str(), nullptr, &numeric, end);
        if (failure != 0) {
            return failure;
        }
        while (*end != nullptr) {
            end = &(*end)->ai_next;
        }
    }
    return 0;
}

} // namespace

NameService::NameService() {
    const std::lock_guard<std::mutex> current(g_lock);
    g_current = this;
}

NameService::~NameService() {
    {
        const std::lock_guard<std::mutex> current(g_lock);
        g_current = nullptr;
    }
    std::unique_lock<std::mutex> lock(m_lock);
    for (auto& [name, script] : m_scripts) {
        script.held = false;
    }
    m_changed.notify_all();
    m_changed.wait(lock, [this] { return m_inside == 0; });
}

NameService* NameService::Enter() {
    const std::lock_guard<std::mutex> current(g_lock);
    if (g_current != nullptr) {
        const std::lock_guard<std::mutex> lock(g_current->m_lock);
        ++g_current->m_inside;
    }
    return g_current;
}

void NameService::Set(const std::string& name, std::vector<std::string> addresses) {
    const std::lock_guard<std::mutex> lock(m_lock);
    m_scripts[name].addresses = std::move(addresses);
    m_scripts[name].error = 0;
}

void NameService::Fail(const std::string& name, int error) {
    const std::lock_guard<std::mutex> lock(m_lock);
    m_scripts[name].error = error;
}

void NameService::Hold(const std::string& name) {
    const std::lock_guard<std::mutex> lock(m_lock);
    m_scripts[name].held = true;
}

void NameService::Release(const std::string& name) {
    const std::lock_guard<std::mutex> lock(m_lock);
    m_scripts[name].held = false;
    m_changed.notify_all();
}

std::size_t NameService::Asked(const std::string& name) const {
    const std::lock_guard<std::mutex> lock(m_lock);
    const auto script = m_scripts.find(name);
    return script == m_scripts.end() ? 0 : script->second.asked;
}

std::size_t NameService::Inside() const {
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_inside;
}

bool NameService::WaitForAsked(const std::string& name, std::size_t count) const {
    std::unique_lock<std::mutex> lock(m_lock);
    return m_changed.wait_for(lock, httpclient::testing::PATIENCE, [&] {
        const auto script = m_scripts.find(name);
        return script != m_scripts.end() && script->second.asked >= count;
    });
}

bool NameService::SignalsBlocked() const {
    const std::lock_guard<std::mutex> lock(m_lock);
    return m_blocked;
}

int NameService::Answer(const std::string& name, std::vector<std::string>& addresses) {
    sigset_t mask{};
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    std::unique_lock<std::mutex> lock(m_lock);
    m_blocked = sigismember(&mask, SIGTERM) == 1 && sigismember(&mask, SIGUSR1) == 1;
    Script& script = m_scripts[name];
    ++script.asked;
    m_changed.notify_all();
    m_changed.wait(lock, [&script] { return !script.held; });
    --m_inside;
    addresses = script.addresses;
    const int error = script.error;
    m_changed.notify_all();
    return error != 0 ? error : (addresses.empty() ? EAI_NONAME : 0);
}

extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints, addrinfo** result) {
    NameService* const current = name != nullptr ? NameService::Enter() : nullptr;
    if (current == nullptr) {
        return Real()(name, service, hints, result);
    }
    std::vector<std::string> addresses;
    const int error = current->Answer(name, addresses);
    return error != 0 ? error : ListOf(addresses, hints, result);
}
