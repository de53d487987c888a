// What finds records stands beside lists that could be gone through: both must find the same.
#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "config/rule_index.h"
#include "daemon/base/lookup_index.h"
#include "daemon/base/text.h"
#include "enforce/appl_texts.h"
#include "enforce/decide.h"
#include "enforce/nice_appl.h"
#include "govern/sweep.h"

namespace ravelo::test {
namespace {

uint32_t below(uint32_t limit) {
    static std::mt19937 random(7);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same every time
    return static_cast<uint32_t>(random()) % limit;
}

struct Item {
    uint32_t key;
};

// Keys, and how many of them share a hash, are few: there are equal keys and long searches.
TEST(LookupIndex, FindsTheNewestOfEveryKeyThroughAllChanges) {
    for (const uint32_t keys : {8U, 300U, 5000U}) {
        const auto hash_of = [keys](uint32_t key) { return key % (keys / 4) * 7; };
        lookup_index<Item> index{};
        std::vector<std::unique_ptr<Item>> chain;  // oldest first
        for (int step = 0; step < 20000; ++step) {
            const uint32_t key = below(keys);
            if (below(step / 4000 % 2 == 0 ? 4 : 2) != 0) {
                chain.push_back(std::make_unique<Item>(Item{key}));
                ASSERT_EQ(reserve_index(index), 0);
                add_to_index(index, hash_of(key), chain.back().get());
            } else if (!chain.empty()) {
                const auto gone = chain.begin() + below(static_cast<uint32_t>(chain.size()));
                remove_from_index(index, hash_of((*gone)->key), gone->get());
                chain.erase(gone);
            }
            ASSERT_EQ(index.count, chain.size());
            const uint32_t sought = below(keys);
            const auto newest = std::find_if(chain.rbegin(), chain.rend(),
                                             [=](auto &item) { return item->key == sought; });
            ASSERT_EQ(find_in_index(index, hash_of(sought),
                                    [=](const Item *item) { return item->key == sought; }),
                      newest != chain.rend() ? newest->get() : nullptr);
        }
        const Item stranger{0};
        remove_from_index(index, hash_of(0), &stranger);
        EXPECT_EQ(index.count, chain.size());
        release_index(index);
        remove_from_index(index, 0, &stranger);
        EXPECT_EQ(index.capacity, 0U);
    }
}

TEST(LookupIndex, RefusesToGrowBeyondWhatItCanCount) {
    lookup_index<Item>::slot first = {};
    lookup_index<Item> index{&first, 1U << 31U, 1U << 30U};
    EXPECT_EQ(reserve_index(index), ENOMEM);
    EXPECT_EQ(index.capacity, 1U << 31U);
}

TEST(NiceList, StaysInOrderThroughAllChanges) {
    const auto glob = std::make_unique<glob_struct>();
    init_glob(glob.get());
    std::vector<niceapp_struct *> list;  // largest id first, of equals the newest
    for (int pass = 0; pass < 60; ++pass) {
        for (uint32_t i = below(200); i-- > 0;) {
            const uint32_t id = below(2000);
            const auto place = std::find_if(list.begin(), list.end(),
                                            [=](auto *entry) { return entry->agent_id <= id; });
            list.insert(place, create_niceapp(glob.get(), id));
        }
        std::erase_if(list, [](auto *entry) { return (entry->seen = below(5) != 0) == 0; });
        sweep(glob.get(), false);
        const niceapp_struct *entry = glob->nice_list;
        for (size_t i = 0; i < list.size(); ++i, entry = entry->next)
            ASSERT_EQ(entry, list[i]) << pass;
        ASSERT_EQ(entry, nullptr);
    }
    release_index(glob->nice_index);
    release_list(&glob->nice_list, &niceapp_struct::next);
}

// Limits and figures: none, lifted, at both ends, and so close that they often meet.
constexpr int32_t edges[] = {0, -1, 1, 2, 3, 5, 8, 9, INT32_MAX, 4};

TEST(RuleIndex, DecidesAsTheRulesOneByOne) {
    const auto glob = std::make_unique<glob_struct>();
    for (const uint32_t rules : {1U, 64U, 65U, 200U}) {
        init_glob(glob.get());
        for (uint32_t i = 0; i < rules; ++i) {
            config_restrict *const rule = create_config_restrict(glob.get());
            rule->time_set = below(2) != 0 ? 1 : 0;
            rule->start_time = 600;
            rule->end_time = 1200;
            if (below(2) != 0)
                std::swap(rule->start_time, rule->end_time);
            for (id_node **end : {&rule->authid_list, &rule->applname_list})
                for (uint32_t names = below(3) * 10; names-- > 0;)
                    ASSERT_EQ(append_name(&end, std::to_string(below(30)).c_str()), 0);
            for (const limit_row &limit : limits)
                rule->*limit.field = edges[below(std::size(edges))];
        }
        index_rules(glob.get());
        ASSERT_NE(glob->rules_index, nullptr);
        rule_index *const index = glob->rules_index;
        for (int i = 0; i < 2000; ++i) {
            appl_texts texts{};
            cut_text(texts.auth_id, std::to_string(below(32)));
            cut_text(texts.appl_name, std::to_string(below(32)));
            glob->snap_hhmm = below(2) != 0 ? 900 : 1300;
            glob->snap_time = 100;
            const auto figure = [&] {
                return static_cast<uint32_t>(edges[below(std::size(edges))]);
            };
            appl_snapshot record{};
            record.locks_held = figure();
            record.rows_selected = figure();
            record.rows_read = figure();
            record.idle_time = figure();
            record.uow_start = 90 + below(20);
            const addl_appl_info_struct info{0, 0, figure(), 0};
            const decision by_index = decide(glob.get(), texts, &record, &info);
            glob->rules_index = nullptr;
            const decision one_by_one = decide(glob.get(), texts, &record, &info);
            glob->rules_index = index;
            ASSERT_EQ(by_index.breached, one_by_one.breached) << rules;
            ASSERT_EQ(by_index.rule, one_by_one.rule) << rules;
        }
        release_rules(glob.get());
        EXPECT_EQ(glob->rules_index, nullptr);
    }
}

TEST(ApplTexts, EndAtTheFirstBlankAndHoldZerosBehind) {
    for (int i = 0; i < 5000; ++i) {
        appl_snapshot record{};
        for (char &c : record.appl_id)
            c = "\0  \x1F!\x80\xFF\xA0"
                "abcdefgh"[below(16)];  // few blanks
        appl_texts texts;
        std::memset(&texts, 'x', sizeof(texts));
        copy_texts(&record, &texts);
        std::string cut(record.appl_id, sizeof(record.appl_id));
        cut.resize(std::min(cut.find_first_of(std::string_view("\0 ", 2)), cut.size()));
        cut.resize(sizeof(texts.appl_text));
        ASSERT_EQ(std::string(texts.appl_text, sizeof(texts.appl_text)), cut);
    }
}

}  // namespace
}  // namespace ravelo::test
