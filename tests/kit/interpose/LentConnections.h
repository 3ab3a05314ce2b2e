// SPDX-License-Identifier: Apache-2.0
/// @file
/// Watches what the pool lends: link httpclient_interpose_lent, and each test that leaves a connection lent
/// out fails.
#pragma once

namespace httpclient::testing {

/// The connections that the pool has lent and not yet been given back, whether or not it has
/// been finalized since.
class LentConnections {
public:
    /// @return how many there are.
    static long Count();
    /// Lets the running test keep so many: it has lent them itself, to use the pool up say.
    static void Allow(long count);
};

} // namespace httpclient::testing
