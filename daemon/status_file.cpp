#include "daemon/status_file.h"

#include <cerrno>

#include "daemon/base/files.h"
#include "daemon/base/result.h"
#include "daemon/base/text.h"
#include "daemon/file_lock.h"
#include "govern/interface/constants.h"
#include "log/report.h"

namespace ravelo {
namespace {

constexpr std::string_view status_suffix = "GDA";
constexpr std::string_view stop_suffix = "GDB";
constexpr std::string_view status_content = "GOVERNOR STATUS FILE";

bool is_denied(int code) {
    return code == EACCES || code == EPERM;
}

int32_t fail_with_code(glob_struct *glob, message number, int code) {
    fail_stderr(glob, number, {decimal(glob->msg_token, code)});
    return result::manager;
}

int32_t refuse_start(glob_struct *glob) {
    fail_stderr(glob, message::already_governed);
    return result::conflict;
}

// Creates the status file and locks it for the life of the process. Results as the claim's.
int32_t create_locked(glob_struct *glob, const folder_lock &held, file_guard *file) {
    const int create_code = create_exclusive(glob->status_file_name, file);
    if (create_code == EEXIST || is_denied(create_code))
        return refuse_start(glob);
    if (create_code != 0)
        return fail_with_code(glob, message::status_not_created, create_code);
    held.share(file->get());
    int code = lock_file(file->get());
    if (code == 0)
        code = duplicate_handle(file->get(), &glob->status_handle);
    if (code == 0)
        return result::ok;
    file->reset();
    (void)delete_file(glob->status_file_name);  // the claim has failed, which is reported
    return fail_with_code(glob, message::status_not_created, code);
}

enum class stop_request : int {
    none,       // or it can't be opened: deleting it will tell
    stale,      // its daemon has gone
    ours,       // made since our status file was created
    of_living,  // another daemon has not seen it yet, or has not ended yet
};

// Finds out whose stop request there is. One that we may not open is no daemon's that shared its
// status file as this one does; whether it is some other's, the system's list of locks tells.
// Whoever left it, it must not keep a start from happening once nobody waits for it. Results: 0, or
// the system's error code.
int look_at_request(const glob_struct *glob, stop_request *found) {
    *found = stop_request::none;
    file_guard request;
    const int open_code = open_existing(glob->stop_file_name, &request);
    if (open_code != 0) {
        if (is_denied(open_code) && is_listed_as_locked(glob->stop_file_name))
            *found = stop_request::of_living;
        return 0;
    }
    if (glob->status_handle != 0 && is_same_file(request.get(), glob->status_handle)) {
        *found = stop_request::ours;
        return 0;
    }
    const int code = lock_file(request.get());
    *found = code == EWOULDBLOCK ? stop_request::of_living : stop_request::stale;
    return code == EWOULDBLOCK ? 0 : code;
}

// Deletes a request that nobody waits for. *governed: a daemon may still have to see it, so that
// this one must not start. Results: 0, or the system's error code.
int clear_request(const glob_struct *glob, bool *governed) {
    stop_request found{};
    const int code = look_at_request(glob, &found);
    *governed = found == stop_request::of_living;
    if (code != 0 || *governed || found == stop_request::ours)
        return code;
    const int delete_code = delete_file(glob->stop_file_name);
    return delete_code == ENOENT ? 0 : delete_code;
}

// Renames the status file to the stop request. A request that its daemon has yet to see must not be
// replaced: the status file beside it is then that of a start that was killed, and goes.
int make_request(const glob_struct *glob) {
    const folder_lock held(glob->status_file_name);
    stop_request found{};
    if (look_at_request(glob, &found) == 0 && found == stop_request::of_living)
        return delete_file(glob->status_file_name);
    return rename_file(glob->status_file_name, glob->stop_file_name);
}

}  // namespace

int32_t get_status_filenames(glob_struct *glob, const char *node_text) {
    const int code = dbm_instance_path(dbm_current_instance, glob->stop_file_name);
    if (code != 0)
        return fail_with_code(glob, message::instance_path_failed, code);
    glob->stop_file_name[file_name_size - 1] = '\0';
    const std::string_view folder = dbm_tmp_directory;
    const std::string_view node = node_text;
    // Room for both slashes and both dots, also where an empty node text leaves one out.
    const size_t length = text_of(glob->stop_file_name).size() + folder.size() +
                          text_of(glob->db_name).size() + node.size() + 4 + status_suffix.size();
    if (length >= file_name_size) {
        fail_stderr(glob, message::status_name_long);
        return result::manager;
    }
    const std::string_view dot = node.empty() ? "" : ".";
    for (const std::string_view piece : {std::string_view("/"), folder, std::string_view("/"),
                                         text_of(glob->db_name), std::string_view("."), node, dot})
        (void)append_text(glob->stop_file_name, piece);  // seen to fit
    cut_text(glob->status_file_name, text_of(glob->stop_file_name));
    (void)append_text(glob->status_file_name, status_suffix);
    (void)append_text(glob->stop_file_name, stop_suffix);
    return result::ok;
}

int32_t claim_status_file(glob_struct *glob) {
    const folder_lock held(glob->status_file_name);
    file_guard file;
    int32_t outcome = create_locked(glob, held, &file);
    if (outcome != result::ok)
        return outcome;
    bool governed = false;
    const int request_code = clear_request(glob, &governed);
    if (request_code != 0)
        outcome = fail_with_code(glob, message::stale_request_kept, request_code);
    if (governed) {
        file.reset();
        (void)delete_file(glob->status_file_name);  // the start is refused, which is reported
        return refuse_start(glob);
    }
    const int write_code = write_all(file.get(), status_content);
    if (write_code != 0)
        outcome = fail_with_code(glob, message::status_not_written, write_code);
    const int close_code = close_file(file.release());
    if (close_code != 0)
        return fail_with_code(glob, message::file_not_closed, close_code);
    if (outcome != result::ok)
        (void)delete_file(glob->status_file_name);  // the claim has failed, which is reported
    return outcome;
}

void delete_status_file(const glob_struct *glob) {
    const folder_lock held(glob->status_file_name);
    if (!is_other_file(glob->status_file_name, glob->status_handle))
        (void)delete_file(glob->status_file_name);
}

void request_own_stop(const glob_struct *glob) {
    const folder_lock held(glob->status_file_name);
    if (!is_other_file(glob->status_file_name, glob->status_handle))
        (void)rename_file(glob->status_file_name, glob->stop_file_name);
}

int32_t request_stop(glob_struct *glob, const char *node_text) {
    const int code = make_request(glob);
    if (code == 0)
        return result::ok;
    if (code == ENOENT) {
        fail_stderr(glob, message::nothing_to_stop, {text_of(glob->db_name), node_text});
        return result::conflict;
    }
    if (is_denied(code)) {
        fail_stderr(glob, message::stop_refused);
        return result::conflict;
    }
    fail_stderr(glob, message::stop_failed, {decimal(glob->msg_token, code)});
    return result::manager;
}

int32_t test_stop_request(glob_struct *glob, bool *requested) {
    file_guard request;
    const int code = open_existing(glob->stop_file_name, &request);
    *requested = code == 0 || is_denied(code);
    if (code == 0) {
        const int close_code = close_file(request.release());
        if (close_code == 0)
            return result::ok;
        report_error(glob, location::main_close_request, message::file_not_closed,
                     {decimal(glob->msg_token, close_code)});
        return result::file;
    }
    if (code == ENOENT || *requested)
        return result::ok;
    report_error(glob, location::main_test_request, message::request_not_tested,
                 {decimal(glob->msg_token, code)});
    return result::file;
}

}  // namespace ravelo
