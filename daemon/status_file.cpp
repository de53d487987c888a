#include "daemon/status_file.h"

#include <cerrno>

#include "daemon/files.h"
#include "daemon/result.h"
#include "log/report.h"
#include "log/text.h"

namespace ravelo {
namespace {

constexpr int current_instance = -1;
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

int32_t fail_creation(glob_struct *glob, int code) {
    if (code != EEXIST && !is_denied(code))
        return fail_with_code(glob, message::status_not_created, code);
    fail_stderr(glob, message::already_governed);
    return result::conflict;
}

}  // namespace

int32_t get_status_filenames(glob_struct *glob, const char *node_text) {
    const int code = dbm_instance_path(current_instance, glob->stop_file_name);
    if (code != 0)
        return fail_with_code(glob, message::instance_path_failed, code);
    glob->stop_file_name[file_name_size - 1] = '\0';
    const std::string_view folder = "/tmp/";
    const std::string_view node = node_text;
    // Room for both dots is asked for, also where an empty node text leaves one out.
    const size_t length = text_of(glob->stop_file_name).size() + folder.size() +
                          text_of(glob->db_name).size() + node.size() + 2 + status_suffix.size();
    if (length >= file_name_size) {
        fail_stderr(glob, message::status_name_long);
        return result::manager;
    }
    const std::string_view dot = node.empty() ? "" : ".";
    for (const std::string_view piece :
         {folder, text_of(glob->db_name), std::string_view("."), node, dot})
        (void)append_text(glob->stop_file_name, piece);  // seen to fit
    cut_text(glob->status_file_name, text_of(glob->stop_file_name));
    (void)append_text(glob->status_file_name, status_suffix);
    (void)append_text(glob->stop_file_name, stop_suffix);
    return result::ok;
}

int32_t claim_status_file(glob_struct *glob) {
    uint32_t handle = 0;
    const int create_code = create_exclusive(glob->status_file_name, &handle);
    if (create_code != 0)
        return fail_creation(glob, create_code);
    int32_t outcome = result::ok;
    const int delete_code = delete_file(glob->stop_file_name);
    if (delete_code != 0 && delete_code != ENOENT)
        outcome = fail_with_code(glob, message::stale_request_kept, delete_code);
    const int write_code = write_all(handle, status_content);
    if (write_code != 0)
        outcome = fail_with_code(glob, message::status_not_written, write_code);
    const int close_code = close_file(handle);
    if (close_code != 0)
        return fail_with_code(glob, message::file_not_closed, close_code);
    if (outcome != result::ok)
        (void)delete_file(glob->status_file_name);  // the claim has failed, which is reported
    return outcome;
}

int32_t request_stop(glob_struct *glob, const char *node_text) {
    const int code = rename_file(glob->status_file_name, glob->stop_file_name);
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
    uint32_t handle = 0;
    const int code = open_existing(glob->stop_file_name, &handle);
    *requested = code == 0 || is_denied(code);
    if (code == 0) {
        const int close_code = close_file(handle);
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
