// SPDX-License-Identifier: Apache-2.0
#include "CurlTranscript.h"

#include <algorithm>
#include <iterator>

#include "ClientFixture.h"
#include "client/CurlCallbacks.h"

using namespace httpclient::testing;

namespace {

std::string InfoName(CURLINFO info) {
    switch (info) {
    case CURLINFO_RESPONSE_CODE:
        return "RESPONSE_CODE";
    case CURLINFO_CONTENT_TYPE:
        return "CONTENT_TYPE";
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    case CURLINFO_CONTENT_LENGTH_DOWNLOAD:
#pragma GCC diagnostic pop
        return "CONTENT_LENGTH_DOWNLOAD";
    default:
        return std::to_string(info);
    }
}

const char* CallName(CurlCall call) {
    switch (call) {
    case CurlCall::EasyInit:
        return "easy_init";
    case CurlCall::EasySetopt:
        return "setopt";
    case CurlCall::EasyPerform:
        return "perform";
    case CurlCall::EasyGetinfo:
        return "getinfo";
    case CurlCall::EasyReset:
        return "easy_reset";
    case CurlCall::EasyCleanup:
        return "easy_cleanup";
    case CurlCall::MultiInit:
        return "multi_init";
    case CurlCall::MultiAddHandle:
        return "multi_add_handle";
    case CurlCall::MultiPerform:
        return "multi_perform";
    case CurlCall::MultiTimeout:
        return "multi_timeout";
    case CurlCall::MultiFdset:
        return "multi_fdset";
    case CurlCall::MultiRemoveHandle:
        return "multi_remove_handle";
    case CurlCall::MultiCleanup:
        return "multi_cleanup";
    case CurlCall::SlistAppend:
        return "slist_append";
    case CurlCall::SlistFreeAll:
        return "slist_free_all";
    }
    return "unknown";
}

} // namespace

CurlTranscript::CurlTranscript() {
    Name(reinterpret_cast<const void*>(&OnCurlWrite), "OnCurlWrite");
    Name(reinterpret_cast<const void*>(&OnCurlDebug), "OnCurlDebug");
}

CurlTranscript& CurlTranscript::Name(const void* pointer, const std::string& name) {
    m_names[pointer] = name;
    return *this;
}

CurlTranscript& CurlTranscript::Replace(const std::string& from, const std::string& to) {
    m_replacements.emplace_back(from, to);
    return *this;
}

std::string CurlTranscript::PointerName(const void* pointer) const {
    if (pointer == nullptr) {
        return "null";
    }
    const auto named = m_names.find(pointer);
    return named != m_names.end() ? named->second : "a pointer";
}

std::string CurlTranscript::Value(const CurlEvent& event) const {
    if (event.number) {
        return std::to_string(*event.number);
    }
    if (!event.text) {
        return PointerName(event.pointer);
    }
    std::string text = *event.text;
    for (const auto& [from, to] : m_replacements) {
        text = Replaced(std::move(text), from, to);
    }
    return "\"" + text + "\"";
}

std::string CurlTranscript::Line(const CurlEvent& event) const {
    const std::string call = CallName(event.call);
    switch (event.call) {
    case CurlCall::EasySetopt:
        return call + " " + curl_easy_option_by_id(event.option)->name + "=" + Value(event);
    case CurlCall::EasyGetinfo:
        return call + " " + InfoName(event.info);
    case CurlCall::SlistAppend:
        return call + " " + Value(event);
    default:
        return call;
    }
}

std::vector<std::string> CurlTranscript::Of(const std::vector<CurlEvent>& events) const {
    std::vector<std::string> lines;
    std::transform(events.begin(), events.end(), std::back_inserter(lines),
                   [this](const CurlEvent& event) { return Line(event); });
    return lines;
}
