# shellcheck shell=bash
# Sourced by ./run and ./test: install_packages GROUP... sees to the Debian packages that lab/packages names.

# Debian starts a service as soon as its package is installed, unless this policy file forbids it.
POLICY=/usr/sbin/policy-rc.d

# wanted_packages GROUP...: the lines of lab/packages that belong to the groups
wanted_packages()
{
    local list group package
    list=$(dirname "${BASH_SOURCE[0]}")/packages
    while read -r group package; do
        [[ " $* " == *" $group "* ]] && echo "$package"
    done <"$list"
}

# missing_packages PACKAGE...: those that are not installed; of "A|B" the first, when neither is
missing_packages()
{
    local choice package found
    for choice in "$@"; do
        found=no
        for package in ${choice//|/ }; do
            [[ $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) == installed ]] && found=yes
        done
        [[ $found == yes ]] || echo "${choice%%|*}"
    done
}

# as_root COMMAND...: by sudo, when this user has it without a password
as_root()
{
    if [[ $(id -u) == 0 ]]; then "$@"; else sudo -n "$@"; fi
}

may_install()
{
    [[ $(id -u) == 0 ]] || sudo -n true 2>/dev/null
}

# Until this shell ends. A policy that the machine has of its own stays.
forbid_services()
{
    [[ -e $POLICY ]] && return
    trap 'as_root rm -f "$POLICY"' EXIT
    printf '#!/bin/sh\nexit 101\n' | as_root tee "$POLICY" >/dev/null
    as_root chmod 755 "$POLICY"
}

# services_of PACKAGE: what it would have the machine start, and nobody asked for
services_of()
{
    case $1 in
    minidlna | monit | prometheus | prometheus-node-exporter) echo "$1" ;;
    watchdog) echo watchdog wd_keepalive ;;
    esac
}

# disable_services PACKAGE...: they must not come up with the machine's next start either
disable_services()
{
    local package service
    for package in "$@"; do
        for service in $(services_of "$package"); do
            if command -v systemctl >/dev/null; then
                as_root systemctl --quiet disable "$service.service"
            else
                as_root update-rc.d "$service" disable
            fi
        done
    done
}

# apt_install PACKAGE...: prints what apt-get said only when it failed
apt_install()
{
    local said result=0
    said=$(as_root apt-get update 2>&1 &&
        as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "$@" 2>&1) || result=1
    [[ $result -eq 0 ]] || echo "$said" >&2
    return "$result"
}

# install_packages GROUP...: installs what is missing, quietly. Non-zero, with the names, when it may not or cannot.
install_packages()
{
    local wanted missing
    mapfile -t wanted < <(wanted_packages "$@")
    mapfile -t missing < <(missing_packages "${wanted[@]}")
    [[ ${#missing[@]} -gt 0 ]] || return 0
    if ! may_install; then
        echo "These packages are missing, and this user may not install them: ${missing[*]}" >&2
        return 1
    fi
    echo "installing: ${missing[*]}"
    (forbid_services && apt_install "${missing[@]}" && disable_services "${missing[@]}")
}
