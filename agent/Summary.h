#pragma once

#include <ostream>
#include <string>

#include "agent/Paint.h"
#include "agent/Run.h"

namespace Agent {

/// What `run` tells a person: how the policies came up, what changed at each event, what is down
/// and why, and which expectations failed. `notes` are the file's own about what it leaves out.
void printSummary(std::ostream& out, std::string const& fileName, std::string const& notes,
                  Run const& run, Paint const& paint);

/// The same for a program.
void printSummaryJson(std::ostream& out, std::string const& fileName, Run const& run);

/// Of the comments at the head of a scenario, what it says to be left out and why; mostly nothing.
std::string leftOutNotes(std::string const& scenarioText);

}  // namespace Agent
