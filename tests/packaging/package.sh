#!/usr/bin/env bash
# package.sh BUILD: installs, runs, upgrades, removes and purges the package of a build directory. All
# of it in a copy of this machine's files that is thrown away, so it needs root; 77 where it can't.
set -euo pipefail
export LC_ALL=C

skip() { echo "Skipped: $*"; exit 77; }
fail() { echo "FAILED: $*" >&2; exit 1; }
# expect RESULT COMMAND...: what the command prints.
expect() {
    local found
    found=$("${@:2}" 2>&1) || true
    [ "$found" = "$1" ] || fail "$(printf "'%s' gave\n%s\ninstead of\n%s" "${*:2}" "$found" "$1")"
}
await() { for _ in $(seq 100); do ! "$@" || return 0; sleep 0.1; done; fail "never: $*"; }

as_ravelo() { ${exec-} setpriv --reuid ravelo --regid ravelo --init-groups "$@"; }
start() { exec='exec' as_ravelo ravelod start orders 0 /etc/ravelo/orders.cfg "$log" & daemon=$!; }
begun() { grep -q START "$log" 2>/dev/null; }
clear() { as_ravelo /usr/libexec/ravelo/clear-orphan orders 0; }

lifecycle() {
    local log=/var/log/ravelo/orders.log file=/var/lib/ravelo/tmp/ORDERS.0.GDA daemon
    local examples=/usr/share/doc/ravelo/examples conffile=/etc/logrotate.d/ravelo
    [ "$0" = /mnt/package.sh ] || fail 'this is for a copy of the machine only'
    dpkg -P ravelo >/dev/null 2>&1
    dpkg -i "$1"/*_1.0.0-1_*.deb
    expect "$(printf '%s:ravelo\n' '750 ravelo' '750 ravelo' '750 root' '2770 ravelo')" \
        stat -c '%a %U:%G' /var/lib/ravelo /var/log/ravelo /etc/ravelo /var/lib/ravelo/tmp

    cp $examples/orders/ORDERS.0.recording /var/lib/ravelo/
    (echo 'debug 1;' && cat $examples/orders/night.cfg) > /etc/ravelo/orders.cfg
    as_ravelo ravelod validate orders /etc/ravelo/orders.cfg > /dev/null
    # shellcheck disable=SC2016
    expect orders bash -c '. /usr/share/bash-completion/completions/ravelod
        COMP_WORDS=(ravelod start O) COMP_CWORD=2; _ravelod; echo "${COMPREPLY[@]}"'
    (cd / && as_ravelo env PATH=/usr/bin:/bin $examples/try.sh adhoc-cap) > /tmp/tried
    grep -q FORCE /tmp/tried || fail "the example did nothing: $(cat /tmp/tried)"
    start
    await begun
    expect '' clear
    [ -e $file ] || fail 'a living daemon lost its status file'
    logrotate -f $conffile
    if [ ! -e $log.1 ] || [ -e $log ]; then fail 'the log was not rotated'; fi
    await test -s $log
    mv $log.1 $log

    kill -KILL "$daemon"
    wait "$daemon" || true
    start
    ! wait "$daemon" || fail 'started beside the status file of a killed daemon'
    expect "Deleted $file, whose daemon has gone." clear
    start
    await test -e $file

    echo '# kept' >> $conffile
    dpkg -i "$1"/*_1.0.1-1_*.deb
    expect '# kept' tail -n 1 $conffile
    as_ravelo ravelod stop orders 0
    wait "$daemon"

    dpkg -r ravelo
    expect '' find /usr -name '*ravelo*' -path '/usr/*bin/*'
    if [ ! -e $log ] || [ ! -e $conffile ]; then fail 'data went with the programs'; fi
    dpkg -P ravelo
    expect "$(printf '%s\n' /etc/ravelo/orders.cfg /var/lib/ravelo/ORDERS.0.recording)" \
        find /etc/ravelo /etc/logrotate.d /var/lib/ravelo /var/log -type f -path '*ravelo*'
    rm -r /etc/ravelo /var/lib/ravelo
    dpkg -i "$1"/*_1.0.1-1_*.deb
    dpkg -P ravelo
    expect '' find /etc /var/lib /var/log -name '*ravelo*' -not -path '/var/lib/dpkg/*'
    expect '' getent passwd ravelo

    # A person's own account, and files of theirs among the daemons'.
    useradd --create-home ravelo 2>/dev/null
    dpkg -i "$1"/*_1.0.1-1_*.deb
    touch /var/log/ravelo/mine /var/log/ravelo/orders.log.1.gz
    dpkg -P ravelo
    expect /var/log/ravelo/mine find /etc /var/lib /var/log -type f -path '*ravelo*' -not -path '/var/lib/dpkg/*'
    expect 1 grep -c '^ravelo:.*:/home/ravelo:' /etc/passwd
}

# A root directory in which nothing that is written reaches the machine; programs in it end with it.
enter_copy() {
    mount -t tmpfs tmpfs "$1"
    mkdir "$1/upper" "$1/work" "$1/root"
    mount -t overlay overlay -o "lowerdir=/,upperdir=$1/upper,workdir=$1/work" "$1/root"
    mount --rbind /dev "$1/root/dev"
    mount -t proc proc "$1/root/proc"
    cp "$0" "$2"/*.deb "$1/root/mnt/"
    chroot "$1/root" bash "/mnt/${0##*/}" lifecycle /mnt
}

prepare() {
    local tool version
    [ "$(id -u)" -eq 0 ] || skip 'not root'
    for tool in dpkg-shlibdeps logrotate systemd-sysusers systemd-tmpfiles; do
        command -v $tool > /dev/null || skip "no $tool"
    done
    unshare --mount --pid --fork mount -t tmpfs tmpfs /mnt || skip 'may not mount'
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
    mkdir "$work/packages" "$work/copy"
    for version in 1.0.0 1.0.1; do
        # A builder's umask must not show in the package.
        (umask 077 && cpack --config "$1/CPackConfig.cmake" -B "$work/packages" -D "CPACK_PACKAGE_VERSION=$version")
    done
    dpkg -x "$work/packages"/*_1.0.0-1_*.deb "$work/tree"
    "${0%/*}/hardening.sh" "$1" "$work/tree"
    unshare --mount --pid --fork --kill-child bash "$0" enter_copy "$work/copy" "$work/packages"
}

case $1 in
    enter_copy | lifecycle) "$@" ;;
    *) prepare "$1" ;;
esac
