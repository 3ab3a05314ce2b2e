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

bool IsFolded(const LibcurlReading& libcurl, const Answer& answer, const Reading& engine) {
    const bool folded =
        answer.bytes.find("\r\n ") != std::string::npos || answer.bytes.find("\r\n\t") != std::string::npos;
    return folded && libcurl.answered && libcurl.status == engine.status && libcurl.body == engine.body &&
           EqualButForBlanks(libcurl.fields, engine.fields);
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
        {"codings", "RFC 9110, 8.4; RFC 1952, 2.2: a gzip file consists of a series of members", IsCoded},
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
