#pragma once

#include <ostream>

#include "agent/Paint.h"
#include "agent/ShowRows.h"

namespace Agent {

/// The machine's form: `{"schema": "srte/1", "at": "12s", WORD: {KEY: row}}`, a row a line.
/// The rows of `syslog` are an array, as their keys may repeat.
void printJson(std::ostream& out, std::string const& at, std::string const& word, Rows const& rows);

/// A person's form: policies with their candidates and lists, gRIBI's entries by their kinds,
/// anything else as a table.
void printText(std::ostream& out, std::string const& word, Rows const& rows, Paint const& paint);

/// "63.29 %  to-KSCYng 10.0.0.25  24014 24017": a line for each of the paths of `trace`.
void printPaths(std::ostream& out, std::string const& indent, Json const& paths);

}  // namespace Agent
