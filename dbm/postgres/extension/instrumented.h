// Statements whose nodes are instrumented already, for EXPLAIN ANALYZE or for a module that logs
// such figures. They keep their own counters, as each node must show its own rows. What these grew
// by is added when a run ends, parallel workers included: the leader has collected theirs by then.
// To be included after postgres.h.
#pragma once

#include "nodes/bitmapset.h"
#include "nodes/execnodes.h"
#include "nodes/memnodes.h"
#include "nodes/nodeFuncs.h"
#include "server_versions.h"

static double produced(const Counter *counter) {
    return counter->ntuples + counter->tuplecount;
}

static double examined(const Counter *counter) {
    return produced(counter) + counter->nfiltered1 + counter->nfiltered2;
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

// Made once for a statement, in the statement's own memory: it goes when that goes, however the
// statement ends. A cursor has a run for each fetch, and each of them finds it by `mark`.
typedef struct Instrumented {
    MemoryContextCallback mark;
    const Counter *top;
    List *scans;      // the counters of the nodes that read tables
    Bitmapset *seen;  // a plan reached by two expressions counts once
    double read;      // what is counted already
    double result;
} Instrumented;

static void unmark(void *statement) {
    (void)statement;
}

// NULL: none was made.
static Instrumented *find_instrumented(const EState *state) {
    for (MemoryContextCallback *mark = state->es_query_cxt->reset_cbs; mark != NULL;
         mark = mark->next)
        if (mark->func == unmark)
            return mark->arg;
    return NULL;
}

static bool collect_scans(PlanState *node, void *context) {
    Instrumented *statement = context;
    int id = node->plan->plan_node_id;
    if (node->instrument != NULL && reads_table(node) && !bms_is_member(id, statement->seen)) {
        statement->seen = bms_add_member(statement->seen, id);
        statement->scans = lappend(statement->scans, node->instrument);
    }
    return planstate_tree_walker(node, collect_scans, context);
}

static void make_instrumented(PlanState *top) {
    MemoryContext old = MemoryContextSwitchTo(top->state->es_query_cxt);
    Instrumented *statement = palloc0(sizeof *statement);
    statement->top = top->instrument;
    (void)collect_scans(top, statement);
    bms_free(statement->seen);
    statement->seen = NULL;
    statement->mark.func = unmark;
    statement->mark.arg = statement;
    MemoryContextRegisterResetCallback(CurrentMemoryContext, &statement->mark);
    MemoryContextSwitchTo(old);
}

// Adds to the counters what the statement counted since it was last asked. Takes no memory and
// can't fail: this is also done while an error is on its way.
static void add_growth(Instrumented *statement, Counter *read, Counter *result) {
    double sum = 0;
    ListCell *cell;
    foreach (cell, statement->scans)
        sum += examined(lfirst(cell));
    read->ntuples += sum - statement->read;
    statement->read = sum;
    sum = produced(statement->top);
    result->ntuples += sum - statement->result;
    statement->result = sum;
}
