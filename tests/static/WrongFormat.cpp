// SPDX-License-Identifier: Apache-2.0
// What must not compile: a message whose format does not fit its argument.
#include "support/Trace.h"

void LogWrongly() {
    Trace(TraceLevel::Error, "a number: %d", "a text");
}
