// SPDX-License-Identifier: Apache-2.0
// Query parameters of a request: the store, their rendering, and the text services that rendering uses.
#include "message/HttpRequestImp.h"
#include "message/NamedEntries.h"
#include "message/charset/CodeSetConverter.h"

const std::string& DEFAULT_CHARSET = *new std::string("GBK");
const std::string& URL_CHARSET = *new std::string("UTF-8");

bool CHttpRequestImp::addParam(const std::string& name, const std::string& value) {
    return addParam(name, std::vector<std::string>{value});
}

bool CHttpRequestImp::addParam(const std::string& name, std::vector<std::string> values) {
    return named_entries::Add(m_mapParams, name, std::move(values));
}

bool CHttpRequestImp::removeParam(const std::string& name) {
    return m_mapParams.erase(name) > 0;
}

void CHttpRequestImp::RemoveAllParams() {
    m_mapParams.clear();
}

std::vector<std::string> CHttpRequestImp::getParam(const std::string& name) const {
    return named_entries::Get(m_mapParams, name);
}

std::vector<std::string> CHttpRequestImp::getParam(unsigned int index) const {
    return named_entries::Get(m_mapParams, index);
}

unsigned int CHttpRequestImp::getParamNums() const {
    return static_cast<unsigned int>(m_mapParams.size());
}

std::map<std::string, std::vector<std::string>> CHttpRequestImp::getRequestParams() const {
    return m_mapParams;
}

std::string CHttpRequestImp::getParamsAppendInURL() const {
    std::string charset = getAcceptCharset();
    if (charset.empty()) {
        charset = DEFAULT_CHARSET;
    }
    if (m_mapParams.empty()) {
        return "";
    }

    std::string text;
    if (m_eVerb == HTTPOPERATION_GET || m_eVerb == HTTPOPERATION_DELETE) {
        text = "?";
    }
    for (auto entry = m_mapParams.begin(); entry != m_mapParams.end(); ++entry) {
        const auto& [name, values] = *entry;
        // Deliberate: one parameter without values empties the whole text, whatever stands before it.
        if (values.empty()) {
            return "";
        }
        for (const std::string& value : values) {
            std::string converted; // stays empty when the value cannot be converted
            codeSetConvert(charset, URL_CHARSET, value, converted);
            text.append(name).append(1, '=').append(encodeParam(converted)).append(1, '&');
        }
    }
    text.pop_back(); // no "&" after the last pair
    return text;
}

std::string CHttpRequestImp::encodeParam(const std::string& text) const {
    if (text.empty() || !m_pCurl) {
        return "";
    }
    const CurlTextPtr escaped(curl_easy_escape(m_pCurl.get(), text.data(), static_cast<int>(text.size())));
    return escaped ? escaped.get() : "";
}

std::string CHttpRequestImp::decodeParam(const std::string& text) {
    if (text.empty() || !m_pCurl) {
        return "";
    }
    int length = 0; // deliberately unused: the result ends before the first NUL byte
    const CurlTextPtr plain(
        curl_easy_unescape(m_pCurl.get(), text.data(), static_cast<int>(text.size()), &length));
    return plain ? plain.get() : "";
}

int CHttpRequestImp::codeSetConvert(const std::string& from, const std::string& to, const std::string& in,
                                    std::string& out) const {
    return ConvertCodeSet(from, to, in, out);
}
