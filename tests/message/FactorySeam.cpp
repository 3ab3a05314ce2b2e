// SPDX-License-Identifier: Apache-2.0
#include "FactorySeam.h"

#include <stdexcept>
#include <utility>

#include <ovexcommon/SysConfReader.h>

#include <httpclient/HttpClient.h>
#include <httpclient/HttpRequest.h>

#include "interpose/Next.h"

using httpclient::testing::Next;

namespace {

FactorySeam* g_seam = nullptr;

/// The mangled name of a constant reference to a std::string, as a parameter.
const std::string TEXT = "RKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE";

void NoteOf(CHttpRequest& request, const std::string& call) {
    FactorySeam::Note(call, &request, nullptr);
}
void NoteOf(CHttpClient& client, const std::string& call) {
    FactorySeam::Note(call, nullptr, &client);
}

/// Notes a setter's call and makes it.
template <class Result = void, class Object, class... Arguments>
Result Forward(Object& object, const std::string& symbol, const std::string& call, Arguments... arguments) {
    NoteOf(object, call);
    return Next<Result(Object*, Arguments...)>(symbol.c_str())(&object, arguments...);
}

} // namespace

FactorySeam::FactorySeam() {
    g_seam = this;
}
FactorySeam::~FactorySeam() {
    g_seam = nullptr;
}

void FactorySeam::ThrowAt(const std::string& call, std::function<void(CHttpRequest*, CHttpClient*)> action) {
    m_throwAt = call;
    m_action = std::move(action);
}

void FactorySeam::Note(const std::string& call, CHttpRequest* request, CHttpClient* client) {
    if (g_seam == nullptr) {
        return;
    }
    g_seam->m_calls.push_back(call);
    if (call == g_seam->m_throwAt) {
        g_seam->m_action(request, client);
        throw std::runtime_error(call);
    }
}

bool CHttpRequest::setContent(const std::string& body) {
    return Forward<bool, CHttpRequest, const std::string&>(*this, "_ZN12CHttpRequest10setContentE" + TEXT,
                                                           "setContent(" + body + ")", body);
}

void CHttpRequest::setUrlPath(const std::string& path) {
    Forward<void, CHttpRequest, const std::string&>(*this, "_ZN12CHttpRequest10setUrlPathE" + TEXT,
                                                    "setUrlPath(" + path + ")", path);
}

void CHttpRequest::setVerb(HTTPOPERATIONTYPE verb) {
    Forward<void, CHttpRequest>(*this, "_ZN12CHttpRequest7setVerbE17HTTPOPERATIONTYPE",
                                "setVerb(" + std::to_string(verb) + ")", verb);
}

bool CHttpRequest::setContentType(const std::string& type) {
    return Forward<bool, CHttpRequest, const std::string&>(*this, "_ZN12CHttpRequest14setContentTypeE" + TEXT,
                                                           "setContentType(" + type + ")", type);
}

bool CHttpRequest::addRequestHeadEntry(const std::string& name, const std::string& value) {
    return Forward<bool, CHttpRequest, const std::string&, const std::string&>(
        *this, "_ZN12CHttpRequest19addRequestHeadEntryE" + TEXT + "S7_",
        "addRequestHeadEntry(" + name + ", " + value + ")", name, value);
}

void CHttpClient::setConnectTimeout(unsigned int nTimeout) {
    Forward<void, CHttpClient>(*this, "_ZN11CHttpClient17setConnectTimeoutEj",
                               "setConnectTimeout(" + std::to_string(nTimeout) + ")", nTimeout);
}

void CHttpClient::setRequestTimeout(unsigned int nTimeout) {
    Forward<void, CHttpClient>(*this, "_ZN11CHttpClient17setRequestTimeoutEj",
                               "setRequestTimeout(" + std::to_string(nTimeout) + ")", nTimeout);
}

void CHttpClient::setDomain(const std::string& strDomain) {
    Forward<void, CHttpClient, const std::string&>(*this, "_ZN11CHttpClient9setDomainE" + TEXT,
                                                   "setDomain(" + strDomain + ")", strDomain);
}

void CHttpClient::setPort(const int& nPort) {
    Forward<void, CHttpClient, const int&>(*this, "_ZN11CHttpClient7setPortERKi",
                                           "setPort(" + std::to_string(nPort) + ")", nPort);
}

void CHttpClient::setScheme(const std::string& strScheme) {
    Forward<void, CHttpClient, const std::string&>(*this, "_ZN11CHttpClient9setSchemeE" + TEXT,
                                                   "setScheme(" + strScheme + ")", strScheme);
}

void CHttpClient::setSSLSupport() {
    Forward<void, CHttpClient>(*this, "_ZN11CHttpClient13setSSLSupportEv", "setSSLSupport()");
}

namespace Ovexcommon {

std::string SysConfReader::getMaintenanceIPAddress() {
    FactorySeam::Note("getMaintenanceIPAddress()", nullptr, nullptr);
    return Next<std::string(SysConfReader*)>(
        "_ZN10Ovexcommon13SysConfReader23getMaintenanceIPAddressB5cxx11Ev")(this);
}

} // namespace Ovexcommon
