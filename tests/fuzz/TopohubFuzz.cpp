#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <sstream>
#include <string>

#include "agent/InputError.h"
#include "agent/Run.h"
#include "agent/ScenarioReader.h"
#include "agent/TopohubImport.h"

// Any bytes are a network or an InputError, and the scenario that is made of a network is one that
// the reader takes and that the agent fulfils.

namespace {

using namespace Agent;

// A router of the network, picked by the last byte of the file: a final blank, for one.
std::string anyRouter(std::string const& text, Metric metric) {
    std::istringstream json(text);
    auto const network = Topohub::readTopohub(json, "input", metric);
    if (network.routers.empty()) return "0";
    return network.routers[static_cast<unsigned char>(text.back()) % network.routers.size()].id;
}

std::optional<std::string> import(std::string const& text, Metric metric) {
    try {
        std::istringstream json(text);
        return importTopohub(json, "input", anyRouter(text, metric), metric);
    } catch (InputError const&) {
        return std::nullopt;
    }
}

[[noreturn]] void fail(std::string const& why, std::string const& text) {
    std::fprintf(stderr, "%s\n%s\n", text.c_str(), why.c_str());
    std::abort();
}

void fulfil(std::string const& text) {
    std::istringstream input(text);
    try {
        auto const scenario = readScenario(input, "imported");
        Run const run(scenario, std::nullopt);
        if (!run.held()) fail("an expectation of the import does not hold", text);
    } catch (InputError const& error) {
        fail(error.what(), text);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const text(reinterpret_cast<char const*>(data), size);
    for (auto const metric : {Metric::Km, Metric::Hops}) {
        if (auto const scenario = import(text, metric)) fulfil(*scenario);
    }
    return 0;
}
