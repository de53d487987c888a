/* The status file and the stop request, as start, stop and a running daemon use them: every
 * interleaving of three daemons being started (one after the other or at once), two stop commands, a
 * stop signal to each daemon, failures, and kill -9 anywhere. check.sh runs it.
 *
 * Whether a stop request's file is locked, a program that may not open it reads in the system's list.
 *
 * A file is known by the daemon that created it, 1 to 3; 0 is no file. Each step is one system call.
 * FILE_LOCK and FOLDER_LOCK switch the two locks; without either the checks fail, which shows that
 * both are needed and that the checks can fail.
 */
#ifndef FILE_LOCK
#define FILE_LOCK 1
#endif
#ifndef FOLDER_LOCK
#define FOLDER_LOCK 1
#endif

#ifndef DAEMONS
#define DAEMONS 3
#endif
#define STOPS   2

byte status_name = 0;       /* the file under the status file's name */
byte request_name = 0;      /* the file under the stop request's name */
bool locked[DAEMONS + 1];   /* a file's lock, held by the daemon that created it */
bool asked[DAEMONS + 1];    /* a daemon's file was renamed to the stop request */
bool folder = false;        /* the folder's lock is held */
byte governing = 0;         /* daemons between claim and end */

inline take_folder()    { if :: FOLDER_LOCK -> atomic { !folder -> folder = true } :: else fi }
inline release_folder() { if :: FOLDER_LOCK -> folder = false :: else fi }

/* rename(status file, stop request) */
inline rename_to_request(done) {
    atomic {
        done = status_name != 0;
        if
        :: done -> asked[status_name] = true; request_name = status_name; status_name = 0
        :: else
        fi
    }
}

inline maybe_killed(holds_folder) {
    if
    :: true
    :: true -> if :: holds_folder -> release_folder() :: else fi; goto gone
    fi
}

proctype start(byte me) {
    byte found;
    bool mine;
    bool governs = false;
    bool signalled = false;

    take_folder();
    atomic {
        if
        :: status_name != 0 -> mine = false   /* 1007 */
        :: else -> status_name = me; mine = true
        fi
    }
    maybe_killed(true);
    if
    :: !mine -> release_folder(); goto gone
    :: else
    fi;
    locked[me] = FILE_LOCK;
    maybe_killed(true);

    found = request_name;
    maybe_killed(true);
    if
    :: FILE_LOCK && found == me                  /* for us: kept */
    :: found != me && found != 0 && locked[found] ->
        status_name = 0;                         /* take back: 1007 */
        release_folder();
        goto gone
    :: else -> request_name = 0                  /* stale: deleted */
    fi;
    maybe_killed(true);
    atomic { governs = true; governing++; assert(governing <= 1) }
    release_folder();

    do
    :: atomic { request_name != 0 -> assert(asked[me]); break }    /* stop: ends as asked */
    :: atomic { request_name == 0 -> assert(!asked[me]) };         /* else: one more pass */
        if
        :: true                                                    /* sleeps, wakes */
        :: true -> goto gone                                       /* killed */
        :: true ->                                                 /* fails: its own file goes */
            atomic { governs = false; governing-- }
            take_folder();
            mine = status_name == me;
            maybe_killed(true);
            if :: mine -> status_name = 0 :: else fi;
            release_folder();
            break
        :: !signalled ->
            signalled = true;
            take_folder();
            mine = status_name == me;
            maybe_killed(true);
            if :: mine -> rename_to_request(mine) :: else fi;
            release_folder()
        fi
    od;
gone:
    atomic {
        if :: governs -> governing-- :: else fi;
        locked[me] = false
    }
}

proctype stop() {
    bool done;
    byte found;
    take_folder();
    found = request_name;
    if
    :: found != 0 && locked[found] -> status_name = 0   /* asked already; an orphan goes */
    :: else -> rename_to_request(done)
    fi;
    release_folder()
}

init {
    byte i;
    atomic {
        for (i : 1 .. DAEMONS) { run start(i) }
        for (i : 1 .. STOPS) { run stop() }
    }
}
