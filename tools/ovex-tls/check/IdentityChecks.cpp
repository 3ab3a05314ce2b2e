// SPDX-License-Identifier: Apache-2.0
#include <algorithm>

#include <json/value.h>

#include <ovexcommon/JsonReader.h>
#include <ovexcommon/OvexCommonUtils.h>

#include "Failure.h"
#include "Files.h"
#include "check/Checks.h"
#include "check/ServiceUrls.h"

namespace {

constexpr const char* NO_TOKENS = "no request carries a token, unless its client asks for service access";
constexpr const char* NO_CREDENTIAL =
    "each token exchange fails before anything is sent, and without a message";
constexpr const char* NOT_READ = "not read, as service identity is off";

/// A file of the service identity, as a process composes its path.
std::string AuthFile(const std::string& name) {
    return OvexCommonUtils::Ovexgetenv("APP_ROOT") + "/etc/authconf/jwt/" + name;
}

void CheckVariable(Report& report, const char* name, const std::string& consequence) {
    if (OvexCommonUtils::Ovexgetenv(name).empty()) {
        report.Warning(std::string(name) + " is unset or empty", consequence);
    }
}

/// Reads and parses a file of the service identity; tells about it when that fails.
bool ReadAuthFile(Report& report, const std::string& path, const std::string& name, Privacy privacy,
                  const std::string& consequence, Json::Value& value) {
    if (!CheckFile(report, path, privacy, "it logs \"open " + name + " failed.\"; " + consequence)) {
        return false;
    }
    std::string text = ReadFile(path);
    const bool parsed = JsonReader(false).parse(text, value);
    Secret::Wipe(text);
    if (!parsed) {
        report.Error(path + ": not valid JSON", "it logs \"load " + name + " failed.\"; " + consequence);
    }
    return parsed;
}

void ReportIgnored(Report& report, const ServiceUrls& urls) {
    for (const ServiceUrls::Ignored& entry : urls.ignored) {
        report.Warning("the entry \"" + entry.pattern + "\" is ignored: " + entry.why,
                       "requests to it carry no token");
    }
    if (!urls.breakingEntry.empty()) {
        report.Error(
            "the entry \"" + urls.breakingEntry + "\" is of the wrong shape",
            "it logs \"parse service_url_config.json catch an exception.\" and loses this entry and " +
                Counted(urls.lost, "entry", "entries") + " after it");
    }
}

void ReportPatterns(Report& report, const ServiceUrls& urls) {
    for (const auto& [pattern, service] : urls.services) {
        const std::string surprise = PatternSurprise(pattern);
        const std::string shadow = ShadowOf(pattern, urls);
        if (service.empty()) {
            report.Warning("the entry \"" + pattern + "\" names no service", "requests to it carry no token");
        }
        if (!surprise.empty()) {
            report.Warning("the pattern \"" + pattern + "\" " + surprise);
        }
        if (LosesItsDirectory(pattern, urls)) {
            report.Note("the pattern \"" + pattern + "\" does not match \"" + PatternPrefix(pattern) +
                            "\" itself",
                        "an exact pattern comes before it, and comparing with that takes the path's final "
                        "\"/\" away");
        }
        if (!shadow.empty()) {
            report.Warning("the pattern \"" + pattern + "\" is never reached",
                           "\"" + shadow + "\" comes before it and gets its requests");
        }
    }
}

/// Whether a text is three non-empty base64url sections joined by ".". No form is enforced by a process.
bool LooksLikeJwt(const std::string& text) {
    constexpr const char* BASE64URL = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
    const auto dots = std::count(text.begin(), text.end(), '.');
    return dots == 2 && text.find_first_not_of(std::string(BASE64URL) + '.') == std::string::npos &&
           text.front() != '.' && text.back() != '.' && text.find("..") == std::string::npos;
}

/// Takes the credential out of the document the way a process does.
void CheckCredential(Report& report, const std::string& path, const std::string& name,
                     Json::Value& document) {
    try {
        const Secret jwt(document["jwt"].asString());
        if (jwt.Empty()) {
            report.Error(path + ": no text in \"jwt\"", NO_CREDENTIAL);
        } else if (!LooksLikeJwt(jwt.Text())) {
            report.Warning(
                path + ": \"jwt\" does not look like a JWT (three base64url sections joined by \".\")",
                "it is sent as it stands");
        } else {
            report.Ok(path + ": holds a credential of " + std::to_string(jwt.Text().size()) + " bytes");
        }
    } catch (const Json::Exception&) {
        report.Error(path + ": of the wrong shape; it is to be an object with a text \"jwt\"",
                     "it logs \"parse " + name + " catch an exception.\"; " + NO_CREDENTIAL);
    }
}

} // namespace

void CheckSwitch(Inspection& inspection) {
    Report& report = inspection.report;
    const std::string value = OvexCommonUtils::Ovexgetenv("enableServiceIdentity");
    inspection.identityOn = value == "true";
    if (inspection.identityOn) {
        report.Ok("service identity is on");
    } else if (value.empty()) {
        report.Note("service identity is off: enableServiceIdentity is unset or empty",
                    "no request carries a token");
    } else if (value == "false") {
        report.Note("service identity is off", "no request carries a token");
    } else {
        report.Warning("service identity is off: enableServiceIdentity is \"" + value +
                           "\", not exactly \"true\"",
                       "no request carries a token");
    }
}

void CheckServiceUrls(Inspection& inspection) {
    const std::string name = "service_url_config.json";
    const std::string path = AuthFile(name);
    Report& report = inspection.report;
    if (!inspection.identityOn) {
        report.Note(path + ": " + NOT_READ);
        return;
    }
    CheckVariable(report, "APP_ROOT", "the files are looked for in /etc/authconf/jwt");
    Json::Value document;
    if (!ReadAuthFile(report, path, name, Privacy::Open, NO_TOKENS, document)) {
        return;
    }
    if (!document.isObject() && !document.isNull()) {
        report.Error(path + ": not a JSON object",
                     "it logs \"parse " + name + " catch an exception.\"; " + NO_TOKENS);
        return;
    }
    const ServiceUrls urls = LoadServiceUrls(document);
    ReportIgnored(report, urls);
    ReportPatterns(report, urls);
    if (urls.services.empty()) {
        report.Warning(path + ": no sia entries are loaded", NO_TOKENS);
    } else {
        report.Ok(path + ": " + Counted(urls.services.size(), "entry", "entries") + " of type \"sia\"");
    }
}

void CheckJwt(Inspection& inspection) {
    const std::string name = "jwt_" + OvexCommonUtils::Ovexgetenv("APP_NAME") + ".json";
    const std::string path = AuthFile(name);
    Report& report = inspection.report;
    if (!inspection.identityOn) {
        report.Note(path + ": " + NOT_READ);
        return;
    }
    CheckVariable(report, "APP_NAME", "the credential is looked for in " + path);
    Json::Value document;
    if (ReadAuthFile(report, path, name, Privacy::Secret, NO_CREDENTIAL, document)) {
        CheckCredential(report, path, name, document);
    }
}
