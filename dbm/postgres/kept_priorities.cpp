#include "dbm/postgres/kept_priorities.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <map>
#include <span>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "dbm/codes.h"
#include "dbm/common/fields.h"
#include "dbm/common/files.h"
#include "dbm/common/text.h"

namespace dbm::postgres {

namespace {

// The whole file is read and written by one process, which holds it small; a longer one, or a line
// longer than any that it writes, is somebody else's.
constexpr size_t most_bytes = size_t{64} << 20U;
constexpr size_t longest_line = 1024;
constexpr int best_nice = -20;
constexpr int weakest_nice = 19;
constexpr mode_t file_mode = 0640;
constexpr std::string_view set_word = "set";
constexpr std::string_view done_word = "done";

void append_number(std::string &line, std::string_view name, auto value) {
    append_field(line, name, std::to_string(value));
}

std::string line_of(std::string_view word, const changed_process &change) {
    std::string line(word);
    append_number(line, "pid", change.pid);
    append_number(line, "start", change.start);
    return line;
}

std::string change_line(const changed_process &change, int set) {
    std::string line = line_of(set_word, change);
    append_number(line, "nice", change.nice);
    if (change.group_nice)
        append_number(line, "group", *change.group_nice);
    append_number(line, "to", set);
    line += '\n';
    return line;
}

int lock(const file_guard &file) {
    if (flock(file.get(), LOCK_EX | LOCK_NB) == 0)
        return 0;
    return errno == EWOULDBLOCK ? EBUSY : errno;
}

// Takes the file that is there, where it is one to be used.
int take(kept_store &store) {
    // Non-blocking, so that a pipe put in the file's place can't hang the process.
    constexpr int how = O_RDWR | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    file_guard opened(open(store.path.c_str(), how));
    if (!opened.is_open())
        return errno;
    // First, since only who has the lock deletes it or puts another in its place.
    if (const int problem = lock(opened); problem != 0)
        return problem;
    struct stat status = {};
    if (fstat(opened.get(), &status) != 0)
        return errno;
    if (!S_ISREG(status.st_mode))
        return code::not_a_file;
    if (status.st_uid != geteuid() || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0 ||
        status.st_nlink != 1)
        return code::not_ours_alone;
    store.file = std::move(opened);
    return 0;
}

// Makes a file of that name, whatever the umask. EEXIST: something has that name.
int create(const std::string &path, file_guard &file) {
    constexpr int how = O_RDWR | O_APPEND | O_CREAT | O_EXCL | O_CLOEXEC;
    file_guard opened(open(path.c_str(), how, file_mode));
    if (!opened.is_open() || fchmod(opened.get(), file_mode) != 0)
        return errno;
    const int problem = lock(opened);
    if (problem == 0)
        file = std::move(opened);
    return problem;
}

// Whether the file that was taken or made is still there. One that is not is let go of.
bool holds(kept_store &store) {
    struct stat held = {};
    struct stat there = {};
    if (store.file.is_open() && fstat(store.file.get(), &held) == 0 &&
        lstat(store.path.c_str(), &there) == 0 && held.st_dev == there.st_dev &&
        held.st_ino == there.st_ino)
        return true;
    store.file.reset();
    return false;
}

// Whether a line that was cut short would go on in what is written next.
bool is_cut_short(const file_guard &file) {
    char last = '\n';
    return lseek(file.get(), -1, SEEK_END) >= 0 && read(file.get(), &last, 1) == 1 && last != '\n';
}

int append(kept_store &store, std::string line) {
    if (!holds(store)) {
        if (const int problem = create(store.path, store.file); problem != 0)
            return problem;
    }
    if (is_cut_short(store.file))
        line.insert(0, 1, '\n');
    return write_line(store.file.get(), line);
}

// What one line says. done: it was given back.
struct kept_line {
    changed_process change;
    bool done = false;
};

template <typename Number>
bool number_in(const field_line &parsed, std::string_view name, Number &value) {
    const auto found = std::find_if(parsed.fields.begin(), parsed.fields.end(),
                                    [&](const field &f) { return f.name == name; });
    return found != parsed.fields.end() && parse_number(found->value, value);
}

bool nice_in(const field_line &parsed, std::string_view name, int &nice) {
    return number_in(parsed, name, nice) && nice >= best_nice && nice <= weakest_nice;
}

bool has_field(const field_line &parsed, std::string_view name) {
    return std::any_of(parsed.fields.begin(), parsed.fields.end(),
                       [&](const field &f) { return f.name == name; });
}

// Takes a line apart in place.
bool parse_line(std::span<char> line, kept_line &entry) {
    field_line parsed;
    line_fault fault;
    int set = 0;
    int group = 0;
    changed_process &change = entry.change;
    if (!parse_fields(line, parsed, fault) || !number_in(parsed, "pid", change.pid) ||
        !number_in(parsed, "start", change.start) || change.pid <= 0)
        return false;
    change.leader = change.pid;
    entry.done = parsed.word == done_word;
    if (entry.done)
        return true;
    const bool has_group = has_field(parsed, "group");
    if (parsed.word != set_word || !nice_in(parsed, "nice", change.nice) ||
        !nice_in(parsed, "to", set) || (has_group && !nice_in(parsed, "group", group)))
        return false;
    if (has_group)
        change.group_nice = group;
    change.set.push_back(set);
    return true;
}

// The changes by process, as the lines so far have them.
using change_map = std::map<std::pair<pid_t, uint64_t>, changed_process>;

void apply_line(kept_line &&entry, change_map &kept) {
    const std::pair key(entry.change.pid, entry.change.start);
    if (entry.done) {
        kept.erase(key);
        return;
    }
    const int set = entry.change.set[0];
    const auto [known, is_new] = kept.try_emplace(key, std::move(entry.change));
    std::vector<int> &all = known->second.set;  // as many as there are nice values
    if (!is_new && std::find(all.begin(), all.end(), set) == all.end())
        all.push_back(set);
}

int read_whole(int descriptor, std::string &text) {
    constexpr size_t step = 65536;
    size_t got = 1;
    while (got > 0) {
        const size_t used = text.size();
        if (used > most_bytes)
            return EFBIG;
        text.resize(used + step);
        const int problem = read_some(descriptor, std::span(text).subspan(used), &got);
        text.resize(used + (problem == 0 ? got : 0));
        if (problem != 0)
            return problem;
    }
    return 0;
}

}  // namespace

kept_file parse_kept(std::string_view text) {
    kept_file kept;
    change_map changes;
    std::string bytes;  // of a line, to be taken apart
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        bytes = line.substr(0, longest_line);
        if (kept_line entry; line.size() <= longest_line && parse_line(bytes, entry)) {
            apply_line(std::move(entry), changes);
        } else if (!line.empty()) {
            kept.unread.append(line) += '\n';
            ++kept.unread_lines;
        }
    }
    kept.changes.reserve(changes.size());
    for (auto &[key, change] : changes)
        kept.changes.push_back(std::move(change));
    return kept;
}

std::string text_of(const std::vector<changed_process> &changes, const std::string &unread) {
    std::string text = unread;
    for (const changed_process &each : changes) {
        for (const int set : each.set)
            text += change_line(each, set);
    }
    return text;
}

int read_kept(kept_store &store, kept_file &kept) {
    kept = {};
    store.file.reset();
    const int taken = take(store);
    if (taken != 0)
        return taken == ENOENT ? 0 : taken;
    std::string text;
    const int problem = read_whole(store.file.get(), text);
    if (problem == 0)
        kept = parse_kept(text);
    return problem;
}

int keep_change(kept_store &store, const changed_process &change) {
    return append(store, change_line(change, change.set.back()));
}

int keep_return(kept_store &store, const changed_process &change) {
    std::string line = line_of(done_word, change);
    line += '\n';
    return append(store, std::move(line));
}

int rewrite_kept(kept_store &store, const std::vector<changed_process> &changes,
                 const std::string &unread) {
    const bool held = holds(store);
    if (changes.empty() && unread.empty()) {
        if (held && unlink(store.path.c_str()) != 0)
            return errno;
        store.file.reset();
        return 0;
    }
    struct stat other = {};
    if (!held && lstat(store.path.c_str(), &other) == 0)
        return EEXIST;
    const std::string beside = store.path + ".new";
    (void)unlink(beside.c_str());  // left by one that was killed meanwhile
    file_guard file;
    int problem = create(beside, file);
    if (problem == 0)
        problem = write_line(file.get(), text_of(changes, unread));
    if (problem == 0 && rename(beside.c_str(), store.path.c_str()) != 0)
        problem = errno;
    if (problem == 0)
        store.file = std::move(file);
    return problem;
}

}  // namespace dbm::postgres
