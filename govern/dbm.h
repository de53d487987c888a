// The C interface to the database manager's client library, libdbm.so.1.
//
// This header is the whole contract: any library that exports these symbols can stand in
// our library's place at load time. Nothing here is inlined across the border, and no record that
// crosses it holds a pointer except the message token entry.
//
// Common to all operations:
//  - The int result is 0 when the call itself worked; any other value means that the call failed,
//    whatever the sqlcode says. Exceptions are named below.
//  - An operation that takes an sqlca sets its sqlcode: 0 success, negative error, positive
//    warning. It leaves no other trace of itself in the caller's memory than the outputs named.
//  - Character fields of records are fixed-width; integers are little-endian.
//  - Calls come from one thread, one after the other.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {

// The SQL communication area, 136 bytes: the one result record of every operation.
struct sqlca {
    char sqlcaid[8];     // "SQLCA   "
    int32_t sqlcabc;     // 136
    int32_t sqlcode;     // 0, negative error, positive warning; a packed message: its number
    int16_t sqlerrml;    // bytes used in sqlerrmc
    char sqlerrmc[70];   // message tokens as the library packs them
    char sqlerrp[8];     // component that filled the record
    int32_t sqlerrd[6];  // diagnostic words of the library
    char sqlwarn[11];    // warning flags
    char sqlstate[5];    // SQLSTATE
};
static_assert(sizeof(sqlca) == 136);
static_assert(offsetof(sqlca, sqlcaid) == 0 && offsetof(sqlca, sqlcabc) == 8);
static_assert(offsetof(sqlca, sqlcode) == 12 && offsetof(sqlca, sqlerrml) == 16);
static_assert(offsetof(sqlca, sqlerrmc) == 18 && offsetof(sqlca, sqlerrp) == 88);
static_assert(offsetof(sqlca, sqlerrd) == 96 && offsetof(sqlca, sqlwarn) == 120);
static_assert(offsetof(sqlca, sqlstate) == 131);

// One client connection setting, 4 bytes.
struct client_setting {
    uint16_t setting_type;   // 8: the node to which the client connects
    uint16_t setting_value;  // the node number
};
static_assert(sizeof(client_setting) == 4);
static_assert(offsetof(client_setting, setting_value) == 2);

// One message token: text that need not be NUL-terminated. Owned by the caller, read only during
// the call. Pointers have native width, so this record is 16 bytes with 64-bit pointers, 8 with 32.
struct message_token {
    uint16_t length;
    const char *text;
};
static_assert(offsetof(message_token, text) == sizeof(void *));
static_assert(sizeof(message_token) == 2 * sizeof(void *));

struct switch_group;
struct snapshot_request;
struct snapshot_summary;

// Prepares the library's per-process data. version: 950801. First call of a process.
// Results: 0; otherwise an error code, and then only the two message operations may be called.
int dbm_init_process(int version);

// Tells whether the invoking user may govern the instance. The arguments are 2, 1, 1, 65, a null
// record and an sqlca. Results: an int whose bit 30 (0x40000000) set means refused.
int dbm_user_authinfo(unsigned char, unsigned char, unsigned char, int, void *record, sqlca *ca);

// Converts length bytes of text to upper case in place, in the database's code page. The second
// argument is 0. The length never changes.
void dbm_to_upper(int length, int, char *text);

// Writes the instance directory's path, NUL-terminated, to path, which has room for 255 bytes; the
// library fails rather than write more. which: -1, the current instance.
// Results: 0; otherwise an error code, path then being undefined.
int dbm_instance_path(int which, char *path);

// Applies count client settings to the connections made from then on. Results: 0; error code.
int dbm_set_client(const client_setting *settings, int count, sqlca *ca);

// Attaches to the named instance; user and password may be null. Results: 0; otherwise the sqlca
// holds the failure, and dbm_message_text with "ozusql.mo" its text.
int dbm_attach(const char *instance, const char *user, const char *password, sqlca *ca);

// Ends the attachment; also called when none was made. Results: as dbm_attach.
int dbm_detach(sqlca *ca);

// Turns monitor switches on and reports their state. version 3, null, 7 groups.
// Results: 0 with every group's output_state filled and the sqlcode set; otherwise failed.
int dbm_monitor_switches(int version, void *, switch_group *groups, sqlca *ca);

// Estimates the bytes a snapshot for the request needs. version 3, null.
// Results: 0 with *size set (0: nothing to report) and the sqlcode set; otherwise failed.
int dbm_snapshot_size(int version, void *, const snapshot_request *request, uint32_t *size,
                      sqlca *ca);

// Takes a snapshot into buffer, never writing more than buffer_size bytes, and fills summary.
// version 3, null. Results: 0 with sqlcode 0 (taken), 1606 (buffer too small; call again with a
// larger one), 1611 (no data), -1032 or -1224 (database manager not reachable), another negative
// code (failed), another positive code (warning, no usable snapshot); otherwise the call failed.
int dbm_snapshot(int version, void *, const snapshot_request *request, uint32_t buffer_size,
                 void *buffer, snapshot_summary *summary, sqlca *ca);

// Forces the applications of the agent list off the database. count 1, mode 0. Only the sqlcode is
// looked at: 0 or 1230 done, positive warning, negative error.
int dbm_force_application(int count, const uint32_t *agent_ids, int mode, sqlca *ca);

// Sets an agent's priority: -20 (best) to 20; 0 gives the normal priority back. The third argument
// is 0. Only the sqlcode is looked at: 0 done, -1224 and -1032 the agent or the manager is gone.
int dbm_set_agent_priority(uint32_t agent_id, int priority, int, sqlca *ca);

// Packs a message number and at most 11 tokens into ca: sqlcode becomes the number. first is the
// address of token 0; token i lies i entries *below* it.
int dbm_prepare_sqlca(sqlca *ca, short token_count, long message, const message_token *first);

// Writes the text for ca from the named catalog to buffer: at most width (400) bytes with the
// terminator; line_width 0: no line breaks. A catalog the library does not know gives 0.
// Results: the text's length; 0 or less: no text.
int dbm_message_text(char *buffer, int width, int line_width, const char *catalog, const sqlca *ca);

// Address of the process control record, or null. A non-zero 32-bit word at byte offset 4300 says
// that connections must be directed to a node with dbm_set_client.
extern void *dbm_control_block;

// Signal handler that switches the library's trace on and off. Async-signal-safe.
void dbm_trace_handler(int signal);

}  // extern "C"
