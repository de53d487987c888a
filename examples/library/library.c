// A client library of its own, in C: with it, ravelod governs the applications of a list.
//
// The file "applications" in the directory that $DBM_INSTANCE names has a line for each: agent id
// from 1, application name, authorization id and CPU seconds. It is read for every snapshot. What
// the library is told to do goes to the file "calls" beside it, and who was forced is not shown
// again.
#include <errno.h>
#include <ravelo/constants.h>
#include <ravelo/dbm.h>
#include <ravelo/snapshot_records.h>
#include <ravelo/sql_codes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

enum { failed = -1, not_attached = -1, most = 100 };  // an SQL code of the library's own

static char directory[dbm_path_room];  // the instance directory
static char message[dbm_text_width];   // the text of the message packed last
static int attached;
static appl_snapshot listed[most];  // the applications read last
static uint32_t forced[most];       // the agents forced last
static size_t forced_count;

void *dbm_control_block = NULL;  // there is one node

static FILE *open_file(const char *name, const char *mode) {
    char path[dbm_path_room + 20];
    (void)snprintf(path, sizeof path, "%s/%s", directory, name);
    return fopen(path, mode);
}

static int answer(sqlca *ca, int32_t sqlcode) {
    ca->sqlcode = sqlcode;
    return 0;  // the call itself has worked
}

// Puts text into a field, blank padded and cut to fit.
static void pad(char *field, size_t size, const char *text) {
    const size_t length = strlen(text);
    memset(field, ' ', size);
    memcpy(field, text, length < size ? length : size);
}

// Makes a record of a line. 0: there is none to show.
static int read_line(char *line, appl_snapshot *record) {
    char *rest = NULL;
    const char *const id = strtok_r(line, " \n", &rest);
    const char *const applname = strtok_r(NULL, " \n", &rest);
    const char *const authid = strtok_r(NULL, " \n", &rest);
    const char *const cpu = strtok_r(NULL, " \n", &rest);
    if (cpu == NULL)
        return 0;
    memset(record, 0, sizeof *record);
    record->size = sizeof *record;
    record->rec_type = appl_record_type;
    record->agent_id = (uint32_t)strtoul(id, NULL, 10);
    record->user_cpu_s = (uint32_t)strtoul(cpu, NULL, 10);
    pad(record->applname, sizeof record->applname, applname);
    pad(record->authid, sizeof record->authid, authid);
    pad(record->appl_id, sizeof record->appl_id, id);
    for (size_t i = 0; i < most; ++i)
        if (forced[i] == record->agent_id)
            return 0;
    return 1;
}

// Fills the list. Results: its length; failed without the file.
static int read_list(void) {
    char line[200];
    int count = 0;
    FILE *const file = open_file("applications", "r");
    if (file == NULL)
        return failed;
    while (count < most && fgets(line, sizeof line, file) != NULL)
        count += read_line(line, &listed[count]);
    (void)fclose(file);
    return count;
}

// Writes down what was asked for an application. Returns the SQL code, gone where it has ended.
static int32_t note_call(const char *what, uint32_t agent_id, int priority, int32_t gone) {
    if (!attached)
        return not_attached;
    for (int i = read_list() - 1; i >= 0; --i) {
        FILE *const file = listed[i].agent_id == agent_id ? open_file("calls", "a") : NULL;
        if (file == NULL)
            continue;
        (void)fprintf(file, "%s %lu %d\n", what, (unsigned long)agent_id, priority);
        (void)fclose(file);
        return dbm_sql_ok;
    }
    return gone;
}

int dbm_init_process(int version) {
    const char *const named = getenv("DBM_INSTANCE");
    if (version != dbm_library_version || named == NULL || strlen(named) >= sizeof directory)
        return EINVAL;
    (void)snprintf(directory, sizeof directory, "%s", named);
    return 0;
}

int dbm_user_authinfo(unsigned char argument_1, unsigned char argument_2, unsigned char argument_3,
                      int argument_4, void *record, sqlca *ca) {
    (void)answer(ca, dbm_sql_ok);
    return access(directory, W_OK) == 0 ? 0 : dbm_authority_refused;
}

void dbm_to_upper(int length, int mode, char *text) {
    for (int i = 0; i < length; ++i)
        if (text[i] >= 'a' && text[i] <= 'z')
            text[i] = (char)(text[i] - 'a' + 'A');
}

int dbm_instance_path(int which, char *path) {
    char tmp[dbm_path_room + 5];
    (void)snprintf(tmp, sizeof tmp, "%s/tmp", directory);
    if (mkdir(tmp, 0770) != 0 && errno != EEXIST)
        return errno;
    memcpy(path, directory, strlen(directory) + 1);
    return 0;
}

int dbm_set_client(const client_setting *settings, int count, sqlca *ca) {
    return answer(ca, dbm_sql_ok);  // no node is any different
}

int dbm_attach(const char *instance, const char *user, const char *password, sqlca *ca) {
    if (attached || read_list() == failed) {
        (void)answer(ca, attached ? failed : dbm_sql_not_connected);  // the list may come later
        return failed;
    }
    attached = 1;
    return answer(ca, dbm_sql_ok);
}

int dbm_detach(sqlca *ca) {
    attached = 0;
    return answer(ca, dbm_sql_ok);
}

int dbm_monitor_switches(int version, void *unused, switch_group *groups, sqlca *ca) {
    for (int i = 0; i < dbm_switch_groups; ++i)
        groups[i].output_state = dbm_switch_on;  // there are no others
    return answer(ca, attached ? dbm_sql_ok : not_attached);
}

int dbm_snapshot_size(int version, void *unused, const snapshot_request *request, uint32_t *size,
                      sqlca *ca) {
    *size = sizeof(appl_snapshot);  // it may grow
    return answer(ca, attached ? dbm_sql_ok : not_attached);
}

int dbm_snapshot(int version, void *unused, const snapshot_request *request, uint32_t buffer_size,
                 void *buffer, snapshot_summary *summary, sqlca *ca) {
    const int count = read_list();  // for every database the same
    const size_t needed = (size_t)(count > 0 ? count : 0) * sizeof(appl_snapshot);
    if (!attached || count == failed)
        return answer(ca, attached ? dbm_sql_unreachable : not_attached);
    if (needed > buffer_size)
        return answer(ca, dbm_sql_buffer_too_small);
    memcpy(buffer, listed, needed);
    memset(summary, 0, sizeof *summary);
    summary->snap_time = (uint32_t)time(NULL);
    summary->num_records = (uint32_t)count;
    return answer(ca, dbm_sql_ok);
}

int dbm_force_application(int count, const uint32_t *agent_ids, int mode, sqlca *ca) {
    const int32_t code = note_call("force", *agent_ids, 0, dbm_sql_already_forced);
    if (code == dbm_sql_ok)
        forced[forced_count++ % most] = *agent_ids;
    return answer(ca, code);
}

int dbm_set_agent_priority(uint32_t agent_id, int priority, int mode, sqlca *ca) {
    return answer(ca, note_call("priority", agent_id, priority, dbm_sql_gone));
}

int dbm_prepare_sqlca(sqlca *ca, short token_count, long number, const message_token *first) {
    int used = snprintf(message, sizeof message, "message %ld", number);
    for (int i = 0; i < token_count && used < dbm_text_width; ++i)  // each lies below the last one
        used += snprintf(message + used, sizeof message - (size_t)used, "%s%.*s",
                         i == 0 ? ": " : ", ", (int)first[-i].length, first[-i].text);
    return answer(ca, (int32_t)number);
}

int dbm_message_text(char *buffer, int width, int line_width, const char *catalog,
                     const sqlca *ca) {
    int length = 0;
    if (strcmp(catalog, dbm_daemon_catalog) == 0)
        length = snprintf(buffer, (size_t)width, "%s", message);
    else if (strcmp(catalog, dbm_manager_catalog) == 0 && ca->sqlcode == dbm_sql_not_connected)
        length = snprintf(buffer, (size_t)width, "there is no %s/applications", directory);
    return length < width ? length : width - 1;
}

void dbm_trace_handler(int signal) {}  // there is no trace
