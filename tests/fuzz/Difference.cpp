// SPDX-License-Identifier: Apache-2.0
#include "Difference.h"

#include <algorithm>

#include "http1/AnswerDelivery.h"
#include "http1/Bytes.h"

using namespace httpclient::http1;

namespace {

/// @return the value of a field; "" when there is none.
std::string ValueOf(const FieldList& fields, std::string_view lowerName) {
    const auto field = std::find_if(fields.begin(), fields.end(), [&](const auto& one) {
        return EqualsIgnoringCase(one.first, lowerName);
    });
    return field == fields.end() ? "" : field->second;
}

/// @return a text in which each run of blanks is one blank.
std::string WithSingleBlanks(const std::string& text) {
    std::string single;
    for (const char byte : text) {
        if (!IsBlank(byte)) {
            single += byte;
        } else if (single.empty() || single.back() != ' ') {
            single += ' ';
        }
    }
    return std::string(Trimmed(single));
}

bool EqualButForBlanks(const FieldList& one, const FieldList& other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(), [](const auto& a, const auto& b) {
        return a.first == b.first && WithSingleBlanks(a.second) == WithSingleBlanks(b.second);
    });
}

/// @return the answer with one blank in place of each fold of its heads.
std::string Unfolded(std::string bytes) {
    std::size_t end = bytes.find("\r\n\r\n");
    while (end != std::string::npos && bytes.compare(end + 4, 6, "HTTP/1") == 0) { // an interim answer's
        end = bytes.find("\r\n\r\n", end + 4);
    }
    for (std::size_t fold = 0; (fold = bytes.find("\r\n", fold)) < end;) {
        const std::size_t size = bytes.find_first_not_of(" \t", fold + 2) - fold - 2;
        if (size == 0) {
            ++fold;
            continue;
        }
        bytes.replace(fold, size + 2, " ");
        end -= size + 1;
    }
    return bytes;
}

/// libcurl leaves line breaks in folded values: both must have the same of the answer without folds.
bool IsFolded(const LibcurlReading& /*libcurl*/, const Answer& answer, const Reading& engine) {
    Answer unfolded = answer;
    unfolded.bytes = Unfolded(answer.bytes);
    if (unfolded.bytes == answer.bytes) {
        return false;
    }
    const Reading reading = Deliver(unfolded, Whole(), Taking::Kept);
    return reading.error == GrammarError{} && reading.status == engine.status &&
           reading.body == engine.body && EqualButForBlanks(reading.fields, engine.fields) &&
           DifferenceFrom(ReadByLibcurl(unfolded), unfolded, reading).empty();
}

/// libcurl takes sixteen digits at most.
bool HasManyZeros(const LibcurlReading& libcurl, const Answer& /*answer*/, const Reading& /*engine*/) {
    return libcurl.error.find("Too long hexadecimal number") != std::string::npos;
}

/// Codings that libcurl does not undo as the engine does: without decoding both must have the same.
bool IsCoded(const LibcurlReading& libcurl, const Answer& answer, const Reading& engine) {
    const std::string coding = ValueOf(engine.fields, "content-encoding");
    if (!answer.decode || coding.empty() || (libcurl.answered && libcurl.body == engine.body)) {
        return false;
    }
    Answer undecoded = answer;
    undecoded.decode = false;
    const Reading reading = Deliver(undecoded, Whole(), Taking::Kept);
    return reading.error == GrammarError{} &&
           DifferenceFrom(ReadByLibcurl(undecoded), undecoded, reading).empty();
}

std::string Compare(const LibcurlReading& libcurl, const Reading& engine) {
    if (!libcurl.answered) {
        return "libcurl has no answer: " + libcurl.error;
    }
    if (libcurl.status != engine.status) {
        return "libcurl has the status " + std::to_string(libcurl.status);
    }
    if (libcurl.fields != engine.fields) {
        std::string words = "libcurl has other fields:";
        for (const auto& [name, value] : libcurl.fields) {
            words += "\n  " + name + "=[" + value + "]";
        }
        return words;
    }
    return libcurl.body == engine.body ? "" : "libcurl has another body: " + libcurl.body;
}

} // namespace

const std::vector<KnownDifference>& KnownDifferences() {
    static const std::vector<KnownDifference> all = {
        {"folded lines", "RFC 9112, 5.2: replace each received obs-fold with one or more SP octets",
         IsFolded},
        {"zeros before a chunk's size", "RFC 9112, 7.1: chunk-size = 1*HEXDIG", HasManyZeros},
        {"codings", "RFC 9110, 8.4; RFC 1952, 2.2: a gzip file consists of a series of members", IsCoded},
    };
    return all;
}

const std::vector<StricterRule>& StricterRules() {
    static const std::vector<StricterRule> all = {
        {E::BadLineBreak,
         "RFC 9112, 2.2: a recipient of such a bare CR MUST consider that element to be invalid"},
        {E::BadStatusLine, "RFC 9112, 4: status-line = HTTP-version SP status-code SP [ reason-phrase ]"},
        {E::BadVersion, "RFC 9112, 2.3: HTTP-name \"/\" DIGIT \".\" DIGIT; 9110, 2.5: another major version "
                        "is another protocol"},
        {E::BadStatus, "RFC 9110, 15: status codes outside the range 100..599 are invalid"},
        {E::BadField, "RFC 9112, 5.1: no whitespace is allowed between the field name and colon; 9110, 5.5: "
                      "CR, LF and NUL are invalid"},
        {E::BadFraming, "RFC 9112, 6.3: the recipient MUST treat it as an unrecoverable error"},
        {E::BadChunk, "RFC 9112, 7.1: chunk = chunk-size [ chunk-ext ] CRLF chunk-data CRLF"},
        {E::BadTrailer, "RFC 9112, 7.1.2: trailer-section = *( field-line CRLF )"},
        {E::UpgradeRefused,
         "RFC 9110, 7.8: a server MUST NOT switch to a protocol that was not indicated by the client"},
        {E::TooManyInterim, "RFC 9110, 15.2: one or more 1xx responses; the engine takes eight"},
        {E::BadContentCoding, "RFC 9110, 8.4: the codings are those that were applied to the representation"},
        {E::EndedEarly,
         "RFC 9112, 8: a message without its zero-sized chunk, or with less than its length, is incomplete"},
        {E::HeadTooLarge, "RFC 9110, 5.4: a limit of the recipient's own; libcurl's is another"},
        {E::TrailersTooLarge, "RFC 9110, 5.4: the same for trailers"},
    };
    return all;
}

std::string DifferenceFrom(const LibcurlReading& libcurl, const Answer& answer, const Reading& engine,
                           const KnownDifference** known) {
    std::string words = Compare(libcurl, engine);
    if (words.empty()) {
        return words;
    }
    for (const KnownDifference& difference : KnownDifferences()) {
        if (difference.explains(libcurl, answer, engine)) {
            if (known != nullptr) {
                *known = &difference;
            }
            return {};
        }
    }
    return words;
}
