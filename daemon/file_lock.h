// Advisory locks, by which a daemon that lives is told from one that has gone: a lock belongs to
// the open file, follows it through a rename and ends with the process.
#pragma once

#include <cstdint>

#include "daemon/base/files.h"

namespace ravelo {

// Locks an open file for as long as it, or a duplicate of its handle, is open. Does not wait.
// Results: 0, or the system's error code; EWOULDBLOCK: somebody else holds a lock on it.
[[nodiscard]] int lock_file(uint32_t handle);

// Duplicates a handle; the lock of either is the lock of both. The caller closes *duplicate.
[[nodiscard]] int duplicate_handle(uint32_t handle, uint32_t *duplicate);

// Whether two handles are open on the same file; false when that can't be seen.
[[nodiscard]] bool is_same_file(uint32_t one, uint32_t other);

// Whether the system lists a lock on a file that we may not open. false also when that can't be
// seen, and where the file system's device has one number for files and another for locks.
[[nodiscard]] bool is_listed_as_locked(const char *path);

// Whether path names some other file than the open one; false when there is none, or it can't be
// seen.
[[nodiscard]] bool is_other_file(const char *path, uint32_t handle);

// While it lives, holds the lock on the folder of a file, so that what several processes do to the
// folder's status files happens one after the other. It waits at most a few seconds for it and then
// does without: a stop that somebody can hold up would be worse than the race.
class folder_lock {
  public:
    explicit folder_lock(const char *path);
    ~folder_lock() = default;
    folder_lock(const folder_lock &) = delete;
    folder_lock &operator=(const folder_lock &) = delete;

    // Gives a file made in the folder its group, and permissions 0640 whatever the umask, so that
    // all who may work in the folder can look at the file's lock. What is refused stays undone.
    void share(uint32_t handle) const;

  private:
    file_guard folder_;
};

}  // namespace ravelo
