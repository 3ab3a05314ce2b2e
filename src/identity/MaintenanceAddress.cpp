// SPDX-License-Identifier: Apache-2.0
#include "identity/MaintenanceAddress.h"

#include <ovexcommon/SysConfReader.h>

#include "support/Cancellation.h"

/// The platform may read a file for it, which a cancellation would not leave whole.
std::string MaintenanceAddress() {
    const CancellationBlock block;
    return Ovexcommon::SysConfReader::Instance()->getMaintenanceIPAddress();
}
