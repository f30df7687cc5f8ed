#include "agent/Findings.h"

#include <algorithm>
#include <numeric>
#include <tuple>

namespace Agent {

namespace {

/// Insertions, deletions, replacements and swaps of neighbors that turn `a` into `b`.
std::size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> beforeLast, last(b.size() + 1), row(b.size() + 1);
    std::iota(last.begin(), last.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            auto const replaced = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            row[j] = std::min({replaced, last[j] + 1, row[j - 1] + 1});
            bool const swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
            if (swapped) row[j] = std::min(row[j], beforeLast[j - 2] + 1);
        }
        beforeLast = std::exchange(last, row);
    }
    return last[b.size()];
}

}  // namespace

void Findings::add(Mark mark, std::string message) {
    found_.push_back({fileName_, mark.line, mark.column, std::move(message)});
}

void Findings::throwIfAny() const {
    if (found_.empty()) return;
    auto sorted = found_;
    auto const place = [](Diagnostic const& found) {
        return std::tie(found.line, found.column, found.message);
    };
    std::sort(sorted.begin(), sorted.end(),
              [&](auto const& a, auto const& b) { return place(a) < place(b); });
    // A record is judged again by every event that names it.
    sorted.erase(std::unique(sorted.begin(), sorted.end()), sorted.end());
    throw InputError(std::move(sorted));
}

std::string didYouMean(std::string_view word, std::vector<std::string> const& known) {
    std::string const* closest = nullptr;
    auto distance = word.size() > 3 ? std::size_t{3} : std::size_t{2};  // the first too far
    for (auto const& candidate : known) {
        auto const d = editDistance(word, candidate);
        if (d >= distance || d >= candidate.size()) continue;
        distance = d;
        closest = &candidate;
    }
    return closest ? ", did you mean `" + *closest + "`?" : std::string();
}

std::string quotedList(std::vector<std::string> const& words) {
    std::string text;
    for (auto const& word : words) text += (text.empty() ? "`" : ", `") + word + "`";
    return text;
}

}  // namespace Agent
