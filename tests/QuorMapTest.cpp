#include <algorithm>
#include <array>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "Platform/Quor/DenseMap.h"
#include "Platform/Quor/NotifyingMap.h"
#include "Platform/Quor/OrderedMap.h"
#include "Platform/Quor/Ptr.h"
#include "Platform/Quor/SmallSet.h"
#include "tests/support/Watch.h"

namespace {

class Number {
public:
    Number() = default;
    explicit Number(std::uint64_t value) : value_(value) {}
    std::uint64_t value() const { return value_; }
    friend auto operator<=>(Number, Number) = default;

private:
    std::uint64_t value_ = 0;
};

// So large that a leaf holds few of them and the tree gets deep.
struct Wide {
    explicit Wide(std::uint64_t number) { words.fill(number); }
    friend bool operator==(Wide const&, Wide const&) = default;
    std::array<std::uint64_t, 50> words;
};

// Texts too long to be kept in the string object itself, in the order of their numbers.
std::string longText(std::uint64_t number) {
    auto const digits = std::to_string(number);
    return std::string(24 - digits.size(), '0') + digits;
}
template <class T>
T made(std::uint64_t number) {
    if constexpr (std::is_same_v<T, std::string>) {
        return longText(number);
    } else if constexpr (std::is_same_v<T, Quor::Nothing>) {
        return {};
    } else {
        return T(number);
    }
}
std::uint64_t numberOf(Number number) {
    return number.value();
}
std::uint64_t numberOf(std::string const& text) {
    return std::stoull(text);
}

// A map beside a std::map that everything is compared with.
template <class Map>
class ModelTest : public testing::Test {
protected:
    using K = typename Map::Key;
    using V = typename Map::Value;
    using Model = std::map<std::uint64_t, std::uint64_t>;

    static constexpr std::uint64_t keyCount = 4000;

    static K keyOf(std::uint64_t number) { return made<K>(number); }
    void insert(std::uint64_t key) {
        auto const value = key + 1000000 * (step++ % 7);
        auto const [row, inserted] = map.tryEmplace(keyOf(key), made<V>(value));
        ASSERT_EQ(inserted, model.emplace(key, value).second);
        ASSERT_EQ(*row, made<V>(model.at(key)));
    }
    void erase(std::uint64_t key) {
        ASSERT_EQ(map.erase(keyOf(key)), model.erase(key) == 1);
        ASSERT_EQ(map.find(keyOf(key)), nullptr);
    }
    void expectAt(typename Map::Position const& row, Model::const_iterator expected) const {
        ASSERT_EQ(static_cast<bool>(row), expected != model.end());
        if (!row) return;
        ASSERT_EQ(numberOf(row.key()), expected->first);
        ASSERT_EQ(row.value(), made<V>(expected->second));
    }
    void expectEqual() const {
        ASSERT_EQ(map.size(), model.size());
        ASSERT_EQ(map.empty(), model.empty());
        auto row = map.begin();
        for (auto expected = model.begin(); expected != model.end(); ++expected, row.next()) {
            ASSERT_NO_FATAL_FAILURE(expectAt(row, expected));
            ASSERT_TRUE(map.has(row.key()));
        }
        ASSERT_FALSE(row);
    }
    std::uint64_t random(std::uint64_t below) { return generator() % below; }

    void changeSomething(bool growing) {
        auto const key = random(keyCount);
        bool const inserting = random(10) < (growing ? 7 : 3);
        auto const kind = random(20);  // 0: a run of falling keys, 1: of rising ones
        for (auto length = kind < 2 ? random(100) : 1, i = std::uint64_t{0}; i < length; ++i) {
            auto const at = kind == 0 ? key - std::min(key, i) : key + i;
            inserting ? insert(at) : erase(at);
        }
    }

    Map map;
    Model model;
    std::mt19937_64 generator{2};
    std::uint64_t step = 0;
};

using Maps = testing::Types<Quor::OrderedMap<Number, std::string>,
                            Quor::OrderedMap<std::string, Number>, Quor::OrderedMap<Number, Wide>,
                            Quor::OrderedSet<Number>, Quor::DenseMap<Number, std::string>>;
TYPED_TEST_SUITE(ModelTest, Maps);

TYPED_TEST(ModelTest, RandomChangesLeaveTheModelsRows) {
    // The cursor stands while rows come and go around it, its own among them.
    auto cursor = this->map.begin();
    std::uint64_t cursorKey = 0;
    for (int round = 0; round < 12000; ++round) {
        ASSERT_NO_FATAL_FAILURE(this->changeSomething(round / 1500 % 2 == 0));
        auto const probe = this->random(this->keyCount);
        ASSERT_NO_FATAL_FAILURE(this->expectAt(this->map.lowerBound(this->keyOf(probe)),
                                               this->model.lower_bound(probe)));
        ASSERT_NO_FATAL_FAILURE(this->expectAt(this->map.upperBound(this->keyOf(probe)),
                                               this->model.upper_bound(probe)));
        if (cursor) {
            cursor.next();
            ASSERT_NO_FATAL_FAILURE(this->expectAt(cursor, this->model.upper_bound(cursorKey)));
        } else {
            cursor = this->map.begin();
        }
        if (cursor) cursorKey = numberOf(cursor.key());
        if (round % 1000 == 0) {
            ASSERT_NO_FATAL_FAILURE(this->expectEqual());
        }
    }
    this->map.clear();
    this->model.clear();
    this->expectEqual();
    this->insert(1);
    this->expectEqual();
}

TEST(OrderedMapTest, AValueThatCannotBeMadeChangesNothing) {
    struct Picky {
        explicit Picky(int from) : text(longText(1)) {
            if (from < 0) throw std::invalid_argument("negative");
        }
        std::string text;
    };
    Quor::OrderedMap<int, Picky> map;
    for (int i = 0; i < 20; ++i) map.tryEmplace(2 * i, 1);
    EXPECT_THROW(map.tryEmplace(5, -1), std::invalid_argument);
    EXPECT_EQ(map.size(), 20u);
    int key = 0;
    for (auto row = map.begin(); row; row.next(), key += 2) EXPECT_EQ(row.key(), key);
}

TEST(DenseMapTest, KeysReachToTheEndsOfTheirRange) {
    Quor::DenseMap<Number, int> map;
    auto const last = ~std::uint64_t{0};
    for (auto const key : {last, std::uint64_t{511}, std::uint64_t{0}, std::uint64_t{512}}) {
        map.tryEmplace(Number(key), 0);
    }
    std::vector<std::uint64_t> keys;
    for (auto row = map.begin(); row; row.next()) keys.push_back(row.key().value());
    EXPECT_THAT(keys, testing::ElementsAre(0, 511, 512, last));
    EXPECT_FALSE(map.upperBound(Number(last)));
    EXPECT_TRUE(map.lowerBound(Number(last)));
}

TEST(SmallSetTest, AgreesWithAnOrdinarySetWhetherFewOrMany) {
    Quor::SmallSet<int, 2> keys;
    std::set<int> model;
    std::mt19937 random(5);
    for (int step = 0; step < 20000; ++step) {
        int const key = static_cast<int>(random() % 60);
        if (random() % 10 < (step / 500 % 2 ? 2 : 8)) {
            ASSERT_EQ(keys.insert(key), model.insert(key).second);
        } else {
            ASSERT_EQ(keys.erase(key), model.erase(key) == 1);
        }
        std::vector<int> found;
        keys.forEach([&found](int each) { found.push_back(each); });
        ASSERT_TRUE(std::equal(found.begin(), found.end(), model.begin(), model.end()));
        ASSERT_EQ(keys.has(key + 1), model.contains(key + 1));
    }
    keys.clear();
    EXPECT_TRUE(keys.empty());
}

// Runs a function when it is destroyed.
using Farewell = std::shared_ptr<void>;
Farewell atEnd(std::function<void()> const& what) {
    return {new int, [what](int* value) {
                delete value;
                what();
            }};
}

template <class Map>
void expectThatValuesEndLast() {
    Map map;
    std::vector<std::size_t> sizes;
    auto const look = [&] {
        sizes.push_back(map.size());
        EXPECT_FALSE(map.has(Number(1)));
        map.tryEmplace(Number(2), nullptr);
    };
    map.tryEmplace(Number(1), atEnd(look));
    EXPECT_TRUE(map.erase(Number(1)));
    map.tryEmplace(Number(1), atEnd(look));
    map.clear();
    EXPECT_THAT(sizes, testing::ElementsAre(0, 0));
    EXPECT_TRUE(map.has(Number(2)));
}

TEST(MapTest, TheEndOfAValueFindsItsRowGone) {
    expectThatValuesEndLast<Quor::OrderedMap<Number, Farewell>>();
    expectThatValuesEndLast<Quor::DenseMap<Number, Farewell>>();
}

// Writes down every event with what the table then holds.
template <class Table>
struct Told {
    explicit Told(Table& watched) : table(watched) {}
    std::string take() { return std::exchange(log, {}); }

    Table& table;
    std::string log;
    std::function<void(int)> then;
    Watch<int> watch{table, [this](int key) {
                         auto const* const row = table.find(key);
                         log += std::to_string(key) + (row ? "=" + std::to_string(*row) : " gone") +
                                " ";
                         if (then) then(key);
                     }};
};

TEST(NotifyingMapTest, ChangesAreToldByKeyAndEqualWritesAreNot) {
    Quor::NotifyingMap<int, int> table;
    Told watch(table);
    EXPECT_TRUE(table.entryIs(1, 10));
    EXPECT_FALSE(table.entryIs(1, 10));
    EXPECT_TRUE(table.entryIs(1, 11));
    EXPECT_FALSE(table.entryDel(2));
    EXPECT_TRUE(table.entryDel(1));
    EXPECT_EQ(watch.take(), "1=10 1=11 1 gone ");

    Quor::NotifyingMap<int, int, Quor::WriteRule::notifyAlways> loud;
    Told loudWatch(loud);
    loud.entryIs(1, 10);
    EXPECT_TRUE(loud.entryIs(1, 10));
    EXPECT_EQ(loudWatch.take(), "1=10 1=10 ");
}

TEST(NotifyingMapTest, DelAllIsOneAscendingPass) {
    Quor::NotifyingMap<int, int> table;
    for (int key : {30, 10, 20, 50}) table.entryIs(key, 0);
    Told watch(table);
    watch.then = [&table](int key) {
        if (key != 20 || table.has(20)) return;
        table.entryIs(15, 0);  // behind the pass
        table.entryIs(40, 0);  // ahead of it
        table.entryDel(30);
    };
    table.entryDelAll();
    EXPECT_EQ(watch.take(), "10 gone 20 gone 15=0 40=0 30 gone 40 gone 50 gone ");
    EXPECT_EQ(table.size(), 1u);
}

// A row that carries its own key, as many tables have.
struct Named final : Quor::PtrInterface {
    explicit Named(std::string text) : name(std::move(text)) {}
    std::string const name;
};

TEST(NotifyingMapTest, EveryReactorGetsTheKeyThoughTheRowHasGoneMeanwhile) {
    Quor::NotifyingMap<std::string, Quor::Ptr<Named>> table;
    std::vector<std::string> keys;
    Watch const removes(table, [&](std::string const& key) { table.entryDel(key); });
    Watch const reads(table, [&](std::string const& key) { keys.push_back(key); });
    auto row = Quor::makePtr<Named>(longText(5));
    auto const& key = row->name;
    table.entryIs(key, std::move(row));
    EXPECT_THAT(keys, testing::ElementsAre(longText(5), longText(5)));
}

}  // namespace
