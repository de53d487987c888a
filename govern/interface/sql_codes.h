// The SQL codes that a daemon and its tools tell apart.
//
// A library puts its own next to them as it likes, negative for an error and positive for a
// warning: what a daemon makes of those depends on their sign alone and stands at each operation
// (dbm.h).
#pragma once

enum {
    dbm_sql_ok = 0,

    // A force was not needed: the application was forced before, or has ended.
    dbm_sql_already_forced = 1230,

    // The buffer is too small for the snapshot, of which nothing has been taken.
    dbm_sql_buffer_too_small = 1606,

    // There is nothing to report: no application is connected, or nothing is known of any.
    dbm_sql_no_data = 1611,

    // The database manager is not running or does not answer. It may be back later, and a daemon
    // tries again in its next pass.
    dbm_sql_unreachable = -1032,

    // The agent has gone, or the connection to the database manager is lost. As above.
    dbm_sql_gone = -1224,

    // dbm_attach only: the database manager can't be connected to now, nothing is attached, and
    // the same call may succeed later. A tool that has time tries again; a daemon ends. Not for a
    // failure that only an administrator can end, such as settings that are wrong.
    dbm_sql_not_connected = -1930
};
