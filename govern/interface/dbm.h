// The C interface to the database manager's client library, libdbm.so.1, in C11 and in C++20.
//
// This header and the three beside it are the whole contract: any library that exports these
// symbols under that name can stand in our library's place at load time. constants.h has the values
// of arguments, snapshot_records.h the records of a snapshot, sql_codes.h the codes that matter.
//
// The library
//  - exports every symbol of this header, with C linkage, default visibility and no symbol version.
//    A daemon binds them all when it is loaded and does not start where one is missing.
//  - has the process for its own: there is one instance, one attachment and one caller, so no
//    operation takes a handle.
//  - lets nothing thrown out of an operation, never ends the process, and keeps standard output and
//    standard error to the caller.
//
// Calls
//  - come from one thread, one after the other. Only dbm_trace_handler may interrupt another one.
//  - come in this order: dbm_init_process, dbm_user_authinfo, dbm_set_client where it is asked for,
//    dbm_attach, the operations of an attachment, dbm_detach. A process need not go the whole way:
//    one that only checks rules never attaches, and one whose attach failed detaches all the same.
//  - dbm_to_upper, dbm_instance_path, dbm_prepare_sqlca, dbm_message_text and dbm_control_block are
//    for any time after dbm_init_process, attached or not; the two message operations also where
//    that has failed.
//  - dbm_monitor_switches, dbm_snapshot_size, dbm_snapshot, dbm_force_application and
//    dbm_set_agent_priority need an attachment. Without one they fail, with a negative sqlcode, and
//    do nothing.
//
// Results
//  - An int result is 0 where the call itself worked; any other value means that the call failed,
//    whatever the sqlcode says. Where it is otherwise, the operation says so.
//  - An operation that takes an sqlca sets its sqlcode in every call, also where it fails: 0 for
//    success, negative for an error, positive for a warning. It may fill the other fields as it
//    likes, so that dbm_message_text can later tell the failure in words.
//  - Outputs other than those named are not touched, and after a failure nobody reads an output.
//  - The library reports nothing itself that it can answer: the caller does that, once.
//
// Memory
//  - Whatever a call is given belongs to the caller, and the library keeps no pointer into it when
//    the call returns. Nothing that the library allocates becomes the caller's.
//  - No record that crosses the border holds a pointer, but for the message token entry. Character
//    fields of records have a fixed width; integers are little-endian.
#pragma once

#include <assert.h>  // NOLINT(modernize-deprecated-headers): this is also C
#include <stddef.h>  // NOLINT(modernize-deprecated-headers)
#include <stdint.h>  // NOLINT(modernize-deprecated-headers)

#ifdef __cplusplus
extern "C" {
#endif

// NOLINTBEGIN(modernize-use-using): the way that C has
typedef struct sqlca sqlca;
typedef struct client_setting client_setting;
typedef struct message_token message_token;
typedef struct switch_group switch_group;
typedef struct snapshot_request snapshot_request;
typedef struct snapshot_summary snapshot_summary;
// NOLINTEND(modernize-use-using)

// The SQL communication area, 136 bytes: the one result record of every operation. Owned by the
// caller, which fills it once with eye-catcher, length and blanks; it keeps one for requests and
// one for its own messages.
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
static_assert(sizeof(sqlca) == 136, "layout");
static_assert(offsetof(sqlca, sqlcaid) == 0 && offsetof(sqlca, sqlcabc) == 8, "layout");
static_assert(offsetof(sqlca, sqlcode) == 12 && offsetof(sqlca, sqlerrml) == 16, "layout");
static_assert(offsetof(sqlca, sqlerrmc) == 18 && offsetof(sqlca, sqlerrp) == 88, "layout");
static_assert(offsetof(sqlca, sqlerrd) == 96 && offsetof(sqlca, sqlwarn) == 120, "layout");
static_assert(offsetof(sqlca, sqlstate) == 131, "layout");

// One client connection setting, 4 bytes.
struct client_setting {
    uint16_t setting_type;   // dbm_node_setting
    uint16_t setting_value;  // the node's number
};
static_assert(sizeof(client_setting) == 4, "layout");
static_assert(offsetof(client_setting, setting_value) == 2, "layout");

// One message token: text that need not be NUL-terminated; null and 0 where there is none. Pointers
// have the platform's width, so this record has 16 bytes where they have 64 bits, 8 where 32.
struct message_token {
    uint16_t length;
    const char *text;
};
static_assert(offsetof(message_token, text) == sizeof(void *), "layout");
static_assert(sizeof(message_token) == 2 * sizeof(void *), "layout");

// -- The process and its instance --

// Prepares the library's per-process data. The first call of a process, made once.
//  - version: dbm_library_version; a library that has another one fails.
//  - Results: 0; otherwise a code, with which the caller ends.
int dbm_init_process(int version);

// Tells whether the invoking user may govern the instance. A library that can't find out
// refuses.
//  - argument_1 to argument_4: dbm_authority_argument_1 to dbm_authority_argument_4.
//  - record: null.
//  - Results: no failure of its own; the bit dbm_authority_refused set means that the user is
//    refused, and the caller ends. No other bit is looked at, and neither is the sqlcode.
int dbm_user_authinfo(unsigned char argument_1, unsigned char argument_2, unsigned char argument_3,
                      int argument_4, void *record, sqlca *ca);

// Converts text to upper case in place, in the database's code page, as the database manager
// does with names: a daemon compares authorization ids with the outcome, byte for byte.
//  - length: bytes of text, which keeps this length; 0 or more. No byte behind them is touched,
//    and none need be NUL.
//  - mode: dbm_to_upper_mode.
void dbm_to_upper(int length, int mode, char *text);

// Gives the path of the instance directory, NUL-terminated. In its dbm_tmp_directory a daemon
// keeps the files by which others find it, so that has to exist and should let in nobody who may
// not govern. A relative path goes by the working directory.
//  - which: dbm_current_instance.
//  - path: room for dbm_path_room bytes. A library whose path needs more fails and writes no
//    more; a daemon puts some 25 bytes behind the path in the same room, and ends where these
//    don't fit. A daemon asks before it attaches; a library may take the attachment of a
//    process that has not asked for a tool's that only watches, and refuse to act for it.
//  - Results: 0; otherwise a code, with which the caller ends, path then being undefined.
int dbm_instance_path(int which, char *path);

// Applies settings to the attachments made from then on; not called while attached.
//  - settings: count records, of which a daemon gives one: the node that it governs.
//  - Results: 0; otherwise a code, with which the caller ends, and no setting has changed.
int dbm_set_client(const client_setting *settings, int count, sqlca *ca);

// Address of the process control record, owned by the library, or null. The 32-bit word at the
// byte offset dbm_node_flag_offset of it, which need not be aligned, tells a caller whether it
// must name its node with dbm_set_client before it attaches: not 0. Where it is 0 or there is no
// record, there is one node, and dbm_set_client is not called. Does not change after
// dbm_init_process.
extern void *dbm_control_block;

// -- The attachment --

// Attaches to an instance. There is one attachment at a time: with one, this fails and it stays.
//  - instance: the instance's name, which is the first word of the daemon's command line, NUL-
//    terminated and at most dbm_longest_instance bytes long. A library that has one instance may
//    take any.
//  - user, password: NUL-terminated, or null for the invoking user, which is what a daemon
//    gives.
//  - Results: 0, attached. Otherwise nothing is attached, the sqlcode is not 0, and
//    dbm_message_text has a text for the sqlca in dbm_manager_catalog; dbm_sql_not_connected
//    says that trying again may help.
int dbm_attach(const char *instance, const char *user, const char *password, sqlca *ca);

// Ends the attachment, however it answers; without one it does nothing and succeeds. A caller
// has given back the priorities that it set; what the library has changed itself it gives back
// here.
//  - Results: 0; otherwise something could not be given back or ended well, and the sqlca says
//    what, as for dbm_attach.
int dbm_detach(sqlca *ca);

// -- Watching --
//
// In a pass a daemon turns on the switches that its rules need, if any, asks for the size of a
// snapshot where it has never got one above 0, and takes a snapshot. What the three answer:
//    sqlcode dbm_sql_ok          it worked
//    dbm_sql_no_data             there is nothing to report in this pass; said to nobody
//    any other positive code     a warning, which is logged. There is no snapshot in this pass, but
//                                dbm_monitor_switches has turned on what it could, and the pass
//                                goes on
//    dbm_sql_unreachable, dbm_sql_gone
//                                the manager can't be reached: logged the first time, and tried
//                                again in the next pass, over the same attachment. The library
//                                finds its own way back to the manager
//    any other negative code     the operation failed: the daemon ends
//    a result that is not 0      the same, whatever the sqlcode
// The arguments that all three have:
//  - version: dbm_monitor_version.
//  - unused: null.

// Turns monitor switches on and tells the state of all. A switch once on stays on while
// attached.
//  - groups: dbm_switch_groups of them. Those whose input_state is dbm_switch_on are turned on,
//    the others left as they are, and every output_state is filled, also with a warning. A
//    manager that has no switches says that all are on; where a group that was to be turned on
//    stays off, the daemon ends.
int dbm_monitor_switches(int version, void *unused, switch_group *groups, sqlca *ca);

// Estimates the bytes that a snapshot for the request needs.
//  - request: all applications of one database; a library refuses any other.
//  - size: receives the estimate. 0 says that there is no application: no snapshot is taken in
//    this pass, and the next one asks again. An estimate that is too low only costs a call more.
int dbm_snapshot_size(int version, void *unused, const snapshot_request *request, uint32_t *size,
                      sqlca *ca);

// Takes a snapshot of the applications that are connected, other than the caller's own
// connection.
//  - request: as above. It may name another database than the request before.
//  - buffer: room for buffer_size bytes, at any address; never more is written. It receives the
//    records, laid out as snapshot_records.h says.
//  - summary: receives the time, the states of the switches and the number of application
//    records.
//  - sqlcode dbm_sql_buffer_too_small: as nothing has been taken, the call is made again at once
//    with a larger buffer. The snapshot taken last is what agent ids of later calls are from.
int dbm_snapshot(int version, void *unused, const snapshot_request *request, uint32_t buffer_size,
                 void *buffer, snapshot_summary *summary, sqlca *ca);

// -- Acting --
//
// An agent id is one of the snapshot taken last or of an earlier one. An id may have been used
// again since: a library never acts on another application than the one that was reported by that
// id, and takes an application that it can't be sure of for one that has ended.

// Forces applications off the database.
//  - count: dbm_force_count.
//  - agent_ids: as many.
//  - mode: dbm_force_mode.
//  - Results: only the sqlcode is looked at.
//    dbm_sql_ok, dbm_sql_already_forced
//                                done. The application need not have ended when the call returns;
//                                if it is in the next snapshot, it may be forced again
//    any other positive code     not done, a warning that is logged; the daemon goes on
//    negative                    not done, an error: the daemon ends
int dbm_force_application(int count, const uint32_t *agent_ids, int mode, sqlca *ca);

// Sets the priority of an application's agent, for as long as the application lives or until it
// is set anew.
//  - priority: dbm_best_priority to dbm_worst_priority; dbm_normal_priority gives back what the
//    agent had before the first change. A manager that has fewer takes the nearest.
//  - mode: dbm_priority_mode.
//  - Results: the sqlcode, with a result of 0:
//    dbm_sql_ok                  done
//    dbm_sql_gone, dbm_sql_unreachable
//                                the application has ended, or the manager is away: nothing to do
//    anything else               an error: the daemon ends. A library whose manager refused this
//                                one change should tell of it in another way and answer dbm_sql_ok
// A result that is not 0 ends the daemon even with these three codes.
int dbm_set_agent_priority(uint32_t agent_id, int priority, int mode, sqlca *ca);

// -- Messages --

// Packs a message into ca: sqlcode becomes its number, sqlerrml and sqlerrmc hold the tokens as
// the library likes. It may use words of sqlerrd for itself; the other fields stay. Tokens may
// be longer than sqlerrmc: a library cuts them, or keeps them beside the record until some later
// message.
//  - token_count: 0 to dbm_most_tokens.
//  - message: the number.
//  - first: the address of token 0. Token i lies i entries *below* it: first[-i]. Their texts
//    are the caller's, and only there during the call.
//  - Results: 0; otherwise a code, and what ca then holds has no text. Nobody ends because of
//    that.
int dbm_prepare_sqlca(sqlca *ca, short token_count, long message, const message_token *first);

// Writes the text for ca's sqlcode and tokens to buffer, NUL-terminated and cut to fit, in UTF-8
// and in the user's language.
//  - width: bytes of room, at least 1; a daemon has dbm_text_width.
//  - line_width: where lines are to be broken; dbm_no_line_breaks.
//  - catalog: dbm_daemon_catalog for what dbm_prepare_sqlca has packed, dbm_manager_catalog for
//    the sqlca of a request. A catalog that the library does not know gives 0.
//  - Results: the text's length without the terminator; 0 or less: no text; of a request
//    the caller then shows the SQL code, of its own message nothing. The manual page
//    ravelo-messages(7) lists the daemon's messages with their tokens, and its texts are installed
//    as GNU catalogs in share/locale, with the numbers for ids; a library may as well put number
//    and tokens side by side. Some texts serve as a printf format afterwards; a daemon checks them
//    and shows the values without a text that does not fit.
int dbm_message_text(char *buffer, int width, int line_width, const char *catalog, const sqlca *ca);

// -- Tracing --

// Handler of the signal dbm_trace_signal, which a daemon installs once it is attached: switches
// a trace of the library on and off, if there is one. May interrupt any operation, so only what
// is async-signal-safe may be done here.
void dbm_trace_handler(int signal);

#ifdef __cplusplus
}  // extern "C"
#endif
