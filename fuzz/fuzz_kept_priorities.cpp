// The file that keeps the priorities to be given back.
#include <utility>

#include "dbm/postgres/kept_priorities.h"
#include "fuzz/input_file.h"

using namespace ravelo;
using namespace dbm::postgres;

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const kept_file kept = parse_kept({reinterpret_cast<const char *>(data), size});
    std::pair<pid_t, uint64_t> last;
    for (const changed_process &each : kept.changes) {
        fuzz::require(std::exchange(last, {each.pid, each.start}) <
                      std::pair(each.pid, each.start));
        std::vector<int> all = each.set;
        fuzz::require(each.pid > 0 && !all.empty() && all.size() <= 40);
        all.insert(all.end(), {each.nice, each.group_nice.value_or(0)});
        fuzz::require(
            std::all_of(all.begin(), all.end(), [](int n) { return -20 <= n && n < 20; }));
    }
    fuzz::require(kept.unread.size() <= size + 1);
    // What is written is read as it was.
    const std::string written = text_of(kept.changes, kept.unread);
    const kept_file again = parse_kept(written);
    fuzz::require(again.unread == kept.unread && again.unread_lines == kept.unread_lines);
    fuzz::require(text_of(again.changes, again.unread) == written);
    return 0;
}
