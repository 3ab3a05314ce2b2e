// SPDX-License-Identifier: Apache-2.0
#include <iostream>

#include "Commands.h"
#include "ExitCode.h"
#include "Failure.h"

namespace {

constexpr const char* DESCRIPTION =
    "Sets up and checks the TLS files and the service identity files of a server process.";

constexpr const char* EXIT_CODES =
    "Exit codes:\n"
    "  0   done; for check: all is well\n"
    "  1   check found warnings, but no errors\n"
    "  2   check found errors\n"
    "  3   the command could not do its work\n"
    "  64  the command line is wrong\n"
    "\n"
    "A password is read from standard input or asked for on the terminal. It is\n"
    "never an argument, where every user of the host could read it.\n";

int Run(int argc, char** argv) {
    CLI::App app(DESCRIPTION, "ovex-tls");
    app.set_version_flag("--version", std::string("ovex-tls ") + OVEX_TLS_VERSION);
    app.footer(EXIT_CODES);
    app.require_subcommand(1);

    int exitCode = EXIT_WELL;
    AddInitKey(app);
    AddEncrypt(app);
    AddLayout(app);
    AddCheck(app, exitCode);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ExtrasError&) {
        // The text of this error repeats the argument, which may be a password typed in the wrong place.
        std::cerr << "ovex-tls: unexpected argument; a password is never taken from the command line\n";
        return EXIT_MISUSED;
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? EXIT_WELL : EXIT_MISUSED;
    }
    return exitCode;
}

} // namespace

int main(int argc, char** argv) {
    try {
        return Run(argc, argv);
    } catch (const std::exception& error) {
        std::cerr << "ovex-tls: " << error.what() << '\n';
    }
    return EXIT_FAILED;
}
