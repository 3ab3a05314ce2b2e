// SPDX-License-Identifier: Apache-2.0
#include "setting/HeldPlatform.h"

#include <mutex>

#include <ovexcommon/OvexCommonUtils.h>
#include <vorncipher/VornCipher.h>

#include "interpose/Next.h"

using httpclient::testing::Next;

namespace {

struct State {
    std::mutex mutex;
    bool held = false;
    std::vector<HeldPlatform::Decryption> decryptions;
    std::optional<std::pair<int, std::string>> answer;
    std::function<void()> onDecryption;
    std::vector<std::string> variables;
};

State& TheState() {
    static auto* const state = new State;
    return *state;
}

} // namespace

HeldPlatform::HeldPlatform() {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().held = true;
}

HeldPlatform::~HeldPlatform() {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().held = false;
    TheState().decryptions.clear();
    TheState().answer.reset();
    TheState().onDecryption = nullptr;
    TheState().variables.clear();
}

void HeldPlatform::AnswerDecryption(int status, const std::string& plainText) {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().answer.emplace(status, plainText);
}

void HeldPlatform::OnDecryption(std::function<void()> function) {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    TheState().onDecryption = std::move(function);
}

std::vector<HeldPlatform::Decryption> HeldPlatform::Decryptions() const {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    return TheState().decryptions;
}

std::vector<std::string> HeldPlatform::VariablesRead() const {
    const std::lock_guard<std::mutex> lock(TheState().mutex);
    return TheState().variables;
}

int VornCipher::Decrypt(const std::string& cipherText, std::string& plainText, VornCipherKey key,
                        unsigned int value) {
    static auto* const next = Next<int(const std::string&, std::string&, VornCipherKey, unsigned int)>(
        "_ZN10VornCipher7DecryptERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEERS5_13VornCipherKeyj");
    std::optional<std::pair<int, std::string>> answer;
    std::function<void()> onDecryption;
    {
        State& state = TheState();
        const std::lock_guard<std::mutex> lock(state.mutex);
        if (state.held) {
            state.decryptions.push_back({cipherText, plainText, key, value, std::this_thread::get_id()});
        }
        answer = state.answer;
        onDecryption = state.onDecryption;
    }
    if (onDecryption) {
        onDecryption();
    }
    if (!answer) {
        return next(cipherText, plainText, key, value);
    }
    plainText = answer->second;
    return answer->first;
}

std::string OvexCommonUtils::Ovexgetenv(const std::string& name) {
    static auto* const next = Next<std::string(const std::string&)>(
        "_ZN15OvexCommonUtils10OvexgetenvERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");
    {
        State& state = TheState();
        const std::lock_guard<std::mutex> lock(state.mutex);
        if (state.held) {
            state.variables.push_back(name);
        }
    }
    return next(name);
}
