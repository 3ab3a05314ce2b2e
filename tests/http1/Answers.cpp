// SPDX-License-Identifier: Apache-2.0
#include "Answers.h"

#include <tuple>

namespace httpclient::http1 {

bool Reading::operator==(const Reading& other) const {
    if (error != GrammarError{} || other.error != GrammarError{}) {
        return error == other.error; // what was read before does not matter
    }
    return std::tie(status, fields, body, keepAlive, surplus) ==
           std::tie(other.status, other.fields, other.body, other.keepAlive, other.surplus);
}

Answer&& Answer::Gives(int status, FieldList fields, std::string body) && {
    expected.status = status;
    expected.fields = std::move(fields);
    expected.body = std::move(body);
    expected.keepAlive = true;
    return std::move(*this);
}

Answer&& Answer::Fails(GrammarError error) && {
    expected.error = error;
    return std::move(*this);
}

Answer&& Answer::Closing() && {
    expected.keepAlive = false;
    return std::move(*this);
}

Answer&& Answer::Leaving(std::size_t surplus) && {
    expected.surplus = surplus;
    return std::move(*this);
}

Answer&& Answer::To(Method asked) && {
    method = asked;
    return std::move(*this);
}

Answer&& Answer::Torn() && {
    clean = false;
    return std::move(*this);
}

Answer&& Answer::Undecoded() && {
    decode = false;
    return std::move(*this);
}

} // namespace httpclient::http1
