// SPDX-License-Identifier: Apache-2.0
// Where the TLS files are looked for.
#include <type_traits>
#include <utility>

#include <dlfcn.h>

#include "TlsTest.h"
#include "pool/HttpsConnection.h"
#include "setting/HeldPlatform.h"
#include "setting/OpenedFiles.h"

using namespace httpclient::testing;

namespace {

class SslPath : public TlsTest {
protected:
    const CHttpsConnection m_connection{"127.0.0.1", 443};
};

/// Points the name of the variable elsewhere, as a host may.
class VariableName {
public:
    explicit VariableName(const char* name) : m_former(std::exchange(SSL_ROOT, name)) {}
    ~VariableName() { SSL_ROOT = m_former; }
    VariableName(const VariableName&) = delete;
    VariableName& operator=(const VariableName&) = delete;

private:
    const char* m_former;
};

/// @return the paths that a new connection opens under a root.
Lines OpenedUnder(const std::string& root) {
    const ScopedEnvironment variable("SSL_ROOT", root);
    const OpenedFiles opened;
    const CHttpsConnection connection("127.0.0.1", 443);
    return opened.Paths();
}

} // namespace

TEST_F(SslPath, IsNamedByTheVariableSslRoot) {
    EXPECT_STREQ(SSL_ROOT, "SSL_ROOT");
    static_assert(std::is_same_v<decltype(SSL_ROOT), const char*>); // a pointer that hosts may set
    EXPECT_NE(dlsym(RTLD_NEXT, "SSL_ROOT"), nullptr);
}

TEST_F(SslPath, EndsInASlashOfItsOwnOrAnAddedOne) {
    const std::pair<const char*, const char*> rows[] = {
        {"/opt/x", "/opt/x/"},
        {"/opt/x/", "/opt/x/"},
        {"/opt/x//", "/opt/x//"},
        {"/", "/"},
        {"x", "x/"},
        {".", "./"},
        {" ", " /"},
        {"/opt/x\\", "/opt/x\\/"},
    };
    for (const auto& [value, path] : rows) {
        const ScopedEnvironment variable("SSL_ROOT", value);
        EXPECT_EQ(m_connection.GetSslPath(), path);
    }
}

TEST_F(SslPath, IsEmptyWhenTheVariableIsUnsetOrEmpty) {
    {
        const ScopedEnvironment unset("SSL_ROOT");
        EXPECT_EQ(m_connection.GetSslPath(), "");
    }
    const ScopedEnvironment empty("SSL_ROOT", "");
    EXPECT_EQ(m_connection.GetSslPath(), "");
}

TEST_F(SslPath, IsReadAgainEachTime) {
    const ScopedEnvironment first("SSL_ROOT", "/first");
    EXPECT_EQ(m_connection.GetSslPath(), "/first/");
    const ScopedEnvironment second("SSL_ROOT", "/second");
    EXPECT_EQ(m_connection.GetSslPath(), "/second/");
}

TEST_F(SslPath, IsReadFromAnotherVariableWhenAHostSaysSo) {
    const ScopedEnvironment other("MY_TLS_FILES", "/elsewhere");
    const VariableName name("MY_TLS_FILES");
    EXPECT_EQ(m_connection.GetSslPath(), "/elsewhere/");
    const OpenedFiles opened;
    const CHttpsConnection connection("127.0.0.1", 443);
    EXPECT_EQ(opened.Paths(), Lines{"/elsewhere//internal/manifest.json"});
}

TEST_F(SslPath, IsNotReadThroughThePlatform) {
    const HeldPlatform platform;
    EXPECT_EQ(Connect(), Lines{});
    EXPECT_EQ(platform.VariablesRead(), Lines{});
}

TEST_F(SslPath, OfTheManifestHoldsADoubledSlashAfterTheRoot) {
    EXPECT_EQ(OpenedUnder("/opt/x"), Lines{"/opt/x//internal/manifest.json"});
    EXPECT_EQ(OpenedUnder("/opt/x/"), Lines{"/opt/x//internal/manifest.json"});
    EXPECT_EQ(OpenedUnder("x"), Lines{"x//internal/manifest.json"});
}

TEST_F(SslPath, OfTheManifestIsAbsoluteWithoutARoot) {
    EXPECT_EQ(OpenedUnder(""), Lines{"/internal/manifest.json"});
    const ScopedEnvironment unset("SSL_ROOT");
    const OpenedFiles opened;
    const CHttpsConnection connection("127.0.0.1", 443);
    EXPECT_EQ(opened.Paths(), Lines{"/internal/manifest.json"});
}

TEST_F(SslPath, OfTheManifestIsOpenedOncePerConnection) {
    const OpenedFiles opened;
    Connect();
    Connect();
    const std::string path = m_tls.root().path() + "//internal/manifest.json";
    EXPECT_EQ(opened.Paths(), (Lines{path, path}));
}
