// What was changed of processes' priorities, kept in a file until it is given back, so that the
// next attachment can do so for one that was killed: <instance>/tmp/<DATABASE>.<node>.priorities.
//
// A line 'set pid=N start=N nice=N [group=N] to=N' is written before each change: the process and
// its start time, the nice value that it had itself and the one of its session's group, and the one
// it gets. 'done pid=N start=N' follows when it was given back. A line that says something else, or
// a value that no process can have, is kept as it is: somebody may still want to know.
//
// The file says whom to give what, so it is used only where it is a regular file of this process's
// effective user that nobody else may write to, and that has no other name. An attachment locks it:
// what one keeps, no other gives back or deletes.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

#include "dbm/common/files.h"

namespace dbm::postgres {

struct changed_process {
    pid_t pid = 0;
    uint64_t start = 0;  // of the process, as status_of has it
    pid_t leader = 0;    // of a parallel worker: the session's process; else its own
    int nice = 0;        // before the first change
    std::optional<int> group_nice;
    std::vector<int> set;  // every value that it may have been given since
};

// The file of an attachment.
struct kept_store {
    std::string path;
    file_guard file;  // open and locked while there is one
};

struct kept_file {
    std::vector<changed_process> changes;  // still to be given back, no process twice
    std::string unread;                    // the lines that can't be read, each with its newline
    size_t unread_lines = 0;
};

// Takes the text of such a file apart, and puts it together in as few lines as can be. May throw
// bad_alloc.
[[nodiscard]] kept_file parse_kept(std::string_view text);
[[nodiscard]] std::string text_of(const std::vector<changed_process> &changes,
                                  const std::string &unread);

// Reads what an earlier attachment left. Results: 0, also when there is no file; otherwise the
// file is to be left alone: a system error number, EFBIG for one of more than 64 MiB, EBUSY for one
// that another attachment uses, or a code of the library. May throw bad_alloc.
[[nodiscard]] int read_kept(kept_store &store, kept_file &kept);

// Adds a line: that a process is about to get its last value of set, that it was given back.
// Results: 0, or a system error number, EEXIST where another file has come into its place. May
// throw bad_alloc.
[[nodiscard]] int keep_change(kept_store &store, const changed_process &change);
[[nodiscard]] int keep_return(kept_store &store, const changed_process &change);

// Replaces the file by one that says the same in as few lines as can be; none where there is
// nothing to keep. Results as keep_change.
[[nodiscard]] int rewrite_kept(kept_store &store, const std::vector<changed_process> &changes,
                               const std::string &unread);

}  // namespace dbm::postgres
