// SPDX-License-Identifier: Apache-2.0
/// @file
/// One measurement.
#pragma once

#include <functional>
#include <vector>

#include "Crowd.h"
#include "Figures.h"
#include "Results.h"
#include "Works.h"

/// Has a crowd do a work, for a time where the work has none of its own. Connections are there before what is measured,
/// unless new ones are the work.
Figures Measure(const CrowdKind& kind, const Work& work, double seconds, const CrowdTarget& target);

/// As Measure(), in a process of its own, so that its memory and its time are its alone; and against a server of its own:
/// the ports that the one before has left would be looked through for each connection. When the process fails there are
/// no figures but an error, and its words go to standard error.
Figures MeasureApart(const CrowdKind& kind, const Work& work, double seconds);

/// @return whether a crowd can do a work.
bool CanDo(const CrowdKind& kind, const Work& work);

/// Interleaved rounds of all that can do a work.
/// @param measure one round of one of them, told which one before.
WorkResults Compare(const Work& work, const std::vector<CrowdKind>& crowds, int rounds,
                    const std::function<Figures(const CrowdKind& kind)>& measure);
