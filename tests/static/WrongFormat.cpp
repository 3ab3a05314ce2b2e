// SPDX-License-Identifier: Apache-2.0
// What must not compile: a message whose format does not fit its argument.
#include "support/Trace.h"

void LogWrongly() {
    Trace<LogMessage::SynSendUrl>(1); // its text takes a text
}
