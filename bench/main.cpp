#include <charconv>
#include <cstdio>
#include <map>
#include <optional>
#include <string_view>

#include "bench/Benches.h"

namespace {

using Sizes = std::vector<std::uint32_t>;

struct Suite {
    void (*run)(Sizes const&);
    Sizes sizes;  ///< unless others are given
};

std::map<std::string_view, Suite> const benches{
    {"policies", {Bench::benchPolicies, {10'000, 100'000, 1'000'000}}},
    {"sbfd", {Bench::benchSbfd, {1'000, 10'000, 100'000}}},
    {"gribi", {Bench::benchGribi, {10'000, 100'000, 1'000'000}}},
};

std::optional<std::uint32_t> parseSize(std::string_view text) {
    std::uint32_t value = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value == 0) return std::nullopt;
    return value;
}

int usage() {
    std::fputs("usage: srte_bench [policies|sbfd|gribi] [SIZE ...]   (default: all of them)\n",
               stderr);
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 1) {
        for (auto const& [name, bench] : benches) bench.run(bench.sizes);
        return 0;
    }
    auto const chosen = benches.find(argv[1]);
    if (chosen == benches.end()) return usage();
    Sizes sizes;
    for (int i = 2; i < argc; ++i) {
        auto const size = parseSize(argv[i]);
        if (!size) return usage();
        sizes.push_back(*size);
    }
    chosen->second.run(sizes.empty() ? chosen->second.sizes : sizes);
    return 0;
}
