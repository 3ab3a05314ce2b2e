// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>

#include <grp.h>
#include <sys/stat.h>

#include "Commands.h"
#include "Encrypt.h"
#include "Failure.h"
#include "Files.h"
#include "KeyFileOption.h"
#include "Manifest.h"
#include "Password.h"
#include "Pem.h"
#include "StagedDirectory.h"
#include "TestCertificates.h"
#include "TlsRoot.h"

namespace {

constexpr const char* TEST_SERVER_DIRECTORY = "test-server";
constexpr int DEFAULT_DAYS = 365;
constexpr int MOST_DAYS = 36500;

struct LayoutOptions {
    std::string root;
    std::string ca;
    std::string certificate;
    std::string key;
    std::string group;
    bool selfSigned = false;
    bool passwordFromInput = false;
    std::vector<std::string> hosts = {"localhost", "127.0.0.1", "::1"};
    int days = DEFAULT_DAYS;
};

/// What a TLS root holds, as PEM, and the password of its key.
struct Content {
    std::string ca;
    std::string certificate;
    std::string key;
    Secret password;
};

ReaderGroup GroupNamed(const std::string& name) {
    if (name.empty()) {
        return std::nullopt;
    }
    const group* entry = getgrnam(name.c_str());
    if (entry == nullptr) {
        throw Failure("no such group: " + name);
    }
    return entry->gr_gid;
}

void MakeRoot(const std::string& root) {
    if (mkdir(root.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
        throw Failure::FromErrno(root);
    }
}

std::vector<ossl::Certificate> Certificates(const std::string& text, const std::string& path) {
    std::vector<ossl::Certificate> certificates = pem::ReadCertificates(text);
    if (certificates.empty()) {
        throw Failure(path + ": holds no readable PEM certificate");
    }
    return certificates;
}

/// The operator's key under the operator's password. A key without one gets one on its way in.
ossl::Key TakeKey(const std::string& path, Content& content) {
    content.key = ReadFile(path);
    const bool encrypted = pem::IsKeyEncrypted(content.key);
    content.password = ReadPassword(!encrypted);
    ossl::Key key = pem::ReadKey(content.key, content.password);
    if (!key) {
        throw Failure(path + (encrypted ? ": the password does not open the key, or it is no PEM key"
                                        : ": holds no readable PEM private key"));
    }
    if (!encrypted) {
        Secret::Wipe(content.key);
        content.key = pem::Write(key.get(), content.password);
    }
    return key;
}

/// Takes the operator's files, provided that they fit together.
Content TakeFiles(const LayoutOptions& options) {
    Content content;
    content.ca = ReadFile(options.ca);
    content.certificate = ReadFile(options.certificate);
    const auto trusted = Certificates(content.ca, options.ca);
    const auto chain = Certificates(content.certificate, options.certificate);
    std::string why;
    if (!pem::ChainsTo(trusted, chain, why)) {
        throw Failure(options.certificate + ": does not chain to " + options.ca + ": " + why);
    }
    const ossl::Key key = TakeKey(options.key, content);
    if (X509_check_private_key(chain[0].get(), key.get()) != 1) {
        throw Failure(options.key + ": is not the key of " + options.certificate);
    }
    return content;
}

/// Takes the TLS root's own identity from a CA for tests.
Content IssueContent(const LayoutOptions& options, const test_certificates::Identity& ca) {
    const auto identity = test_certificates::Issue(ca, "test process", {}, options.days);
    Content content;
    content.password = options.passwordFromInput ? ReadPassword(true) : RandomPassword();
    content.ca = pem::Write(ca.certificate.get());
    content.certificate = pem::Write(identity.certificate.get());
    content.key = pem::Write(identity.key.get(), content.password);
    return content;
}

void FillRoot(const StagedDirectory& directory, const Content& content) {
    directory.Add(tls_root::CA_FILE, content.ca);
    directory.Add(tls_root::CERTIFICATE_FILE, content.certificate);
    directory.Add(tls_root::KEY_FILE, content.key);
    directory.Add(tls_root::MANIFEST_FILE, manifest::New(EncryptedPassword(content.password)));
}

/// A server for tests starts unattended, and so its key has no password.
void FillTestServer(const StagedDirectory& directory, const LayoutOptions& options,
                    const test_certificates::Identity& ca) {
    const auto identity = test_certificates::Issue(ca, "test server", options.hosts, options.days);
    directory.Add(tls_root::CA_FILE, pem::Write(ca.certificate.get()));
    directory.Add(tls_root::CERTIFICATE_FILE, pem::Write(identity.certificate.get()));
    directory.Add(tls_root::KEY_FILE, pem::Write(identity.key.get(), Secret()));
}

void LayOutFiles(const LayoutOptions& options, ReaderGroup readers) {
    const Content content = TakeFiles(options);
    MakeRoot(options.root);
    StagedDirectory internal(options.root, tls_root::DIRECTORY, readers);
    FillRoot(internal, content);
    internal.Commit();
}

void LayOutSelfSigned(const LayoutOptions& options, ReaderGroup readers) {
    // The CA's key is never written: nothing can be issued in its name later.
    const test_certificates::Identity ca = test_certificates::MakeCa("test CA", options.days);
    MakeRoot(options.root);
    StagedDirectory internal(options.root, tls_root::DIRECTORY, readers);
    StagedDirectory server(options.root, TEST_SERVER_DIRECTORY, readers);
    FillRoot(internal, IssueContent(options, ca));
    FillTestServer(server, options, ca);
    server.Commit();
    internal.Commit();
}

void LayOut(const LayoutOptions& options) {
    RequireMasterKey();
    const ReaderGroup readers = GroupNamed(options.group);
    if (options.selfSigned) {
        LayOutSelfSigned(options, readers);
    } else {
        LayOutFiles(options, readers);
    }
    std::cout << "laid out " << options.root << '/' << tls_root::DIRECTORY << '\n';
    if (options.selfSigned) {
        std::cout << "laid out " << options.root << '/' << TEST_SERVER_DIRECTORY << " for a test server\n";
    }
    std::cout << "name " << options.root << " to the processes with SSL_ROOT\n";
}

} // namespace

void AddLayout(CLI::App& app) {
    CLI::App* command = app.add_subcommand(
        "layout", "Lay out a TLS root: its directory \"internal\" with certificates, key and manifest");
    const auto options = std::make_shared<LayoutOptions>();
    command
        ->add_option("ROOT", options->root, "The TLS root, made when missing; default: the value of SSL_ROOT")
        ->envname("SSL_ROOT")
        ->required();
    CLI::Option* selfSigned = command->add_flag(
        "--self-signed", options->selfSigned,
        "Make a CA, the root's own certificate and one for a test server, all for tests only");
    CLI::Option* ca = command->add_option("--ca", options->ca, "The trusted CA certificates, PEM");
    CLI::Option* certificate = command->add_option("--cert", options->certificate,
                                                   "The process's certificate, its chain after it, PEM");
    CLI::Option* key = command->add_option(
        "--key", options->key, "Its private key, PEM; its password is read from standard input or asked for");
    for (CLI::Option* file : {ca, certificate, key}) {
        file->type_name("FILE")->excludes(selfSigned);
    }
    command->add_option("--group", options->group, "Let this group read the files (0640, directories 0750)")
        ->type_name("NAME");
    command
        ->add_flag("--password-stdin", options->passwordFromInput,
                   "With --self-signed: read or ask for the key's password instead of making a random one")
        ->needs(selfSigned);
    command
        ->add_option("--host", options->hosts,
                     "With --self-signed: a name or address of the test server; may be repeated")
        ->type_name("NAME")
        ->needs(selfSigned)
        ->capture_default_str();
    command->add_option("--days", options->days, "With --self-signed: days until the certificates expire")
        ->type_name("N")
        ->needs(selfSigned)
        ->check(CLI::Range(1, MOST_DAYS))
        ->capture_default_str();
    AddKeyFileOption(*command);
    command->callback([options, ca, certificate, key] {
        if (!options->selfSigned && !(*ca && *certificate && *key)) {
            throw CLI::RequiredError("--self-signed, or all of --ca, --cert and --key");
        }
        LayOut(*options);
    });
}
