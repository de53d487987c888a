#include "dbm/session.h"

namespace dbm {

session &current_session() {
    static session the_session;
    return the_session;
}

const scripted_answer *script_of(operation which, uint32_t agent_id) {
    const manager *const governed = current_session().governed;
    return governed != nullptr && governed->scripted != nullptr
               ? governed->scripted(which, agent_id)
               : nullptr;
}

}  // namespace dbm
