#include "dbm/instance.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include "dbm/codes.h"
#include "dbm/common/files.h"
#include "govern/interface/constants.h"

namespace dbm {

namespace {

constexpr const char *default_directory = "/var/lib/ravelo";
constexpr mode_t tmp_mode = 0770;
constexpr mode_t shared_tmp_mode = tmp_mode | S_ISGID;

std::optional<instance> the_instance;

instance read_instance() {
    instance loaded;
    const char *const given = std::getenv("DBM_INSTANCE");
    loaded.directory = given != nullptr && *given != '\0' ? given : default_directory;
    while (loaded.directory.size() > 1 && loaded.directory.back() == '/')
        loaded.directory.pop_back();
    if (loaded.directory.front() != '/') {
        // start and stop may be called from different directories but must meet in one.
        std::string absolute;
        loaded.resolve_error = resolve_path(loaded.directory, absolute);
        if (loaded.resolve_error == 0)
            loaded.directory = std::move(absolute);
    }
    loaded.conf_problem = read_settings(instance_file(loaded, "instance.conf"), loaded.conf);
    return loaded;
}

// 0 when path is a directory, not a link to one, that not everyone can write to and that belongs
// to somebody who may put another in its place anyway.
int check_tmp(const std::string &path, const struct stat &directory, struct stat *status) {
    if (lstat(path.c_str(), status) != 0)
        return errno;
    if (!S_ISDIR(status->st_mode))
        return code::tmp_not_directory;
    if ((status->st_mode & S_IWOTH) != 0)
        return code::tmp_open_to_all;
    const uid_t owner = status->st_uid;
    return owner == 0 || owner == geteuid() || owner == directory.st_uid ? 0 : code::tmp_of_other;
}

// Lets all who may govern use a tmp directory of ours: it gets the instance directory's group, and
// so do files made in it, whoever makes them. One that its group may not write to is left as it is.
// What the system forbids, as RestrictSUIDSGID= of systemd does, stays undone. Through a
// descriptor, so that nothing put in its place is changed.
int share_tmp(const std::string &path, const struct stat &directory, bool made) {
    const file_guard tmp(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status = {};
    if (!tmp.is_open() || fstat(tmp.get(), &status) != 0)
        return made ? errno : 0;
    if (status.st_gid != directory.st_gid) {
        [[maybe_unused]] const int refused =
            fchown(tmp.get(), static_cast<uid_t>(-1), directory.st_gid);  // see above
    }
    if (fchmod(tmp.get(), made ? shared_tmp_mode : (status.st_mode & 07777U) | S_ISGID) == 0)
        return 0;
    return !made || fchmod(tmp.get(), tmp_mode) == 0 ? 0 : errno;  // the umask's share is ours
}

}  // namespace

instance &current_instance() {
    if (!the_instance)
        the_instance = read_instance();
    return *the_instance;
}

void load_instance() {
    the_instance = read_instance();
}

int check_directory(const instance &which) {
    if (which.resolve_error != 0)
        return which.resolve_error;
    if (which.directory.size() >= dbm_path_room)
        return ENAMETOOLONG;
    struct stat status = {};
    if (stat(which.directory.c_str(), &status) != 0)
        return errno;
    if (!S_ISDIR(status.st_mode))
        return ENOTDIR;
    return (status.st_mode & S_IWOTH) != 0 ? code::open_to_all : 0;
}

int prepare_tmp(const instance &which) {
    const std::string path = tmp_directory(which);
    struct stat directory = {};
    struct stat status = {};
    if (stat(which.directory.c_str(), &directory) != 0)
        return errno;
    int problem = check_tmp(path, directory, &status);
    const bool made = problem == ENOENT && mkdir(path.c_str(), tmp_mode) == 0;
    if (problem == ENOENT)  // where mkdir failed, another process may have been faster
        problem = made || errno == EEXIST ? check_tmp(path, directory, &status) : errno;
    if (problem != 0)
        return problem;
    const bool shared = (status.st_mode & S_IRWXG) == S_IRWXG;
    const bool as_agreed = (status.st_mode & S_ISGID) != 0 && status.st_gid == directory.st_gid;
    const bool may_change = geteuid() == 0 || status.st_uid == geteuid();
    return made || (shared && !as_agreed && may_change) ? share_tmp(path, directory, made) : 0;
}

bool may_govern(const instance &which) {
    const uid_t user = geteuid();
    if (user == 0)
        return true;
    const int problem = check_directory(which);
    if (problem != 0)
        return problem != EACCES;
    struct stat status = {};
    if (stat(which.directory.c_str(), &status) != 0)
        return false;
    if (status.st_uid == user || status.st_gid == getegid())
        return true;
    const int count = getgroups(0, nullptr);
    std::vector<gid_t> groups(count > 0 ? static_cast<size_t>(count) : 0);
    const int got = getgroups(count > 0 ? count : 0, groups.data());
    if (got <= 0)
        return false;
    return std::find(groups.begin(), groups.begin() + got, status.st_gid) != groups.begin() + got;
}

std::string instance_file(const instance &which, std::string_view name) {
    std::string path = which.directory;
    path += '/';
    path += name;
    return path;
}

std::string tmp_directory(const instance &which) {
    return instance_file(which, dbm_tmp_directory);
}

std::string tmp_file(const instance &which, std::string_view name) {
    std::string path = tmp_directory(which);
    path += '/';
    path += name;
    return path;
}

}  // namespace dbm
