// SPDX-License-Identifier: Apache-2.0
#include "http1/HeadParser.h"

#include <limits>
#include <string_view>

#include <boost/beast/http/basic_parser.hpp>

#include "http1/Bytes.h"

namespace httpclient::http1 {
namespace {

namespace beast = boost::beast;
using beast::http::error;
using beast::http::field;

/// Beast takes the lines apart and says which field is which. What it would conclude from them (framing, limits) is
/// not asked for: it takes any status, any transfer coding, and its own view of a body.
class Parser final : public beast::http::basic_parser<false> {
public:
    Parser(ResponseHead& head, HeadFacts& facts) : m_head(head), m_facts(facts) {
        header_limit(std::numeric_limits<std::uint32_t>::max()); // the collector has kept to ours
        skip(true);
    }

    GrammarError Parse() {
        const std::string& text = m_head.Text();
        beast::error_code failure;
        const std::size_t parsed = put(boost::asio::const_buffer(text.data(), text.size()), failure);
        if (failure) {
            return HasBareCr(text) ? GrammarError::BadLineBreak : Translate(failure);
        }
        return parsed == text.size() && is_done() ? m_facts.Check() : GrammarError::BadField;
    }

private:
    GrammarError Translate(const beast::error_code& failure) const {
        if (m_error != GrammarError{}) {
            return m_error;
        }
        switch (static_cast<error>(failure.value())) {
        case error::bad_line_ending:
            return GrammarError::BadLineBreak;
        case error::bad_version:
            return GrammarError::BadVersion;
        case error::bad_status:
            return StatusHasDigits() ? GrammarError::BadStatusLine : GrammarError::BadStatus;
        case error::bad_reason:
            return GrammarError::BadStatusLine;
        case error::bad_content_length:
        case error::bad_transfer_encoding:
            return GrammarError::BadFraming;
        default:
            return GrammarError::BadField;
        }
    }

    /// @return whether three digits stand where the status belongs, so that what follows them is wrong.
    bool StatusHasDigits() const noexcept {
        constexpr std::size_t PLACE = 9; // after "HTTP/1.1 "
        const std::string_view status = m_head.text().substr(PLACE, 3);
        return status.size() == 3 && IsDigit(status[0]) && IsDigit(status[1]) && IsDigit(status[2]);
    }

    void Fail(GrammarError reason, beast::error_code& failure) noexcept {
        m_error = reason;
        failure = error::bad_field; // any: it ends the parsing
    }

    void on_response_impl(int code, beast::string_view /*reason*/, int version,
                          beast::error_code& failure) override {
        m_head.status = code;
        m_facts.version = version;
        if (code < 100 || code > 599) {
            Fail(GrammarError::BadStatus, failure);
        }
    }

    void on_field_impl(field which, beast::string_view name, beast::string_view text,
                       beast::error_code& failure) override {
        const std::string_view value(text.data(), text.size());
        m_head.Add({name.data(), name.size()}, value);
        if (const GrammarError wrong = Take(which, value); wrong != GrammarError{}) {
            Fail(wrong, failure);
        }
    }

    GrammarError Take(field which, std::string_view value) noexcept {
        switch (which) {
        case field::content_length:
            return m_facts.TakeContentLength(value);
        case field::transfer_encoding:
            return m_facts.TakeTransferEncoding(value);
        case field::connection:
            m_facts.TakeConnection(value);
            break;
        case field::keep_alive:
            m_facts.TakeKeepAlive(value);
            break;
        case field::content_encoding:
            m_facts.TakeContentEncoding(value);
            break;
        default:
            break;
        }
        return {};
    }

    // GCOVR_EXCL_START: never reached, or nothing to do: this parser is for answers, and for heads alone
    void on_request_impl(beast::http::verb /*method*/, beast::string_view /*name*/,
                         beast::string_view /*target*/, int /*version*/,
                         beast::error_code& /*failure*/) override {}
    void on_header_impl(beast::error_code& /*failure*/) override {}
    void on_body_init_impl(const boost::optional<std::uint64_t>& /*length*/,
                           beast::error_code& /*failure*/) override {}
    std::size_t on_body_impl(beast::string_view /*body*/, beast::error_code& /*failure*/) override {
        return 0;
    }
    void on_chunk_header_impl(std::uint64_t /*size*/, beast::string_view /*extensions*/,
                              beast::error_code& /*failure*/) override {}
    std::size_t on_chunk_body_impl(std::uint64_t /*remain*/, beast::string_view /*body*/,
                                   beast::error_code& /*failure*/) override {
        return 0;
    }
    void on_finish_impl(beast::error_code& /*failure*/) override {}
    // GCOVR_EXCL_STOP

    ResponseHead& m_head;
    HeadFacts& m_facts;
    GrammarError m_error{};
};

} // namespace

GrammarError ParseHead(ResponseHead& head, HeadFacts& facts) {
    return Parser(head, facts).Parse();
}

void MakeFieldTable() {
    static_cast<void>(beast::http::string_to_field({}));
}

} // namespace httpclient::http1
