# Sums up a governor log: who was acted on, when, why, and the CPU time accounted.
#
# Fields of a record: time, node, type, text. The texts of FORCE, NICE and SCHEDGRP begin with
# "Application NAME (authorization id ID, ..." and end with the limits that were breached.

function who(    name, id) {
    name = $5
    id = $8
    sub(/,$/, "", id)
    return sprintf("%-10s %-10s", name, id)
}

function line_of(text) {
    sub(/.* on line /, "", text)
    sub(/\..*/, "", text)
    return text
}

function why(text) {
    sub(/.*At or over the limit: */, "", text)
    return text
}

function note(type, detail) {
    rows[type] = rows[type] sprintf("  %s  %s %s%s\n", substr($1, 12), who(), detail,
                                    "rule on line " line_of($0) ": " why($0))
    ++count[type]
}

$3 == "FORCE" { note("forced", "") }
$3 == "SCHEDGRP" { note("scheduled", "") }
$3 == "NICE" {
    priority = $0
    sub(/.*agent priority /, "", priority)
    sub(/ .*/, "", priority)
    note("re-prioritised", sprintf("priority %s, ", priority))
}
$3 == "ACCOUNT" {
    key = sprintf("%-10s %-10s", $6, $4)
    user[key] += $8
    system_cpu[key] += $9
    ++count["accounted"]
}

function show(type) {
    printf "%s: %d\n%s", type, count[type], rows[type]
}

END {
    show("forced")
    show("re-prioritised")
    show("scheduled")
    printf "accounted: %d records\n", count["accounted"]
    for (key in user)
        if (user[key] + system_cpu[key] > 0)
            printf "  %s %d s user, %d s system CPU\n", key, user[key], system_cpu[key] | "sort"
    close("sort")
}
