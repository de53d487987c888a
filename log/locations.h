// Location numbers of ERROR and WARNING records: operation number × 1000 + site.
#pragma once

namespace ravelo {

enum class location : int {
    none = -1,

    main_set_client = 1020,
    main_attach = 1025,
    main_allocate_request = 1030,
    main_trace_handler = 1035,
    main_close_request = 1040,
    main_test_request = 1050,
    main_open_config = 1055,
    main_config_status = 1060,
    main_close_config = 1062,
    main_close_log = 1140,

    config_open = 2010,
    config_interval_repeated = 2015,
    config_interval_range = 2020,
    config_value_end = 2030,
    config_dbname_repeated = 2035,
    config_dbname_long = 2040,
    config_dbname_other = 2050,
    config_dbname_end = 2060,
    config_account_repeated = 2063,
    config_account_range = 2065,
    config_account_end = 2067,
    config_unknown_keyword = 2070,
    config_no_dbname = 2080,
    config_nothing_to_do = 2090,
    config_account_short = 2095,
    config_end_of_file = 2100,
    config_status = 2110,
    config_close = 2120,
    rule_allocate = 3010,

    niceapp_allocate = 4010,

    time_first = 5010,
    time_second = 5020,
    time_equal = 5030,
    time_next = 5040,
    time_end_of_file = 5050,

    authid_missing = 6010,
    authid_long = 6020,
    authid_allocate = 6030,
    authid_next = 6040,
    authid_end_of_file = 6050,

    applname_missing = 7010,
    applname_allocate = 7030,
    applname_next = 7040,
    applname_end_of_file = 7050,

    limit_cpu = 8010,
    limit_locks = 8020,
    limit_rowssel = 8030,
    limit_rowsread = 8035,
    limit_idle = 8040,
    limit_uowtime = 8045,
    limit_unknown = 8050,
    action_priority = 8070,
    action_unknown = 8080,
    action_end = 8090,
    limit_end_of_file = 8100,

    govern_malformed = 9030,
    nice_set = 10080,
    force_failed = 11020,
    force_warned = 11030,

    switches_call = 15003,
    switches_code = 15005,
    switches_off = 15007,
    size_call = 15010,
    size_code = 15020,
    buffer_allocate = 15040,
    snapshot_call = 15050,
    snapshot_code = 15060,

    token_long = 16010,
    token_read = 16015,
    comment_read = 16030,
    comment_end_of_file = 16031,
    string_long = 16035,
    string_read = 16037,
    string_end_of_file = 16038,
    token_character = 16050,

    desc_next = 17010,
    desc_end_of_file = 17020,

    acctapp_allocate = 18010,
    schedapp_group = 19010,
    schedapp_allocate = 19020,
    schedgrp_exists = 20010,
    schedgrp_allocate = 20020,
    schedule_leave = 21010,
    schedule_rank = 21030,
    clean_up_nice = 22040,
    clean_up_schedule = 22060,
    clean_up_detach = 22120,
};

}  // namespace ravelo
