// SPDX-License-Identifier: Apache-2.0
#include "Trials.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <utility>

#include <httpclient/Client.h>
#include <httpclient/Engine.h>

namespace interop {

using namespace httpclient;

namespace {

constexpr std::chrono::seconds PATIENCE{30};
constexpr std::size_t POSTED = 16UL * 1024;
constexpr std::size_t UPLOADED = 256UL * 1024 + 1;

/// What is wrong with an answer.
class Problem : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

void Require(bool holds, const std::string& otherwise) {
    if (!holds) {
        throw Problem(otherwise);
    }
}

/// Shows where bodies differ; they are too long to be shown.
void RequireBody(const std::string& is, const std::string& shallBe) {
    if (is == shallBe) {
        return;
    }
    const auto length = static_cast<std::ptrdiff_t>(std::min(is.size(), shallBe.size()));
    const auto other = std::mismatch(is.begin(), is.begin() + length, shallBe.begin()).first - is.begin();
    throw Problem("a body of " + std::to_string(is.size()) + " bytes instead of " +
                  std::to_string(shallBe.size()) + ", another from byte " + std::to_string(other));
}

Request Get(const std::string& target) {
    return {Method::Get, target};
}

/// The client's end of a target: an engine of its own, so that each trial begins without connections.
class Caller {
public:
    explicit Caller(const Target& target) : m_target(target) {}

    const Target& target() const { return m_target; }

    /// What connections are made with, as it has to be.
    TlsOptions Tls(bool withCertificate) const {
        const Site& site = *m_target.site;
        TlsOptions tls;
        if (withCertificate) {
            tls.memory(site.authority(), site.client().certificatePem, site.client().keyPem);
        } else {
            tls.memory(site.authority());
        }
        return tls;
    }

    ClientOptions Options() const {
        const bool plain = m_target.over == Over::Plain;
        const std::string port = std::to_string(m_target.port);
        ClientOptions options((plain ? "http" : "https") + ("://localhost:" + port));
        options.connectTo("127.0.0.1:" + port).timeout(PATIENCE).connectTimeout(PATIENCE);
        if (!plain) {
            options.tls(Tls(m_target.over == Over::MutualTls));
        }
        return options;
    }

    Result Send(const Request& request, const ClientOptions& options) {
        return Client(options, m_engine).Send(request);
    }

    /// Sends. @return the answer, which has to be of that status.
    Response Answer(const Request& request, int status, const ClientOptions& options) {
        Result result = Send(request, options);
        if (!result) {
            throw Problem(result.failure().message());
        }
        const int is = result->status();
        Require(is == status, "status " + std::to_string(is) + " instead of " + std::to_string(status));
        return *std::move(result);
    }
    Response Answer(const Request& request, int status = 200) { return Answer(request, status, Options()); }

    /// Sends what every site has. @return whether the connection was a kept one.
    bool Reuses() {
        const Response response = Answer(Get("/small.txt"));
        RequireBody(response.body(), TheContent().small);
        return response.reusedConnection();
    }

private:
    const Target& m_target;
    Engine m_engine;
};

/// A source that gives a text in pieces of an odd size.
BodySource Pieces(const std::string& text) {
    return [&text, given = std::size_t{0}](char* to, std::size_t room) mutable {
        const std::size_t size = text.copy(to, std::min(room, std::size_t{1777}), given);
        given += size;
        return static_cast<std::ptrdiff_t>(size);
    };
}

Request Upload(const std::string& text, std::optional<std::uint64_t> length) {
    Request request(Method::Post, "/echo");
    request.bodySource([&text] { return Pieces(text); }, length, "application/octet-stream");
    return request;
}

// ---- the trials ----

void TryMethods(Caller& caller) {
    for (const Method method : {Method::Get, Method::Head, Method::Post, Method::Put, Method::Patch,
                                Method::Delete, Method::Options}) {
        const std::string name = ToString(method);
        Request request(method, "/method");
        if (method == Method::Post || method == Method::Put || method == Method::Patch) {
            request.body("question", "text/plain");
        }
        const Response response = caller.Answer(request);
        Require(response.header("X-Method") == std::string_view(name), name + " arrives as another method");
        RequireBody(response.body(), method == Method::Head ? "" : name);
    }
}

void TryHead(Caller& caller) {
    const Response response = caller.Answer({Method::Head, "/small.txt"});
    RequireBody(response.body(), "");
    Require(response.header("Content-Length") == std::to_string(TheContent().small.size()),
            "another Content-Length than GET has");
    Require(caller.Reuses(), "no kept connection");
}

void TryNothing(Caller& caller) {
    RequireBody(caller.Answer(Get("/empty"), 204).body(), "");
    Require(caller.Reuses(), "no kept connection");
}

void TryUnchanged(Caller& caller) {
    const Response first = caller.Answer(Get("/small.txt"));
    const auto tag = first.header("ETag");
    Require(tag.has_value(), "no ETag");
    Request again = Get("/small.txt");
    again.header("If-None-Match", std::string(*tag));
    RequireBody(caller.Answer(again, 304).body(), "");
    Require(caller.Reuses(), "no kept connection");
}

void TryMissing(Caller& caller) {
    Require(!caller.Answer(Get("/missing.txt"), 404).body().empty(), "its body is lost");
    Require(caller.Reuses(), "no kept connection");
}

void TryPost(Caller& caller) {
    const std::string body = TheContent().text.substr(0, POSTED);
    Request request(Method::Post, "/echo");
    request.body(body, "text/plain");
    RequireBody(caller.Answer(request).body(), body);
    const Response second = caller.Answer(request);
    RequireBody(second.body(), body);
    Require(second.reusedConnection(), "no kept connection");
}

void TryBytes(Caller& caller) {
    const std::string body = TheContent().longer.substr(0, POSTED);
    Request request(Method::Post, "/echo");
    request.body(body, "application/octet-stream");
    RequireBody(caller.Answer(request).body(), body);
}

void TryNoBytes(Caller& caller) {
    RequireBody(caller.Answer({Method::Post, "/echo"}).body(), "");
    Require(caller.Reuses(), "no kept connection");
}

void TrySource(Caller& caller) {
    const std::string body = TheContent().longer.substr(0, UPLOADED);
    RequireBody(caller.Answer(Upload(body, body.size())).body(), body);
    Require(caller.Reuses(), "no kept connection");
}

void TryChunkedUpload(Caller& caller) {
    const std::string body = TheContent().longer.substr(0, UPLOADED);
    RequireBody(caller.Answer(Upload(body, std::nullopt)).body(), body);
    Require(caller.Reuses(), "no kept connection");
}

void TryChunkedAnswer(Caller& caller) {
    const Response response = caller.Answer(Get("/chunked.txt"));
    Require(response.header("Transfer-Encoding") == std::string_view("chunked"), "it did not come in chunks");
    RequireBody(response.body(), TheContent().chunked);
    Require(caller.Reuses(), "no kept connection");
}

void TryLong(Caller& caller) {
    RequireBody(caller.Answer(Get("/long.bin")).body(), TheContent().longer);
    Require(caller.Reuses(), "no kept connection");
}

void TrySink(Caller& caller) {
    std::string taken;
    int heads = 0;
    Request request = Get("/long.bin");
    request.bodySink([&taken](std::string_view piece) {
        taken += piece;
        return true;
    });
    request.onHead([&heads](const Response& head) {
        heads += head.status() == 200 ? 1 : 0;
        return true;
    });
    RequireBody(caller.Answer(request).body(), "");
    RequireBody(taken, TheContent().longer);
    Require(heads == 1, "its head was seen " + std::to_string(heads) + " times");
    Require(caller.Reuses(), "no kept connection");
}

void TryCompressed(Caller& caller) {
    const Response response = caller.Answer(Get("/text.txt"), 200, caller.Options().decompress(true));
    Require(response.header("Content-Encoding") == std::string_view("gzip"), "it did not come compressed");
    RequireBody(response.body(), TheContent().text);
    const Response plain = caller.Answer(Get("/text.txt"));
    Require(!plain.header("Content-Encoding"), "it came compressed without being asked to");
    RequireBody(plain.body(), TheContent().text);
    Require(caller.Reuses(), "no kept connection");
}

void TryKept(Caller& caller) {
    Require(!caller.Reuses(), "the first connection counts as kept");
    for (int i = 0; i < 10; ++i) {
        Require(caller.Reuses(), "no kept connection");
    }
}

void TryClosedByUs(Caller& caller) {
    Request request = Get("/small.txt");
    request.header("Connection", "close");
    RequireBody(caller.Answer(request).body(), TheContent().small);
    Require(!caller.Reuses(), "a connection was kept that was to be closed");
}

void TryClosedByServer(Caller& caller) {
    RequireBody(caller.Answer(Get("/closing.txt")).body(), TheContent().small);
    Require(!caller.Reuses(), "a connection was kept that the server closes");
    Require(caller.Reuses(), "no kept connection");
}

/// A POST is not idempotent: it may go out a second time only when the first connection was dead before.
void TryClosedWhileIdle(Caller& caller) {
    caller.Reuses();
    std::this_thread::sleep_for(caller.target().idle + std::chrono::seconds(3));
    Request request(Method::Post, "/echo");
    request.body("question", "text/plain");
    const Response response = caller.Answer(request);
    RequireBody(response.body(), "question");
    Require(!response.reusedConnection(), "the server has not closed the idle connection");
    Require(response.attempts() == 1, "it counts as a second attempt");
}

/// The call has to fail for what TLS found out.
void RequireRefusal(Caller& caller, const TlsOptions& tls, const std::string& otherwise) {
    const Result result = caller.Send(Get("/small.txt"), caller.Options().tls(tls));
    Require(!result, otherwise);
    Require(result.failure().kind() == FailureKind::Tls && result.failure().phase() == Phase::Handshake,
            result.failure().message());
}

void TryOtherName(Caller& caller) {
    RequireRefusal(caller, caller.Tls(true).serverName("elsewhere.example"), "another name is taken");
}

void TryOtherAuthority(Caller& caller) {
    const httpclient::testing::CertificateAuthority other("Another CA");
    const Site& site = *caller.target().site;
    const httpclient::testing::Identity& client = site.client();
    TlsOptions tls;
    tls.memory(other.certificatePem(), client.certificatePem, client.keyPem);
    RequireRefusal(caller, tls, "another authority is taken");
}

/// Servers refuse it within TLS, by an answer, or by ending the connection without a word. TLS 1.3 lets the client
/// speak before it hears that.
void TryWithoutCertificate(Caller& caller) {
    const Result result = caller.Send(Get("/small.txt"), caller.Options().tls(caller.Tls(false)));
    if (result) {
        Require(result->status() >= 400, "the server does without a certificate");
    } else {
        const FailureKind kind = result.failure().kind();
        Require(kind == FailureKind::Tls || (!caller.target().alerts && kind == FailureKind::ConnectionLost),
                result.failure().message());
    }
}

using Trial = void (*)(Caller&);

std::vector<std::pair<std::string, Trial>> TrialsFor(const Target& target) {
    std::vector<std::pair<std::string, Trial>> trials = {
        {"methods", TryMethods},
        {"HEAD", TryHead},
        {"204", TryNothing},
        {"304", TryUnchanged},
        {"404", TryMissing},
        {"POST", TryPost},
        {"bytes", TryBytes},
        {"empty POST", TryNoBytes},
        {"source", TrySource},
        {"chunked upload", TryChunkedUpload},
        {"chunked answer", TryChunkedAnswer},
        {"1 MiB", TryLong},
        {"sink", TrySink},
        {"gzip", TryCompressed},
        {"kept", TryKept},
        {"closed by us", TryClosedByUs},
    };
    if (target.closesByItself) {
        trials.emplace_back("closed by the server", TryClosedByServer);
    }
    if (target.idle.count() > 0) {
        trials.emplace_back("closed while idle", TryClosedWhileIdle);
    }
    if (target.over != Over::Plain) {
        trials.emplace_back("other name", TryOtherName);
        trials.emplace_back("other authority", TryOtherAuthority);
    }
    if (target.over == Over::MutualTls) {
        trials.emplace_back("no certificate", TryWithoutCertificate);
    }
    return trials;
}

} // namespace

const char* ToString(Over over) {
    switch (over) {
    case Over::Plain:
        return "plain";
    case Over::Tls:
        return "TLS";
    case Over::MutualTls:
        return "mutual TLS";
    }
    return "";
}

std::vector<Finding> TryAll(const Target& target) {
    std::vector<Finding> findings;
    for (const auto& [name, trial] : TrialsFor(target)) {
        Finding finding{name, ""};
        try {
            Caller caller(target);
            trial(caller);
        } catch (const std::exception& problem) {
            finding.problem = problem.what();
        }
        findings.push_back(std::move(finding));
    }
    return findings;
}

} // namespace interop
