// SPDX-License-Identifier: Apache-2.0
#include "TracingLibrary.h"

#include <ovexcommon/TraceClient.h>

void LogFromLibrary(int level, const char* text, int number) {
    Ovexcommon::TraceClient* const trace = Ovexcommon::TraceClient::Instance();
    if (trace->checkValid(level, 1)) {
        trace->trace(level, 1, trace->setBody("%s %d", text, number));
    }
}
