#pragma once

#include <string>

namespace Agent {

/// Colours words on a terminal. What a colour says, the word says too.
class Paint {
public:
    explicit Paint(bool on) : on_(on) {}

    std::string good(std::string const& text) const { return in("32", text); }
    std::string bad(std::string const& text) const { return in("31", text); }
    std::string strong(std::string const& text) const { return in("1", text); }

private:
    std::string in(char const* code, std::string const& text) const {
        return on_ ? std::string("\033[") + code + "m" + text + "\033[0m" : text;
    }
    bool const on_;
};

}  // namespace Agent
