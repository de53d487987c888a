// What the server itself says of its sessions: one statement, one snapshot.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "dbm/postgres/connection.h"

namespace dbm::postgres {

// A backend of the governed database. Times in microseconds since the epoch, 0: none. The texts
// live as long as the rows they were read from.
struct backend {
    int32_t pid = 0;
    int32_t leader = 0;   // of a parallel worker: the backend that it works for; else 0
    int32_t blocker = 0;  // the first backend that it waits for; 0: none
    int32_t port = 0;     // of the client; 0: a local one
    uint32_t locks = 0;
    bool privileged = false;  // a superuser's, or of a role that may replicate
    bool guarded = false;     // of the governor's own role, or of a member of a protected group
    std::string_view application;
    std::string_view role;
    std::string_view state;
    int64_t backend_start = 0;
    int64_t xact_start = 0;
    int64_t query_start = 0;
    int64_t state_change = 0;
    uint64_t rows_selected = 0;
    uint64_t rows_read = 0;
    double plan_cost = 0;  // of the running statement; 0: not known
};

// The statements that ask for it, with the server's name of the database as parameter and an array
// of the protected groups in lower case; the second one where the server counts rows, with the oid
// of the function that does so.
extern const statement ask_activity;
extern const statement ask_activity_and_rows;

// Takes the answer apart; a row that makes no sense is left out. May throw bad_alloc.
void read_activity(const rows &answer, std::vector<backend> &backends);

// A time in microseconds since the epoch as the server's timestamptz has it.
[[nodiscard]] int64_t server_timestamp(int64_t microseconds);

}  // namespace dbm::postgres
