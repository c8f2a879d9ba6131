# shellcheck shell=sh
# Sourced by the scripts in the emulated router.

# keep NAME COMMAND...: runs a program and starts it again whenever it has ended, its output in the log NAME
keep()
{
    log=/run/log/$1.log
    shift
    while :; do
        (cd / && exec "$@") </dev/null >>"$log" 2>&1
        sleep 1
    done
}

# in_place NAMESPACE COMMAND...
in_place()
{
    place=$1
    shift
    ip netns exec "$place" "$@"
}
