// SPDX-License-Identifier: Apache-2.0
/// @file
/// What a caller says about one HTTP call, apart from where the server is.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include <httpclient/Export.h>
#include <httpclient/HttpOperationType.h>

class CHttpRequestInter;

/// One HTTP request: verb, URL path, query parameters, header entries, body and cookie text.
///
/// Header entries and parameters are kept by exact, case-sensitive name in ascending byte order. The first
/// value set for a name wins: adding a name again succeeds and changes nothing; remove the name first to
/// replace its value. Nothing is validated when the request is sent.
///
/// @par Ownership
/// Owns everything it is given (copies). Not copyable and not movable.
///
/// @par Thread Safety
/// No lock. Const operations may run on several threads as long as none changes the request. decodeParam()
/// counts as a change.
///
/// @par Performance
/// Each request owns a libcurl easy handle that it uses for escaping only; getters return copies.
///
/// @par Errors
/// No operation logs. The only exceptions are those of memory exhaustion (std::bad_alloc) and of texts beyond
/// std::string::max_size() (std::length_error).
class HTTPCLIENT_EXPORT CHttpRequest {
public:
    /// Makes an empty request whose verb is #HTTPOPERATION_NOT_SET.
    CHttpRequest();
    virtual ~CHttpRequest();
    CHttpRequest(const CHttpRequest&) = delete;
    CHttpRequest& operator=(const CHttpRequest&) = delete;

    /// Adds a header entry unless one of exactly this name exists (then the old value stays).
    /// The value goes out as it is: line breaks in it are not refused.
    /// @return false when @p name is empty or consists of spaces (0x20) only; true otherwise.
    bool addRequestHeadEntry(const std::string& name, const std::string& value);
    /// Removes the header entry of exactly this name. @return true when there was one.
    bool removeRequestHeadEntry(const std::string& name);
    /// Removes every header entry, those of setContentType() and its like included.
    void removeRequestHead();
    /// @return the value of the header entry of exactly this name; "" when there is none.
    std::string getRequestHeadEntry(const std::string& name) const;
    /// @param index 0-based position in ascending byte order of the names.
    /// @return the value (not the name) at that position; "" when out of range.
    std::string getRequestHeadEntry(unsigned int index) const;
    /// @return the number of header entries.
    unsigned int getRequestHeadEntryNums() const;
    /// @return a copy of all header entries, name to value.
    std::map<std::string, std::string> getRequestHead() const;

    /// Adds a query parameter of one value; the same as the vector form with that value alone.
    bool addParam(const std::string& name, const std::string& value);
    /// Adds a query parameter with a list of values unless the name exists (then the old values stay).
    ///
    /// @warning Braces choose the wrong overload: `addParam("k", {"a", "b"})` is read as one std::string made
    /// of two pointers. Write `addParam("k", std::vector<std::string>{"a", "b"})`.
    /// @note An empty vector is stored, and makes getParamsAppendInURL() answer "" for the whole request.
    /// @return false when @p name is empty or consists of spaces (0x20) only; true otherwise.
    bool addParam(const std::string& name, std::vector<std::string> values);
    /// Removes the parameter of exactly this name. @return true when there was one.
    bool removeParam(std::string name);
    /// Removes every parameter.
    void RemoveAllParams();
    /// @return a copy of the values of the parameter of exactly this name; empty when there is none.
    std::vector<std::string> getParam(const std::string& name) const;
    /// @param index 0-based position in ascending byte order of the names.
    /// @return a copy of the values at that position; empty when out of range.
    std::vector<std::string> getParam(unsigned int index) const;
    /// Renders all parameters as name=value pairs joined by "&", with a leading "?" for GET and DELETE only.
    /// Names go out as they are; each value is converted from the request's Accept-Charset (GBK when unset)
    /// to UTF-8 and then percent-escaped. A value that cannot be converted goes out empty.
    /// @return the text; "" when there are no parameters, or when one that has no values is met.
    std::string getParamsAppendInURL() const;
    /// @return the number of parameter names (not of values).
    unsigned int getParamNums() const;
    /// @return a copy of all parameters, name to values.
    std::map<std::string, std::vector<std::string>> getRequestParams() const;

    /// Sets the cookie text, which a synchronous send hands to libcurl (CURLOPT_COOKIE). It is no header
    /// entry.
    void setCustomCookieParam(const std::string& cookie);
    /// @return the cookie text.
    std::string getCustomCookieParam() const;

    /// Adds the header entry "Content-Type"; see addRequestHeadEntry().
    bool setContentType(const std::string& type);
    /// @return the header entry "Content-Type".
    std::string getContentType() const;
    /// Adds the header entry "Content-Encoding"; see addRequestHeadEntry().
    bool setContentEncoding(const std::string& encoding);
    /// @return the header entry "Content-Encoding".
    std::string getContentEncoding() const;
    /// Adds the header entry "Content-Language"; see addRequestHeadEntry().
    bool setContentLanguage(const std::string& language);
    /// @return the header entry "Content-Language".
    std::string getContentLanguage() const;
    /// Sets the body. It is sent up to its first NUL byte (CURLOPT_POSTFIELDS), and by synchronous sends
    /// only.
    /// @return true.
    bool setContent(const std::string& body);
    /// @return the body.
    std::string getContent() const;
    /// Adds the header entry "Accept-Charset", which also names the character set of the parameters' values.
    bool setAcceptCharset(const std::string& charset);
    /// @return the header entry "Accept-Charset".
    std::string getAcceptCharset() const;
    /// Adds the header entry "Accept-Language"; see addRequestHeadEntry().
    bool setAcceptLanguage(const std::string& language);
    /// @return the header entry "Accept-Language".
    std::string getAcceptLanguage() const;
    /// Adds the header entry "Accept-Encoding". A synchronous send decodes an answer in this encoding.
    bool setAcceptEncoding(const std::string& encoding);
    /// @return the header entry "Accept-Encoding".
    std::string getAcceptEncoding() const;
    /// Adds the header entry "Accept_MIME". It goes out under this name, underscore included, and is not the
    /// HTTP header "Accept".
    bool setAccept(const std::string& types);
    /// @return the header entry "Accept_MIME".
    std::string getAccept() const;
    /// Adds the header entry "XX-Forward-Filter"; see addRequestHeadEntry().
    bool setForwardFilter(const std::string& filter);

    /// Sets the verb, unchecked.
    void setVerb(HTTPOPERATIONTYPE verb);
    /// @return the verb.
    HTTPOPERATIONTYPE getVerb() const;
    /// Sets the URL path. It is joined to the port as it is, so it should begin with "/" and be in URL form.
    void setUrlPath(const std::string& path);
    /// @return the URL path.
    std::string getUrlPath() const;

    /// Percent-escapes every byte but letters, digits, "-", ".", "_" and "~" (curl_easy_escape).
    /// @return the escaped text; "" for "" and when libcurl cannot escape it.
    std::string encodeParam(const std::string& text) const;
    /// Undoes percent-escapes (curl_easy_unescape). The result ends before the first NUL byte, "%00"
    /// included.
    /// @return the plain text; "" for "" and when libcurl cannot unescape it.
    std::string decodeParam(const std::string& text);
    /// Converts text between character sets. Undecodable bytes and unrepresentable characters become "?".
    /// Conversion state is kept per pair of names for the life of the process and never reset.
    /// @param from,to names of the character sets; the same name (any text) makes a plain copy; "UNKOWN"
    ///        (spelled so) stands for an unknown set and fails.
    /// @param in the text. The result ends before its first NUL byte.
    /// @param[out] out the result; unchanged on failure.
    /// @return 0, or the number of replaced characters; -1 on failure: an unknown set, an incomplete last
    ///         character, or a result of more than 2n+2 bytes for n bytes of input.
    /// @par Thread Safety
    /// Safe from any number of threads, on any number of requests.
    int codeSetConvert(const std::string& from, const std::string& to, const std::string& in,
                       std::string& out) const;

private:
    friend class RequestView; // the library's own reading, without copies

    std::unique_ptr<CHttpRequestInter> m_pImp;
};
