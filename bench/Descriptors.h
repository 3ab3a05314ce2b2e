// SPDX-License-Identifier: Apache-2.0
/// @file
/// Room for many connections.
#pragma once

/// Raises this process's limit of descriptors as far as it may; for many a login it is 1,024 at first.
void RaiseDescriptorLimit();

int DescriptorLimit();
int OpenDescriptorsNow();
