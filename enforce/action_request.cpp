#include "enforce/action_request.h"

#include "daemon/base/text.h"
#include "log/report.h"

namespace ravelo {

std::string_view make_reason(glob_struct *glob, const decision &decided,
                             char (&reason)[reason_size]) {
    reason[0] = '\0';
    for (size_t i = 0; i < limit_count; ++i) {
        if (((decided.breached >> i) & 1U) == 0)
            continue;
        char text[message_size];
        message_text(glob, limits[i].reason,
                     {decimal(glob->msg_token, limits[i].figure(decided.from))}, text);
        (void)append_text(reason, text_of(text));  // cut where it does not fit
    }
    return text_of(reason);
}

}  // namespace ravelo
