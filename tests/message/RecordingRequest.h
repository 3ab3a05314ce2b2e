// SPDX-License-Identifier: Apache-2.0
/// @file
/// A request implementation that notes what it is asked.
#pragma once

#include <initializer_list>
#include <map>
#include <string>
#include <vector>

#include "message/HttpRequestInter.h"

/// Notes every call as "operation(argument, argument)". Texts are answered "answer of operation"; bools true,
/// counts 42, conversions 7, the verb HEAD.
class RecordingRequest : public CHttpRequestInter {
public:
    using Text = std::string;
    using Values = std::vector<Text>;

    /// @param calls where the calls go; outlives this.
    explicit RecordingRequest(std::vector<std::string>& calls) : m_calls(calls) {}
    ~RecordingRequest() override { m_calls.push_back("destroyed"); }

    bool addRequestHeadEntry(const Text& name, const Text& value) override {
        return Agree("addRequestHeadEntry", {name, value});
    }
    bool removeRequestHeadEntry(const Text& name) override { return Agree("removeRequestHeadEntry", {name}); }
    void removeRequestHead() override { Note("removeRequestHead", {}); }
    Text getRequestHeadEntry(const Text& name) const override {
        return Answer("getRequestHeadEntry", {name});
    }
    Text getRequestHeadEntry(unsigned int index) const override {
        return Answer("getRequestHeadEntry", {"#" + std::to_string(index)});
    }
    unsigned int getRequestHeadEntryNums() const override { return Count("getRequestHeadEntryNums"); }
    std::map<Text, Text> getRequestHead() const override { return {{"name", Answer("getRequestHead", {})}}; }

    bool addParam(const Text& name, const Text& value) override { return Agree("addParam", {name, value}); }
    bool addParam(const Text& name, Values values) override {
        values.insert(values.begin(), {name, "values"});
        return Agree("addParam", values);
    }
    bool removeParam(const Text& name) override { return Agree("removeParam", {name}); }
    void RemoveAllParams() override { Note("RemoveAllParams", {}); }
    Values getParam(const Text& name) const override { return {Answer("getParam", {name})}; }
    Values getParam(unsigned int index) const override {
        return {Answer("getParam", {"#" + std::to_string(index)})};
    }
    Text getParamsAppendInURL() const override { return Answer("getParamsAppendInURL", {}); }
    unsigned int getParamNums() const override { return Count("getParamNums"); }
    std::map<Text, Values> getRequestParams() const override {
        return {{"name", {Answer("getRequestParams", {})}}};
    }

    void setCustomCookieParam(const Text& cookie) override { Note("setCustomCookieParam", {cookie}); }
    Text getCustomCookieParam() const override { return Answer("getCustomCookieParam", {}); }

    bool setContentType(const Text& type) override { return Agree("setContentType", {type}); }
    Text getContentType() const override { return Answer("getContentType", {}); }
    bool setContentEncoding(const Text& encoding) override { return Agree("setContentEncoding", {encoding}); }
    Text getContentEncoding() const override { return Answer("getContentEncoding", {}); }
    bool setContentLanguage(const Text& language) override { return Agree("setContentLanguage", {language}); }
    Text getContentLanguage() const override { return Answer("getContentLanguage", {}); }
    bool setContent(const Text& body) override { return Agree("setContent", {body}); }
    Text getContent() const override { return Answer("getContent", {}); }
    bool setAcceptCharset(const Text& charset) override { return Agree("setAcceptCharset", {charset}); }
    Text getAcceptCharset() const override { return Answer("getAcceptCharset", {}); }
    bool setAcceptLanguage(const Text& language) override { return Agree("setAcceptLanguage", {language}); }
    Text getAcceptLanguage() const override { return Answer("getAcceptLanguage", {}); }
    bool setAcceptEncoding(const Text& encoding) override { return Agree("setAcceptEncoding", {encoding}); }
    Text getAcceptEncoding() const override { return Answer("getAcceptEncoding", {}); }
    bool setAccept(const Text& types) override { return Agree("setAccept", {types}); }
    Text getAccept() const override { return Answer("getAccept", {}); }

    void setVerb(HTTPOPERATIONTYPE verb) override { Note("setVerb", {std::to_string(verb)}); }
    HTTPOPERATIONTYPE getVerb() const override {
        Note("getVerb", {});
        return HTTPOPERATION_HEAD;
    }
    void setUrlPath(const Text& path) override { Note("setUrlPath", {path}); }
    Text getUrlPath() const override { return Answer("getUrlPath", {}); }

    Text encodeParam(const Text& text) const override { return Answer("encodeParam", {text}); }
    Text decodeParam(const Text& text) override { return Answer("decodeParam", {text}); }
    int codeSetConvert(const Text& from, const Text& to, const Text& in, Text& out) const override {
        out = Answer("codeSetConvert", {from, to, in, out});
        return 7;
    }
    bool setForwardFilter(const Text& filter) override { return Agree("setForwardFilter", {filter}); }

private:
    void Note(const Text& operation, const Values& arguments) const {
        Text call = operation + "(";
        for (const Text& argument : arguments) {
            call += (call.back() == '(' ? "" : ", ") + argument;
        }
        m_calls.push_back(call + ")");
    }
    bool Agree(const Text& operation, const Values& arguments) const {
        Note(operation, arguments);
        return true;
    }
    unsigned int Count(const Text& operation) const {
        Note(operation, {});
        return 42;
    }
    Text Answer(const Text& operation, const Values& arguments) const {
        Note(operation, arguments);
        return "answer of " + operation;
    }

    std::vector<std::string>& m_calls;
};

/// One call of each operation, in the order of the virtual table.
inline const std::vector<std::string> REQUEST_CALLS{
    "addRequestHeadEntry(n, v)",
    "removeRequestHeadEntry(n)",
    "removeRequestHead()",
    "getRequestHeadEntry(n)",
    "getRequestHeadEntry(#3)",
    "getRequestHeadEntryNums()",
    "getRequestHead()",
    "addParam(n, v)",
    "addParam(n, values, v, w)",
    "removeParam(n)",
    "RemoveAllParams()",
    "getParam(n)",
    "getParam(#3)",
    "getParamsAppendInURL()",
    "getParamNums()",
    "getRequestParams()",
    "setCustomCookieParam(v)",
    "getCustomCookieParam()",
    "setContentType(v)",
    "getContentType()",
    "setContentEncoding(v)",
    "getContentEncoding()",
    "setContentLanguage(v)",
    "getContentLanguage()",
    "setContent(v)",
    "getContent()",
    "setAcceptCharset(v)",
    "getAcceptCharset()",
    "setAcceptLanguage(v)",
    "getAcceptLanguage()",
    "setAcceptEncoding(v)",
    "getAcceptEncoding()",
    "setAccept(v)",
    "getAccept()",
    "setVerb(4)",
    "getVerb()",
    "setUrlPath(v)",
    "getUrlPath()",
    "encodeParam(v)",
    "decodeParam(v)",
    "codeSetConvert(from, to, in, out)",
    "setForwardFilter(v)",
};
