#include "config/clause_reading.h"

#include "daemon/base/result.h"
#include "daemon/base/text.h"

namespace ravelo {

int32_t get_clause_token(glob_struct *glob, char (&token)[token_size], location at_end_of_file) {
    const int32_t read = get_token(glob, token);
    if (read != result::end_of_file)
        return read;
    report_error(glob, at_end_of_file, message::unexpected_end);
    return result::config;
}

int32_t refuse_value(glob_struct *glob, location where, message number, std::string_view keyword,
                     std::string_view token) {
    report_error(glob, where, number, {keyword, token, decimal(glob->msg_token, glob->cfg_line)});
    return result::config;
}

int32_t refuse_word(glob_struct *glob, location where, message number, std::string_view token,
                    std::string_view keyword) {
    report_error(glob, where, number, {token, keyword, decimal(glob->msg_token, glob->cfg_line)});
    return result::config;
}

}  // namespace ravelo
