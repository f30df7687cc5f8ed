#include <string>
#include <vector>

#include "Platform/Keel/Clock.h"
#include "Platform/Keel/DumpContext.h"
#include "Platform/Syslog/Syslog.h"

namespace {

using testing::ElementsAre;

Syslog::Message const linkDown("TEST_LINK_DOWN", "Link %s of %u is down (%d%%)", "A link failed.",
                               "Mend it.");
Syslog::Message const plain("TEST_PLAIN", "plain", "None.", "None.", 6, 5.0);

class SyslogTest : public testing::Test, private Syslog::Sink {
protected:
    SyslogTest() {
        Keel::activityClockIs(&clock);
        Syslog::sinkIs(this);
        Syslog::limiterClear();
    }
    ~SyslogTest() override { Syslog::sinkIs(nullptr); }

    Keel::VirtualClock clock;
    std::vector<std::string> sent;

private:
    void message(Syslog::Message const& message, double time, std::string_view text) override {
        EXPECT_EQ(time, clock.now());
        sent.push_back(std::string(message.identifier()) + ": " + std::string(text));
    }
};

TEST_F(SyslogTest, AMessageIsDeclaredOnceAndFormatted) {
    EXPECT_THAT(Syslog::messages(), testing::IsSupersetOf({&linkDown, &plain}));
    EXPECT_EQ(linkDown.severity(), 4);
    EXPECT_EQ(linkDown.repeatInterval(), 1.0);

    Syslog::emit(linkDown, std::string("et1"), 4294967295u, -3);
    EXPECT_THAT(sent, ElementsAre("TEST_LINK_DOWN: Link et1 of 4294967295 is down (-3%)"));

    auto const again = [] { Syslog::Message("TEST_PLAIN", "", "", ""); };
    EXPECT_DEATH(again(), "a syslog identifier is declared once");
    EXPECT_DEATH(Syslog::emit(linkDown, 1, 1, 1), "a syslog argument matches its conversion");
    EXPECT_DEATH(Syslog::emit(linkDown, "et1", 1), "a syslog conversion has its argument");
    EXPECT_DEATH(Syslog::emit(plain, 1), "a syslog argument has its conversion");
}

TEST_F(SyslogTest, AnEqualTextIsHeldBackForItsRepeatInterval) {
    clock.nowIs(1.3);  // 2.3 - 1.3 is less than 1 in doubles
    Syslog::emit(linkDown, "et1", 1u, 0);
    Syslog::emit(linkDown, "et1", 1u, 0);
    Syslog::emit(linkDown, "et2", 1u, 0);  // another text
    Syslog::emit(plain);
    clock.nowIs(2.299);
    Syslog::emit(linkDown, "et1", 1u, 0);
    EXPECT_EQ(sent.size(), 3u);

    clock.nowIs(2.3);
    Syslog::emit(linkDown, "et1", 1u, 0);
    EXPECT_EQ(sent.size(), 4u);
    // What was held back does not start the interval anew, what was sent does.
    clock.nowIs(3.299);
    Syslog::emit(linkDown, "et1", 1u, 0);
    Syslog::emit(plain);
    EXPECT_EQ(sent.size(), 4u);
    clock.nowIs(6.3);
    Syslog::emit(plain);
    EXPECT_EQ(sent.size(), 5u);
    for (auto other = 0u; other < 1000; ++other) Syslog::emit(linkDown, "et1", other, 0);
    Syslog::emit(plain);  // however much was sent meanwhile
    EXPECT_EQ(sent.size(), 1005u);

    Syslog::limiterClear();
    Syslog::emit(plain);
    EXPECT_EQ(sent.size(), 1006u);
}

TEST(DumpContextTest, PrintsAnyLengthAtTheEnd) {
    Keel::DumpContext context;
    context.print("%*cfoo #%u \n", 2, ' ', 7u);
    context.print("%s|", std::string(5000, 'x').c_str());
    EXPECT_EQ(context.text(), "  foo #7 \n" + std::string(5000, 'x') + "|");
}

}  // namespace
