// The look-up index of the tables beside the standard container that could do its work: a pass's
// look-ups of every record, and a table that is filled and emptied again.
#include <benchmark/benchmark.h>
#include <cerrno>
#include <cstdint>
#include <new>
#include <unordered_map>
#include <vector>

#include "daemon/base/lookup_index.h"

namespace ravelo::bench {
namespace {

struct record {
    uint32_t agent_id;
};

// Agents' ids come as they do in snapshots, from the oldest connection on, with gaps.
std::vector<record> make_records(int64_t count) {
    std::vector<record> records(static_cast<size_t>(count));
    uint32_t id = 1000;
    for (record &each : records)
        each.agent_id = id += 3;
    return records;
}

// Both sides answer with a result where memory runs out.
struct by_index {
    lookup_index<record> index{};

    by_index() = default;
    by_index(const by_index &) = delete;
    by_index &operator=(const by_index &) = delete;
    ~by_index() { release_index(index); }

    static uint32_t hash_of(uint32_t id) { return hash_words({id}); }
    int add(record *entry) {
        const int code = reserve_index(index);
        if (code == 0)
            add_to_index(index, hash_of(entry->agent_id), entry);
        return code;
    }
    [[nodiscard]] record *find(uint32_t id) const {
        return find_in_index(index, hash_of(id),
                             [id](const record *entry) { return entry->agent_id == id; });
    }
    void remove(record *entry) { remove_from_index(index, hash_of(entry->agent_id), entry); }
};

struct by_container {
    std::unordered_map<uint32_t, record *> map{};

    int add(record *entry) {
        try {
            map[entry->agent_id] = entry;
            return 0;
        } catch (const std::bad_alloc &) {
            return ENOMEM;
        }
    }
    [[nodiscard]] record *find(uint32_t id) const {
        const auto found = map.find(id);
        return found != map.end() ? found->second : nullptr;
    }
    void remove(record *entry) { map.erase(entry->agent_id); }
};

template <class Table>
void look_up(benchmark::State &state) {
    std::vector<record> records = make_records(state.range(0));
    Table table;
    for (record &each : records)
        if (table.add(&each) != 0)
            state.SkipWithError("no memory");
    for (auto round : state) {
        (void)round;
        for (const record &each : records)
            benchmark::DoNotOptimize(table.find(each.agent_id));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class Table>
void come_and_go(benchmark::State &state) {
    std::vector<record> records = make_records(state.range(0));
    for (auto round : state) {
        (void)round;
        Table table;
        for (record &each : records)
            if (table.add(&each) != 0)
                state.SkipWithError("no memory");
        for (record &each : records)
            table.remove(&each);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(look_up<by_index>)->RangeMultiplier(10)->Range(100, 100000);
BENCHMARK(look_up<by_container>)->RangeMultiplier(10)->Range(100, 100000);
BENCHMARK(come_and_go<by_index>)->RangeMultiplier(10)->Range(100, 100000);
BENCHMARK(come_and_go<by_container>)->RangeMultiplier(10)->Range(100, 100000);

}  // namespace
}  // namespace ravelo::bench
