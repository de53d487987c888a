#include "daemon/base/files.h"

#include <cerrno>
#include <ctime>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ravelo {
namespace {

constexpr mode_t file_mode = 0640;

int descriptor(uint32_t handle) {
    return static_cast<int>(handle);
}

// Without blocking: a pipe in a file's place would hold the daemon up for good.
int open_handle(const char *path, int flags, uint32_t *handle) {
    const int fd = open(path, flags | O_CLOEXEC | O_NONBLOCK, file_mode);
    if (fd < 0)
        return errno;
    *handle = static_cast<uint32_t>(fd);
    return 0;
}

int open_guarded(const char *path, int flags, file_guard *file) {
    uint32_t handle = 0;
    const int code = open_handle(path, flags, &handle);
    if (code == 0)
        file->reset(handle);
    return code;
}

// 0 for a regular file: whatever else is opened in its place may never end, or hang at the first
// byte.
int check_regular(int fd) {
    struct stat info = {};
    if (fstat(fd, &info) != 0)
        return errno;
    if (S_ISREG(info.st_mode))
        return 0;
    return S_ISDIR(info.st_mode) ? EISDIR : ESPIPE;
}

// Writes until done; *written counts the bytes that went out.
int write_bytes(int fd, std::string_view text, size_t *written) {
    *written = 0;
    while (*written < text.size()) {
        const ssize_t count = write(fd, text.data() + *written, text.size() - *written);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return errno;
        if (count == 0)
            return EIO;
        *written += static_cast<size_t>(count);
    }
    return 0;
}

// Cuts the last bytes written off again, unless another process has written behind them. False:
// they stay.
[[nodiscard]] bool undo_write(int fd, off_t written) {
    const off_t end = lseek(fd, 0, SEEK_CUR);
    struct stat info = {};
    return end >= written && fstat(fd, &info) == 0 && info.st_size == end &&
           ftruncate(fd, end - written) == 0;
}

// One step of splitmix64: every input bit reaches every output bit.
uint64_t mix(uint64_t state, uint64_t value) {
    state += value + 0x9E3779B97F4A7C15U;
    state = (state ^ (state >> 30)) * 0xBF58476D1CE4E5B9U;
    state = (state ^ (state >> 27)) * 0x94D049BB133111EBU;
    return state ^ (state >> 31);
}

uint64_t nanoseconds(const timespec &time) {
    return static_cast<uint64_t>(time.tv_sec) * 1000000000U + static_cast<uint64_t>(time.tv_nsec);
}

}  // namespace

void file_guard::reset(uint32_t handle) {
    if (handle_ != 0)
        (void)close_file(handle_);  // as whoever left it here wants it
    handle_ = handle;
}

int guard_standard_streams() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(fd, F_GETFD) >= 0)
            continue;
        if (open("/dev/null", O_RDWR) < 0)
            return errno;
    }
    return 0;
}

int create_exclusive(const char *path, file_guard *file) {
    return open_guarded(path, O_WRONLY | O_CREAT | O_EXCL, file);
}

int open_or_create(const char *path, uint32_t *handle) {
    return open_handle(path, O_WRONLY | O_CREAT | O_APPEND, handle);
}

int open_existing(const char *path, file_guard *file) {
    return open_guarded(path, O_RDONLY, file);
}

int move_to_end(uint32_t handle) {
    return lseek(descriptor(handle), 0, SEEK_END) >= 0 ? 0 : errno;
}

bool ends_in_partial_line(const char *path) {
    file_guard file;
    if (open_existing(path, &file) != 0)
        return false;
    const int fd = descriptor(file.get());
    char last = '\n';
    return lseek(fd, -1, SEEK_END) >= 0 && read(fd, &last, 1) == 1 && last != '\n';
}

int write_all(uint32_t handle, std::string_view text) {
    const int fd = descriptor(handle);
    size_t written = 0;
    const int code = write_bytes(fd, text, &written);
    // Where the bytes stay, whoever opens the file next sees that its last line has no end.
    if (code != 0 && written != 0)
        (void)undo_write(fd, static_cast<off_t>(written));
    return code;
}

int close_file(uint32_t handle) {
    return close(descriptor(handle)) == 0 ? 0 : errno;
}

int delete_file(const char *path) {
    return unlink(path) == 0 ? 0 : errno;
}

int rename_file(const char *from, const char *to) {
    return rename(from, to) == 0 ? 0 : errno;
}

bool file_exists(const char *path) {
    return access(path, F_OK) == 0 || (errno != ENOENT && errno != ENOTDIR);
}

int file_status(uint32_t handle, uint64_t *status) {
    struct stat info = {};
    if (fstat(descriptor(handle), &info) != 0)
        return errno;
    uint64_t value = mix(0, nanoseconds(info.st_mtim));
    value = mix(value, nanoseconds(info.st_ctim));
    value = mix(value, static_cast<uint64_t>(info.st_size));
    value = mix(value, static_cast<uint64_t>(info.st_ino));
    *status = value != 0 ? value : 1;
    return 0;
}

int open_stream(const char *path, FILE **stream) {
    file_guard file;
    int code = open_existing(path, &file);
    if (code == 0)
        code = check_regular(descriptor(file.get()));
    if (code != 0)
        return code;
    FILE *const fresh = fdopen(descriptor(file.get()), "r");
    if (fresh == nullptr)
        return errno;
    (void)file.release();  // it is the stream's now
    *stream = fresh;
    return 0;
}

int stream_handle(FILE *stream, uint32_t *handle) {
    const int fd = fileno(stream);
    if (fd < 0)
        return errno;
    *handle = static_cast<uint32_t>(fd);
    return 0;
}

int close_stream(FILE *stream) {
    return std::fclose(stream) == 0 ? 0 : errno;
}

void write_standard_error(std::string_view text) {
    size_t written = 0;
    (void)write_bytes(STDERR_FILENO, text, &written);  // nowhere left to report to
}

}  // namespace ravelo
