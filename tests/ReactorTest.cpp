#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

#include "Platform/Quor/Assert.h"
#include "Platform/Quor/Attribute.h"
#include "Platform/Quor/Ptr.h"
#include "Platform/Quor/Reactor.h"

namespace {

// Writes its name down with each event, then does what the test wants.
class Listener {
public:
    Listener(char name, Quor::Subject<int> const& subject, std::string& log)
        : name_(name),
          log_(log),
          reactor_(std::in_place, subject, this,
                   [](Listener& self, int const& key) { self.handle(key); }) {}

    void handle(int key) {
        log_ += name_ + std::to_string(key) + " ";
        if (then) then(key);
    }
    void reactorDel() { reactor_.reset(); }
    void off() { reactor_->off(); }

    std::function<void(int)> then;

private:
    char const name_;
    std::string& log_;
    std::optional<Quor::Reactor<int>> reactor_;
};

class ReactorTest : public testing::Test {
protected:
    std::string take() { return std::exchange(log, {}); }

    std::string log;
    Quor::Subject<int> subject;
};

TEST_F(ReactorTest, AreCalledInTheOrderOfRegistration) {
    EXPECT_FALSE(subject.observed());
    Listener const a('a', subject, log);
    Listener b('b', subject, log);
    Listener const c('c', subject, log);
    subject.notify(1);
    b.off();
    b.off();
    subject.notify(2);
    EXPECT_EQ(take(), "a1 b1 c1 a2 c2 ");
}

TEST_F(ReactorTest, MayComeAndGoDuringADispatch) {
    Listener a('a', subject, log);
    Listener b('b', subject, log);
    Listener c('c', subject, log);
    std::unique_ptr<Listener> late;
    a.then = [&](int) {
        if (late) return;
        b.reactorDel();
        a.reactorDel();  // its own, while it runs
        late = std::make_unique<Listener>('d', subject, log);
    };
    subject.notify(1);
    EXPECT_EQ(take(), "a1 c1 ") << "a new one hears of the next event";
    subject.notify(2);
    EXPECT_EQ(take(), "c2 d2 ");

    // A nested event is a new one: it reaches those who came meanwhile.
    c.then = [&](int key) {
        if (key != 3) return;
        late = std::make_unique<Listener>('e', subject, log);
        subject.notify(4);
    };
    subject.notify(3);
    EXPECT_EQ(take(), "c3 c4 e4 ");
}

TEST_F(ReactorTest, OutliveTheirSubject) {
    auto dying = std::make_unique<Quor::Subject<int>>();
    Listener listener('a', *dying, log);
    Listener const other('b', *dying, log);
    dying = nullptr;
    listener.off();
}

class AttributeTest : public testing::Test {
protected:
    void handle(std::monostate) {
        seen += std::to_string(number()) + " ";
        if (then) then();
    }
    // Every change raises the number by one, up to `limit`.
    void climb(int limit) {
        then = [this, limit] {
            if (number() < limit) number.valueIs(number() + 1);
        };
        number.valueIs(1);
    }
    Quor::Attribute<int> number;
    std::string seen;
    std::function<void()> then;
    Quor::AttributeReactor first{number, this, [](auto& self, auto none) { self.handle(none); }};
    Quor::AttributeReactor second{number, this, [](auto& self, auto none) { self.handle(none); }};
};

TEST_F(AttributeTest, TellsChangesOnlyAndReactorsReadTheNewestValue) {
    EXPECT_FALSE(number.valueIs(0));
    EXPECT_TRUE(number.valueIs(1));
    EXPECT_EQ(std::exchange(seen, {}), "1 1 ");

    // The first reactor writes again: the second one is called twice, and reads 3 both times.
    then = [this] {
        if (number() == 2) number.valueIs(3);
    };
    number.valueIs(2);
    EXPECT_EQ(seen, "2 3 3 3 ");
}

TEST_F(AttributeTest, NestingIsAllowedUpTo64AndStopsTheAgentBeyond) {
    second.off();
    climb(64);
    EXPECT_EQ(number(), 64);
    then = nullptr;
    number.valueIs(0);
    EXPECT_DEATH(climb(65), "notifications nest deeper than 64");
}

TEST_F(AttributeTest, AnExceptionThatEscapesAReactorStopsTheAgent) {
    then = [] { throw std::range_error("MplsLabel is too large"); };
    EXPECT_DEATH(number.valueIs(1), "MplsLabel is too large");
}

struct Stopped {
    std::string text;
};

TEST_F(AttributeTest, AStopHookMayThrowPastEverythingAndTheSubjectsGoOn) {
    auto const before =
        Quor::stopHookIs([](char const* text, char const*, int) { throw Stopped{text}; });
    EXPECT_THROW(climb(1000), Stopped);
    second.off();
    then = nullptr;
    number.valueIs(0);
    EXPECT_NO_THROW(climb(64)) << "the depth is back at 0";
    Quor::stopHookIs(before);
    EXPECT_EQ(number(), 64);
}

}  // namespace
