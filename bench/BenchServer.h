// SPDX-License-Identifier: Apache-2.0
/// @file
/// The server that all benchmarks share.
#pragma once

class TlsServer;

/// @return the server; it runs as long as the benchmarks do.
const TlsServer& BenchServer();
