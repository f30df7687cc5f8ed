// Empty on purpose: a precompiled header needs a target with a source to be made for.
