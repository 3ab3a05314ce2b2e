// SPDX-License-Identifier: Apache-2.0
/// @file
/// Holds the platform's cipher and its reading of the environment.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

/// While it lives, notes what the library asks of the platform, and can answer in the cipher's place. One at
/// a time.
class HeldPlatform {
public:
    /// One call of the cipher.
    struct Decryption {
        std::string cipherText;
        std::string plainTextBefore; ///< What the plain text held when the cipher was called.
        int key = 0;
        unsigned int value = 0;
        std::thread::id thread;
    };

    HeldPlatform();
    ~HeldPlatform();
    HeldPlatform(const HeldPlatform&) = delete;
    HeldPlatform& operator=(const HeldPlatform&) = delete;

    /// From now on the cipher answers this.
    void AnswerDecryption(int status, const std::string& plainText);

    /// From now on the cipher calls this before it answers.
    void OnDecryption(std::function<void()> function);

    /// @return the calls of the cipher so far, in order.
    std::vector<Decryption> Decryptions() const;
    /// @return the environment variables that were read through the platform so far, in order.
    std::vector<std::string> VariablesRead() const;
};
