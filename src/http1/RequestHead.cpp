// SPDX-License-Identifier: Apache-2.0
#include "http1/RequestHead.h"

#include <array>
#include <charconv>

#include "http1/Bytes.h"
#include "http1/GrammarError.h"

namespace httpclient::http1 {
bool IsFieldValue(std::string_view value) noexcept {
    return AllAre(value, ValueByte) && (value.empty() || (!IsBlank(value.front()) && !IsBlank(value.back())));
}

namespace {

constexpr std::array<const char*, 7> METHODS = {"GET", "HEAD", "POST", "PUT", "PATCH", "DELETE", "OPTIONS"};

constexpr std::string_view VERSION_AND_HOST = " HTTP/1.1\r\nHost: ";
constexpr std::string_view LINE_END = "\r\n";
constexpr std::string_view SEPARATOR = ": ";
constexpr std::string_view USER_AGENT = "User-Agent: ";
constexpr std::string_view ACCEPT_CODINGS = "Accept-Encoding: gzip, deflate\r\n";
constexpr std::string_view CONTENT_TYPE = "Content-Type: ";
constexpr std::string_view ACCEPT_ALL = "Accept: */*\r\n";
constexpr std::string_view CHUNKED = "Transfer-Encoding: chunked\r\n";
constexpr std::string_view CONTENT_LENGTH = "Content-Length: ";

/// What is known of a head before it is written.
struct Survey {
    bool userAgent = false;     ///< ours goes out
    bool acceptCodings = false; ///< ours goes out
    bool contentType = false;   ///< ours goes out
    bool acceptAll = false;     ///< ours goes out
    std::size_t size = 0;       ///< of the fields that are not ours, line ends included
};

/// Looks at a field whose name is the engine's to write, or replaces a default of ours.
/// @return whether the field may go out.
bool MayGoOut(const Field& field, Survey& survey) noexcept {
    const std::string_view name = field.first;
    const auto is = [name](std::string_view lower) { return EqualsIgnoringCase(name, lower); };
    switch (name.size()) {
    case 2:
        return !is("te");
    case 4:
        return !is("host");
    case 6:
        if (is("accept")) {
            survey.acceptAll = false;
        }
        return !is("expect");
    case 7:
        return !is("trailer") && !is("upgrade");
    case 10:
        if (is("user-agent")) {
            survey.userAgent = false;
        }
        return !is("keep-alive") && (!is("connection") || EqualsIgnoringCase(field.second, "close"));
    case 12:
        if (is("content-type")) {
            survey.contentType = false;
        }
        return true;
    case 14:
        return !is("content-length");
    case 15:
        if (is("accept-encoding")) {
            survey.acceptCodings = false;
        }
        return true;
    case 17:
        return !is("transfer-encoding");
    default:
        return true;
    }
}

/// @return whether a line that the caller keeps goes out instead of a field.
bool IsReplaced(const Field& field, std::string_view keptLine) noexcept {
    return !keptLine.empty() && EqualsIgnoringCase(field.first, keptLine);
}

GrammarError CheckFields(const std::vector<Field>* fields, std::string_view keptLine,
                         Survey& survey) noexcept {
    if (fields == nullptr) {
        return {};
    }
    for (const Field& field : *fields) {
        if (field.first.empty() || !AllAre(field.first, TokenByte)) {
            return GrammarError::BadFieldName;
        }
        if (!IsFieldValue(field.second)) {
            return GrammarError::BadFieldValue;
        }
        if (!MayGoOut(field, survey)) {
            return GrammarError::ForbiddenField;
        }
        if (IsReplaced(field, keptLine)) {
            continue;
        }
        survey.size += field.first.size() + (field.second.empty() ? 1 : SEPARATOR.size()) +
                       field.second.size() + LINE_END.size();
    }
    return {};
}

bool HasNoBody(Method method) noexcept {
    return method == Method::Get || method == Method::Head;
}

bool MustSayLength(Method method) noexcept {
    return method == Method::Post || method == Method::Put || method == Method::Patch;
}

GrammarError Check(const RequestHead& head, Survey& survey) noexcept {
    if (*NameOf(head.method) == '\0') {
        return GrammarError::BadMethod;
    }
    if (head.target.empty() || head.target.front() != '/' || !AllAre(head.target, TargetByte)) {
        return GrammarError::BadTarget;
    }
    if (head.framing.kind != BodyFraming::Kind::None && HasNoBody(head.method)) {
        return GrammarError::BodyNotAllowed;
    }
    survey.userAgent = !head.userAgent.empty();
    survey.acceptCodings = head.acceptCodings;
    survey.contentType = !head.contentType.empty();
    survey.acceptAll = head.acceptAll;
    if (!AllAre(head.host, TargetByte) || !IsFieldValue(head.userAgent) || !IsFieldValue(head.contentType)) {
        return GrammarError::BadFieldValue;
    }
    const GrammarError error = CheckFields(head.fields, head.keptLine, survey);
    return error == GrammarError{} ? CheckFields(head.added, head.keptLine, survey) : error;
}

/// The line that tells how the body ends; "" when there is none.
class FramingLine {
public:
    explicit FramingLine(const RequestHead& head) noexcept {
        const BodyFraming& framing = head.framing;
        if (framing.kind == BodyFraming::Kind::Chunked) {
            m_text = CHUNKED;
        } else if (framing.kind == BodyFraming::Kind::Length || MustSayLength(head.method)) {
            char* const digits = m_space.data() + CONTENT_LENGTH.copy(m_space.data(), CONTENT_LENGTH.size());
            const std::uint64_t length = framing.kind == BodyFraming::Kind::Length ? framing.length : 0;
            char* end = std::to_chars(digits, m_space.data() + m_space.size(), length).ptr;
            end += LINE_END.copy(end, LINE_END.size());
            m_text = {m_space.data(), static_cast<std::size_t>(end - m_space.data())};
        }
    }
    FramingLine(const FramingLine&) = delete;
    FramingLine& operator=(const FramingLine&) = delete;
    std::string_view text() const noexcept { return m_text; }

private:
    std::array<char, 48> m_space; // the name, at most 20 digits, the line end
    std::string_view m_text;
};

/// Writes one text after the other into room that is known to suffice.
class Writer {
public:
    explicit Writer(char* to) noexcept : m_to(to) {}
    Writer& operator<<(std::string_view text) noexcept {
        m_to += text.copy(m_to, text.size());
        return *this;
    }
    const char* end() const noexcept { return m_to; }
    void Fields(const std::vector<Field>* fields, std::string_view keptLine) noexcept {
        if (fields == nullptr) {
            return;
        }
        for (const Field& field : *fields) {
            if (IsReplaced(field, keptLine)) {
                continue;
            }
            // Without the blank where there is no value: none is left at the end of the line.
            *this << field.first << (field.second.empty() ? SEPARATOR.substr(0, 1) : SEPARATOR)
                  << field.second << LINE_END;
        }
    }

private:
    char* m_to;
};

std::size_t SizeOf(const RequestHead& head, const Survey& survey, std::string_view method,
                   std::string_view framing) noexcept {
    std::size_t size = method.size() + 1 + head.target.size() + VERSION_AND_HOST.size() + head.host.size() +
                       LINE_END.size() + survey.size + framing.size() + LINE_END.size();
    size += survey.userAgent ? USER_AGENT.size() + head.userAgent.size() + LINE_END.size() : 0;
    size += survey.acceptCodings ? ACCEPT_CODINGS.size() : 0;
    size += survey.acceptAll ? ACCEPT_ALL.size() : 0;
    size += survey.contentType ? CONTENT_TYPE.size() + head.contentType.size() + LINE_END.size() : 0;
    return size;
}

/// Writes what stands before a parameter of a target's query.
void BeginParameter(std::string& target) {
    if (target.find('?') == std::string::npos) {
        target += '?';
    } else if (target.back() != '?' && target.back() != '&') {
        target += '&';
    }
}

void Encode(std::string& target, std::string_view text) {
    constexpr std::string_view DIGITS = "0123456789ABCDEF";
    for (const char byte : text) {
        if (Is(byte, UnreservedByte)) {
            target += byte;
        } else {
            const auto code = static_cast<unsigned char>(byte);
            target += '%';
            target += DIGITS[code >> 4U];
            target += DIGITS[code & 0x0FU];
        }
    }
}

void EncodePair(std::string& target, std::string_view name, std::string_view value) {
    Encode(target, name);
    target += '=';
    Encode(target, value);
}

} // namespace

const char* NameOf(Method method) noexcept {
    const auto index = static_cast<std::size_t>(method);
    return index < METHODS.size() ? METHODS[index] : ""; // cppcheck-suppress CastIntegerToAddressAtReturn
}

std::error_code WriteRequestHead(const RequestHead& head, std::string& out) {
    std::size_t lineAt = 0;
    return WriteRequestHead(head, out, lineAt);
}

std::error_code WriteRequestHead(const RequestHead& head, std::string& out, std::size_t& lineAt) {
    Survey survey;
    if (const GrammarError error = Check(head, survey); error != GrammarError{}) {
        return error;
    }
    const std::string_view method = NameOf(head.method);
    const FramingLine framing(head);
    out.resize(SizeOf(head, survey, method, framing.text()));
    Writer writer(out.data());
    writer << method << " " << head.target << VERSION_AND_HOST << head.host << LINE_END;
    if (survey.userAgent) {
        writer << USER_AGENT << head.userAgent << LINE_END;
    }
    if (survey.acceptCodings) {
        writer << ACCEPT_CODINGS;
    }
    if (survey.contentType) {
        writer << CONTENT_TYPE << head.contentType << LINE_END;
    }
    if (survey.acceptAll) {
        writer << ACCEPT_ALL;
    }
    writer.Fields(head.fields, head.keptLine);
    writer.Fields(head.added, head.keptLine);
    lineAt = static_cast<std::size_t>(writer.end() - out.data());
    writer << framing.text() << LINE_END;
    return {};
}

bool AsksToClose(const std::vector<Field>& fields) noexcept {
    for (const Field& field : fields) {
        if (EqualsIgnoringCase(field.first, "connection") && EqualsIgnoringCase(field.second, "close")) {
            return true;
        }
    }
    return false;
}

void AppendParameter(std::string& target, std::string_view name, std::string_view value) {
    BeginParameter(target);
    EncodePair(target, name, value);
}

void AppendPair(std::string& parameters, std::string_view name, std::string_view value) {
    if (!parameters.empty()) {
        parameters += '&';
    }
    EncodePair(parameters, name, value);
}

void AppendQuery(std::string& target, std::string_view parameters) {
    if (!parameters.empty()) {
        BeginParameter(target);
        target += parameters;
    }
}

bool IsIdempotent(Method method) noexcept {
    return method != Method::Post && method != Method::Patch;
}

} // namespace httpclient::http1
