#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Agent {

/// Members stay in the order in which they are added.
using Json = nlohmann::ordered_json;

/// What `show` prints for one word: a row for each key, or for the one key that was asked for.
class Rows {
public:
    explicit Rows(std::optional<std::string> key) : key_(std::move(key)) {}

    /// The one key that was asked for, as the table writes it.
    std::optional<std::string> const& key() const { return key_; }
    bool wants(std::string const& key) const { return !key_ || *key_ == key; }
    void add(std::string key, Json row) { rows_.emplace_back(std::move(key), std::move(row)); }

    auto begin() const { return rows_.begin(); }
    auto end() const { return rows_.end(); }
    bool empty() const { return rows_.empty(); }
    std::size_t size() const { return rows_.size(); }

private:
    std::optional<std::string> const key_;
    std::vector<std::pair<std::string, Json>> rows_;
};

}  // namespace Agent
