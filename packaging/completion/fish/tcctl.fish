# fish completion of tcctl. tools/generate.py writes this file.

function __tcctl_is # COMMAND [NUMBER]
    set -l words (commandline -opc)
    test (count $words) -ge 2; and test "$words[2]" = "$argv[1]"; or return 1
    test (count $argv) -eq 1; and return 0
    set -l arguments (string match -v -- '-*' $words[3..-1])
    test (count $arguments) -eq (math $argv[2] - 1)
end

function __tcctl_is_bare
    test (count (string match -v -- '-*' (commandline -opc))) -eq 1
end

function __tcctl_listed # WORD...: several with commas between
    set -l head (string replace -r '[^,]*$' '' -- (commandline -ct))
    printf '%s\n' $head$argv
end

function __tcctl_keys
    printf '%s\n' sys.schedulereboot.enable \
        sys.schedulereboot.type \
        sys.schedulereboot.wday \
        sys.schedulereboot.start_time \
        sys.schedulereboot.end_time \
        sys.schedulereboot.max_speed \
        wans.flag \
        sys.workmode \
        wl2g.public.mode \
        wl5g.public.mode \
        sys.mode \
        wl2g.public.country \
        lan.ip \
        lan.ifname \
        lan2.ifname \
        lan.clash.message \
        dhcps.en \
        wan1.ifname \
        wan2.ifname \
        wan1.ppp.ifname \
        wan2.ppp.ifname \
        wan1.connecttype \
        wan2.connecttype \
        wan1.port \
        wan2.port \
        surf_check_renew_flag \
        wan1_err_check \
        wan2_err_check \
        wan1_isonln \
        wan2_isonln \
        wan1_check \
        wan2_check \
        wan1.onln.beforestart \
        wan2.onln.beforestart \
        wan1.down.flag \
        wan2.down.flag \
        wan1.pppoe.auth.changed \
        wan2.pppoe.auth.changed \
        reboot.flag \
        wan_stoppage_err \
        stoppage_flag \
        wl.wisp.ifname \
        wl2g.client.ifname \
        wl5g.client.ifname \
        wl.wisp.access_mode \
        wl2g.extra.wpapsk_type \
        wl5g.extra.wpapsk_type \
        wl2g.extra.wpapsk_crypto \
        wl5g.extra.wpapsk_crypto \
        wl2g.extra.ssid \
        wl5g.extra.ssid \
        wl.wisp.pppoe_name \
        wl.wisp.pppoe_password \
        wl.wisp.pppoe_mtu \
        wl.wisp.webpage_status \
        nkgw.wlan.listnum \
        nkgw.led.listnum \
        nkgw.wlan.offtime.list1 \
        nkgw.wlan.offtime.list2 \
        nkgw.wlan.offtime.list3 \
        nkgw.wlan.offtime.list4 \
        nkgw.wlan.offtime.list5 \
        nkgw.wlan.offtime.list6 \
        nkgw.wlan.offtime.list7 \
        nkgw.wlan.offtime.list8 \
        nkgw.wlan.offtime.list9 \
        nkgw.wlan.offtime.list10 \
        nkgw.wlan.offtime.list11 \
        nkgw.wlan.offtime.list12 \
        nkgw.wlan.offtime.list13 \
        nkgw.wlan.offtime.list14 \
        nkgw.wlan.offtime.list15 \
        nkgw.wlan.offtime.list16 \
        nkgw.wlan.offtime.list17 \
        nkgw.wlan.offtime.list18 \
        nkgw.wlan.offtime.list19 \
        nkgw.wlan.offtime.list20 \
        nkgw.led.offtime.list1 \
        nkgw.led.offtime.list2 \
        nkgw.led.offtime.list3 \
        nkgw.led.offtime.list4 \
        nkgw.led.offtime.list5 \
        nkgw.led.offtime.list6 \
        nkgw.led.offtime.list7 \
        nkgw.led.offtime.list8 \
        nkgw.led.offtime.list9 \
        nkgw.led.offtime.list10 \
        nkgw.led.offtime.list11 \
        nkgw.led.offtime.list12 \
        nkgw.led.offtime.list13 \
        nkgw.led.offtime.list14 \
        nkgw.led.offtime.list15 \
        nkgw.led.offtime.list16 \
        nkgw.led.offtime.list17 \
        nkgw.led.offtime.list18 \
        nkgw.led.offtime.list19 \
        nkgw.led.offtime.list20 \
        nkgw.wlan.ontime.list1 \
        nkgw.wlan.ontime.list2 \
        nkgw.wlan.ontime.list3 \
        nkgw.wlan.ontime.list4 \
        nkgw.wlan.ontime.list5 \
        nkgw.wlan.ontime.list6 \
        nkgw.wlan.ontime.list7 \
        nkgw.wlan.ontime.list8 \
        nkgw.wlan.ontime.list9 \
        nkgw.wlan.ontime.list10 \
        nkgw.wlan.ontime.list11 \
        nkgw.wlan.ontime.list12 \
        nkgw.wlan.ontime.list13 \
        nkgw.wlan.ontime.list14 \
        nkgw.wlan.ontime.list15 \
        nkgw.wlan.ontime.list16 \
        nkgw.wlan.ontime.list17 \
        nkgw.wlan.ontime.list18 \
        nkgw.wlan.ontime.list19 \
        nkgw.wlan.ontime.list20 \
        nkgw.led.ontime.list1 \
        nkgw.led.ontime.list2 \
        nkgw.led.ontime.list3 \
        nkgw.led.ontime.list4 \
        nkgw.led.ontime.list5 \
        nkgw.led.ontime.list6 \
        nkgw.led.ontime.list7 \
        nkgw.led.ontime.list8 \
        nkgw.led.ontime.list9 \
        nkgw.led.ontime.list10 \
        nkgw.led.ontime.list11 \
        nkgw.led.ontime.list12 \
        nkgw.led.ontime.list13 \
        nkgw.led.ontime.list14 \
        nkgw.led.ontime.list15 \
        nkgw.led.ontime.list16 \
        nkgw.led.ontime.list17 \
        nkgw.led.ontime.list18 \
        nkgw.led.ontime.list19 \
        nkgw.led.ontime.list20 \
        sys.sched.wifi.enable \
        sys.sched.led.type \
        wl2g.enable \
        wl5g.enable \
        wl2g.public.enable \
        wl5g.public.enable \
        wl2g.ssid0.enable \
        wl5g.ssid0.enable \
        sys.powersleep.enable \
        sys.powersleep.type \
        sys.powersleep.start_time \
        sys.powersleep.end_time \
        sys.powersleep.max_speed \
        sys.powersleep.wday \
        power.sleep.closetype.changed \
        sys.sched.led.closetype \
        sys.is.pwr.save.mode \
        nkgw.led.state \
        wl.guest.effective_time \
        wl.guest.dhcps_enable \
        wl2g.ssid1.enable \
        wl5g.ssid1.enable \
        wl2g.ssid1.guest_enable \
        wl5g.ssid1.guest_enable \
        time_check_debug
end

complete -c tcctl -f
complete -c tcctl -n __tcctl_is_bare -s h -l help -d 'print help, and end'
complete -c tcctl -n __tcctl_is_bare -l version -d 'print the version, and end'
complete -c tcctl -n __tcctl_is_bare -a check -d 'look for mistakes in settings'
complete -c tcctl -n '__tcctl_is check' -s h -l help -d 'print help, and end'
complete -c tcctl -n '__tcctl_is check' -l json -d 'print an array of objects'
complete -c tcctl -n '__tcctl_is check' -l quiet -d 'print nothing, the exit code says it'
complete -c tcctl -n '__tcctl_is check' -l whole -d 'a key that the files do not name is missing on the router, too'
complete -c tcctl -n '__tcctl_is check' -l level -x -a 'error warning note' -d 'least severity that counts: error, warning or note'
complete -c tcctl -n '__tcctl_is check' -F
complete -c tcctl -n __tcctl_is_bare -a keys -d 'print what there is to know of each key of the settings'
complete -c tcctl -n '__tcctl_is keys' -s h -l help -d 'print help, and end'
complete -c tcctl -n '__tcctl_is keys' -l json -d 'print an array of objects'
complete -c tcctl -n '__tcctl_is keys 1' -a '(__tcctl_keys)'
complete -c tcctl -n __tcctl_is_bare -a status -d 'show what each module of the daemon is doing, and what comes next'
complete -c tcctl -n '__tcctl_is status' -s h -l help -d 'print help, and end'
complete -c tcctl -n '__tcctl_is status' -l json -d 'print an object'
complete -c tcctl -n '__tcctl_is status' -l watch -d 'print again every second'
complete -c tcctl -n '__tcctl_is status' -a 'reboot power wifi led guest cpu daemon uplink ap stoppage wan1 wan2'
complete -c tcctl -n __tcctl_is_bare -a why -d 'show why a module does nothing, or what it did: each gate of its rule'
complete -c tcctl -n '__tcctl_is why' -s h -l help -d 'print help, and end'
complete -c tcctl -n '__tcctl_is why' -l json -d 'print an object'
complete -c tcctl -n '__tcctl_is why 1' -a 'reboot power wifi led guest cpu daemon uplink ap stoppage wan1 wan2'
complete -c tcctl -n __tcctl_is_bare -a preview -d 'show the coming days by the settings: what is done, when and why'
complete -c tcctl -n '__tcctl_is preview' -s h -l help -d 'print help, and end'
complete -c tcctl -n '__tcctl_is preview' -l version -d 'print the version, and end'
complete -c tcctl -n '__tcctl_is preview' -l from -x -d '\'YYYY-MM-DD HH:MM:SS\' by the router\'s clock (now)'
complete -c tcctl -n '__tcctl_is preview' -l days -x -d 'how many days, 1 to 3660 (7)'
complete -c tcctl -n '__tcctl_is preview' -l tz -x -d 'the router\'s time zone, as TZ has it (this machine\'s)'
complete -c tcctl -n '__tcctl_is preview' -l uptime -x -d 'how long it has been up then, in seconds (this router\'s; a day for a FILE)'
complete -c tcctl -n '__tcctl_is preview' -l clients -x -d 'when somebody uses the network: none, always, or HH:MM-HH:MM... (none)'
complete -c tcctl -n '__tcctl_is preview' -l format -x -a 'text json svg html' -d 'text, json, svg or html (text)'
complete -c tcctl -n '__tcctl_is preview 1' -F
complete -c tcctl -n __tcctl_is_bare -a events -d 'show what the daemon did, when and why, across restarts'
complete -c tcctl -n '__tcctl_is events' -s h -l help -d 'print help, and end'
complete -c tcctl -n '__tcctl_is events' -l since -x -d 'HH:MM[:SS], \'YYYY-MM-DD HH:MM[:SS]\', or -30m, -2h, -3d'
complete -c tcctl -n '__tcctl_is events' -l event -x -a '(__tcctl_listed restart restart_armed power_asleep power_awake wifi_off wifi_on wifi_restarted leds_off leds_on guest_closed wan_offline wan_online wan_told_offline wan_told_online process_killed process_restarted fault_lasts fault_seen fault_gone fault_page_start fault_page_stop uplink_lost uplink_back uplink_bounced uplink_wan_up uplink_cipher uplink_dialled upstream_lost upstream_back dhcp_server_on lan_clash_check message setting command note boot daemon_started daemon_ended commit_failed set_failed netctrl_failed command_failed minor)' -d 'these alone, such as wan_offline,restart_armed'
complete -c tcctl -n '__tcctl_is events' -l exec -x -a '(__fish_complete_command)' -d 'with --follow: a program to run for each event, and its arguments'
complete -c tcctl -n '__tcctl_is events' -l timeout -x -d 'for how many seconds it may run'
complete -c tcctl -n '__tcctl_is events' -l rate -x -d 'how often it may be run within a minute'
complete -c tcctl -n '__tcctl_is events' -l state -r -F -d 'with --exec: the file that remembers what it was run for'
complete -c tcctl -n '__tcctl_is events' -l follow -d 'go on as more happens'
complete -c tcctl -n '__tcctl_is events' -l json -d 'print an object a line'
complete -c tcctl -n '__tcctl_is events' -l raw -d 'print each act as it stands in the journal'
complete -c tcctl -n '__tcctl_is events' -l all -d 'with the daemon\'s housekeeping'
complete -c tcctl -n '__tcctl_is events' -a 'reboot power wifi led guest cpu daemon uplink ap stoppage wan1 wan2 router clash'
complete -c tcctl -n __tcctl_is_bare -a metrics -d 'print gauges and counters of the daemon, for a collector'
complete -c tcctl -n '__tcctl_is metrics' -s h -l help -d 'print help, and end'
complete -c tcctl -n '__tcctl_is metrics' -l textfile -r -F -d 'write them there for node exporter\'s text folder, whole or not'
complete -c tcctl -n '__tcctl_is metrics' -l openmetrics -d 'name counters by the letter of OpenMetrics'
complete -c tcctl -n __tcctl_is_bare -a replay -d 'go through a trace again: what the daemon does in the world that it tells of'
complete -c tcctl -n '__tcctl_is replay' -s h -l help -d 'print help, and end'
complete -c tcctl -n '__tcctl_is replay' -l version -d 'print the version, and end'
complete -c tcctl -n '__tcctl_is replay' -l json -d 'print an object'
complete -c tcctl -n '__tcctl_is replay' -l all -d 'print also what the daemon sets again as it has set it already'
complete -c tcctl -n '__tcctl_is replay' -l until -x -d 'go no further than this moment, such as 2026-03-02T23:00:00Z'
complete -c tcctl -n '__tcctl_is replay 1' -F
complete -c tcctl -n __tcctl_is_bare -a record -d 'write what happens around this router as a trace'
complete -c tcctl -n '__tcctl_is record' -s h -l help -d 'print help, and end'
complete -c tcctl -n '__tcctl_is record' -l version -d 'print the version, and end'
complete -c tcctl -n '__tcctl_is record' -l output -x -d 'where to (standard output)'
complete -c tcctl -n '__tcctl_is record' -l append -d 'go on with the trace that is there: the router was started again'
complete -c tcctl -n '__tcctl_is record' -l for -x -d 'for how long: 90, 15m, 2h, 1d'
complete -c tcctl -n __tcctl_is_bare -a fleet -d 'let many routers have a night: when they restart, and what they ask of the internet'
complete -c tcctl -n '__tcctl_is fleet' -s h -l help -d 'print help, and end'
complete -c tcctl -n '__tcctl_is fleet' -l version -d 'print the version, and end'
complete -c tcctl -n '__tcctl_is fleet' -l routers -x -d 'how many routers there are'
complete -c tcctl -n '__tcctl_is fleet' -l profile -r -F -d 'what they have in common, - for standard input (docs/fleet.md)'
complete -c tcctl -n '__tcctl_is fleet' -l seed -x -d 'another number, other routers of the same kind (1)'
complete -c tcctl -n '__tcctl_is fleet' -l night -x -d 'the day on whose evening it begins, YYYY-MM-DD (2026-03-02)'
complete -c tcctl -n '__tcctl_is fleet' -l shard -x -d 'the I-th of K parts of them alone'
complete -c tcctl -n '__tcctl_is fleet' -l jobs -x -d 'how many processes (one a processor)'
complete -c tcctl -n '__tcctl_is fleet' -l out -r -F -d 'where to (standard output)'
complete -c tcctl -n '__tcctl_is fleet' -l format -x -a 'text json svg' -d 'text, json or svg (text; of a shard json)'
complete -c tcctl -n '__tcctl_is fleet' -l merge -r -F -d 'adds up what was written as JSON'
complete -c tcctl -n '__tcctl_is fleet; and __fish_contains_opt merge' -F
