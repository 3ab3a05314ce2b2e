// SPDX-License-Identifier: Apache-2.0
/// @file
/// Takes a whole head apart.
#pragma once

#include "http1/GrammarError.h"
#include "http1/HeadFacts.h"
#include "http1/ResponseHead.h"

namespace httpclient::http1 {

/// Takes apart the text of a head that HeadCollector gathered.
/// @param[in,out] head its text is there; gets status and fields.
/// @param[out] facts gets what the fields say.
/// @return 0, or what is wrong.
GrammarError ParseHead(ResponseHead& head, HeadFacts& facts);

/// Makes Beast's table of field names, which the first head that is parsed makes otherwise.
void MakeFieldTable();

} // namespace httpclient::http1
