#include "Platform/Bfd/Peer.h"
#include "Platform/Quor/RangeError.h"
#include "SrTePolicy/SrTePolicySbfdTables.h"
#include "tests/support/Captures.h"
#include "tests/support/Routes.h"

namespace {

using namespace SrTePolicy;
using namespace SrTePolicy::Sbfd;

SbfdKey key(std::uint32_t list, std::uint32_t color = 100) {
    return SbfdKey::of({address("2001:db8::5"), color}, SegmentListId(list));
}
SbfdParams params(std::uint32_t interval, std::uint32_t multi) {
    return {Bfd::BfdInterval(interval), Bfd::BfdMultiplier(multi)};
}
Bfd::BfdDiscriminator rd(std::uint32_t number) {
    return Bfd::BfdDiscriminator(number);
}

std::string const keyText =
    "Value('SrTePolicy::Sbfd::SbfdKey', ** "
    "{'endpoint': 2001:db8::5, 'color': 100, 'segmentListId': 7})";
std::string const paramsText =
    "Value('SrTePolicy::Sbfd::SbfdParams', ** {'sbfdInterval': 50, 'sbfdMulti': 3})";

template <class T>
T parsed(std::string const& text) {
    if constexpr (std::is_same_v<T, SbfdKey>) {
        return SbfdKey(text);
    } else {
        return T::fromString(text);
    }
}

// Whatever is not printed is refused, in the name of the outermost type.
template <class T>
void printsAs(T const& value, std::string const& type, std::string const& fields) {
    auto const text = "Value('SrTePolicy::Sbfd::" + type + "', ** {" + fields + "})";
    EXPECT_EQ(value.stringValue(), text);
    EXPECT_EQ(parsed<T>(text), value);
    EXPECT_EQ(parsed<T>(text).hash(1), value.hash(1));
    EXPECT_NE(T().hash(1), value.hash(1));
    EXPECT_NE(T(), value);
    EXPECT_EQ(parsed<T>(T().stringValue()), T());
    auto const lastField = text.rfind(": ");
    for (auto const& bad :
         {std::string(), std::string("Value("), text + " ", " " + text,
          text.substr(0, text.size() - 1), text.substr(0, lastField) + ": x})",
          text.substr(0, lastField) + ": 99999999999})", text.substr(0, text.rfind(", '")) + "})",
          "Value('SrTePolicy::Sbfd::Other', ** {" + fields + "})"}) {
        try {
            parsed<T>(bad);
            ADD_FAILURE() << bad;
        } catch (Quor::RangeError const& error) {
            EXPECT_EQ(error.what(), "SrTePolicy::Sbfd::" + type + ": malformed text");
        }
    }
}

TEST(SbfdTypes, PrintedFormsParseBack) {
    printsAs(key(7), "SbfdKey", "'endpoint': 2001:db8::5, 'color': 100, 'segmentListId': 7");
    printsAs(params(50, 3), "SbfdParams", "'sbfdInterval': 50, 'sbfdMulti': 3");
    printsAs(SegmentListSbfdConfig({key(7), rd(4294967295), params(50, 3)}),
             "SegmentListSbfdConfig",
             "'sbfdKey': " + keyText +
                 ", 'remoteDiscriminator': 4294967295, 'sbfdParams': " + paramsText);
    printsAs(SbfdSessionKey({SegmentListId(7), rd(9)}), "SbfdSessionKey",
             "'segmentListId': 7, 'remoteDiscriminator': 9");
    printsAs(SegmentListSbfdSessionConfig({key(7), params(50, 3)}), "SegmentListSbfdSessionConfig",
             "'sbfdKey': " + keyText + ", 'params': " + paramsText);
    printsAs(SegmentListSbfdSessionStatus({key(7), true}), "SegmentListSbfdSessionStatus",
             "'sbfdKey': " + keyText + ", 'valid': True");
    EXPECT_EQ(SbfdKey().stringValue(),
              "Value('SrTePolicy::Sbfd::SbfdKey', ** "
              "{'endpoint': , 'color': 0, 'segmentListId': 0})");
    EXPECT_EQ(Bfd::Peer({L3::VrfName("red"), SegmentListId(7).getTunnelId(), rd(9)}).stringValue(),
              "vrf red tunnel 13-7 discriminator 9");
}

TEST(SbfdTypes, DumpsAreOneLineForEachRow) {
    SbfdInputConfig input;
    SegmentListSbfdConfig const config{key(7), rd(9), params(50, 3)};
    EXPECT_TRUE(input.configIs(config));
    EXPECT_EQ(dumpOf(input), "  configs #1 \n    " + config.stringValue() + "\n");
    SbfdStatusToRemoteDiscriminator discriminators;
    discriminators.configIs(key(7), {{}, {}, rd(9)});
    EXPECT_EQ(dumpOf(discriminators), "  sbfdkey:" + keyText + " => RD:9\n");
}

TEST(SbfdSessionUser, TheFastestPairIsKnownAtEverySize) {
    struct {
        char const* what;
        std::vector<SbfdParams> asked;
        SbfdParams global, fastest;
    } const cases[] = {
        {"a whole pair", {params(50, 10), params(300, 1)}, {}, params(300, 1)},
        {"the smaller interval", {params(300, 1), params(100, 3)}, {}, params(100, 3)},
        {"64 bits", {params(~0u, 3), params(~0u, 2)}, {}, params(~0u, 2)},
        {"the global pair", {params(0, 9), params(101, 3)}, params(100, 3), params(100, 3)},
        {"a slow one of short intervals",
         {params(0, 9), params(50, 10)},
         params(300, 1),
         params(300, 1)},
        {"the least of all", {params(1, 1), params(2, 1)}, {}, params(1, 1)},
        {"its multiplier", {params(90, 0), params(95, 0)}, params(100, 3), params(90, 3)},
        {"no time at all", {params(0, 5), params(20, 0)}, {}, params(0, 0)},
        {"some time", {params(0, 5), params(20, 0)}, params(0, 2), params(20, 2)},
        {"any time", {params(0, 5), params(20, 0), params(~0u, ~0u)}, {}, params(~0u, ~0u)},
    };
    for (auto const& [what, asked, global, fastest] : cases) {
        for (std::uint32_t const others : {0u, 100u}) {
            SbfdSessionUser user;
            for (std::uint32_t i = 0; i < asked.size(); ++i) user.sbfdStatusIs(key(i), asked[i]);
            for (std::uint32_t i = 0; i < others; ++i) {
                user.sbfdStatusIs(key(1000 + i), asked[i % asked.size()]);
            }
            EXPECT_EQ(user.fastest(global), fastest) << what;
            for (std::uint32_t i = 0; i < asked.size(); ++i) user.sbfdStatusDel(key(i), asked[i]);
            EXPECT_EQ(user.size(), others);
            EXPECT_TRUE(others > 0 || !user.hasGlobal()) << what;
        }
    }
}

}  // namespace
