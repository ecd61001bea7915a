# What the end-to-end tests have in common. Sourced, not run.
set -euo pipefail
. scripts/lib/array.sh
. scripts/lib/client.sh

uuid=0123abcd-ABCD-0a1B-9f9F-00112233aabb
user=zefuser
password=a-real-Secret_42
wwn=6001405e7a11c0de

clean_up() {
    local status=$?
    if [ "$status" -ne 0 ]; then
        echo "--- the client's output:"
        tail -n 60 "$workDir/client.out" 2>/dev/null || true
    fi
    [ -z "$clientPid" ] || kill -KILL "$clientPid" 2>/dev/null || true
    [ -z "$arrayPid" ] || kill -KILL "$arrayPid" 2>/dev/null || true
    rm -rf "$workDir"
}

own_file_systems
workDir=$(mktemp -d)
trap clean_up EXIT
ip link set lo up

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

# prepare_keys: makes the keys, and $sealed from $password
prepare_keys() {
    mkdir -p "$confDir"
    "$client" keys init >/dev/null
    sealed=$("$client" password encrypt <<<"$password")
}

# no_secret_shown: the password must not stand in anything that the client printed
no_secret_shown() {
    ! grep -qF "$password" "$workDir/client.out" || fail "the password was printed"
}
