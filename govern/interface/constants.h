// The values that are agreed for the arguments and results of the operations in dbm.h. Those of the
// wire records' fields stand with the records, in snapshot_records.h.
#pragma once

enum {
    // dbm_init_process: the version of this interface.
    dbm_library_version = 950801,

    // dbm_user_authinfo: the four numbers that ask whether the invoking user may govern the
    // instance, and the bit of the result (bit 30) that says no.
    dbm_authority_argument_1 = 2,
    dbm_authority_argument_2 = 1,
    dbm_authority_argument_3 = 1,
    dbm_authority_argument_4 = 65,
    dbm_authority_refused = 0x40000000,

    // dbm_to_upper: its second argument.
    dbm_to_upper_mode = 0,

    // dbm_instance_path: selects the current instance; bytes of room for the path with its
    // terminator.
    dbm_current_instance = -1,
    dbm_path_room = 255,

    // dbm_attach and snapshot_request: most bytes of the names that a daemon gives, without any
    // terminator.
    dbm_longest_instance = 9,
    dbm_longest_database = 8,

    // dbm_control_block: the byte offset of the one 32-bit word of it that others read.
    dbm_node_flag_offset = 4300,

    // dbm_set_client: the setting_type of the node to which the client connects.
    dbm_node_setting = 8,

    // The monitor operations: the version of the wire records.
    dbm_monitor_version = 3,

    // dbm_force_application: applications in one call, and the way to force them.
    dbm_force_count = 1,
    dbm_force_mode = 0,

    // dbm_set_agent_priority: the priorities there are, the one that gives back what the agent had,
    // and the way to set them.
    dbm_best_priority = -20,
    dbm_worst_priority = 20,
    dbm_normal_priority = 0,
    dbm_priority_mode = 0,

    // dbm_prepare_sqlca: most tokens of a message.
    dbm_most_tokens = 11,

    // dbm_message_text: bytes of room for a text with its terminator; a line width that asks for a
    // text in one line.
    dbm_text_width = 400,
    dbm_no_line_breaks = 0,

    // The signal for which a daemon installs dbm_trace_handler.
    dbm_trace_signal = 23
};

// dbm_instance_path: the directory in that directory in which daemons find each other.
static const char dbm_tmp_directory[] = "tmp";

// dbm_message_text: the catalog of the daemon's own messages, and that of the database manager's.
static const char dbm_daemon_catalog[] = "ravelo.mo";
static const char dbm_manager_catalog[] = "ozusql.mo";
