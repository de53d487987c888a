// The platform's file calls, each with one result: 0 or the system's error code (errno).
//
// File handles are file descriptors. guard_standard_streams, called first, sees to it that none is
// one of 0 to 2, so that a handle of 0 can mean "not open".
#pragma once

#include <cstdint>
#include <cstdio>
#include <string_view>
#include <utility>

namespace ravelo {

// Owns a file handle and closes it at its end, where a failure would change nothing. Where it
// would, the handle is released to close_file. 0: none.
class file_guard {
  public:
    file_guard() = default;
    file_guard(const file_guard &) = delete;
    file_guard &operator=(const file_guard &) = delete;
    ~file_guard() { reset(); }

    [[nodiscard]] uint32_t get() const { return handle_; }
    [[nodiscard]] uint32_t release() { return std::exchange(handle_, 0); }
    void reset(uint32_t handle = 0);  // closes the one it has and owns that one

  private:
    uint32_t handle_ = 0;
};

// Makes sure that descriptors 0 to 2 are open, on /dev/null where they were not.
[[nodiscard]] int guard_standard_streams();

// Creates path exclusively for writing, permissions 0640 less the umask.
// Errors: EEXIST when the file is there; EACCES, EPERM when access is denied; others.
[[nodiscard]] int create_exclusive(const char *path, file_guard *file);

// Opens path for writing at its end, wherever other processes may have moved that, creating it with
// permissions 0640 less the umask when missing. The caller closes *handle.
[[nodiscard]] int open_or_create(const char *path, uint32_t *handle);

// Opens an existing file, or folder, for reading, without waiting for whoever writes a pipe.
// ENOENT: there is none.
[[nodiscard]] int open_existing(const char *path, file_guard *file);

// Moves the position to the end of the file.
[[nodiscard]] int move_to_end(uint32_t handle);

// Whether the file's last byte is something other than a newline; false when that can't be seen.
[[nodiscard]] bool ends_in_partial_line(const char *path);

// Writes all of text. On a failure what was written of it is taken back where that is possible.
[[nodiscard]] int write_all(uint32_t handle, std::string_view text);

[[nodiscard]] int close_file(uint32_t handle);
[[nodiscard]] int delete_file(const char *path);
[[nodiscard]] int rename_file(const char *from, const char *to);

// Whether something exists at path. A path that can't be looked at counts as existing, so that a
// file is not taken for vanished when only its folder's permissions have changed.
[[nodiscard]] bool file_exists(const char *path);

// A value that tells the versions of an open file apart that a person can make, also when the time
// of modification was put back: its times of last modification and of last change of any kind, in
// nanoseconds, with its size and inode mixed in. Never 0.
[[nodiscard]] int file_status(uint32_t handle, uint64_t *status);

// Opens a regular file as a buffered stream for reading. The caller closes *stream with
// close_stream. EISDIR: a directory; ESPIPE: a pipe, a device or the like.
[[nodiscard]] int open_stream(const char *path, FILE **stream);
// The file handle of a stream; it stays the stream's.
[[nodiscard]] int stream_handle(FILE *stream, uint32_t *handle);
[[nodiscard]] int close_stream(FILE *stream);

// Writes text to standard error. There is nowhere left to report a failure to, so it has no result.
void write_standard_error(std::string_view text);

}  // namespace ravelo
