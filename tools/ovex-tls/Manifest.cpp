// SPDX-License-Identifier: Apache-2.0
#include "Manifest.h"

#include <json/json.h>

#include <ovexcommon/JsonReader.h>

#include "Failure.h"
#include "TlsRoot.h"

namespace manifest {
namespace {

constexpr const char* FILE_LIST = "filelist";
constexpr const char* PASSWORD = "keyPass";

std::string Written(const Json::Value& manifest) {
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "    ";
    return Json::writeString(writer, manifest) + '\n';
}

/// The member's object, made when there is none. Anything else is not ours to replace.
Json::Value& ObjectIn(Json::Value& parent, const char* member, const std::string& name) {
    Json::Value& object = parent[member];
    if (!object.isNull() && !object.isObject()) {
        throw Failure(name + ": \"" + member + "\" is not an object");
    }
    return object;
}

void SetPassword(Json::Value& manifest, const std::string& cipherText, const std::string& name) {
    Json::Value& files = ObjectIn(manifest, FILE_LIST, name);
    ObjectIn(files, tls_root::KEY_FILE, name)[PASSWORD] = cipherText;
}

} // namespace

std::string New(const std::string& cipherText) {
    Json::Value manifest(Json::objectValue);
    SetPassword(manifest, cipherText, "");
    return Written(manifest);
}

std::string WithPassword(const std::string& manifest, const std::string& cipherText,
                         const std::string& name) {
    Json::Value value;
    if (!JsonReader(true).parse(manifest, value) || !value.isObject()) {
        throw Failure(name + ": not a JSON object; nothing was changed");
    }
    SetPassword(value, cipherText, name);
    return Written(value);
}

bool FindPassword(const std::string& manifest, std::string& cipherText) {
    Json::Value value;
    if (!JsonReader(true).parse(manifest, value)) {
        return false;
    }
    cipherText = value[FILE_LIST][tls_root::KEY_FILE][PASSWORD].asString();
    return true;
}

} // namespace manifest
