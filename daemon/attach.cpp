#include "daemon/attach.h"

#include <cstring>

#include "daemon/result.h"
#include "log/report.h"
#include "log/text.h"

namespace ravelo {
namespace {

constexpr int library_version = 950801;
constexpr int authority_refused = 0x40000000;
constexpr size_t node_flag_offset = 4300;
constexpr uint16_t node_setting = 8;

// Whether the library's connections must be directed to a node.
bool directs_to_node() {
    if (dbm_control_block == nullptr)
        return false;
    uint32_t flag = 0;
    std::memcpy(&flag, static_cast<const char *>(dbm_control_block) + node_flag_offset,
                sizeof(flag));
    return flag != 0;
}

int32_t direct_to_node(glob_struct *glob) {
    if (!directs_to_node())
        return result::ok;
    const client_setting setting{node_setting, glob->node_num};
    const int code = dbm_set_client(&setting, 1, &glob->api_sqlca);
    if (code == 0)
        return result::ok;
    report_error(glob, location::main_set_client, message::client_setup_failed,
                 {decimal(glob->msg_token, code)});
    return result::manager;
}

}  // namespace

int32_t set_up_library(glob_struct *glob) {
    const int code = dbm_init_process(library_version);
    if (code != 0) {
        fail_stderr(glob, message::client_setup_failed, {decimal(glob->msg_token, code)});
        return result::manager;
    }
    if ((dbm_user_authinfo(2, 1, 1, 65, nullptr, &glob->api_sqlca) & authority_refused) != 0) {
        fail_stderr(glob, message::not_authorized);
        return result::usage;
    }
    return result::ok;
}

int32_t attach(glob_struct *glob) {
    const int32_t directed = direct_to_node(glob);
    if (directed != result::ok)
        return directed;
    if (dbm_attach(glob->instance_name, nullptr, nullptr, &glob->api_sqlca) == 0)
        return result::ok;
    report_manager_error(glob, location::main_attach, "DBATTACH");
    return result::manager;
}

}  // namespace ravelo
