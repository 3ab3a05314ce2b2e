// SPDX-License-Identifier: Apache-2.0
#include "LibcurlReading.h"

#include <cstddef>
#include <memory>
#include <stdexcept>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <curl/curl.h>

#include "http1/RequestHead.h"

using namespace httpclient;
using namespace httpclient::http1;

namespace {

struct EasyEnd {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};

/// A listener that libcurl connects to without anybody having taken the connection: so one thread is enough.
class Listener {
public:
    Listener() : m_fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        auto* const any = reinterpret_cast<sockaddr*>(&address);
        // The kernel chooses a name that is no file's.
        socklen_t size = sizeof address;
        if (m_fd < 0 || bind(m_fd, any, sizeof(sa_family_t)) != 0 || listen(m_fd, 1) != 0 ||
            getsockname(m_fd, any, &size) != 0) {
            throw std::runtime_error("no listener");
        }
        m_name.assign(address.sun_path + 1, size - offsetof(sockaddr_un, sun_path) - 1);
    }
    ~Listener() { close(m_fd); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    const std::string& name() const { return m_name; }
    int Accept() const { return accept4(m_fd, nullptr, nullptr, SOCK_CLOEXEC); }

private:
    int m_fd;
    std::string m_name;
};

/// A server that answers before it is asked, and ends the connection.
class HastyServer {
public:
    explicit HastyServer(const std::string& answer) : m_answer(answer) {}
    ~HastyServer() {
        if (m_connection >= 0) {
            close(m_connection);
        }
    }
    HastyServer(const HastyServer&) = delete;
    HastyServer& operator=(const HastyServer&) = delete;

    const std::string& name() const { return m_listener.name(); }

    /// libcurl is connected, and about to ask.
    static int Answer(void* self, char* /*to*/, char* /*from*/, int /*toPort*/, int /*fromPort*/) {
        auto& server = *static_cast<HastyServer*>(self);
        server.m_connection = server.m_listener.Accept();
        const ssize_t sent = send(server.m_connection, server.m_answer.data(), server.m_answer.size(),
                                  MSG_NOSIGNAL | MSG_DONTWAIT);
        // What comes up is read by nobody; its end does not reset what goes down.
        shutdown(server.m_connection, SHUT_WR);
        return sent == static_cast<ssize_t>(server.m_answer.size()) ? CURL_PREREQFUNC_OK
                                                                    : CURL_PREREQFUNC_ABORT;
    }

private:
    const Listener m_listener;
    const std::string& m_answer;
    int m_connection = -1;
};

std::size_t Keep(const char* data, std::size_t size, std::size_t count, void* body) {
    static_cast<std::string*>(body)->append(data, size * count);
    return size * count;
}

void SetMethod(CURL* easy, Method method) {
    curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, NameOf(method));
    if (method == Method::Head) {
        curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
    }
}

FieldList FieldsOf(CURL* easy) {
    FieldList fields;
    curl_header* field = nullptr;
    while ((field = curl_easy_nextheader(easy, CURLH_HEADER, -1, field)) != nullptr) {
        // Of an empty value libcurl leaves the line's CR.
        const std::string value = field->value;
        fields.emplace_back(field->name, value == "\r" ? "" : value);
    }
    return fields;
}

} // namespace

LibcurlReading ReadByLibcurl(const Answer& answer) {
    HastyServer server(answer.bytes);
    LibcurlReading reading;
    char words[CURL_ERROR_SIZE] = "";
    const std::unique_ptr<CURL, EasyEnd> easy(curl_easy_init());
    if (easy == nullptr) {
        throw std::runtime_error("no handle");
    }
    CURL* const handle = easy.get();
    curl_easy_setopt(handle, CURLOPT_URL, "http://127.0.0.1/");
    curl_easy_setopt(handle, CURLOPT_PROXY, "");
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_TIMEOUT, 10L);
    curl_easy_setopt(handle, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl_easy_setopt(handle, CURLOPT_ABSTRACT_UNIX_SOCKET, server.name().c_str());
    curl_easy_setopt(handle, CURLOPT_PREREQFUNCTION, &HastyServer::Answer);
    curl_easy_setopt(handle, CURLOPT_PREREQDATA, &server);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &Keep);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &reading.body);
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, words);
    if (answer.decode) {
        curl_easy_setopt(handle, CURLOPT_ACCEPT_ENCODING, "gzip, deflate");
    }
    SetMethod(handle, answer.method);
    const CURLcode code = curl_easy_perform(handle);
    reading.answered = code == CURLE_OK;
    reading.error = words[0] != '\0' ? words : curl_easy_strerror(code);
    long status = 0;
    curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
    reading.status = static_cast<int>(status);
    reading.fields = FieldsOf(handle);
    return reading;
}
