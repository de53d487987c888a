#include "dbm/code_words.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include "dbm/codes.h"
#include "dbm/common/files.h"

namespace dbm {

namespace {

struct known_error {
    int number;
    code_words words;
};

constexpr auto errors = std::to_array<known_error>({
    {EPERM, {"EPERM", "not permitted"}},
    {ENOENT, {"ENOENT", "no such file or directory"}},
    {EINTR, {"EINTR", "interrupted"}},
    {EIO, {"EIO", "input/output error"}},
    {EBADF, {"EBADF", "the file is not open"}},
    {EAGAIN, {"EAGAIN", "try again later"}},
    {ENOMEM, {"ENOMEM", "out of memory"}},
    {EACCES, {"EACCES", "permission denied"}},
    {EBUSY, {"EBUSY", "in use"}},
    {EEXIST, {"EEXIST", "the file exists already"}},
    {EXDEV, {"EXDEV", "on another file system"}},
    {ENODEV, {"ENODEV", "no such device"}},
    {ENOTDIR, {"ENOTDIR", "a part of the path is not a directory"}},
    {EISDIR, {"EISDIR", "it is a directory"}},
    {EINVAL, {"EINVAL", "invalid argument"}},
    {ENFILE, {"ENFILE", "too many open files in the system"}},
    {EMFILE, {"EMFILE", "too many open files in this process"}},
    {ETXTBSY, {"ETXTBSY", "the program file is in use"}},
    {EFBIG, {"EFBIG", "the file is too large"}},
    {ENOSPC, {"ENOSPC", "no space left on the device"}},
    {ESPIPE, {"ESPIPE", "not a file that can be positioned"}},
    {EROFS, {"EROFS", "the file system is read-only"}},
    {EMLINK, {"EMLINK", "too many links"}},
    {EPIPE, {"EPIPE", "the reader is gone"}},
    {ERANGE, {"ERANGE", "out of range"}},
    {ENAMETOOLONG, {"ENAMETOOLONG", "the name is too long"}},
    {ENOSYS, {"ENOSYS", "not supported by the system"}},
    {ELOOP, {"ELOOP", "a symbolic link that is not followed"}},
    {EOVERFLOW, {"EOVERFLOW", "a value is too large"}},
    {ENOTSUP, {"ENOTSUP", "not supported"}},
    {ESTALE, {"ESTALE", "the file is gone from its server"}},
    {EDQUOT, {"EDQUOT", "the disk quota is used up"}},
    {code::tmp_open_to_all, {"", "its tmp directory is writable by everyone"}},
    {code::tmp_not_directory, {"", "its tmp is not a directory"}},
    {code::version_unknown, {"", "this version of the client interface is not supported"}},
    {code::bad_argument, {"", "an argument of the call is invalid"}},
    {code::setting_unknown, {"", "the client setting is unknown"}},
    {code::node_unknown, {"", "the instance has no such node"}},
    {code::not_a_file, {"", "it is not a regular file"}},
    {code::open_to_all, {"", "the directory is writable by everyone"}},
    {code::tmp_of_other, {"", "its tmp directory belongs to another user"}},
    {code::not_ours_alone, {"", "it is not the file of this user alone"}},
});

struct known_sqlcode {
    int number;
    std::string_view words;
};

constexpr auto sqlcodes = std::to_array<known_sqlcode>({
    {sql::agent_already_gone, "the application was gone already"},
    {sql::buffer_too_small, "the snapshot buffer is too small"},
    {sql::no_data, "there is nothing to report"},
    {sql::journal_not_written, "the journal could not be written"},
    {sql::rows_unknown, "rules on rows cannot act: the server does not count rows"},
    {sql::sessions_hidden, "other sessions are not seen: pg_read_all_stats is missing"},
    {sql::force_forbidden, "no session can be forced: pg_signal_backend is missing"},
    {sql::nice_forbidden, "nice values cannot be set: CAP_SYS_NICE is missing"},
    {sql::group_forbidden, "priorities have no effect: autogroup files cannot be written"},
    {sql::force_refused, "the database manager refused or could not be asked"},
    {sql::priority_refused, "the system refused the priority"},
    {sql::priorities_unkept, "priorities cannot be set: the file that keeps them is unusable"},
    {sql::database_unknown, "the database is unknown"},
    {sql::not_attached, "not attached to the instance"},
    {sql::unreachable, "the database manager is not running or does not answer"},
    {sql::not_authorized, "the user may not govern the instance"},
    {sql::agent_gone, "the database manager or the agent is gone"},
    {sql::out_of_memory, "out of memory"},
    {sql::bad_call, "an argument of the call is invalid"},
    {sql::bad_recording, "a line of the recording is not understood"},
    {sql::file_unreadable, "a file could not be read"},
    {sql::snapshot_too_large, "the snapshot is too large"},
    {sql::connect_failed, "the database manager refused the connection"},
    {sql::request_failed, "the database manager refused the request"},
});

}  // namespace

code_words words_of_error(int number) {
    const auto *const found = std::find_if(
        errors.begin(), errors.end(), [&](const known_error &e) { return e.number == number; });
    return found != errors.end() ? found->words : code_words{};
}

std::string_view words_of_sqlcode(int number) {
    const auto *const found =
        std::find_if(sqlcodes.begin(), sqlcodes.end(),
                     [&](const known_sqlcode &s) { return s.number == number; });
    return found != sqlcodes.end() ? found->words : std::string_view();
}

}  // namespace dbm
