# Sourced, not run.

# in_own_namespaces COMMAND...: runs a command with mounts, network and processes of its own; with it, everything that it
# started ends. As root, or where users may make namespaces.
in_own_namespaces() {
    local namespaces=(--mount --net --pid --fork --kill-child --mount-proc)
    if [ "$(id -u)" -ne 0 ]; then
        namespaces+=(--user --map-root-user)
    fi
    unshare "${namespaces[@]}" "$@"
}
