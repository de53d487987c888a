# Adds up the ACCOUNT records of a governor log by application and authorization id, the ones with
# most CPU time first. All columns have a fixed width, so a name may be empty.
$3 == "ACCOUNT" {
    text = substr($0, index($0, " ACCOUNT    ") + 12)
    key = substr(text, 55, 20) " " substr(text, 1, 20)
    user[key] += substr(text, 96, 10)
    system_cpu[key] += substr(text, 107, 10)
}

END {
    printf "%-20s %-20s %10s %10s\n", "application", "authorization id", "user s", "system s"
    fflush()
    for (key in user)
        printf "%s %10d %10d\n", key, user[key], system_cpu[key] | "sort -t '\t' -k1.43,1.52nr"
}
