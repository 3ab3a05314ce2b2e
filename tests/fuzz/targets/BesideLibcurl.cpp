// SPDX-License-Identifier: Apache-2.0
// The same bytes of a server to the engine's reader and to libcurl: where the engine has an answer, libcurl has the same
// one. The engine is the stricter of the two, and never the other way round.
#include "../Difference.h"
#include "../Input.h"
#include "../Require.h"
#include "../Target.h"
#include "http1/AnswerDelivery.h"

using namespace httpclient;
using namespace httpclient::http1;

void FuzzBesideLibcurl(std::string_view input) {
    constexpr Method METHODS[] = {Method::Get, Method::Head, Method::Delete, Method::Options};
    Input fields(input);
    const unsigned choices = fields.Byte();
    Answer answer("", fields.Rest());
    answer.method = METHODS[choices % 4];
    answer.decode = (choices & 4U) == 0;

    const Reading reading = Deliver(answer, Whole(), Taking::Kept);
    if (reading.error != GrammarError{}) {
        return; // the engine is the stricter
    }
    const std::string difference = DifferenceFrom(ReadByLibcurl(answer), answer, reading);
    Require(difference.empty(), difference.c_str());
}
