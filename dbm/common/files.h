// The platform's file calls as the library needs them. Results: 0 or the system's error number,
// code::not_a_file for something that is not a regular file.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace dbm::code {

constexpr int not_a_file = 9007;

}  // namespace dbm::code

namespace dbm {

// Owns one file descriptor and closes it; -1 is none.
class file_guard {
  public:
    file_guard() = default;
    explicit file_guard(int descriptor) : descriptor_(descriptor) {}
    file_guard(const file_guard &) = delete;
    file_guard &operator=(const file_guard &) = delete;
    file_guard(file_guard &&other) noexcept : descriptor_(other.release()) {}
    file_guard &operator=(file_guard &&other) noexcept;
    ~file_guard() { reset(); }

    [[nodiscard]] int get() const { return descriptor_; }
    [[nodiscard]] bool is_open() const { return descriptor_ >= 0; }
    [[nodiscard]] int release();
    void reset(int descriptor = -1);

  private:
    int descriptor_ = -1;
};

// Opens an existing regular file for reading.
[[nodiscard]] int open_for_reading(const std::string &path, file_guard &file);

constexpr mode_t private_mode = 0640;
constexpr mode_t shared_mode = 0660;  // and the folder's group

// Opens a regular file for appending, creating it with that mode whatever the umask. A symbolic
// link is refused (ELOOP), since others may write to the directory.
[[nodiscard]] int open_for_appending(const std::string &path, file_guard &file,
                                     mode_t mode = private_mode);

// Reads what is there, at most buffer.size() bytes. *length 0: end of file.
[[nodiscard]] int read_some(int descriptor, std::span<char> buffer, size_t *length);

// Reads a whole file of at most limit bytes (EFBIG above). May throw bad_alloc.
[[nodiscard]] int read_file(const std::string &path, size_t limit, std::vector<char> &content);

// The absolute path of an existing file, without symbolic links. May throw bad_alloc.
[[nodiscard]] int resolve_path(const std::string &path, std::string &resolved);

// Writes text in one call, so that lines of several writers never mix. ENOSPC: cut short.
[[nodiscard]] int write_line(int descriptor, std::string_view text);

}  // namespace dbm
