#include "agent/TextTable.h"

#include <algorithm>

namespace Agent {

void TextTable::print(std::ostream& out) const {
    std::vector<std::size_t> widths;
    for (auto const& line : lines_) {
        if (widths.size() < line.size()) widths.resize(line.size());
        for (std::size_t i = 0; i < line.size(); ++i)
            widths[i] = std::max(widths[i], line[i].size());
    }
    for (auto const& line : lines_) {
        std::string text = indent_;
        for (std::size_t i = 0; i < line.size(); ++i) {
            text += line[i];
            if (i + 1 < line.size()) text.append(widths[i] - line[i].size() + 2, ' ');
        }
        text.erase(text.find_last_not_of(' ') + 1);
        out << text << '\n';
    }
}

}  // namespace Agent
