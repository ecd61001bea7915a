# Functions around a real iSCSI array, Debian's tgtd, for scripts that run in namespaces of their own. Sourced, not run.
# Expects an empty /run (tgtd keeps its control socket there) and $workDir for what it writes.

PATH=$PATH:/usr/sbin:/sbin  # where tgtd is, and users' paths do not lead
arrayName=iqn.2026-11.example.zef:array
arrayPid=
arrayControl=0     # several arrays side by side need a number each,
arrayPortal=       # and an ADDRESS:PORT each to listen on; empty: every address, port 3260

# array_start WWN USER PASSWORD [COMMAND...]: one target with a LUN that has this WWN (16 hexadecimal digits), reached
# after a CHAP login. COMMAND, if given, runs tgtd elsewhere.
array_start() {
    local wwn=$1 user=$2 password=$3 i
    shift 3
    "$@" tgtd -f -C "$arrayControl" ${arrayPortal:+--iscsi portal="$arrayPortal"} >>"$workDir/tgtd.log" 2>&1 &
    arrayPid=$!
    for ((i = 0; i < 300; ++i)); do
        array_admin --op show --mode system >/dev/null 2>&1 && break
        sleep 0.1
    done
    if ((i == 300)); then
        echo "the array did not start; it says:" >&2
        cat "$workDir/tgtd.log" >&2
        return 1
    fi
    [ -e "$workDir/lun.img" ] || truncate -s 8M "$workDir/lun.img"
    array_admin --op new --mode target --tid 1 -T "$arrayName"
    array_admin --op new --mode logicalunit --tid 1 --lun 1 -b "$workDir/lun.img"
    array_admin --op update --mode logicalunit --tid 1 --lun 1 --params "scsi_id=${wwn}0000000000000001"
    array_admin --op new --mode account --user "$user" --password "$password"
    array_admin --op bind --mode account --tid 1 --user "$user"
    array_admin --op bind --mode target --tid 1 -I ALL
}

array_admin() {
    tgtadm -C "$arrayControl" --lld iscsi "$@"
}

# array_kill: as a power cut would.
array_kill() {
    kill -KILL "$arrayPid"
    wait "$arrayPid" 2>/dev/null || true
    arrayPid=
    rm -f "/run/tgtd/socket.$arrayControl"*
}

# array_stop: tgtd ignores SIGTERM; it ends by itself once it has no targets and is told to.
array_stop() {
    [ -n "$arrayPid" ] || return 0
    array_admin --op delete --force --mode target --tid 1 || true
    array_admin --op delete --mode system || true
    wait "$arrayPid" 2>/dev/null || true
    arrayPid=
}
