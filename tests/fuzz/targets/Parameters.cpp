// SPDX-License-Identifier: Apache-2.0
// Rendering of parameters: any names and values in any character set.
#include <map>

#include <httpclient/HttpRequest.h>

#include "../Input.h"
#include "../Require.h"
#include "../Target.h"
#include "Escapes.h"

namespace {

using Parameters = std::map<std::string, std::vector<std::string>>;

/// What the parameters become. Only for sets without a shift state, which one conversion leaves to the next.
std::string Rendered(const Parameters& parameters, const CHttpRequest& request, const std::string& charset) {
    const bool inUrl = request.getVerb() == HTTPOPERATION_GET || request.getVerb() == HTTPOPERATION_DELETE;
    std::string text;
    for (const auto& [name, values] : parameters) {
        if (values.empty()) {
            return "";
        }
        for (const std::string& value : values) {
            std::string converted;
            request.codeSetConvert(charset, "UTF-8", value, converted);
            text.append(text.empty() ? (inUrl ? "?" : "") : "&")
                .append(name)
                .append("=")
                .append(Escaped(converted));
        }
    }
    return text;
}

/// Fields are name and values in turn, a value per line.
Parameters Read(Input& fields) {
    Parameters parameters;
    while (!fields.AtEnd()) {
        const std::string name = fields.Field();
        std::vector<std::string> values;
        for (std::string rest = fields.Field(); !rest.empty();) {
            const std::string::size_type end = rest.find('\n');
            values.push_back(rest.substr(0, end));
            rest = end == std::string::npos ? "" : rest.substr(end + 1);
        }
        if (name.find_first_not_of(' ') != std::string::npos) {
            parameters.emplace(name, values);
        }
    }
    return parameters;
}

} // namespace

void FuzzParameters(std::string_view input) {
    static const std::string charsets[] = {"",        "GBK",         "UTF-8",       "ASCII",
                                           "GB18030", "ISO-8859-1",  "KOI8-R",      "UTF-16",
                                           "CP1252",  "ISO-2022-JP", "no such set", "UNKOWN"};
    Input fields(input);
    const unsigned int first = fields.Byte();
    const std::string& charset = charsets[fields.Byte() % std::size(charsets)];
    const bool stateless = charset != "UTF-16" && charset != "ISO-2022-JP";

    CHttpRequest request;
    request.setVerb(static_cast<HTTPOPERATIONTYPE>(first % 8));
    if (!charset.empty()) {
        request.setAcceptCharset(charset);
    }
    const Parameters parameters = Read(fields);
    for (const auto& [name, values] : parameters) {
        Require(request.addParam(name, values), "names that are not blank are taken");
    }
    Require(request.getRequestParams() == parameters, "parameters are as in a map");

    const std::string text = request.getParamsAppendInURL();
    if (stateless) {
        Require(text == Rendered(parameters, request, charset.empty() ? "GBK" : charset),
                "the text is names and escaped values");
    }
}
