# shellcheck shell=bash
# Sourced by the scripts that run in the scene around the router: its LAN client, its internet, its stories.
. "$BOX_LAB/lib.sh"

in_lan()
{
    nsenter --target "$(child_named 1 box-lan)" --net "$@"
}

in_internet()
{
    nsenter --target "$(child_named 1 box-internet)" --net "$@"
}

# in_router COMMAND...: as a program of the router
in_router()
{
    local pid
    pid=$(pgrep --parent "$(child_named 1 box-boot)")
    nsenter --target "$pid" --mount --pid --net --uts --ipc --time -- \
        /run/box/lab/box/enter /run/box/environment "$@"
}
