// Numbers of the daemon's own messages, whose texts are in dbm_daemon_catalog.
// The comment behind each number names its tokens.
#pragma once

namespace ravelo {

enum class message : long {
    trace_heading = 1,
    rule_section = 2,
    start_time_label = 3,
    end_time_label = 4,
    authid_label = 5,
    applname_label = 6,

    force_warning = 101,         // agent id, SQL code
    request_warning = 102,       // request name, code
    database_unreachable = 103,  // request name, SQL code

    not_authorized = 1000,
    database_name_long = 1001,  // argument
    config_name_long = 1002,    // argument
    log_name_long = 1004,       // argument
    nothing_to_stop = 1005,     // database, node text
    stop_refused = 1006,
    already_governed = 1007,
    stop_failed = 1008,           // code
    status_not_created = 1009,    // code
    stale_request_kept = 1010,    // code
    status_not_written = 1011,    // code
    file_not_closed = 1012,       // code
    request_not_tested = 1013,    // code
    log_not_opened = 1014,        // file, code
    log_not_written = 1015,       // code
    log_not_closed = 1016,        // pending result
    log_end_not_found = 1017,     // code
    instance_path_failed = 1018,  // code
    status_name_long = 1019,
    out_of_memory = 1020,         // code
    config_status_failed = 1021,  // file, code
    priority_failed = 1022,       // SQL code
    config_not_opened = 1023,     // file, code
    config_read_error = 1024,     // line
    config_not_closed = 1025,     // pending result
    statement_repeated = 1026,    // keyword, line
    value_refused = 1027,         // keyword, value, line
    semicolon_missing = 1028,     // keyword, token, line
    name_long = 1029,             // keyword, value, line
    other_database = 1030,        // value, database
    unknown_statement = 1031,     // line; format with the token
    dbname_missing = 1032,
    nothing_to_do = 1033,
    account_too_short = 1034,
    unexpected_end = 1035,
    token_long = 1036,         // line; format with the token
    text_not_ended = 1038,     // line where it began
    string_long = 1039,        // line; format with the text
    invalid_character = 1041,  // character, line
    group_missing = 1043,
    group_exists = 1044,
    clause_unexpected = 1045,       // token, keyword, line
    name_missing = 1046,            // token, keyword, line
    keyword_unknown = 1047,         // token, keyword, line
    window_empty = 1048,            // line
    buffer_or_force_failed = 1049,  // allocation code; or agent id, SQL code
    clock_failed = 1050,            // code
    snapshot_malformed = 1051,
    monitor_call_failed = 1052,  // request name, result, SQL code
    request_failed = 1053,       // request name, SQL code
    client_setup_failed = 1054,  // code
    switches_off = 1056,
    started = 1063,              // database
    config_read = 1064,          // file
    debug_changed = 1065,        // old level, new level
    before_sleep = 1066,         // seconds
    after_sleep = 1067,          // seconds
    rule_description = 1068,     // description
    rule_values = 1069,          // format with nine integers
    rule_values_log = 1070,      // format with eleven integers
    snapshot_result = 1071,      // result
    switch_states = 1072,        // six states
    record_count = 1073,         // count
    application_figures = 1074,  // six figures; or four CPU figures
    scheduled = 1076,            // applname, authid, appl id, line, reason
    priority_set = 1077,         // applname, authid, appl id, priority, line, reason
    size_estimated = 1078,
    buffer_allocated = 1079,  // bytes
    buffer_too_small = 1080,
    buffer_size = 1081,        // bytes
    cpu_breached = 1082,       // value
    locks_breached = 1083,     // value
    rowssel_breached = 1084,   // value
    rowsread_breached = 1085,  // value
    idle_breached = 1086,      // value
    uowtime_breached = 1087,   // value
    forced = 1088,             // applname, authid, appl id, aux number, line, reason
};

}  // namespace ravelo
