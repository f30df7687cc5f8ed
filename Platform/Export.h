#pragma once

/// Marks a class or a function that users of libSrTePolicy.so may name. Everything else stays
/// hidden, so that the library can change its inside without breaking them.
#define SRTE_EXPORT __attribute__((visibility("default")))
