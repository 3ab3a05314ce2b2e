// SPDX-License-Identifier: Apache-2.0
// A platform that is not the reference one: as little as the library can be bound to. It is a host's own code, so that it
// takes nothing of this tree, and repeats what others here do.
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <json/reader.h>

#include <ovexcommon/JsonReader.h>
#include <ovexcommon/OvexCommonUtils.h>
#include <ovexcommon/SecureMem.h>
#include <ovexcommon/SysConfReader.h>
#include <ovexcommon/TraceClient.h>
#include <vorncipher/VornCipher.h>

namespace Ovexcommon {

TraceClient* TraceClient::Instance() {
    static TraceClient instance;
    return &instance;
}

bool TraceClient::checkValid(int /*level*/, int /*module*/) {
    return true;
}

std::string TraceClient::setBody(const char* format, ...) {
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return text;
}

void TraceClient::trace(int level, int module, const std::string& body) {
    std::printf("fake %d/%d: %s\n", level, module, body.c_str());
}

SysConfReader* SysConfReader::Instance() {
    static SysConfReader instance;
    return &instance;
}

std::string SysConfReader::getMaintenanceIPAddress() {
    return "127.0.0.1";
}

} // namespace Ovexcommon

std::string OvexCommonUtils::Ovexgetenv(const std::string& name) {
    const char* value = std::getenv(name.c_str());
    return value != nullptr ? value : "";
}

JsonReader::JsonReader(bool /*flag*/) {}

bool JsonReader::parse(const std::string& text, Json::Value& value) {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    return reader->parse(text.data(), text.data() + text.size(), &value, nullptr);
}

int memset_s(void* dest, std::size_t destMax, int c, std::size_t count) {
    if (dest == nullptr || count > destMax) {
        return 1;
    }
    std::memset(dest, c, count);
    return 0;
}

int VornCipher::Decrypt(const std::string& /*cipherText*/, std::string& /*plainText*/, VornCipherKey /*key*/,
                        unsigned int /*value*/) {
    return 1;
}
