#!/usr/bin/env bash
# A client and an array with file systems and a network of their own, driven by arena.py: carries out the lines of its
# standard input, one after another, and prints "done STATUS" behind each. What tests/e2e/lib.sh has is at hand.
. tests/e2e/lib.sh

# cables COUNT: as many cables to a network namespace `array`, each with a subnet of its own: 10.0.K.1 and 10.0.K.3 are
# this end, 10.0.K.2 is the array's. No address reaches the array over another cable than its own.
cables() {
    local k
    ip netns add array
    ip -n array link set lo up
    {
        for ((k = 1; k <= $1; ++k)); do
            echo "link add cable$k type veth peer name far$k netns array"
            echo "address add 10.0.$k.1/24 dev cable$k"
            echo "address add 10.0.$k.3/24 dev cable$k"
            echo "link set cable$k up"
            echo "rule add from 10.0.$k.0/24 to 10.0.$k.0/24 lookup main pref 100"
            echo "rule add from 10.0.$k.0/24 prohibit pref 200"
        done
        echo "rule add from 127.0.0.0/8 to 10.0.0.0/8 prohibit pref 200"
    } | ip -batch -
    for ((k = 1; k <= $1; ++k)); do
        echo "address add 10.0.$k.2/24 dev far$k"
        echo "link set far$k up"
    done | ip -n array -batch -
}

# drop_sessions SESSION...: the array cuts these off, as an administrator may
drop_sessions() {
    local session
    for session in "$@"; do
        array_admin --op delete --mode conn --tid 1 --sid "$session" --cid 0 || return
    done
}

silentPid=

# silent_portal_start: whoever connects to port 3260 is let in and never hears anything; a line in $workDir/silent.out
# for each, with the address that it came to
silent_portal_start() {
    : >"$workDir/silent.out"
    "$python" -c '
import socket
listener = socket.create_server(("0.0.0.0", 3260), backlog=128)
print("ready", flush=True)
kept = []
while True:
    connection, _ = listener.accept()
    kept.append(connection)
    print(connection.getsockname()[0], flush=True)
' >"$workDir/silent.out" &
    silentPid=$!
    wait_for 30 "a portal" grep -q ready "$workDir/silent.out"
}

silent_portal_stop() {
    kill "$silentPid"
    wait "$silentPid" 2>/dev/null || true
}

while IFS= read -r line; do
    result=0
    eval "$line" </dev/null || result=$?
    echo "done $result"
done
