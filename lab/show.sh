# shellcheck shell=bash
# Sourced by ./run: how the story looks on a terminal, and what is to be said of it in the end. Needs lab/lib.sh.

# is_terminal: whether standard output is one on which a line can be written over
is_terminal()
{
    [[ -t 1 && ${TERM:-dumb} != dumb ]]
}

# paint CODE TEXT: in that colour, where there is colour
paint()
{
    if is_terminal && [[ -z ${NO_COLOR-} ]]; then
        printf '\e[%sm%s\e[0m\n' "$1" "$2"
    else
        printf '%s\n' "$2"
    fi
}

# paint_line LINE: one of the story, by its kind
paint_line()
{
    case $1 in
    *'    event: '*) paint 1\;32 "$1" ;;
    *'    seen: '*) paint 36 "$1" ;;
    *'    netctrl: '* | *'    time_check: '*) paint 2 "$1" ;;
    *'has failed'* | *'has ended with status'*) paint 31 "$1" ;;
    *) printf '%s\n' "$1" ;;
    esac
}

# ---- the count in silent stretches ----

# find_life: notes in life_pid and life_start which process is PID 1 of the router now. Nothing is written to the box's
# folder, as another may be about to end it.
find_life()
{
    [[ -n ${life_pid-} && $(process_start "$life_pid") == "$life_start" ]] && return
    life_pid=$(find_init) && life_start=$(process_start "$life_pid")
}

# count_of STATUS: what `tcctl status --json` has printed in one line: the box's time of day, and what the daemon counts
count_of()
{
    awk -F '[:," ]+' '
        $2 == "last_second" { moment = $3 }
        $2 == "module" { module = $3 }
        $2 == "verdict" { verdict = $3; gsub("_", " ", verdict) }
        $2 == "count" { count = $3 }
        $2 == "target" && $3 > 0 && count > 0 { line = line "  " module ": " verdict " " count " of " $3 }
        END { if (moment) printf "          %02d:%02d%s\n", moment / 3600 % 24, moment / 60 % 60, line }' <<<"$1"
}

# show_count: over what it showed before
show_count()
{
    local status line columns
    find_life 2>/dev/null || return 0
    status=$(timeout 2 bash -c '. "$1"; shift; in_box_of "$@"' - "$PROJECT/lab/lib.sh" "$life_pid" \
        tcctl status --json 2>/dev/null) || [[ -n $status ]] || return 0
    line=$(count_of "$status")
    columns=$(stty size <&1 2>/dev/null) || columns='0 80'
    columns=${columns#* }
    printf '\r\e[K%s' "${line:0:$((columns > 1 ? columns - 1 : 79))}"
}

# show_story: the lines of the story that come from standard input; on a terminal with a count while none comes
show_story()
{
    local line piece result
    if ! is_terminal; then
        cat
        return
    fi
    while :; do
        line=
        while result=0; IFS= read -r -t 1 piece || result=$?; [[ $result -gt 128 ]]; do
            line+=$piece
            show_count
        done
        printf '\r\e[K'
        [[ $result == 0 ]] || return 0
        paint_line "$line$piece"
    done
}

# ---- what has been seen ----

# events NAME|NAME...: how many events of the daemon were one of these
events()
{
    grep --count --extended-regexp "^[^{]*\{[^{]*\"event\":\"($1)\"" "$BOX_DIR/log/events" 2>/dev/null || :
}

# lines PATTERN: how many lines of the story match
lines()
{
    grep --count --extended-regexp "$1" "$BOX_DIR/log/box.log" 2>/dev/null || :
}

# row COUNT ONE MANY [MORE]: nothing when there was none
row()
{
    [[ ${1:-0} -gt 0 ]] || return 0
    printf '%6d  %s%s\n' "$1" "$([[ $1 == 1 ]] && echo "$2" || echo "$3")" "${4:+ ($4)}"
}

settings_kept()
{
    sed -n 's/.*up again.*; \([0-9]* settings\) as they were committed$/, \1 kept/p' "$BOX_DIR/log/box.log" | tail -n 1
}

# rows_of_restarts, then what the daemon did by the journal, what the observer saw beside it, and what went wrong
rows()
{
    row "$(lines 'the router restarts: reboot')" "restart of the router" "restarts of the router" \
        "$(events restart) by time_check$(settings_kept)"
    row "$(events 'wifi_(off|on|restarted)')" "Wi-Fi switch" "Wi-Fi switches" "$(lines 'seen: radio wlan') at the radios"
    row "$(events 'leds_(off|on)')" "LED switch" "LED switches" "$(lines 'seen: LED ') at the LEDs"
    row "$(events power_asleep)" "power saving" "power savings" "$(events power_awake) ended"
    row "$(events guest_closed)" "guest network closed" "guest networks closed"
    row "$(events wan_offline)" "time a WAN was found offline" "times a WAN was found offline"
    row "$(events wan_online)" "time a WAN was found online" "times a WAN was found online"
    row "$(events 'uplink_lost|upstream_lost')" "upstream loss" "upstream losses" \
        "$(events 'uplink_back|upstream_back') back"
    row "$(events fault_lasts)" "fault published" "faults published" "$(events fault_gone) gone"
    row "$(events process_killed)" "program ended that ran away" "programs ended that ran away"
    row "$(events process_restarted)" "program brought back" "programs brought back"
    row "$(lines 'time_check has ended with status')" "death of time_check" "deaths of time_check"
    row "$(lines ' seen: ')" "change that the observer saw" "changes that the observer saw"
    row "$(events '(commit|set|netctrl|command)_failed')" "act that failed" "acts that failed"
}

# summarize: for people, what this box has shown
summarize()
{
    local seen
    seen=$(rows)
    echo "You have seen:"
    echo "${seen:-     0  events}"
}
