// What the server's versions call differently. Supported are 15 to 18; 19 is foreseen.
// To be included after postgres.h.
#pragma once

#if PG_VERSION_NUM < 150000
#error "ravelo needs PostgreSQL 15 or later"
#endif

#include "executor/instrument.h"
#include "utils/tuplestore.h"

// The number of this process's slot, and of a parallel worker's leader's: 0 to MaxBackends - 1,
// below 0 for a process that has none.
#if PG_VERSION_NUM >= 170000
#include "storage/procnumber.h"
static inline int own_number(void) {
    return MyProcNumber;
}
static inline int leader_number(void) {
    return ParallelLeaderProcNumber;
}
#else
#include "storage/backendid.h"
static inline int own_number(void) {
    return MyBackendId - 1;
}
static inline int leader_number(void) {
    return ParallelLeaderBackendId - 1;
}
#endif

// The last parameter of the run hook, and what is handed on.
#if PG_VERSION_NUM >= 180000
#define ONCE_PARAMETER
#define ONCE_ARGUMENT
#else
#define ONCE_PARAMETER , bool once
#define ONCE_ARGUMENT , once
#endif

// What the executor counts with at a plan node.
#if PG_VERSION_NUM >= 190000
typedef NodeInstrumentation Counter;
#else
typedef Instrumentation Counter;
#endif
