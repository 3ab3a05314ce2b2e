// SPDX-License-Identifier: Apache-2.0
#pragma once
#include <string>
namespace Ovexcommon {
class TraceClient {
public:
    static TraceClient* Instance();
    bool checkValid(int level, int module);
    std::string setBody(const char* format, ...);
    void trace(int level, int module, const std::string& body);
};
} // namespace Ovexcommon
