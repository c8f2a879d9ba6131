# fish completion of cfm. tools/generate.py writes this file.

function __cfm_is # COMMAND [NUMBER]
    set -l words (commandline -opc)
    test (count $words) -ge 2; and test "$words[2]" = "$argv[1]"; or return 1
    test (count $argv) -eq 1; and return 0
    set -l arguments (string match -v -- '-*' $words[3..-1])
    test (count $arguments) -eq (math $argv[2] - 1)
end

function __cfm_is_bare
    test (count (string match -v -- '-*' (commandline -opc))) -eq 1
end

function __cfm_keys
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

function __cfm_values # KEY: what it may be
    switch $argv[1]
        case sys.schedulereboot.enable dhcps.en surf_check_renew_flag wan1_isonln wan2_isonln wan1_check wan2_check wan1.onln.beforestart wan2.onln.beforestart wan1.down.flag wan2.down.flag wan1.pppoe.auth.changed wan2.pppoe.auth.changed reboot.flag stoppage_flag wl.wisp.webpage_status sys.sched.wifi.enable wl2g.enable wl5g.enable wl2g.public.enable wl5g.public.enable wl2g.ssid0.enable wl5g.ssid0.enable sys.powersleep.enable power.sleep.closetype.changed sys.is.pwr.save.mode wl.guest.dhcps_enable wl2g.ssid1.enable wl5g.ssid1.enable wl2g.ssid1.guest_enable wl5g.ssid1.guest_enable
            printf '%s\n' 0 1
        case sys.schedulereboot.type sys.powersleep.type nkgw.led.state
            printf '%s\n' 0 1 2 3
        case wans.flag
            printf '%s\n' 0 1 2
        case sys.workmode
            printf '%s\n' router ap wisp client+ap
        case wl2g.public.mode wl5g.public.mode
            printf '%s\n' ap wisp apclient
        case wan1.connecttype wan2.connecttype
            printf '%s\n' 0 1 2 3 4 5
        case wan_stoppage_err
            printf '%s\n' 1 2 3 4
        case wl.wisp.access_mode
            printf '%s\n' dhcp static pppoe
        case wl2g.extra.wpapsk_crypto wl5g.extra.wpapsk_crypto
            printf '%s\n' aes tkip tkip+aes
        case sys.sched.led.type
            printf '%s\n' open close time
        case sys.sched.led.closetype
            printf '%s\n' unpowerClose
        case time_check_debug
            printf '%s\n' on
    end
end

function __cfm_settings # KEY=VALUE, or KEY and then VALUE
    set -l before (commandline -opc)[-1]
    set -l typed (string split -m 1 = -- (commandline -ct))
    if test (count $typed) -eq 2
        set -l values (__cfm_values $typed[1])
        printf '%s\n' $typed[1]=$values
    else if test (count (commandline -opc)) -gt 2; and not string match -q -- '*=*' $before; and not string match -q -- '-*' $before
        __cfm_values $before
    else
        printf '%s=\n' (__cfm_keys)
    end
end

complete -c cfm -f
complete -c cfm -n __cfm_is_bare -s h -l help -d 'print help, and end'
complete -c cfm -n __cfm_is_bare -l version -d 'print the version, and end'
complete -c cfm -n __cfm_is_bare -a get -d 'print the value of KEY'
complete -c cfm -n '__cfm_is get' -s h -l help -d 'print help, and end'
complete -c cfm -n '__cfm_is get 1' -a '(__cfm_keys)'
complete -c cfm -n __cfm_is_bare -a set -d 'store VALUE under KEY, or any number of KEY=VALUE'
complete -c cfm -n '__cfm_is set' -s h -l help -d 'print help, and end'
complete -c cfm -n '__cfm_is set' -l apply -d 'commit, and tell the daemon that it is to look'
complete -c cfm -n '__cfm_is set' -a '(__cfm_settings)'
complete -c cfm -n __cfm_is_bare -a unset -d 'remove each KEY'
complete -c cfm -n '__cfm_is unset' -s h -l help -d 'print help, and end'
complete -c cfm -n '__cfm_is unset' -a '(__cfm_keys)'
complete -c cfm -n __cfm_is_bare -a list -d 'print the keys that begin with PREFIX, and their values'
complete -c cfm -n '__cfm_is list' -s h -l help -d 'print help, and end'
complete -c cfm -n '__cfm_is list' -l json -d 'as one JSON object'
complete -c cfm -n '__cfm_is list' -l settings -d 'only what is set'
complete -c cfm -n '__cfm_is list' -l state -d 'only what tells how the router is doing, or what it remembers'
complete -c cfm -n '__cfm_is list' -l changed -d 'only what differs from the committed settings'
complete -c cfm -n '__cfm_is list' -l secrets -d 'show secrets instead of ***'
complete -c cfm -n '__cfm_is list 1' -a '(__cfm_keys)'
complete -c cfm -n __cfm_is_bare -a diff -d 'print what differs from the committed settings'
complete -c cfm -n '__cfm_is diff' -s h -l help -d 'print help, and end'
complete -c cfm -n '__cfm_is diff' -l secrets -d 'show secrets instead of ***'
complete -c cfm -n __cfm_is_bare -a import -d 'store all settings of FILE (- for standard input), or none'
complete -c cfm -n '__cfm_is import' -s h -l help -d 'print help, and end'
complete -c cfm -n '__cfm_is import 1' -F
complete -c cfm -n __cfm_is_bare -a export -d 'print all settings as import takes them'
complete -c cfm -n '__cfm_is export' -s h -l help -d 'print help, and end'
complete -c cfm -n __cfm_is_bare -a commit -d 'make the running settings durable'
complete -c cfm -n '__cfm_is commit' -s h -l help -d 'print help, and end'
complete -c cfm -n __cfm_is_bare -a watch -d 'print the keys that begin with PREFIX as they change'
complete -c cfm -n '__cfm_is watch' -s h -l help -d 'print help, and end'
complete -c cfm -n '__cfm_is watch' -l secrets -d 'show secrets instead of ***'
complete -c cfm -n '__cfm_is watch 1' -a '(__cfm_keys)'
complete -c cfm -n __cfm_is_bare -a wait -d 'wait until KEY has VALUE'
complete -c cfm -n '__cfm_is wait' -s h -l help -d 'print help, and end'
complete -c cfm -n '__cfm_is wait' -l timeout -x -d 'give up after so many seconds'
complete -c cfm -n '__cfm_is wait 1' -a '(__cfm_settings)'
complete -c cfm -n __cfm_is_bare -a post -d 'post TEXT to NAME on the bus'
complete -c cfm -n '__cfm_is post' -s h -l help -d 'print help, and end'
complete -c cfm -n '__cfm_is post 1' -a 'netctrl time_check'
complete -c cfm -n __cfm_is_bare -a listen -d 'hold NAME on the bus and print what arrives, a line a message'
complete -c cfm -n '__cfm_is listen' -s h -l help -d 'print help, and end'
complete -c cfm -n '__cfm_is listen 1' -a 'netctrl time_check'
