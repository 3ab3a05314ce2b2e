// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <iostream>
#include <memory>

#include "Commands.h"
#include "Failure.h"
#include "KeyFileOption.h"
#include "check/Checks.h"
#include "check/RuntimeUser.h"

namespace {

constexpr int DEFAULT_WARN_DAYS = 30;
constexpr int MOST_WARN_DAYS = 36500;

struct CheckOptions {
    std::string user;
    int warnDays = DEFAULT_WARN_DAYS;
    std::vector<std::string> serverNames;
    bool json = false;
};

/// What a process finds in its environment can be given as an option, too.
struct EnvironmentOption {
    const char* option;
    const char* variable;
    const char* description;
};

constexpr EnvironmentOption ENVIRONMENT_OPTIONS[] = {
    {"--ssl-root", "SSL_ROOT", "The TLS root"},
    {"--app-root", "APP_ROOT", "The application's root directory"},
    {"--app-name", "APP_NAME", "The application's name"},
    {"--service-identity", "enableServiceIdentity", "The switch of the service identity"},
    {"--maintenance-ip", "OVEX_MAINTENANCE_IP", "The host's maintenance address"},
};

/// Adds the options. Their values go into the environment, so that the checks
/// read what a process reads.
void AddEnvironmentOptions(CLI::App& command) {
    for (const EnvironmentOption& option : ENVIRONMENT_OPTIONS) {
        const char* variable = option.variable;
        command
            .add_option_function<std::string>(
                option.option, [variable](const std::string& value) { setenv(variable, value.c_str(), 1); },
                std::string(option.description) + "; default: the value of " + variable)
            ->type_name("TEXT");
    }
}

int RunChecks(const CheckOptions& options) {
    if (!options.user.empty()) {
        BecomeUser(options.user);
    }
    Inspection inspection;
    inspection.warnDays = options.warnDays;
    inspection.serverNames = options.serverNames;
    for (const Check& check : AllChecks()) {
        inspection.report.Begin(check.name);
        try {
            check.run(inspection);
        } catch (const Failure& failure) { // one check that cannot go on does not stop the others
            inspection.report.Error(failure.what());
        }
    }
    if (options.json) {
        inspection.report.WriteJson(std::cout);
    } else {
        inspection.report.WriteText(std::cout);
    }
    return inspection.report.ExitCode();
}

} // namespace

void AddCheck(CLI::App& app, int& exitCode) {
    CLI::App* command = app.add_subcommand("check", "Look a deployment over before a process "
                                                    "starts, and say what it would do");
    const auto options = std::make_shared<CheckOptions>();
    AddEnvironmentOptions(*command);
    AddKeyFileOption(*command);
    command->add_option("--user", options->user, "Check as this user, who is to run the process (needs root)")
        ->type_name("NAME");
    command
        ->add_option("--warn-days", options->warnDays, "Warn of certificates that expire within so many days")
        ->type_name("N")
        ->check(CLI::Range(0, MOST_WARN_DAYS))
        ->capture_default_str();
    command
        ->add_option("--server-name", options->serverNames,
                     "A host name or an address that clients know this process by; may come more than once")
        ->type_name("NAME");
    command->add_flag("--json", options->json, "Write the report as JSON");
    command->callback([options, &exitCode] { exitCode = RunChecks(*options); });
}
