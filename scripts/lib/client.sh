# Functions around zef_client, for scripts that run in namespaces of their own. Sourced, not run.
# Expects $client, the program, and $workDir for what it writes.

confDir=/opt/quenlar/vextramo/conf
clientPid=

# own_file_systems: empty file systems over what the client and the array write to; only this script and its children
# see them.
own_file_systems() {
    mount -t tmpfs -o mode=755 own /opt
    mount -t tmpfs -o mode=755 own /run
    mount -t tmpfs -o mode=1777 own /dev/shm
}

# write_config UUID USER SEALED-PASSWORD DEDUPLICATION COMPRESSION ADDRESS...
write_config() {
    local uuid=$1 user=$2 sealed=$3 deduplication=$4 compression=$5
    shift 5
    {
        echo '<?xml version="1.0"?>'
        echo '<Config>'
        echo "    <Uuid type=\"string\">$uuid</Uuid>"
        echo "    <Deduplication type=\"string\">$deduplication</Deduplication>"
        echo "    <Compression type=\"string\">$compression</Compression>"
        echo '    <StorageObject>'
        echo '        <Name type="string">array-1</Name>'
        echo "        <User type=\"string\">$user</User>"
        echo '        <LinkType type="string">0</LinkType>'
        echo "        <Password type=\"string\">$sealed</Password>"
        printf '        <Ips type="string">%s</Ips>\n' "$@"
        echo '    </StorageObject>'
        echo '</Config>'
    } >"$confDir/zef_config.xml"
}

# start_client [OPTION...]: zef_client run, in the background; all it prints goes to $workDir/client.out
start_client() {
    : >"$workDir/client.out"
    "$client" run "$@" >"$workDir/client.out" 2>&1 &
    clientPid=$!
}

# stop_client: as an operator would; returns the client's exit status
stop_client() {
    local status=0
    kill -TERM "$clientPid"
    wait "$clientPid" || status=$?
    clientPid=
    return "$status"
}

# wait_for SECONDS WHAT COMMAND...: until the command succeeds
wait_for() {
    local deadline=$((SECONDS + $1)) what=$2
    shift 2
    until "$@"; do
        if ((SECONDS > deadline)); then
            echo "this did not happen: $what" >&2
            return 1
        fi
        sleep 0.1
    done
}

# lines PATTERN: how many lines of the client's output match
lines() {
    grep -cE -- "$1" "$workDir/client.out" || true
}

has_lines() { # has_lines COUNT PATTERN
    (($(lines "$2") >= $1))
}

# show_table: makes the client print its table and waits for it
show_table() {
    local before
    before=$(lines '^UUID ')
    kill -USR1 "$clientPid"
    wait_for 10 "a table" has_lines $((before + 1)) '^UUID '
}
