#include "daemon/base/glob_struct.h"

#include "daemon/base/sqlca.h"

namespace ravelo {

void init_glob(glob_struct *glob) {
    *glob = glob_struct{};
    glob->cfg_line = 1;
    glob->db_available = 1;
    glob->need_size_estimate = 1;
    set_init_sqlca(&glob->api_sqlca);
    set_init_sqlca(&glob->msg_sqlca);
}

}  // namespace ravelo
