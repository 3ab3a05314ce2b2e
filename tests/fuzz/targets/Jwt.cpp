// SPDX-License-Identifier: Apache-2.0
// The credential's file.
#include "../Require.h"
#include "../Surroundings.h"
#include "../Target.h"
#include "Identity.h"

void FuzzJwt(std::string_view input) {
    Surroundings::Instance().WriteJwt(input);
    const Identity identity = MakeIdentity();
    StartLog();
    const int result = identity->LoadJWTFile();
    const std::vector<std::string> log = Logged();
    Require(log.size() == 1, "one message tells the outcome");
    if (result == 0) {
        // The whole text is compared, so that nothing of the credential can be in it.
        Require(log[0] == "[3] load jwt_fuzz.json successfully, jwt length: " +
                              std::to_string(identity->GetJwt().size()),
                "the message tells the length alone");
        return;
    }
    Require(result == -1 && (log[0] == "[5] load jwt_fuzz.json failed." ||
                             log[0] == "[5] parse jwt_fuzz.json catch an exception."),
            "a failure has its message");
    Require(identity->GetJwt().empty(), "a failure leaves no credential");
}
