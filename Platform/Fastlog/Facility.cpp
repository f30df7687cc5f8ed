#include "Platform/Fastlog/Facility.h"

namespace Fastlog {
namespace {

// Local to a function: facilities of other units are made before this one's namespace scope.
std::vector<Facility*>& registry() {
    static std::vector<Facility*> all;
    return all;
}

}  // namespace

Facility::Facility(char const* name) : name_(name) {
    registry().push_back(this);
}

Facility::~Facility() {
    std::erase(registry(), this);
}

std::vector<Facility*> const& facilities() {
    return registry();
}

std::size_t levelMaskIs(std::string_view name, std::uint32_t mask) {
    std::size_t count = 0;
    for (auto* facility : registry()) {
        if (name != "*" && name != facility->name()) continue;
        facility->levelMaskIs(mask);
        ++count;
    }
    return count;
}

}  // namespace Fastlog
