/*
 * Counts, for every backend, the rows its statements select and read while they run.
 *
 * Each backend owns a slot in shared memory. At the start of a statement the nodes of its plan that
 * scan tables are given the slot's Instrumentation in place of none, so that the executor itself
 * counts there: no copying, no locks, and nothing to undo when the statement fails, since the slot
 * outlives every plan. Rows selected are counted by a destination put in front of the client's.
 *
 * A parallel worker has a slot of its own, which counts for its leader; when the worker ends, its
 * figure is added to the leader's.
 */
#include "postgres.h"

#include "access/parallel.h"
#include "access/xact.h"
#include "executor/executor.h"
#include "executor/instrument.h"
#include "fmgr.h"
#include "funcapi.h"
#include "miscadmin.h"
#include "nodes/nodeFuncs.h"
#include "storage/backendid.h"
#include "storage/ipc.h"
#include "storage/lwlock.h"
#include "storage/shmem.h"
#include "utils/guc.h"

PG_MODULE_MAGIC;

/* Written by its backend alone, but for workers_read, which the lock guards. */
typedef struct Slot
{
    int pid; /* 0: not in use */
    BackendId leader; /* of a parallel worker: its leader's backend; else InvalidBackendId */
    Instrumentation reads; /* of all scans of the session, never reset */
    uint64 rows_selected;
    double workers_read; /* by parallel workers that have ended */
    double plan_cost; /* of the running top-level statement; 0: none */
} Slot;

typedef struct Shared
{
    LWLock *lock; /* over workers coming and going */
    Slot slots[FLEXIBLE_ARRAY_MEMBER];
} Shared;

/* Counts rows on their way to the client. */
typedef struct CountingReceiver
{
    DestReceiver pub;
    DestReceiver *inner;
} CountingReceiver;

static Shared *shared = NULL;
static Slot *my_slot = NULL;
static bool enabled = true;
static int depth = 0; /* of executor runs within each other */

static shmem_request_hook_type prev_shmem_request = NULL;
static shmem_startup_hook_type prev_shmem_startup = NULL;
static ExecutorStart_hook_type prev_start = NULL;
static ExecutorRun_hook_type prev_run = NULL;
static ExecutorFinish_hook_type prev_finish = NULL;
static ExecutorEnd_hook_type prev_end = NULL;

void _PG_init(void);
PG_FUNCTION_INFO_V1(ravelo_statements);

static Size shared_size(void)
{
    return add_size(offsetof(Shared, slots), mul_size(MaxBackends, sizeof(Slot)));
}

static void request_shmem(void)
{
    if (prev_shmem_request)
        prev_shmem_request();
    RequestAddinShmemSpace(shared_size());
    RequestNamedLWLockTranche("ravelo", 1);
}

static void startup_shmem(void)
{
    bool found;

    if (prev_shmem_startup)
        prev_shmem_startup();
    LWLockAcquire(AddinShmemInitLock, LW_EXCLUSIVE);
    shared = ShmemInitStruct("ravelo", shared_size(), &found);
    if (!found)
    {
        memset(shared, 0, shared_size());
        shared->lock = &GetNamedLWLockTranche("ravelo")->lock;
    }
    LWLockRelease(AddinShmemInitLock);
}

static double rows_read_by(const Slot *slot)
{
    const Instrumentation *reads = &slot->reads;

    return reads->ntuples + reads->tuplecount + reads->nfiltered1 + reads->nfiltered2;
}

static void release_slot(int code, Datum arg)
{
    Slot *slot = my_slot;

    my_slot = NULL;
    LWLockAcquire(shared->lock, LW_EXCLUSIVE);
    if (slot->leader != InvalidBackendId)
        shared->slots[slot->leader - 1].workers_read += rows_read_by(slot);
    slot->pid = 0;
    LWLockRelease(shared->lock);
}

/* The backend's slot; null where there is none to be had. */
static Slot *take_slot(void)
{
    if (my_slot != NULL)
        return my_slot;
    if (shared == NULL || MyBackendId < 1 || MyBackendId > MaxBackends)
        return NULL;
    LWLockAcquire(shared->lock, LW_EXCLUSIVE);
    my_slot = &shared->slots[MyBackendId - 1];
    memset(my_slot, 0, sizeof(Slot));
    my_slot->leader = IsParallelWorker() ? ParallelLeaderBackendId : InvalidBackendId;
    my_slot->pid = MyProcPid;
    LWLockRelease(shared->lock);
    before_shmem_exit(release_slot, (Datum) 0);
    return my_slot;
}

/* Lets the scans of tables under planstate count in the slot. */
static bool point_scans(PlanState *planstate, void *slot)
{
    if (planstate == NULL)
        return false;
    switch (nodeTag(planstate))
    {
        case T_SeqScanState:
        case T_SampleScanState:
        case T_IndexScanState:
        case T_IndexOnlyScanState:
        case T_BitmapHeapScanState:
        case T_TidScanState:
        case T_TidRangeScanState:
        case T_ForeignScanState:
            if (planstate->instrument == NULL)
                planstate->instrument = &((Slot *) slot)->reads;
            break;
        default:
            break;
    }
    return planstate_tree_walker(planstate, point_scans, slot);
}

static void start_executor(QueryDesc *query, int flags)
{
    Slot *slot;

    if (prev_start)
        prev_start(query, flags);
    else
        standard_ExecutorStart(query, flags);
    if (!enabled || (flags & EXEC_FLAG_EXPLAIN_ONLY) != 0 || (slot = take_slot()) == NULL)
        return;
    if (depth == 0)
        slot->plan_cost = query->plannedstmt->planTree->total_cost;
    /* A statement that is being explained has instrumentation of its own. */
    if (query->instrument_options == 0)
        (void) point_scans(query->planstate, slot);
}

static bool counting_receive(TupleTableSlot *row, DestReceiver *self)
{
    DestReceiver *inner = ((CountingReceiver *) self)->inner;

    if (my_slot != NULL)
        my_slot->rows_selected++;
    return inner->receiveSlot(row, inner);
}

static void counting_startup(DestReceiver *self, int operation, TupleDesc description)
{
    DestReceiver *inner = ((CountingReceiver *) self)->inner;

    inner->rStartup(inner, operation, description);
}

static void counting_shutdown(DestReceiver *self)
{
    DestReceiver *inner = ((CountingReceiver *) self)->inner;

    inner->rShutdown(inner);
}

static void counting_destroy(DestReceiver *self)
{
    /* Lives on the stack of run_executor; the inner one is its maker's. */
}

/* Whether rows sent there are the statement's own result, and not a step on the way to it. */
static bool goes_to_client(const DestReceiver *dest)
{
    switch (dest->mydest)
    {
        case DestRemote:
        case DestRemoteExecute:
        case DestRemoteSimple:
            return true;
        case DestTuplestore: /* FETCH, and statements with RETURNING */
            return depth == 0;
        default:
            return false;
    }
}

static void call_run(QueryDesc *query, ScanDirection direction, uint64 count, bool once)
{
    if (prev_run)
        prev_run(query, direction, count, once);
    else
        standard_ExecutorRun(query, direction, count, once);
}

static void run_executor(QueryDesc *query, ScanDirection direction, uint64 count, bool once)
{
    DestReceiver *const dest = query->dest;
    CountingReceiver counting = {
        .pub = {.receiveSlot = counting_receive,
                .rStartup = counting_startup,
                .rShutdown = counting_shutdown,
                .rDestroy = counting_destroy,
                .mydest = dest->mydest},
        .inner = dest};

    if (enabled && my_slot != NULL && goes_to_client(dest))
        query->dest = &counting.pub;
    depth++;
    PG_TRY();
    {
        call_run(query, direction, count, once);
    }
    PG_FINALLY();
    {
        depth--;
        query->dest = dest;
    }
    PG_END_TRY();
}

static void finish_executor(QueryDesc *query)
{
    depth++;
    PG_TRY();
    {
        if (prev_finish)
            prev_finish(query);
        else
            standard_ExecutorFinish(query);
    }
    PG_FINALLY();
    {
        depth--;
    }
    PG_END_TRY();
}

static void end_executor(QueryDesc *query)
{
    if (prev_end)
        prev_end(query);
    else
        standard_ExecutorEnd(query);
    if (depth == 0 && my_slot != NULL)
        my_slot->plan_cost = 0;
}

/* A statement that failed has had no end. */
static void end_transaction(XactEvent event, void *arg)
{
    if (event == XACT_EVENT_ABORT && my_slot != NULL)
        my_slot->plan_cost = 0;
}

Datum ravelo_statements(PG_FUNCTION_ARGS)
{
    ReturnSetInfo *const result = (ReturnSetInfo *) fcinfo->resultinfo;
    double *workers;

    if (shared == NULL)
        ereport(ERROR, (errcode(ERRCODE_OBJECT_NOT_IN_PREREQUISITE_STATE),
                        errmsg("ravelo must be loaded via shared_preload_libraries")));
    InitMaterializedSRF(fcinfo, 0);
    workers = palloc0(sizeof(double) * (MaxBackends + 1));
    LWLockAcquire(shared->lock, LW_SHARED);
    for (int i = 0; i < MaxBackends; i++)
    {
        const Slot *slot = &shared->slots[i];

        if (slot->pid != 0 && slot->leader >= 1 && slot->leader <= MaxBackends)
            workers[slot->leader] += rows_read_by(slot);
    }
    for (int i = 0; i < MaxBackends; i++)
    {
        const Slot *slot = &shared->slots[i];
        bool nulls[4] = {false};
        Datum values[4];

        if (slot->pid == 0 || slot->leader != InvalidBackendId)
            continue;
        values[0] = Int32GetDatum(slot->pid);
        values[1] = Int64GetDatum((int64) slot->rows_selected);
        values[2] = Int64GetDatum((int64) (rows_read_by(slot) + slot->workers_read + workers[i + 1]));
        values[3] = Float8GetDatum(slot->plan_cost);
        tuplestore_putvalues(result->setResult, result->setDesc, values, nulls);
    }
    LWLockRelease(shared->lock);
    return (Datum) 0;
}

void _PG_init(void)
{
    if (!process_shared_preload_libraries_in_progress)
        return;
    DefineCustomBoolVariable("ravelo.enabled", "Counts the rows that statements select and read.",
                             NULL, &enabled, true, PGC_SUSET, 0, NULL, NULL, NULL);
    MarkGUCPrefixReserved("ravelo");
    prev_shmem_request = shmem_request_hook;
    shmem_request_hook = request_shmem;
    prev_shmem_startup = shmem_startup_hook;
    shmem_startup_hook = startup_shmem;
    prev_start = ExecutorStart_hook;
    ExecutorStart_hook = start_executor;
    prev_run = ExecutorRun_hook;
    ExecutorRun_hook = run_executor;
    prev_finish = ExecutorFinish_hook;
    ExecutorFinish_hook = finish_executor;
    prev_end = ExecutorEnd_hook;
    ExecutorEnd_hook = end_executor;
    RegisterXactCallback(end_transaction, NULL);
}
