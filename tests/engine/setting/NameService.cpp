// SPDX-License-Identifier: Apache-2.0
#include "setting/NameService.h"

#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <set>

#include <netdb.h>

#include "interpose/Next.h"

namespace {

struct Names {
    std::mutex lock;
    std::condition_variable changed;
    bool held = false; // the function is
    std::map<std::string, std::vector<std::string>> addresses;
    std::set<std::string> waiting;
    std::map<std::string, std::size_t> lookUps;
    std::size_t underWay = 0;
};

Names& TheNames() {
    static Names& names = *new Names; // threads of the resolver may outlive main()
    return names;
}

using Function = int(const char*, const char*, const addrinfo*, addrinfo**);

Function& Real() {
    static auto* const real = httpclient::testing::Next<Function>("getaddrinfo");
    return *real;
}

bool IsHeld(const char* name) {
    const std::string text = name != nullptr ? name : "";
    return text.size() > 5 && text.compare(text.size() - 5, 5, ".test") == 0;
}

/// Looks up each numeric address of a name, and makes one list of them.
int LookUp(const std::vector<std::string>& addresses, const addrinfo* hints, addrinfo** result) {
    addrinfo** end = result;
    *end = nullptr;
    for (const std::string& address : addresses) {
        if (const int error = Real()(address.c_str(), nullptr, hints, end)) {
            return error;
        }
        while (*end != nullptr) {
            end = &(*end)->ai_next;
        }
    }
    return *result == nullptr ? EAI_NONAME : 0;
}

} // namespace

extern "C" int getaddrinfo(const char* node, const char* service, const addrinfo* hints, addrinfo** result) {
    Names& names = TheNames();
    std::unique_lock<std::mutex> lock(names.lock);
    if (!names.held || !IsHeld(node)) {
        lock.unlock();
        return Real()(node, service, hints, result);
    }
    const std::string name = node;
    ++names.underWay;
    ++names.lookUps[name];
    names.changed.wait(lock, [&] { return names.waiting.count(name) == 0; });
    const std::vector<std::string> addresses = names.addresses[name];
    --names.underWay;
    names.changed.notify_all();
    lock.unlock();
    return LookUp(addresses, hints, result);
}

NameService::NameService() {
    const std::lock_guard<std::mutex> lock(TheNames().lock);
    TheNames().held = true;
}

NameService::~NameService() {
    Names& names = TheNames();
    Release();
    std::unique_lock<std::mutex> lock(names.lock);
    names.changed.wait(lock, [&] { return names.underWay == 0; });
    names.held = false;
    names.addresses.clear();
    names.lookUps.clear();
}

void NameService::Set(const std::string& name, std::vector<std::string> addresses) {
    const std::lock_guard<std::mutex> lock(TheNames().lock);
    TheNames().addresses[name] = std::move(addresses);
}

void NameService::Hold(const std::string& name) {
    const std::lock_guard<std::mutex> lock(TheNames().lock);
    TheNames().waiting.insert(name);
}

void NameService::Release() {
    const std::lock_guard<std::mutex> lock(TheNames().lock);
    TheNames().waiting.clear();
    TheNames().changed.notify_all();
}

std::size_t NameService::LookUps(const std::string& name) const {
    const std::lock_guard<std::mutex> lock(TheNames().lock);
    const auto entry = TheNames().lookUps.find(name);
    return entry == TheNames().lookUps.end() ? 0 : entry->second;
}
