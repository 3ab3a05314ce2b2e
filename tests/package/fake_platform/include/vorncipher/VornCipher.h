// SPDX-License-Identifier: Apache-2.0
#pragma once
#include <string>
enum VornCipherKey : int { SOME_KEY = 1 };
class VornCipher {
public:
    static int Decrypt(const std::string& cipherText, std::string& plainText, VornCipherKey key,
                       unsigned int value);
};
