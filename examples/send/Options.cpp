// SPDX-License-Identifier: Apache-2.0
#include "send/Options.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "send/Errors.h"
#include "send/InFlight.h"
#include "send/StrictLoad.h"

namespace sender {
namespace {

constexpr unsigned int MOST_THREADS = 1000;

constexpr const char* FOOTER = R"(An answer's body goes to standard output, a line about it to standard error.

Parameters of GET and DELETE travel in the URL, those of PUT and POST as the body, unless there is a body of
its own. Their values are in the character set that --charset names (GBK without one) and travel in UTF-8.

https presents the platform's client certificate: the TLS files lie under the directory that SSL_ROOT names.
--async sends headers and parameters only, unless it is --strict. Its answers may come seconds late: the library
looks after such a transfer from time to time. With --strict it sends all that can be sent, in time.

--strict sends through httpclient::Client: any body, every parameter in the URL and in UTF-8, a header's name more
than once, PATCH and OPTIONS; it says why there is no answer, and verifies the server's name. What breaks a rule is
refused before a byte goes out, with exit code 2.

Keep secrets out of the argument list: --header-file and --cookie-file read them from files.

Exit code: 0  2xx or 3xx         4  4xx    1  no answer      3  the output could not be written
                                 5  5xx    2  wrong usage
With --repeat the worst of all answers counts: no answer, then 5xx, then 4xx.

Examples:
  httpclient-send http://127.0.0.1:8080/echo -p name=value -H "X-Trace: 1" -i
  httpclient-send http://127.0.0.1:8080/echo -X PUT -f body.json -H "Content-Type: application/json"
  httpclient-send http://127.0.0.1:8080/ --repeat 10000 --threads 4
  httpclient-send http://127.0.0.1:8080/echo --strict --timing -d text
  httpclient-send http://127.0.0.1:8080/ --strict --async --repeat 100000 --threads 1000)";

/// The command line as it is written, before anything is made of it.
struct Raw {
    std::string url;
    std::string verb;
    std::vector<std::string> headers;
    std::string headerFile;
    std::vector<std::string> parameters;
    std::string body;
    std::string bodyFile;
    std::string cookie;
    std::string cookieFile;
    std::string charset;
    std::string acceptEncoding;
};

void DescribeRequest(CLI::App& app, Raw& raw, Options& options) {
    app.add_option("URL", raw.url, "http[s]://host[:port][/path][?query]; IPv6 as [::1]")->required();
    app.add_option(
        "-X,--verb", raw.verb,
        "GET, PUT, POST, DELETE or HEAD, with --strict PATCH and OPTIONS, too [POST when there is a body, "
        "else GET]");
    app.add_option("-H,--header", raw.headers,
                   "\"Name: value\"; \"Name:\" takes a header of libcurl's own away")
        ->allow_extra_args(false);
    app.add_option("--header-file", raw.headerFile, "file of such headers, one a line")->type_name("FILE");
    app.add_option("-p,--param", raw.parameters, "name=value; a name given again has several values")
        ->allow_extra_args(false);
    auto* body = app.add_option("-d,--body", raw.body, "the body");
    app.add_option("-f,--body-file", raw.bodyFile, "file with the body, - for standard input")
        ->excludes(body)
        ->type_name("FILE");
    auto* cookie = app.add_option("-b,--cookie", raw.cookie, "cookie text, as \"a=1; b=2\"");
    app.add_option("--cookie-file", raw.cookieFile, "file with the cookie text")
        ->excludes(cookie)
        ->type_name("FILE");
    app.add_option("--charset", raw.charset, "Accept-Charset, and the character set of the parameters");
    app.add_option("--accept-encoding", raw.acceptEncoding, "as \"gzip\"; the answer is decoded");
    app.add_option("--connect-timeout", options.connectTimeout, "in seconds; 0: libcurl's own")
        ->capture_default_str();
    app.add_option("--timeout", options.requestTimeout, "of the whole transfer, in seconds; 0: none")
        ->capture_default_str();
}

void DescribeStrict(CLI::App& app, Options& options) {
    auto* strict =
        app.add_flag("-s,--strict", options.strict, "send through httpclient::Client, the engine of our own");
    app.add_option("--server-name", options.serverName,
                   "name expected in the server's certificate [the URL's host]")
        ->type_name("NAME")
        ->needs(strict);
    app.add_flag("--timing", options.timing, "draw how long each phase took, on standard error")
        ->needs(strict);
    app.add_flag("--trace", options.trace, "print each event of each call, on standard error")->needs(strict);
    app.add_option("--metrics", options.metricsFile,
                   "file for what the engine has counted in the end, as Prometheus reads it; - for standard "
                   "output")
        ->type_name("FILE")
        ->needs(strict);
}

CLI::Validator AtLeastOne(unsigned int atMost) {
    return CLI::Validator(CLI::Range(1U, atMost)).description("");
}

void DescribeOutput(CLI::App& app, Options& options) {
    auto* showHead =
        app.add_flag("-i,--include", options.showHead, "print the answer's head before its body");
    auto* output =
        app.add_option("-o,--output", options.outputFile, "file for the answer")->type_name("FILE");
    app.add_flag("-q,--quiet", options.quiet, "no line about the answer, no progress bar");
    app.add_flag("-v,--verbose", options.verbose, "the library's whole log (OVEX_TRACE_LEVEL=2)");
    app.add_option("-n,--repeat", options.repeat, "send so many times and print times instead of answers")
        ->type_name("N")
        ->check(AtLeastOne(100'000'000))
        ->excludes(showHead)
        ->excludes(output);
    app.add_option(
           "-t,--threads", options.threads,
           "threads that share the repeats, each with its own client; with --async: requests under way at "
           "a time, 64 at most, with --strict 10000")
        ->type_name("N")
        ->check(AtLeastOne(MOST_CALLS_IN_FLIGHT))
        ->capture_default_str();
    auto* async = app.add_flag("-a,--async", options.async,
                               "send asynchronously: a thread for each request; with --strict: one for all");
    app.add_flag("--insecure", options.insecure, "send over https asynchronously, which verifies nothing")
        ->needs(async);
}

std::string ReadFile(const std::string& name) {
    if (name == "-") {
        return std::string(std::istreambuf_iterator<char>(std::cin), {});
    }
    std::ifstream file(name, std::ios::binary);
    std::ostringstream text;
    // An empty file leaves the stream's failbit set: nothing was there to insert.
    if (!file || (file.peek() != std::ifstream::traits_type::eof() && !(text << file.rdbuf())) ||
        file.bad()) {
        throw UsageError(fmt::format("cannot read \"{}\"", name));
    }
    return text.str();
}

std::string WithoutLineEnd(std::string text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) {
        text.pop_back();
    }
    return text;
}

std::string UpperCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

HTTPOPERATIONTYPE ParseVerb(const std::string& text) {
    static const std::map<std::string, HTTPOPERATIONTYPE> verbs = {{"GET", HTTPOPERATION_GET},
                                                                   {"PUT", HTTPOPERATION_PUT},
                                                                   {"POST", HTTPOPERATION_POST},
                                                                   {"DELETE", HTTPOPERATION_DELETE},
                                                                   {"HEAD", HTTPOPERATION_HEAD}};
    const auto verb = verbs.find(text);
    if (verb == verbs.end()) {
        throw UsageError(fmt::format("the verb \"{}\" cannot be sent: GET, PUT, POST, DELETE or HEAD", text));
    }
    return verb->second;
}

httpclient::Method ParseMethod(const std::string& text) {
    using httpclient::Method;
    for (const Method method : {Method::Get, Method::Head, Method::Post, Method::Put, Method::Patch,
                                Method::Delete, Method::Options}) {
        if (text == ToString(method)) {
            return method;
        }
    }
    throw UsageError(fmt::format(
        "the method \"{}\" cannot be sent: GET, HEAD, POST, PUT, PATCH, DELETE or OPTIONS", text));
}

void AddHeader(const std::string& line, Options& options) {
    const size_t colon = line.find(':');
    const std::string name = line.substr(0, colon);
    if (colon == std::string::npos || name.empty() || name.find_first_of(" \t") != std::string::npos) {
        throw UsageError("a header is written \"Name: value\", not \"" + name + "\""); // never shows a value
    }
    if (line.find_first_of("\r\n") != std::string::npos) {
        throw UsageError("the header \"" + name + "\" holds a line break");
    }
    const size_t value = line.find_first_not_of(" \t", colon + 1);
    const std::string text = value == std::string::npos ? "" : line.substr(value);
    options.headerLines.emplace_back(name, text);
    if (!options.headers.emplace(name, text).second && !options.strict) {
        throw UsageError("the header \"" + name + "\" is given twice; a request has one value for a name");
    }
}

void AddHeadersOf(const std::string& fileName, Options& options) {
    std::istringstream lines(ReadFile(fileName));
    for (std::string line; std::getline(lines, line);) {
        line = WithoutLineEnd(line);
        if (!line.empty()) {
            AddHeader(line, options);
        }
    }
}

void AddParameter(const std::string& text, Options& options) {
    const size_t equals = text.find('=');
    const std::string name = text.substr(0, equals);
    if (equals == std::string::npos || name.find_first_not_of(' ') == std::string::npos) {
        throw UsageError("a parameter is written name=value, not \"" + text + "\"");
    }
    options.parameters[name].push_back(text.substr(equals + 1));
}

/// What the library would leave out or cut short without a word is refused here.
void CheckCanBeSent(const Options& options) {
    const bool inUrl = options.verb == HTTPOPERATION_GET || options.verb == HTTPOPERATION_DELETE;
    const bool isHead = options.verb == HTTPOPERATION_HEAD;
    if (!options.body.empty() && (inUrl || isHead)) {
        throw UsageError("GET, DELETE and HEAD carry no body; use PUT or POST");
    }
    if (!options.parameters.empty() && isHead) {
        throw UsageError("HEAD carries no parameters; write them into the URL");
    }
    if (!options.parameters.empty() && !options.body.empty()) {
        throw UsageError("a body takes the place of the parameters; give one of them, or write the "
                         "parameters into the URL");
    }
    if (!options.parameters.empty() && inUrl && options.target.HasQuery()) {
        throw UsageError("the URL has a query already; give the parameters in one of the two ways");
    }
    if (const size_t nul = options.body.find('\0'); nul != std::string::npos) {
        throw UsageError(
            fmt::format("the body has a NUL byte at offset {}, and is sent up to its first one only", nul));
    }
}

/// What the options can ask for and the strict road cannot do. What a request may hold is the engine's to say.
void CheckCanBeSentStrictly(const Raw& raw, const Options& options) {
    if (!raw.charset.empty()) {
        throw UsageError(
            "--strict takes parameters in UTF-8; leave --charset out, or give an Accept-Charset header");
    }
    if (options.timing && options.repeat > 1) {
        throw UsageError("--timing draws the time of one request; leave --repeat out");
    }
    if (options.insecure) {
        throw UsageError("--strict verifies every server; leave --insecure out");
    }
    if (options.connectTimeout == 0 || options.requestTimeout == 0) {
        throw UsageError("--strict has no endless time-outs; give at least 1 second");
    }
}

/// The same for what an asynchronous send leaves out.
void CheckCanBeSentAsync(const Options& options) {
    if (!options.body.empty()) {
        throw UsageError("an asynchronous request carries no body but its parameters");
    }
    if (!options.cookie.empty()) {
        throw UsageError("an asynchronous request carries no cookie");
    }
    if (options.verb == HTTPOPERATION_HEAD) {
        throw UsageError("an asynchronous HEAD would go out as GET");
    }
    if (options.headers.count("Accept-Encoding") != 0) {
        throw UsageError("the answer to an asynchronous request is not decoded; leave Accept-Encoding out");
    }
    if (options.target.Tls() && !options.insecure) {
        throw UsageError("an asynchronous request over https verifies no server and shows no certificate; "
                         "--insecure sends it all the same");
    }
    if (options.threads > InFlight::MOST_PLACES) {
        throw UsageError(
            fmt::format("at most {} asynchronous requests are under way at a time", InFlight::MOST_PLACES));
    }
}

Options Evaluate(const Raw& raw, Options options) {
    options.target = ParseUrl(raw.url);
    for (const std::string& line : raw.headers) {
        AddHeader(line, options);
    }
    if (!raw.headerFile.empty()) {
        AddHeadersOf(raw.headerFile, options);
    }
    if (!raw.charset.empty()) {
        AddHeader("Accept-Charset: " + raw.charset, options);
    }
    if (!raw.acceptEncoding.empty()) {
        AddHeader("Accept-Encoding: " + raw.acceptEncoding, options);
    }
    for (const std::string& text : raw.parameters) {
        AddParameter(text, options);
    }
    options.body = raw.bodyFile.empty() ? raw.body : ReadFile(raw.bodyFile);
    options.cookie = raw.cookieFile.empty() ? raw.cookie : WithoutLineEnd(ReadFile(raw.cookieFile));
    const bool hasBody = !raw.body.empty() || !raw.bodyFile.empty();
    options.hasBody = hasBody;
    options.threads = std::min(options.threads, options.repeat);
    if (!options.async && options.threads > MOST_THREADS) {
        throw UsageError(fmt::format("at most {} threads share the repeats", MOST_THREADS));
    }
    const std::string verb = !raw.verb.empty() ? UpperCase(raw.verb) : hasBody ? "POST" : "GET";
    if (options.strict) {
        options.method = ParseMethod(verb);
        CheckCanBeSentStrictly(raw, options);
        return options;
    }
    options.verb = ParseVerb(verb);
    CheckCanBeSent(options);
    if (options.async) {
        CheckCanBeSentAsync(options);
    }
    return options;
}

} // namespace

std::optional<Options> ParseOptions(int argc, const char* const* argv) {
    Raw raw;
    Options options;
    CLI::App app("Sends an HTTP request and shows the answer.", "httpclient-send");
    app.footer(FOOTER);
    app.get_formatter()->column_width(34);
    DescribeRequest(app, raw, options);
    DescribeStrict(app, options);
    DescribeOutput(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        std::cout << app.help();
        return std::nullopt;
    } catch (const CLI::ParseError& problem) {
        throw UsageError(problem.what());
    }
    return Evaluate(raw, std::move(options));
}

} // namespace sender
