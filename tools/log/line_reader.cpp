#include "tools/log/line_reader.h"

#include <algorithm>
#include <archive.h>
#include <archive_entry.h>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <new>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace ravelo::logview {
namespace {

constexpr size_t block_bytes = size_t{64} << 10;

}  // namespace

void line_reader::release::operator()(archive *opened) const {
    (void)archive_read_free(opened);
}

bool line_reader::fail() {
    const char *const why = archive_error_string(archive_.get());
    failure_ = why != nullptr ? why : "it can't be read";
    at_end_ = true;
    return false;
}

bool line_reader::open(const std::string &path) {
    close();
    failure_.clear();
    at_end_ = false;
    descriptor_ = path == "-" ? STDIN_FILENO : ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status = {};
    if (descriptor_ < 0 || fstat(descriptor_, &status) != 0 || S_ISDIR(status.st_mode)) {
        failure_ = std::strerror(descriptor_ >= 0 && S_ISDIR(status.st_mode) ? EISDIR : errno);
        close();
        return false;
    }
    archive_.reset(archive_read_new());
    archive *const opened = archive_.get();
    if (opened == nullptr)
        throw std::bad_alloc();
    for (const auto support : {archive_read_support_filter_gzip, archive_read_support_filter_xz,
                               archive_read_support_filter_bzip2, archive_read_support_filter_zstd,
                               archive_read_support_format_raw, archive_read_support_format_empty})
        (void)support(opened);  // a library without one of them takes such a file as it stands
    archive_entry *entry = nullptr;
    if (archive_read_open_fd(opened, descriptor_, block_bytes) != ARCHIVE_OK)
        return fail();
    const int found = archive_read_next_header(opened, &entry);
    at_end_ = found == ARCHIVE_EOF;  // an empty file
    return found == ARCHIVE_OK || found == ARCHIVE_WARN || at_end_ || fail();
}

void line_reader::close() {
    read_ = bytes_read();
    archive_.reset();
    if (descriptor_ > STDIN_FILENO)
        (void)::close(descriptor_);  // it was only read
    descriptor_ = -1;
    block_ = {};
    carried_.clear();
}

uint64_t line_reader::bytes_read() const {
    if (!archive_)
        return read_;
    const auto bytes = archive_filter_bytes(archive_.get(), -1);
    return bytes > 0 ? static_cast<uint64_t>(bytes) : 0;
}

// Gets the next block that is not empty.
bool line_reader::fill() {
    while (!at_end_) {
        const void *bytes = nullptr;
        size_t length = 0;
        la_int64_t offset = 0;
        const int result = archive_read_data_block(archive_.get(), &bytes, &length, &offset);
        if (result == ARCHIVE_EOF)
            at_end_ = true;
        else if (result != ARCHIVE_OK && result != ARCHIVE_WARN)
            return fail();
        else if (length != 0) {
            block_ = {static_cast<const char *>(bytes), length};
            return true;
        }
    }
    return false;
}

void line_reader::keep(std::string_view part) {
    carried_ += part.substr(0, longest_line - std::min(longest_line, carried_.size()));
}

bool line_reader::next(std::string_view &line) {
    carried_.clear();
    bool begun = false;
    while (!block_.empty() || fill()) {
        const size_t end = block_.find('\n');
        const std::string_view part = block_.substr(0, end);
        block_.remove_prefix(end == std::string_view::npos ? block_.size() : end + 1);
        if (end != std::string_view::npos && !begun) {
            line = part.substr(0, longest_line);
            return true;
        }
        begun = true;
        keep(part);
        if (end != std::string_view::npos)
            break;
    }
    line = carried_;
    return begun;
}

uint64_t size_of_file(const std::string &path) {
    std::error_code error;
    const bool regular = std::filesystem::is_regular_file(path, error);
    const auto size = regular ? std::filesystem::file_size(path, error) : 0;
    return error ? 0 : size;
}

bool is_regular_file(const std::string &path) {
    std::error_code error;
    return path != "-" && std::filesystem::is_regular_file(path, error);
}

}  // namespace ravelo::logview
