// SPDX-License-Identifier: Apache-2.0
// Header entries against a plain map, and the lines that they become.
#include <map>

#include <httpclient/HttpRequest.h>

#include "../Input.h"
#include "../Require.h"
#include "../Target.h"
#include "client/HttpClientImp.h"
#include "support/CurlOwners.h"

namespace {

using Entries = std::map<std::string, std::string>;

bool IsBlank(const std::string& name) {
    for (const char c : name) {
        if (c != ' ') {
            return false;
        }
    }
    return true;
}

/// One operation: "-name" removes, anything else is "name:value" to be added.
void Apply(const std::string& field, CHttpRequest& request, Entries& model) {
    if (!field.empty() && field[0] == '-') {
        const std::string name = field.substr(1);
        Require(request.removeRequestHeadEntry(name) == (model.erase(name) == 1),
                "removal tells what there was");
        return;
    }
    const std::string::size_type colon = field.find(':');
    const std::string name = field.substr(0, colon);
    const std::string value = colon == std::string::npos ? "" : field.substr(colon + 1);
    Require(request.addRequestHeadEntry(name, value) == !IsBlank(name), "blank names are refused, no others");
    if (!IsBlank(name)) {
        model.emplace(name, value);
    }
}

void RequireSame(const CHttpRequest& request, const Entries& model) {
    Require(request.getRequestHead() == model, "entries are as in a map");
    Require(request.getRequestHeadEntryNums() == model.size(), "entries are counted");
    unsigned int index = 0;
    for (const auto& [name, value] : model) {
        Require(request.getRequestHeadEntry(index) == value, "entries stand in order");
        Require(request.getRequestHeadEntry(name) == value, "entries are found");
        ++index;
    }
    Require(request.getRequestHeadEntry(index).empty(), "beyond the end there is nothing");
}

} // namespace

void FuzzHeadEntries(std::string_view input) {
    Input fields(input);
    CHttpRequest request;
    Entries model;
    while (!fields.AtEnd()) {
        Apply(fields.Field(), request, model);
    }
    RequireSame(request, model);

    const CHttpClientImp client;
    const CurlSlistPtr list(client.AppendSlist(request));
    const curl_slist* line = list.get();
    for (const auto& [name, value] : model) {
        Require(line != nullptr, "each entry has its line");
        // NOLINTNEXTLINE(readability-redundant-string-cstr): up to its first NUL byte
        Require(line->data == std::string((name + ":" + value).c_str()), "a line is the entry's text");
        line = line->next;
    }
    Require(line == nullptr, "there are no other lines");
}
