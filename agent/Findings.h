#pragma once

#include <compare>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "agent/InputError.h"

namespace Agent {

/// A place in the input; both count from 1.
struct Mark {
    int line = 0;
    int column = 0;

    friend auto operator<=>(Mark const&, Mark const&) = default;
};

/// Collects what is wrong with one input, so that all of it is reported at once.
class Findings {
public:
    explicit Findings(std::string fileName) : fileName_(std::move(fileName)) {}

    void add(Mark mark, std::string message);
    /// Throws InputError with everything found, in the order of the file, unless that is nothing.
    void throwIfAny() const;

private:
    std::string const fileName_;
    std::vector<Diagnostic> found_;
};

/// Of `known`, the word that `word` was probably meant to be, as a question: ", did you mean `x`?";
/// empty when none is close.
std::string didYouMean(std::string_view word, std::vector<std::string> const& known);

/// `words` between grave accents, separated by commas.
std::string quotedList(std::vector<std::string> const& words);

}  // namespace Agent
