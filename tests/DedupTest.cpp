#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "Platform/Keel/Dedup.h"

namespace {

// A content with a weak hash, so that the slots collide.
class Word final : public Keel::DedupHandle {
public:
    static inline int alive = 0;

    explicit Word(int text) : content(text) { ++alive; }
    ~Word() override { --alive; }
    std::uint32_t hash() const override { return static_cast<std::uint32_t>(content % 41); }
    bool compare(Keel::DedupHandle const* other) const override {
        return content == static_cast<Word const*>(other)->content;
    }
    int const content;
};

std::string event(char sign, int content) {
    return sign + std::to_string(content) + ' ';
}

// Writes down what comes and goes, then does what the test wants.
class Notifiee final : public Keel::DedupHashTableLifeTimeNotifiee {
public:
    void handleInsert(Quor::Ptr<Keel::DedupHandle> const& handle) const override {
        auto& word = static_cast<Word&>(*handle);
        log += event('+', word.content);
        if (onInsert) onInsert(word);
    }
    void handleRemove(Keel::DedupHandle* handle) const override {
        auto& word = static_cast<Word&>(*handle);
        log += event('-', word.content);
        if (onRemove) onRemove(word);
    }
    void handleNotificationStop(Quor::Ptr<Keel::DedupHashTable const> const& table) const override {
        log += "stop " + std::to_string(table->size()) + " ";
    }
    std::string mutable log;
    std::function<void(Word&)> onInsert;
    std::function<void(Word&)> onRemove;
};

class DedupTest : public testing::Test {
protected:
    using WordPtr = Quor::Ptr<Keel::DedupHandle>;

    DedupTest() { table->lifeTimeNotifieeIs(notifiee); }
    ~DedupTest() override {
        table = nullptr;
        EXPECT_EQ(Word::alive, 0);
    }
    WordPtr intern(int content) { return table->dedup(Quor::makePtr<Word>(content).get()); }
    Keel::DedupHandle* find(int content) { return table->lookup(*Quor::makePtr<Word>(content)); }
    std::string take() { return std::exchange(notifiee->log, {}); }

    Quor::Ptr<Notifiee> notifiee = Quor::makePtr<Notifiee>();
    Quor::Ptr<Keel::DedupHashTable> table = Quor::makePtr<Keel::DedupHashTable>();
};

TEST_F(DedupTest, EqualContentsAreOneObjectWhileSomebodyHoldsIt) {
    auto first = intern(1);
    auto const second = intern(1);
    EXPECT_EQ(first, second);
    EXPECT_EQ(table->dedup(first.get()), first) << "an interned handle gives itself";
    EXPECT_EQ(find(1), first.get());
    EXPECT_EQ(find(42), nullptr) << "equal in its hash alone";
    EXPECT_TRUE(first->isDeduped() && first->everDeduped());
    EXPECT_EQ(Word::alive, 1);
    first = nullptr;
    EXPECT_EQ(take(), "+1 ");
}

TEST_F(DedupTest, RandomUseAgreesWithCountingByHand) {
    std::mt19937 random(7);
    std::map<int, std::vector<WordPtr>> held;
    for (int step = 0; step < 40000; ++step) {
        int const content = static_cast<int>(random() % 300);
        auto& references = held[content];
        auto* const before = find(content);
        ASSERT_EQ(before, references.empty() ? nullptr : references.front().get());
        std::string expected;
        if (random() % 600 < (step < 20000 ? 330u : 270u)) {
            auto const interned = intern(content);
            ASSERT_TRUE(!before || interned.get() == before);
            if (!before) expected = event('+', content);
            references.push_back(interned);
        } else if (!references.empty()) {
            references.pop_back();
            if (references.empty()) expected = event('-', content);
        }
        ASSERT_EQ(take(), expected);
        ASSERT_EQ(static_cast<int>(table->size()), Word::alive);
    }
    held.clear();
    EXPECT_EQ(table->size(), 0u);
}

TEST_F(DedupTest, ARemovedHandleIsIntactAndOutOfTheTable) {
    WordPtr successor;
    notifiee->onRemove = [&](Word& word) {
        EXPECT_FALSE(word.isDeduped());
        EXPECT_TRUE(word.everDeduped());
        EXPECT_EQ(find(word.content), nullptr);
        { WordPtr const temporary(&word); }  // removes nothing twice
        if (!successor) successor = intern(word.content);
    };
    intern(1);
    EXPECT_EQ(take(), "+1 -1 +1 ");
    EXPECT_EQ(find(1), successor.get());
    successor = nullptr;
    EXPECT_EQ(take(), "-1 +1 ") << "the successor of a successor";
    notifiee->onRemove = nullptr;
    successor = nullptr;
    EXPECT_EQ(table->size(), 0u);
}

TEST_F(DedupTest, ATableThatStopsTellsOnceAndItsHandlesOutliveItAsOrdinaryObjects) {
    auto one = intern(1);
    auto two = intern(2);
    EXPECT_DEATH(table->lifeTimeNotifieeIs(nullptr), "size_ == 0");
    table->notificationStop();
    table->notificationStop();
    two = nullptr;
    EXPECT_EQ(table->size(), 1u);
    EXPECT_EQ(take(), "+1 +2 stop 2 ");

    table = Quor::makePtr<Keel::DedupHashTable>();
    EXPECT_FALSE(one->isDeduped());
    EXPECT_DEATH(one->assertIsDeduped(), "isDeduped\\(\\)");
    EXPECT_DEATH(table->dedup(one.get()), "!everDeduped\\(\\)");
    one = nullptr;
    EXPECT_EQ(take(), "");
}

TEST(PtrTest, CountsAcrossCopiesMovesAndConversions) {
    auto word = Quor::makePtr<Word>(1);
    Quor::Ptr<Keel::DedupHandle const> const base = word;
    auto moved = std::move(word);
    EXPECT_EQ(word, nullptr);  // NOLINT(bugprone-use-after-move): says so itself
    EXPECT_EQ(Word::alive, 1);
    auto* const raw = moved.release();
    EXPECT_FALSE(moved);
    moved = Quor::Ptr<Word>::adopt(raw);
    moved = moved.get();
    moved = nullptr;
    EXPECT_EQ(Word::alive, 1);
    EXPECT_EQ(base->hash(), 1u);
    EXPECT_DEATH((void)moved->hash(), "Ptr is null");
}

struct Clinging final : Quor::PtrInterface {
    ~Clinging() override { Quor::Ptr<Clinging> const self(this); }
};

TEST(PtrTest, ADyingObjectCannotBeReferencedAgain) {
    EXPECT_DEATH(Quor::makePtr<Clinging>(), "references_ != dying");
}

}  // namespace
