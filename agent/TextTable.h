#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace Agent {

/// Text in columns as wide as their widest cell. The last column is not filled up.
class TextTable {
public:
    using Line = std::vector<std::string>;

    explicit TextTable(std::string indent = {}) : indent_(std::move(indent)) {}
    void add(Line line) { lines_.push_back(std::move(line)); }
    bool empty() const { return lines_.empty(); }
    void print(std::ostream& out) const;

private:
    std::string const indent_;
    std::vector<Line> lines_;
};

}  // namespace Agent
