#include "daemon/attach.h"

#include <cstring>

#include "daemon/base/result.h"
#include "daemon/base/text.h"
#include "govern/interface/constants.h"
#include "log/report.h"

namespace ravelo {
namespace {

// Whether the library's connections must be directed to a node.
bool directs_to_node() {
    if (dbm_control_block == nullptr)
        return false;
    uint32_t flag = 0;
    std::memcpy(&flag, static_cast<const char *>(dbm_control_block) + dbm_node_flag_offset,
                sizeof(flag));
    return flag != 0;
}

int32_t direct_to_node(glob_struct *glob) {
    if (!directs_to_node())
        return result::ok;
    const client_setting setting{dbm_node_setting, glob->node_num};
    const int code = dbm_set_client(&setting, 1, &glob->api_sqlca);
    if (code == 0)
        return result::ok;
    report_error(glob, location::main_set_client, message::client_setup_failed,
                 {decimal(glob->msg_token, code)});
    return result::manager;
}

}  // namespace

int32_t set_up_library(glob_struct *glob) {
    const int code = dbm_init_process(dbm_library_version);
    if (code != 0) {
        fail_stderr(glob, message::client_setup_failed, {decimal(glob->msg_token, code)});
        return result::manager;
    }
    const int authority = dbm_user_authinfo(dbm_authority_argument_1, dbm_authority_argument_2,
                                            dbm_authority_argument_3, dbm_authority_argument_4,
                                            nullptr, &glob->api_sqlca);
    if ((authority & dbm_authority_refused) != 0) {
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
