// SPDX-License-Identifier: Apache-2.0
/// @file
/// The platform's own services on the maintenance network.
#pragma once

class CHttpClient;

/// Has a client talk to them: by TLS, at the maintenance address of this host, which the platform is asked for.
void PointAtMaintenance(CHttpClient& client);
