// SPDX-License-Identifier: Apache-2.0
#include "net/NameLookUp.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>

#include <netdb.h>
#include <sys/socket.h>

#include "net/Address.h"
#include "net/Socket.h"

namespace httpclient::net {

namespace {

class ResolverErrors : public std::error_category {
public:
    const char* name() const noexcept override { return "resolver"; }
    std::string message(int value) const override { return gai_strerror(value); }
};

struct FreeAddresses {
    void operator()(addrinfo* list) const noexcept { freeaddrinfo(list); }
};

std::error_code ResolverError(int result, int number) {
    if (result == EAI_MEMORY) {
        return SystemError(ENOMEM);
    }
    return result == EAI_SYSTEM ? SystemError(number) : std::error_code(result, ResolverCategory());
}

} // namespace

// Never destroyed, so that threads that outlive main() may still use it.
const std::error_category& ResolverCategory() noexcept {
    alignas(ResolverErrors) static char memory[sizeof(ResolverErrors)];
    static const std::error_category& category = *new (memory) ResolverErrors;
    return category;
}

NameAnswer LookUp(const std::string& name) {
    NameAnswer answer;
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* first = nullptr;
    const int result = getaddrinfo(name.c_str(), nullptr, &hints, &first);
    if (result != 0) {
        answer.error = ResolverError(result, errno);
        return answer;
    }
    const std::unique_ptr<addrinfo, FreeAddresses> list(first);
    for (const addrinfo* each = first; each != nullptr; each = each->ai_next) {
        if ((each->ai_family == AF_INET || each->ai_family == AF_INET6) &&
            each->ai_addrlen <= sizeof(sockaddr_storage)) {
            Endpoint& endpoint = answer.endpoints.emplace_back();
            std::memcpy(&endpoint.address, each->ai_addr, each->ai_addrlen);
            endpoint.size = each->ai_addrlen;
        }
    }
    if (answer.endpoints.empty()) {
        answer.error = {EAI_NONAME, ResolverCategory()};
    }
    return answer;
}

bool AnswerAtOnce(const std::string& name, NameAnswer& answer) {
    if (const auto endpoint = NumericAddress(name)) {
        answer.endpoints.push_back(*endpoint);
        return true;
    }
    // getaddrinfo() would take the name up to the NUL, which is another one.
    if (name.empty() || name.find('\0') != std::string::npos) {
        answer.error = {EAI_NONAME, ResolverCategory()};
        return true;
    }
    return false;
}

} // namespace httpclient::net
