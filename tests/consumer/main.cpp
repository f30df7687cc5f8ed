// A user of the installed library: it has the headers and libSrTePolicy.so, nothing else. Values,
// notifications and exceptions must cross that border.

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "Platform/Keel/DumpContext.h"
#include "Platform/Quor/RangeError.h"
#include "Platform/Quor/Reactor.h"
#include "SrTePolicy/SrTePolicyCoreDedupTable.h"

namespace {

void require(bool holds, char const* what) {
    if (holds) return;
    std::fprintf(stderr, "consumer: not so: %s\n", what);
    std::exit(1);
}

// What is told of lists that come and go.
struct Audience {
    int events = 0;
};

}  // namespace

int main() {
    using namespace SrTePolicy;
    using Notifier = Quor::Ptr<SegmentListLifeTimeNotifier const>;

    auto const tables = coreDedupTablesFactory();
    auto const& live = *tables->notifyingSegmentListCollection();
    Audience audience;
    Quor::Reactor<Notifier> const reactor(
        live.notifierSubject(), &audience,
        [](Audience& told, Notifier const& /*notifier*/) { ++told.events; });

    auto const list = [&tables](std::initializer_list<std::uint32_t> labels) {
        return tables->segmentList(Wirex::pushOperation(labels), PolicyId{}, DistinguisherId{});
    };
    auto first = list({16004, 24001});
    auto second = list({16004, 24001});
    require(first == second, "equal lists are one object");
    require(audience.events == 1, "one list came");

    Keel::DumpContext dump;
    tables->dumpState(dump, 0);
    std::fputs(dump.text().c_str(), stdout);

    bool thrown = false;
    try {
        list({1, 2, 3, 4, 5, 6, 7, 8, 9});
    } catch (Quor::RangeError const& error) {
        thrown = true;
        std::puts(error.what());
    }
    require(thrown, "nine labels are too many");

    auto const id = first->segmentListId();
    first = nullptr;
    require(live.segmentList(id) != nullptr, "a list lives while somebody holds it");
    second = nullptr;
    require(live.segmentList(id) == nullptr && audience.events == 2, "the last holder ends it");
}
