#pragma once

#include "Platform/Fastlog/Duallog.h"

/// Traces `expression`, a chain like `"label: " << label`, at `level`. A unit that traces has
///
///     namespace {
///     Fastlog::Facility traceFacility("SrTePolicySegmentSm");
///     }
///
/// While the level is off this costs one load and one test: `expression` is not evaluated.
// NOLINTBEGIN(bugprone-macro-parentheses): the expression goes on the chain.
#define SRTE_TRACE(level, expression)                              \
    do {                                                           \
        if (traceFacility.enabled(level)) [[unlikely]] {           \
            ::Duallog::Line srteTraceLine(traceFacility, (level)); \
            srteTraceLine << expression;                           \
        }                                                          \
    } while (false)
// NOLINTEND(bugprone-macro-parentheses)
