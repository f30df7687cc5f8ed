#include "agent/Rounding.h"

namespace Agent::Topohub {

std::string percentText(std::int64_t part, std::int64_t whole) {
    auto const hundredths = roundedQuotient(part * 10000, whole);
    auto text = std::to_string(hundredths / 100);
    if (auto const decimals = hundredths % 100; decimals != 0) {
        text += decimals < 10 ? ".0" : ".";
        text += std::to_string(decimals % 10 == 0 ? decimals / 10 : decimals);
    }
    return text + " %";
}

}  // namespace Agent::Topohub
