// SPDX-License-Identifier: Apache-2.0
#include "ovexcommon/JsonReader.h"

#include <memory>
#include <new>

#include <json/reader.h>

#include "StrictJsonTokens.h"

namespace {

Json::CharReaderBuilder ReaderSettings(bool strict) {
    Json::CharReaderBuilder builder;
    if (strict) {
        Json::CharReaderBuilder::strictMode(&builder.settings_);
        // JSON allows both of these; of a repeated name the last value counts.
        builder["strictRoot"] = false;
        builder["rejectDupKeys"] = false;
    }
    // Comments are allowed or not, but never kept: they would come back in the text made from the value.
    builder["collectComments"] = false;
    return builder;
}

} // namespace

JsonReader::JsonReader(bool flag) : m_bStrict(flag) {}

bool JsonReader::parse(const std::string& text, Json::Value& value) {
    if (m_bStrict && !HasStrictJsonTokens(text)) {
        return false;
    }
    try {
        const std::unique_ptr<Json::CharReader> reader(ReaderSettings(m_bStrict).newCharReader());
        return reader->parse(text.data(), text.data() + text.size(), &value, nullptr);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception&) {
        // JsonCpp throws at a text that is nested too deeply.
        return false;
    }
}
