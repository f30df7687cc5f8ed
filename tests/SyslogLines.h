#pragma once
#include "tests/support/Captures.h"
