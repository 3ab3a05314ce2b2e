// SPDX-License-Identifier: Apache-2.0
/// @file
/// A response implementation that notes what it is asked.
#pragma once

#include <string>
#include <vector>

#include "message/HttpResponseInter.h"

/// Notes every call as "operation(argument, argument)". Texts are answered "answer of operation"; bools true,
/// the count 42, the length 1.5, the status 204.
class RecordingResponse : public CHttpResponseInter {
public:
    using Text = std::string;

    /// @param calls where the calls go; outlives this.
    explicit RecordingResponse(std::vector<std::string>& calls) : m_calls(calls) {}
    ~RecordingResponse() override { m_calls.push_back("destroyed"); }

    void setResponseHead(const Text& head) override { Note("setResponseHead(" + head + ")"); }
    bool addResponseHeadEntry(const Text& name, const Text& value) override {
        Note("addResponseHeadEntry(" + name + ", " + value + ")");
        return true;
    }
    Text getResponseHeadEntry(const Text& name) const override {
        Note("getResponseHeadEntry(" + name + ")");
        return "answer of getResponseHeadEntry";
    }
    Text getResponseHeadEntry(unsigned int index) const override {
        Note("getResponseHeadEntry(#" + std::to_string(index) + ")");
        return "answer of getResponseHeadEntry";
    }
    Text getResponseHead() const override { return Answer("getResponseHead"); }
    unsigned int getResponseHeadNums() const override {
        Note("getResponseHeadNums()");
        return 42;
    }
    void parseHead() override { Note("parseHead()"); }
    Text getResponseBody() const override { return Answer("getResponseBody"); }
    void setResponseBody(const Text& body) override { Note("setResponseBody(" + body + ")"); }
    Text getContentType() const override { return Answer("getContentType"); }
    bool setContentType(const Text& type) override {
        Note("setContentType(" + type + ")");
        return true;
    }
    void setContentLen(double length) override { Note("setContentLen(" + std::to_string(length) + ")"); }
    double getContentLen() const override {
        Note("getContentLen()");
        return 1.5;
    }
    Text getCharset() const override { return Answer("getCharset"); }
    int getStatusCode() const override {
        Note("getStatusCode()");
        return 204;
    }
    void setStatusCode(int code) override { Note("setStatusCode(" + std::to_string(code) + ")"); }

private:
    void Note(const Text& call) const { m_calls.push_back(call); }
    Text Answer(const Text& operation) const {
        Note(operation + "()");
        return "answer of " + operation;
    }

    std::vector<std::string>& m_calls;
};
