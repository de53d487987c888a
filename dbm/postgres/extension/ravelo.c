// Counts the rows that each session reads and selects, live, in shared memory.
//
// The executor counts what a plan node produces and filters out when the node has an
// Instrumentation, as for EXPLAIN ANALYZE. Here the nodes that read tables, and the top node, are
// given one that lies in the session's slot in shared memory and is never freed: the executor
// itself counts there, nothing is copied when a statement ends, and nothing dangles when it fails.
//
// Without timer and buffer flags an Instrumentation is a handful of sums that hold no state of one
// node, so all nodes of a session share three of them: table scans, the top node whose rows go to
// the client, and a top node that is both.

// clang-format off
#include "postgres.h"  // must be the first
// clang-format on

#include "access/parallel.h"
#include "catalog/pg_authid.h"
#include "executor/executor.h"
#include "fmgr.h"
#include "funcapi.h"
#include "instrumented.h"
#include "miscadmin.h"
#include "server_versions.h"
#include "storage/ipc.h"
#include "storage/lwlock.h"
#include "storage/shmem.h"
#include "storage/spin.h"
#include "tcop/utility.h"
#include "utils/acl.h"
#include "utils/float.h"
#include "utils/guc.h"

PG_MODULE_MAGIC;

// Newer servers declare it themselves. NOLINTNEXTLINE(readability-redundant-declaration)
void _PG_init(void);

// One for each backend. The owner writes its counters without a lock, as only it does so and
// readers take each 8-byte value as it is; `lock` guards the rest, touched once per process.
typedef struct Slot {
    int pid;              // 0: free
    int leader;           // a parallel worker: the slot of its leader, else -1
    int leader_pid;       // who had that slot when the worker began
    double workers_read;  // rows read by parallel workers of this session that have ended
    volatile double plan_cost;
    Counter scans;
    Counter result;
    Counter scan_result;
} Slot;

// No two sessions write to one cache line.
typedef union PaddedSlot {
    Slot slot;
    char padding[TYPEALIGN(PG_CACHE_LINE_SIZE, sizeof(Slot))];
} PaddedSlot;

static bool enabled = true;

static PaddedSlot *slots;
static LWLock *lock;
static Slot *my_slot;

// Where a top node counts whose rows nobody outside the server gets. It must count somewhere: a
// node without an Instrumentation at its first row can't be given one later, and only at the run
// is it known where the rows go.
static Counter unseen;

static int executor_depth;
static int procedure_depth;

static shmem_request_hook_type previous_shmem_request;
static shmem_startup_hook_type previous_shmem_startup;
static ExecutorStart_hook_type previous_start;
static ExecutorRun_hook_type previous_run;
static ExecutorFinish_hook_type previous_finish;
static ProcessUtility_hook_type previous_utility;

// produced(), of a counter that another process writes. Between two loops of a node the executor
// adds tuplecount to ntuples and then clears it: in between the rows stand there twice, which
// could cost a session its life. The rows only grow, so of two samples that are further apart than
// that moment the lower one is right.
static double produced_elsewhere(const volatile Counter *counter, bool running) {
    double lowest = get_float8_infinity();
    int samples = running ? 2 : 1;
    for (int tries = 0; tries < 100 && samples > 0; tries++) {
        double ended_loops = counter->ntuples;
        pg_read_barrier();
        double this_loop = counter->tuplecount;
        pg_read_barrier();
        if (counter->ntuples == ended_loops) {
            lowest = Min(lowest, ended_loops + this_loop);
            if (--samples > 0)
                for (int i = 0; i < 20; i++)
                    SPIN_DELAY();
        }
    }
    return isinf(lowest) ? counter->ntuples : lowest;
}

static double read_elsewhere(const Slot *slot) {
    bool running = slot->plan_cost != 0;
    const volatile Counter *scans = &slot->scans;
    const volatile Counter *scan_result = &slot->scan_result;
    return produced_elsewhere(scans, running) + scans->nfiltered1 + scans->nfiltered2 +
           produced_elsewhere(scan_result, running) + scan_result->nfiltered1 +
           scan_result->nfiltered2;
}

static void release_slot(int code, Datum argument) {
    (void)code;
    (void)argument;
    if (my_slot == NULL)
        return;  // take_slot() failed
    LWLockAcquire(lock, LW_EXCLUSIVE);
    if (my_slot->leader >= 0) {
        Slot *leader = &slots[my_slot->leader].slot;
        if (leader->pid == my_slot->leader_pid)
            leader->workers_read += examined(&my_slot->scans) + examined(&my_slot->scan_result);
    }
    my_slot->pid = 0;
    LWLockRelease(lock);
    // my_slot stays: whatever still runs in this process counts in a slot that is ours until the
    // backend's number is given back, which happens after all such callbacks.
}

// Takes this process's slot at its first statement. False: this process is no backend.
static bool take_slot(void) {
    if (my_slot != NULL)
        return true;
    int own = own_number();
    if (slots == NULL || own < 0 || own >= MaxBackends)
        return false;
    Slot *slot = &slots[own].slot;
    int leader = IsParallelWorker() ? leader_number() : -1;
    before_shmem_exit(release_slot, (Datum)0);
    LWLockAcquire(lock, LW_EXCLUSIVE);
    memset(slot, 0, sizeof *slot);
    slot->leader = leader;
    slot->leader_pid = leader >= 0 ? slots[leader].slot.pid : 0;
    slot->pid = MyProcPid;
    LWLockRelease(lock);
    my_slot = slot;
    return true;
}

static Counter *counter_of_top(const PlanState *top, bool to_client) {
    if (reads_table(top))
        return to_client ? &my_slot->scan_result : &my_slot->scans;
    return to_client ? &my_slot->result : &unseen;
}

static bool is_ours(const Counter *counter) {
    return counter == &my_slot->scans || counter == &my_slot->result ||
           counter == &my_slot->scan_result || counter == &unseen;
}

static bool point_scans(PlanState *node, void *context) {
    if (reads_table(node))
        node->instrument = &my_slot->scans;
    return planstate_tree_walker(node, point_scans, context);
}

// The part of a statement that a parallel worker runs for its leader. The destination is looked at
// only before and in a run: between runs of a cursor it is what the last fetch left, and gone.
static bool feeds_leader(const QueryDesc *query) {
    return query->dest != NULL && query->dest->mydest == DestTupleQueue;
}

static void start(QueryDesc *query, int flags) {
    if (previous_start)
        previous_start(query, flags);
    else
        standard_ExecutorStart(query, flags);
    PlanState *top = query->planstate;
    if (!enabled || (flags & EXEC_FLAG_EXPLAIN_ONLY) || top == NULL || !take_slot() ||
        feeds_leader(query))
        return;  // for a leader: see begin()
    if (query->estate->es_instrument != 0) {
        if (top->instrument != NULL)
            make_instrumented(top);
        return;
    }
    (void)point_scans(top, NULL);
    if (!IsParallelWorker())
        top->instrument = counter_of_top(top, false);
}

// Whether the rows leave the server. The store is a portal's, for RETURNING and held cursors;
// functions use one as well, but are below another statement.
static bool goes_to_client(const QueryDesc *query) {
    if (executor_depth > 0 || procedure_depth > 0 || query->dest == NULL)
        return false;
    switch (query->dest->mydest) {
        case DestRemote:
        case DestRemoteExecute:
        case DestRemoteSimple:
        case DestTuplestore:
        case DestCopyOut:
            return true;
        default:
            return false;
    }
}

// One call of the executor.
typedef struct Run {
    Instrumented *own;  // the statement's, if it has counters of its own
    bool to_client;
} Run;

static void begin(const QueryDesc *query, bool to_client, bool for_leader, Run *run) {
    run->own = NULL;
    run->to_client = to_client;
    PlanState *top = query->planstate;
    if (my_slot != NULL && top != NULL) {
        if (for_leader) {
            // Not at the start: there nodes look for room in the shared memory that the leader made
            // for instrumented ones, which depends on ravelo.enabled when the leader started. What
            // a worker's instrumented nodes count is the leader's to collect, and what its top node
            // produces never goes to the client.
            if (enabled && query->estate->es_instrument == 0)
                (void)point_scans(top, NULL);
        } else if (top->instrument != NULL && !is_ours(top->instrument))
            run->own = find_instrumented(query->estate);
        else if (top->instrument != NULL && !IsParallelWorker())
            // A cursor may be opened in a function and read by the client, so this is said here.
            top->instrument = counter_of_top(top, to_client);
    }
    if (my_slot != NULL && executor_depth == 0 && enabled)
        my_slot->plan_cost = query->plannedstmt->planTree->total_cost;
    executor_depth++;
}

static void end(const Run *run) {
    executor_depth--;
    if (run->own != NULL)
        add_growth(run->own, &my_slot->scans, run->to_client ? &my_slot->result : &unseen);
    if (my_slot != NULL && executor_depth == 0)
        my_slot->plan_cost = 0;
}

static void run_plan(QueryDesc *query, ScanDirection direction, uint64 count ONCE_PARAMETER) {
    Run run;
    begin(query, goes_to_client(query), feeds_leader(query), &run);
    PG_TRY();
    {
        if (previous_run)
            previous_run(query, direction, count ONCE_ARGUMENT);
        else
            standard_ExecutorRun(query, direction, count ONCE_ARGUMENT);
    }
    PG_FINALLY();
    { end(&run); }
    PG_END_TRY();
}

// Triggers run here, and what is left of a data-modifying WITH. Nothing goes to the client, and the
// destination is gone by now, NULL or dangling.
static void finish(QueryDesc *query) {
    Run run;
    begin(query, false, false, &run);
    PG_TRY();
    {
        if (previous_finish)
            previous_finish(query);
        else
            standard_ExecutorFinish(query);
    }
    PG_FINALLY();
    { end(&run); }
    PG_END_TRY();
}

// The statements of a procedure run below no other statement of the executor.
static void utility(PlannedStmt *statement, const char *text, bool read_only,
                    ProcessUtilityContext context, ParamListInfo parameters,
                    QueryEnvironment *environment, DestReceiver *receiver,
                    QueryCompletion *completion) {
    int depth = procedure_depth;
    if (IsA(statement->utilityStmt, CallStmt) || IsA(statement->utilityStmt, DoStmt))
        procedure_depth++;
    PG_TRY();
    {
        ProcessUtility_hook_type next =
            previous_utility ? previous_utility : standard_ProcessUtility;
        next(statement, text, read_only, context, parameters, environment, receiver, completion);
    }
    PG_FINALLY();
    { procedure_depth = depth; }
    PG_END_TRY();
}

PG_FUNCTION_INFO_V1(ravelo_statements);

Datum ravelo_statements(PG_FUNCTION_ARGS) {
    // Also where EXECUTE was granted to others: what a session reads is not for everybody to see.
    if (!has_privs_of_role(GetUserId(), ROLE_PG_READ_ALL_STATS))
        ereport(ERROR, (errcode(ERRCODE_INSUFFICIENT_PRIVILEGE),
                        errmsg("permission denied for function ravelo.statements"),
                        errdetail("Only roles with privileges of pg_read_all_stats may call it.")));
    if (slots == NULL)
        ereport(ERROR, (errcode(ERRCODE_OBJECT_NOT_IN_PREREQUISITE_STATE),
                        errmsg("ravelo must be loaded by shared_preload_libraries")));
    InitMaterializedSRF(fcinfo, 0);
    ReturnSetInfo *answer = (ReturnSetInfo *)fcinfo->resultinfo;
    enum { COLUMNS = 4 };
    if (answer->setDesc->natts != COLUMNS)
        ereport(ERROR,
                (errcode(ERRCODE_OBJECT_NOT_IN_PREREQUISITE_STATE),
                 errmsg("the extension's script and its library are of different versions")));
    struct {
        int pid;
        double selected, read, cost;
    } *rows = palloc0(sizeof *rows * MaxBackends);

    // With the lock no worker ends half-way: its rows are either its own or its leader's.
    LWLockAcquire(lock, LW_SHARED);
    for (int i = 0; i < MaxBackends; i++) {
        const Slot *slot = &slots[i].slot;
        if (slot->pid == 0)
            continue;
        if (slot->leader >= 0) {
            if (slots[slot->leader].slot.pid == slot->leader_pid)
                rows[slot->leader].read += read_elsewhere(slot);
            continue;
        }
        double cost = slot->plan_cost;
        rows[i].pid = slot->pid;
        rows[i].selected = produced_elsewhere(&slot->result, cost != 0) +
                           produced_elsewhere(&slot->scan_result, cost != 0);
        rows[i].read += read_elsewhere(slot) + slot->workers_read;
        rows[i].cost = cost;
    }
    LWLockRelease(lock);

    for (int i = 0; i < MaxBackends; i++) {
        if (rows[i].pid == 0)
            continue;
        bool nulls[COLUMNS] = {false};
        Datum values[COLUMNS] = {Int32GetDatum(rows[i].pid), Int64GetDatum((int64)rows[i].selected),
                                 Int64GetDatum((int64)rows[i].read), Float8GetDatum(rows[i].cost)};
        tuplestore_putvalues(answer->setResult, answer->setDesc, values, nulls);
    }
    return (Datum)0;
}

static Size memory_size(void) {
    return mul_size(MaxBackends, sizeof(PaddedSlot));
}

static void request_memory(void) {
    if (previous_shmem_request)
        previous_shmem_request();
    RequestAddinShmemSpace(memory_size());
    RequestNamedLWLockTranche("ravelo", 1);
}

static void take_memory(void) {
    if (previous_shmem_startup)
        previous_shmem_startup();
    bool found;
    LWLockAcquire(AddinShmemInitLock, LW_EXCLUSIVE);
    slots = ShmemInitStruct("ravelo", memory_size(), &found);
    lock = &GetNamedLWLockTranche("ravelo")->lock;
    if (!found)
        memset(slots, 0, memory_size());
    LWLockRelease(AddinShmemInitLock);
}

void _PG_init(void) {
    // Loaded by CREATE EXTENSION alone there is no memory to count in: only the function says so.
    if (!process_shared_preload_libraries_in_progress)
        return;
    DefineCustomBoolVariable("ravelo.enabled", "Counts rows selected and rows read.", NULL,
                             &enabled, true, PGC_SUSET, 0, NULL, NULL, NULL);
    MarkGUCPrefixReserved("ravelo");
    previous_shmem_request = shmem_request_hook;
    shmem_request_hook = request_memory;
    previous_shmem_startup = shmem_startup_hook;
    shmem_startup_hook = take_memory;
    previous_start = ExecutorStart_hook;
    ExecutorStart_hook = start;
    previous_run = ExecutorRun_hook;
    ExecutorRun_hook = run_plan;
    previous_finish = ExecutorFinish_hook;
    ExecutorFinish_hook = finish;
    previous_utility = ProcessUtility_hook;
    ProcessUtility_hook = utility;
}
