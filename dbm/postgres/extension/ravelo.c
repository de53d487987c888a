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
#include "executor/executor.h"
#include "fmgr.h"
#include "funcapi.h"
#include "miscadmin.h"
#include "nodes/nodeFuncs.h"
#include "server_versions.h"
#include "storage/ipc.h"
#include "storage/lwlock.h"
#include "storage/shmem.h"
#include "storage/spin.h"
#include "tcop/utility.h"
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

static double produced(const Counter *counter) {
    return counter->ntuples + counter->tuplecount;
}

static double examined(const Counter *counter) {
    return produced(counter) + counter->nfiltered1 + counter->nfiltered2;
}

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

static bool reads_table(const PlanState *node) {
    switch (nodeTag(node->plan)) {
        case T_SeqScan:
        case T_SampleScan:
        case T_IndexScan:
        case T_IndexOnlyScan:
        case T_BitmapHeapScan:
        case T_TidScan:
        case T_TidRangeScan:
            return true;
        case T_ForeignScan:
        case T_CustomScan:
            // 0: a join or an aggregate that was pushed down, whose rows are no table's.
            return ((const Scan *)node->plan)->scanrelid > 0;
        default:
            return false;
    }
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

static void start(QueryDesc *query, int flags) {
    if (previous_start)
        previous_start(query, flags);
    else
        standard_ExecutorStart(query, flags);
    PlanState *top = query->planstate;
    if (!enabled || (flags & EXEC_FLAG_EXPLAIN_ONLY) || top == NULL || !take_slot())
        return;
    if (query->estate->es_instrument != 0)
        return;  // the nodes have their own: see begin()
    (void)point_scans(top, NULL);
    // What a parallel worker's top node produces goes to its leader, never to the client.
    if (!IsParallelWorker())
        top->instrument = counter_of_top(top, false);
}

// A statement that is instrumented already, for EXPLAIN ANALYZE or for a module that logs such
// figures, keeps its own counters, as each node must show its own rows. What they grew by is added
// when the run ends, parallel workers included: the leader has collected theirs by then.
typedef struct Run {
    bool collects;
    bool to_client;
    List *scans;
    Bitmapset *seen;  // a plan reached by two expressions counts once
    double read;
    double result;
} Run;

static bool collect_scans(PlanState *node, void *context) {
    Run *run = context;
    int id = node->plan->plan_node_id;
    if (node->instrument != NULL && reads_table(node) && !bms_is_member(id, run->seen)) {
        run->seen = bms_add_member(run->seen, id);
        run->scans = lappend(run->scans, node);
    }
    return planstate_tree_walker(node, collect_scans, context);
}

static double sum_scans(const Run *run) {
    double sum = 0;
    ListCell *cell;
    foreach (cell, run->scans)
        sum += examined(((PlanState *)lfirst(cell))->instrument);
    return sum;
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

static void begin(const QueryDesc *query, Run *run) {
    memset(run, 0, sizeof *run);
    PlanState *top = query->planstate;
    if (my_slot != NULL && top != NULL && top->instrument != NULL) {
        run->to_client = goes_to_client(query);
        if (is_ours(top->instrument)) {
            // A cursor may be opened in a function and read by the client, so this is said here.
            if (!IsParallelWorker())
                top->instrument = counter_of_top(top, run->to_client);
        } else if (enabled && query->dest->mydest != DestTupleQueue) {
            // A worker's are the leader's to collect. Memory is taken now, none is at the end.
            MemoryContext old = MemoryContextSwitchTo(query->estate->es_query_cxt);
            (void)collect_scans(top, run);
            MemoryContextSwitchTo(old);
            run->collects = true;
            run->read = sum_scans(run);
            run->result = produced(top->instrument);
        }
    }
    if (my_slot != NULL && executor_depth == 0 && enabled)
        my_slot->plan_cost = query->plannedstmt->planTree->total_cost;
    executor_depth++;
}

static void end(const QueryDesc *query, const Run *run) {
    executor_depth--;
    if (run->collects) {
        my_slot->scans.ntuples += sum_scans(run) - run->read;
        if (run->to_client)
            my_slot->result.ntuples += produced(query->planstate->instrument) - run->result;
    }
    if (my_slot != NULL && executor_depth == 0)
        my_slot->plan_cost = 0;
}

static void run_plan(QueryDesc *query, ScanDirection direction, uint64 count ONCE_PARAMETER) {
    Run run;
    begin(query, &run);
    PG_TRY();
    {
        if (previous_run)
            previous_run(query, direction, count ONCE_ARGUMENT);
        else
            standard_ExecutorRun(query, direction, count ONCE_ARGUMENT);
    }
    PG_FINALLY();
    { end(query, &run); }
    PG_END_TRY();
}

// Triggers run here, and what is left of a data-modifying WITH.
static void finish(QueryDesc *query) {
    Run run;
    begin(query, &run);
    PG_TRY();
    {
        if (previous_finish)
            previous_finish(query);
        else
            standard_ExecutorFinish(query);
    }
    PG_FINALLY();
    { end(query, &run); }
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
    if (slots == NULL)
        ereport(ERROR, (errcode(ERRCODE_OBJECT_NOT_IN_PREREQUISITE_STATE),
                        errmsg("ravelo must be loaded by shared_preload_libraries")));
    InitMaterializedSRF(fcinfo, 0);
    ReturnSetInfo *answer = (ReturnSetInfo *)fcinfo->resultinfo;
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
        bool nulls[4] = {false};
        Datum values[4] = {Int32GetDatum(rows[i].pid), Int64GetDatum((int64)rows[i].selected),
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
