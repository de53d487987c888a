#include "daemon/file_lock.h"

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <string_view>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "daemon/base/glob_struct.h"
#include "daemon/base/text.h"

namespace ravelo {
namespace {

constexpr int patience_steps = 500;
constexpr timespec patience_step{0, 10000000};  // 10 ms

bool is_same(const struct stat &one, const struct stat &other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

}  // namespace

int lock_file(uint32_t handle) {
    return flock(static_cast<int>(handle), LOCK_EX | LOCK_NB) == 0 ? 0 : errno;
}

int duplicate_handle(uint32_t handle, uint32_t *duplicate) {
    const int fd = fcntl(static_cast<int>(handle), F_DUPFD_CLOEXEC, 3);
    if (fd < 0)
        return errno;
    *duplicate = static_cast<uint32_t>(fd);
    return 0;
}

bool is_same_file(uint32_t one, uint32_t other) {
    struct stat first = {};
    struct stat second = {};
    return fstat(static_cast<int>(one), &first) == 0 &&
           fstat(static_cast<int>(other), &second) == 0 && is_same(first, second);
}

bool is_listed_as_locked(const char *path) {
    struct stat named = {};
    FILE *locks = nullptr;
    if (lstat(path, &named) != 0 || open_stream("/proc/locks", &locks) != 0)
        return false;
    char place[80];
    (void)std::snprintf(place, sizeof(place), " %02x:%02x:%ju ", major(named.st_dev),
                        minor(named.st_dev), static_cast<uintmax_t>(named.st_ino));  // fits
    bool found = false;
    char line[256];
    while (!found && std::fgets(line, sizeof(line), locks) != nullptr) {
        const std::string_view lock = line;
        found = lock.find(" FLOCK ") != std::string_view::npos &&
                lock.find(place) != std::string_view::npos;
    }
    (void)close_stream(locks);  // it was only read
    return found;
}

bool is_other_file(const char *path, uint32_t handle) {
    struct stat named = {};
    struct stat opened = {};
    return stat(path, &named) == 0 && fstat(static_cast<int>(handle), &opened) == 0 &&
           !is_same(named, opened);
}

folder_lock::folder_lock(const char *path) {
    char folder[file_name_size];
    const std::string_view name = path;
    const size_t slash = name.rfind('/');
    if (slash == std::string_view::npos || !copy_text(folder, name.substr(0, slash + 1)) ||
        open_existing(folder, &folder_) != 0)
        return;
    for (int step = 0; lock_file(folder_.get()) == EWOULDBLOCK && step < patience_steps; ++step)
        (void)nanosleep(&patience_step, nullptr);  // cut short or not, the step counts
}

void folder_lock::share(uint32_t handle) const {
    const int file = static_cast<int>(handle);
    struct stat folder = {};
    struct stat own = {};
    if (folder_.get() != 0 && fstat(static_cast<int>(folder_.get()), &folder) == 0 &&
        fstat(file, &own) == 0 && own.st_gid != folder.st_gid) {
        [[maybe_unused]] const int refused = fchown(file, static_cast<uid_t>(-1), folder.st_gid);
    }
    (void)fchmod(file, 0640);
}

}  // namespace ravelo
