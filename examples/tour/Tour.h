// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <httpclient/Client.h>
#include <httpclient/HttpOperationType.h>

#include "demo/DemoServer.h"
#include "demo/RecordingRelay.h"
#include "tour/TraceLog.h"
#include "tour/Transcript.h"

class CHttpClient;
class CHttpRequest;
class CHttpResponse;

namespace tour {

/// One request and its answer, with the bytes that went over the wire.
struct Exchange {
    int status = 0; ///< what the send returned
    std::string sent;
    std::string received;
    std::string head;
    std::string body;
    std::string type;
    std::string charset;
    double length = 0;
    std::vector<std::string> log; ///< what was logged meanwhile, as "[5] text"
};

/// One call of httpclient::Client, with the bytes that went over the wire.
struct Called {
    httpclient::Result result;
    std::string sent;
    std::string received;

    /// @return the kind's name; "none" for an answer.
    std::string FailureKind() const;
};

/// What a stop works with: a server, a relay before it that records the wire, and the transcript.
///
/// Every stop gets a process and a tour of its own: no connection is pooled yet, nothing has been configured.
class Tour {
public:
    /// @param directory where a stop may put files; not made or removed here.
    Tour(Transcript& transcript, TraceLog& log, std::string directory);

    /// Takes another server, at another address: one that speaks TLS with the files of this directory.
    void UseTls(const std::string& tlsDirectory);
    /// The tokens that the server accepts.
    const std::shared_ptr<demo::Tokens>& Tokens() const { return m_tokens; }

    /// @return a client for the server, by way of the relay.
    std::unique_ptr<CHttpClient> NewClient() const;
    /// Where a stop may put files.
    const std::string& Directory() const { return m_directory; }
    /// Where NewClient() goes, on 127.0.0.1.
    int Port() const { return m_relay->Port(); }
    /// The same for httpclient::Client.
    std::string Origin() const;
    /// How many connections have been made to the server so far.
    int Connections() const { return m_relay->Connections(); }
    /// How many of them are open.
    int OpenConnections() const { return m_relay->OpenConnections(); }

    /// Sends, and writes down what was asked, what went over the wire and what came back. What went over TLS
    /// is counted only.
    Exchange Send(CHttpClient& client, const CHttpRequest& request);
    /// As Send(), into a response of the caller's.
    Exchange Send(CHttpClient& client, const CHttpRequest& request, CHttpResponse& response);
    /// As Send() without the transcript, for what need not be seen again.
    Exchange SendUnseen(CHttpClient& client, const CHttpRequest& request);

    /// The same for httpclient::Client.
    /// @param asked what the transcript says of the request.
    Called Call(const httpclient::Client& client, const httpclient::Request& request,
                const std::string& asked);

    void Note(const std::string& text) { m_transcript.Note(text); }
    void Result(const std::string& text) { m_transcript.Result(text); }
    /// Checks a promise.
    void Expect(const std::string& what, bool holds) { m_transcript.Checked(what, holds); }
    /// Writes down what was logged since the last request, and returns it.
    std::vector<std::string> ShowLog();
    /// Checks that a line, as "[5] text", is among those logged; holds by itself on a platform whose
    /// log is elsewhere.
    void ExpectLogged(const std::string& line, const std::vector<std::string>& log);
    /// Checks that a text is what was promised; shows both when it is not.
    void ExpectText(const std::string& what, const std::string& promised, const std::string& found);
    /// Checks that a number is what was promised; shows both when it is not.
    void ExpectNumber(const std::string& what, double promised, double found);

private:
    void Serve(const std::string& tlsDirectory);
    void ShowWire(char mark, const std::string& bytes);
    Exchange Transfer(CHttpClient& client, const CHttpRequest& request, CHttpResponse& response);

    Transcript& m_transcript;
    TraceLog& m_log;
    const std::string m_directory;
    const std::shared_ptr<demo::Tokens> m_tokens = std::make_shared<demo::Tokens>();
    bool m_tls = false;
    std::unique_ptr<demo::DemoServer> m_server;
    std::unique_ptr<demo::RecordingRelay>
        m_relay; ///< goes before the server, which waits for connections to end
};

/// @return a request for this verb and path and nothing else.
std::unique_ptr<CHttpRequest> NewRequest(HTTPOPERATIONTYPE verb, const std::string& path);
/// @return a verb's name.
std::string NameOf(HTTPOPERATIONTYPE verb);
/// @return the first line of a request or an answer.
std::string FirstLine(const std::string& bytes);
/// @return what follows the empty line.
std::string BodyOf(const std::string& bytes);
/// @return true when the message has this line in its head, line end left out.
bool HasLine(const std::string& bytes, const std::string& line);

} // namespace tour
