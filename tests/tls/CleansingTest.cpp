// SPDX-License-Identifier: Apache-2.0
// Watches every block that operator delete gets back while a TLS connection is made and ended: none may still
// hold the key's password. What libcurl keeps for the connection's life is its own.
#include <malloc.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <new>

#include <gtest/gtest.h>

#include "pool/HttpsConnection.h"
#include "setting/Log.h"
#include "setting/Secrets.h"
#include "setting/TlsSetting.h"

namespace {

constexpr const char* NAME = "of-the-password-which-is-long-enough-to-live-on-the-heap";

std::atomic<bool> g_watching{false};
std::atomic<int> g_blocks{0};
std::atomic<int> g_leaks{0};

void Inspect(void* block) {
    if (block == nullptr || !g_watching)
        return;
    ++g_blocks;
    // A part is a leak as well, so that only the start is looked for.
    if (memmem(block, malloc_usable_size(block), NAME, 16) != nullptr)
        ++g_leaks;
}

} // namespace

// calloc, so that looking at a block's unwritten end is well defined.
void* operator new(std::size_t size) {
    void* const block = std::calloc(1, size == 0 ? 1 : size);
    if (block == nullptr)
        throw std::bad_alloc();
    return block;
}
void operator delete(void* block) noexcept {
    Inspect(block);
    std::free(block);
}
void operator delete(void* block, std::size_t /*size*/) noexcept {
    operator delete(block);
}

TEST(TlsCleansing, ThePasswordLeavesNothingBehindInMemoryThatIsGivenBack) {
    const TlsSetting tls;
    tls.root().Replace("manifest.json", httpclient::testing::Manifest(TlsSetting::Encrypted(Secret(NAME))));
    StartLog();
    g_watching = true;
    { const CHttpsConnection connection("127.0.0.1", 443); }
    g_watching = false;
    EXPECT_EQ(Logged(), Lines{}) << "the password is had";
    EXPECT_GT(g_blocks, 10);
    EXPECT_EQ(g_leaks, 0);
}

TEST(TlsCleansing, WouldSeeAPasswordThatIsLeftBehind) {
    const int before = g_leaks;
    g_watching = true;
    {
        std::string password;
        password.append("x").append(NAME);
    }
    g_watching = false;
    EXPECT_EQ(g_leaks, before + 1);
}
