// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <httpclient/HttpOperationType.h>
#include <httpclient/Request.h>

#include "send/Url.h"

namespace sender {

using HeaderLine = std::pair<std::string, std::string>;

/// What the command line asks for, files read and everything checked.
struct Options {
    Target target;
    HTTPOPERATIONTYPE verb = HTTPOPERATION_GET;
    std::map<std::string, std::string> headers; ///< those of --charset and --accept-encoding among them
    std::map<std::string, std::vector<std::string>> parameters;
    std::string body;
    std::string cookie;
    unsigned int connectTimeout = 10;
    unsigned int requestTimeout = 30;

    bool strict = false; ///< through httpclient::Client, which wants what follows
    httpclient::Method method = httpclient::Method::Get;
    std::vector<HeaderLine> headerLines; ///< in their order, a name more than once, too
    bool hasBody = false;
    std::string serverName; ///< "" for the target's host
    bool timing = false;
    bool trace = false;      ///< each event of each call, on standard error
    std::string metricsFile; ///< for what the engine has counted, "-" for standard output; "": none

    unsigned int repeat = 1;
    unsigned int threads = 1; ///< with async: requests under way at a time
    bool async = false;
    bool insecure = false; ///< only with async

    bool showHead = false;
    bool quiet = false;
    bool verbose = false;
    std::string outputFile; ///< "" for standard output
};

/// Reads the command line.
/// @return nothing when it asked for help, which is then on standard output.
/// @throw UsageError for what cannot be sent as it is asked for.
std::optional<Options> ParseOptions(int argc, const char* const* argv);

} // namespace sender
