// SPDX-License-Identifier: Apache-2.0
#include "Password.h"

#include <array>

#include <unistd.h>

#include <openssl/rand.h>

#include "Failure.h"
#include "Ossl.h"

namespace {

constexpr std::size_t RANDOM_BYTES = 24; // a multiple of three: its base64 has no padding

Secret TextOf(std::string& buffer, std::size_t length) {
    std::string text(buffer, 0, length);
    Secret::Wipe(buffer);
    return Secret(std::move(text));
}

Secret AskOnTerminal(bool twice) {
    const std::size_t room = MAX_PASSWORD + 1; // and the final NUL
    std::string first(room, '\0');
    std::string second(room, '\0');
    const ossl::Ui ui(UI_new_method(UI_OpenSSL()));
    const int longest = static_cast<int>(MAX_PASSWORD);
    if (!ui || UI_add_input_string(ui.get(), "Password: ", 0, first.data(), 1, longest) < 0 ||
        (twice &&
         UI_add_verify_string(ui.get(), "Password: ", 0, second.data(), 1, longest, first.c_str()) < 0)) {
        throw Failure("cannot ask for a password");
    }
    const int answer = UI_process(ui.get());
    Secret::Wipe(second);
    Secret password = TextOf(first, first.find('\0'));
    if (answer != 0) {
        throw Failure(answer == -2 ? "interrupted"
                                   : "no password: it was empty or too long, or the two differ");
    }
    return password;
}

/// Standard input up to its end, or a little more than can be a password.
Secret ReadStandardInput() {
    std::string buffer(MAX_PASSWORD + 3, '\0'); // room for a line end and one byte too many
    std::size_t have = 0;
    while (have < buffer.size()) {
        const ssize_t got = read(STDIN_FILENO, buffer.data() + have, buffer.size() - have);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            Secret::Wipe(buffer);
            throw Failure::FromErrno("standard input");
        }
        if (got == 0) {
            break;
        }
        have += static_cast<std::size_t>(got);
    }
    if (have > 0 && buffer[have - 1] == '\n') {
        --have;
        have -= have > 0 && buffer[have - 1] == '\r' ? 1 : 0;
    }
    return TextOf(buffer, have);
}

} // namespace

const char* PasswordFault(const std::string& password) {
    if (password.empty()) {
        return "the password is empty";
    }
    if (password.size() > MAX_PASSWORD) {
        return "the password is longer than 1023 bytes, which the TLS code cannot take";
    }
    if (password.find_first_of(std::string("\0\r\n", 3)) != std::string::npos) {
        return "the password holds a line end or a NUL byte";
    }
    return nullptr;
}

Secret ReadPassword(bool twice) {
    Secret password = isatty(STDIN_FILENO) != 0 ? AskOnTerminal(twice) : ReadStandardInput();
    const char* fault = PasswordFault(password.Text());
    if (fault != nullptr) {
        throw Failure(fault);
    }
    return password;
}

Secret RandomPassword() {
    std::array<unsigned char, RANDOM_BYTES> bytes{};
    std::array<unsigned char, RANDOM_BYTES / 3 * 4 + 1> text{};
    if (RAND_priv_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) {
        throw Failure("the crypto library has no random bytes");
    }
    const int length = EVP_EncodeBlock(text.data(), bytes.data(), static_cast<int>(bytes.size()));
    Secret password(
        std::string(reinterpret_cast<const char*>(text.data()), static_cast<std::size_t>(length)));
    OPENSSL_cleanse(bytes.data(), bytes.size());
    OPENSSL_cleanse(text.data(), text.size());
    return password;
}
