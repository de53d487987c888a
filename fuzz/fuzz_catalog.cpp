// Catalog files, and the texts that come of them: the input is an sqlca and the catalog. The
// daemon uses no text as a format that it can't be.
#include <array>
#include <cstring>
#include <vector>

#include "daemon/base/text.h"
#include "dbm/catalogs.h"
#include "fuzz/input_file.h"
#include "govern/interface/constants.h"
#include "log/report.h"

using namespace ravelo;

namespace {

// The library looks for its catalogs beside the program that holds it, where both are links to
// this descriptor.
constexpr int linked_descriptor = 200;

void check_texts(const sqlca &ca) {
    for (const char *const name : {dbm_daemon_catalog, dbm_manager_catalog, "other.mo"}) {
        for (const int width : {1, 2, 40, static_cast<int>(message_size)}) {
            std::vector<char> buffer(static_cast<size_t>(width));
            const int length =
                dbm_message_text(buffer.data(), width, dbm_no_line_breaks, name, &ca);
            fuzz::require(length >= 0 && length < width && fuzz::is_printable(buffer.data()));
            fuzz::require(std::strlen(buffer.data()) == static_cast<size_t>(length));
        }
    }
}

// Every way in which the daemon uses a text.
void report_all(glob_struct *glob, std::string_view token) {
    report_text_with(glob, message::unknown_statement, {token}, std::string(token).c_str());
    report_error_text(glob, location::config_unknown_keyword);
    report_text_with(glob, message::rule_values, std::array<int32_t, 9>{-1, 2, INT32_MIN});
    report_error_text(glob, location::none);
    report_text_with(glob, message::rule_values_log, std::array<int32_t, 11>{INT32_MAX});
    report_error_text(glob, location::none);
    report_error(glob, location::force_failed, message::forced,
                 {token, token, "3", "-1224", token, token, "7", "8", "9", token, "11"});
    report_manager_error(glob, location::main_attach, "DBATTACH");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const fuzz::memory_file file;
    static const int linked = dup2(file.descriptor(), linked_descriptor);
    static const fuzz::memory_file log;
    static glob_struct glob;
    fuzz::require(linked == linked_descriptor);
    init_glob(&glob);
    if (size < sizeof(glob.api_sqlca))
        return 0;
    std::memcpy(&glob.api_sqlca, data, sizeof(glob.api_sqlca));
    file.fill(data + sizeof(glob.api_sqlca), size - sizeof(glob.api_sqlca));
    log.fill("", 0);
    cut_text(glob.log_file_name, log.path());
    dbm::forget_catalogs();
    check_texts(glob.api_sqlca);
    report_all(&glob, text_of(glob.api_sqlca.sqlerrmc));
    fuzz::require(close_log(&glob) == 0);
    fuzz::check_log(log.content());
    dbm::forget_catalogs();
    return 0;
}
