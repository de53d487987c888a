#include "dbm/common/files.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace dbm {

namespace {

constexpr size_t read_step = 65536;

struct release_memory {
    void operator()(char *text) const { std::free(text); }
};

// Hands what was opened on as file, where it is a regular one.
int take_regular(file_guard &opened, file_guard &file) {
    struct stat status = {};
    if (!opened.is_open() || fstat(opened.get(), &status) != 0)
        return errno;
    if (!S_ISREG(status.st_mode))
        return code::not_a_file;
    file = std::move(opened);
    return 0;
}

// Where the folder gives new files its group anyway, nothing is left to do; where that is refused,
// the file stays its maker's.
void take_folders_group(const std::string &path, int descriptor) {
    struct stat folder = {};
    struct stat file = {};
    if (stat(path.substr(0, path.rfind('/') + 1).c_str(), &folder) == 0 &&
        fstat(descriptor, &file) == 0 && file.st_gid != folder.st_gid) {
        [[maybe_unused]] const int refused =
            fchown(descriptor, static_cast<uid_t>(-1), folder.st_gid);
    }
}

// Cuts the last bytes written off again, so that the next line does not continue them, unless
// another process has written behind them. False: they stay.
[[nodiscard]] bool undo_write(int descriptor, off_t written) {
    const off_t end = lseek(descriptor, 0, SEEK_CUR);
    struct stat status = {};
    return end >= written && fstat(descriptor, &status) == 0 && status.st_size == end &&
           ftruncate(descriptor, end - written) == 0;
}

}  // namespace

file_guard &file_guard::operator=(file_guard &&other) noexcept {
    if (this != &other)
        reset(other.release());
    return *this;
}

int file_guard::release() {
    const int descriptor = descriptor_;
    descriptor_ = -1;
    return descriptor;
}

void file_guard::reset(int descriptor) {
    if (descriptor_ >= 0)
        (void)close(descriptor_);  // nothing is buffered, so nothing can be lost here
    descriptor_ = descriptor;
}

int open_for_reading(const std::string &path, file_guard &file) {
    // Non-blocking, so that a pipe put in the file's place can't hang the process.
    file_guard opened(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    return take_regular(opened, file);
}

int open_for_appending(const std::string &path, file_guard &file, mode_t mode) {
    constexpr int flags = O_WRONLY | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
    file_guard opened(open(path.c_str(), flags | O_CREAT | O_EXCL, private_mode));
    if (opened.is_open()) {
        if (mode == shared_mode)
            take_folders_group(path, opened.get());
        if (fchmod(opened.get(), mode) != 0)
            return errno;
    } else if (errno == EEXIST) {
        opened.reset(open(path.c_str(), flags));
    }
    return take_regular(opened, file);
}

int read_some(int descriptor, std::span<char> buffer, size_t *length) {
    ssize_t got = 0;
    do {
        got = read(descriptor, buffer.data(), buffer.size());
    } while (got < 0 && errno == EINTR);
    if (got < 0)
        return errno;
    *length = static_cast<size_t>(got);
    return 0;
}

int read_file(const std::string &path, size_t limit, std::vector<char> &content) {
    file_guard file;
    const int opened = open_for_reading(path, file);
    if (opened != 0)
        return opened;
    content.clear();
    while (true) {
        const size_t used = content.size();
        if (used > limit)
            return EFBIG;
        content.resize(used + read_step);
        size_t got = 0;
        const int problem = read_some(file.get(), std::span(content).subspan(used), &got);
        content.resize(used + (problem == 0 ? got : 0));
        if (problem != 0 || got == 0)
            return problem;
    }
}

int resolve_path(const std::string &path, std::string &resolved) {
    const std::unique_ptr<char, release_memory> found(realpath(path.c_str(), nullptr));
    if (found == nullptr)
        return errno;
    resolved = found.get();
    return 0;
}

int write_line(int descriptor, std::string_view text) {
    ssize_t written = 0;
    do {
        written = write(descriptor, text.data(), text.size());
    } while (written < 0 && errno == EINTR);
    if (written < 0)
        return errno;
    if (static_cast<size_t>(written) == text.size())
        return 0;
    (void)undo_write(descriptor, written);  // taken back or not, the line is not there
    return ENOSPC;
}

}  // namespace dbm
