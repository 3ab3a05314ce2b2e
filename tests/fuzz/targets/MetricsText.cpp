// SPDX-License-Identifier: Apache-2.0
// Labels of any bytes in the text format of Prometheus: read back by its rules, they are what they were; a line for each
// sample and no other.
#include <cstdint>

#include "../Input.h"
#include "../Require.h"
#include "../Target.h"
#include "engine/Snapshot.h"

using namespace httpclient;

namespace {

/// @return how many bytes of a text are one character of UTF-8; 0: none. Decodes it, as RFC 3629 says.
std::size_t DecodedAt(const std::string& text, std::size_t at) {
    const auto byte = [&](std::size_t index) -> unsigned {
        return index < text.size() ? static_cast<unsigned char>(text[index]) : 0;
    };
    const unsigned first = byte(at);
    if (first < 0x80) {
        return 1;
    }
    const std::size_t size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    std::uint32_t code = first & (0x7FU >> size);
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(at + i) & 0xC0U) != 0x80U) {
            return 0;
        }
        code = code << 6U | (byte(at + i) & 0x3FU);
    }
    constexpr std::uint32_t LEAST[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
    const bool beginsWell = first >= 0xC0 && first <= 0xF7;
    return beginsWell && code >= LEAST[size] && code <= 0x10FFFF && !surrogate ? size : 0;
}

/// @return a value as it may stand in the text: what is no UTF-8 is named.
std::string Printable(const std::string& value) {
    std::string printable;
    for (std::size_t at = 0; at < value.size();) {
        const std::size_t size = DecodedAt(value, at);
        if (size == 0) {
            char named[8];
            std::snprintf(named, sizeof named, "\\x%02x",
                          static_cast<unsigned>(static_cast<unsigned char>(value[at])));
            printable += named;
        }
        printable += value.substr(at, size);
        at += size == 0 ? 1 : size;
    }
    return printable;
}

/// Reads a text of the format from its beginning to its end.
class Reader {
public:
    explicit Reader(std::string_view text) : m_text(text) {}

    void Take(std::string_view expected) {
        Require(m_text.substr(0, expected.size()) == expected, "the text goes on as it should");
        m_text.remove_prefix(expected.size());
    }
    /// A value up to its closing quote; of backslashes there are three kinds.
    std::string Value() {
        std::string value;
        while (!m_text.empty() && m_text.front() != '"') {
            char byte = m_text.front();
            Require(byte != '\n', "a value is in one line");
            m_text.remove_prefix(1);
            if (byte == '\\') {
                Require(!m_text.empty() &&
                            std::string_view("\\\"n").find(m_text.front()) != std::string_view::npos,
                        "an escape of the format");
                byte = m_text.front() == 'n' ? '\n' : m_text.front();
                m_text.remove_prefix(1);
            }
            value += byte;
        }
        return value;
    }
    bool atEnd() const { return m_text.empty(); }

private:
    std::string_view m_text;
};

} // namespace

void FuzzMetricsText(std::string_view input) {
    Input fields(input);
    EngineStatistics::Body body;
    body.families.push_back({"first_total", "counter", "Help.", 0});
    for (unsigned samples = fields.Byte() % 4; samples > 0; --samples) {
        const std::string one = fields.Block();
        body.samples.push_back({"first_total", {{"one", one}, {"other", fields.Block()}}, 1});
    }
    body.families.push_back({"second", "gauge", "More help.", body.samples.size()});
    body.samples.push_back({"second", {{"label", fields.Rest()}}, 2});

    const std::string text = engine::MetricsText(body);
    Reader reader(text);
    for (const auto& sample : body.samples) {
        const bool second = &sample == &body.samples.back();
        if (&sample == &body.samples.front() || second) {
            if (second && body.samples.size() == 1) {
                reader.Take("# HELP first_total Help.\n# TYPE first_total counter\n");
            }
            reader.Take(second ? "# HELP second More help.\n# TYPE second gauge\n"
                               : "# HELP first_total Help.\n# TYPE first_total counter\n");
        }
        reader.Take(sample.name);
        char before = '{';
        for (const auto& [name, value] : sample.labels) {
            reader.Take(std::string(1, before) + name + "=\"");
            Require(reader.Value() == Printable(value), "a label is what it was");
            reader.Take("\"");
            before = ',';
        }
        reader.Take(second ? "} 2\n" : "} 1\n");
    }
    Require(reader.atEnd(), "nothing more");
}
