#!/usr/bin/env python3
"""events_compare.py OBSERVED EVENTS RATE KIND...: what an observer saw in the box (events_observer.py) against what
`tcctl events --json --all` tells of the same time. Each change that was seen must be told, of its module, with a reason
and at its time; each change that is told must have been seen; and each KIND, or KIND/REASON, must have been
seen and told at least once.
"""

import datetime
import json
import pathlib
import sys

# Of the machine's time, between an act and what it leads to: netctrl, the kernel, and how long a look takes.
LATENCY_S = 2.0

# What the daemon's own command does at once: told of the very second in which it was seen. The command takes as long as
# the look beside it, which starts a program too, however busy the machine is.
AT_ONCE = {"process_killed"}

RADIOS = {"radio wlan0": "2.4 GHz", "radio wlan1": "5 GHz"}
KEYS = {
    ("key wan1_isonln", "1"): ("wan_online", "wan1"), ("key wan1_isonln", "0"): ("wan_offline", "wan1"),
    ("key wan2_isonln", "1"): ("wan_online", "wan2"), ("key wan2_isonln", "0"): ("wan_offline", "wan2"),
    ("key stoppage_flag", "1"): ("fault_lasts", "stoppage"), ("key stoppage_flag", "0"): ("fault_gone", "stoppage"),
    ("key sys.is.pwr.save.mode", "1"): ("power_asleep", "power"),
    ("key sys.is.pwr.save.mode", "0"): ("power_awake", "power"),
}


# Messages that netctrl took: its module, what the message says, and what must be told. Of a radio, see the band.
MESSAGES = {
    "19?op=1,": ("wifi_on", ("wifi", "power")), "19?op=2,": ("wifi_off", ("wifi", "power")),
    "19?op=15": ("uplink_lost", ("uplink",)), "19?op=16": ("uplink_back", ("uplink",)),
    "35?op=8,": ("upstream_back", ("uplink", "ap")), "35?op=9,": ("upstream_lost", ("uplink", "ap")),
    "52?op=15,": ("wan_told_online", ("wan1", "wan2")), "52?op=16,": ("wan_told_offline", ("wan1", "wan2")),
    "53?op=1": ("fault_page_start", ("stoppage",)), "53?op=2": ("fault_page_stop", ("stoppage",)),
}


def wanted_message(text):
    """Of a message to netctrl, as `wanted`."""
    for begin, (kind, modules) in MESSAGES.items():
        if text == begin or text.startswith(begin.rstrip(",") + ","):
            band = "5 GHz" if "wl_rate=5" in text else "2.4 GHz"
            return (kind, band if kind.startswith("wifi_") else "", modules)
    return None


def wanted(change):
    """(kind, subject, modules) that must be told of a change that was seen; None: it was not the daemon's doing."""
    what, new = change["what"], change["new"]
    if what in RADIOS:
        return ("wifi_off" if new == "down" else "wifi_on", RADIOS[what], ("wifi", "power"))
    if what.startswith("radio guest"):  # a hand opens it
        return ("guest_closed", "", ("guest",)) if new == "down" else None
    if what.startswith("LED "):
        return ("leds_off" if new == "0" else "leds_on", "", ("led", "power"))
    if (what, new) in KEYS:
        kind, module = KEYS[what, new]
        return (kind, "", (module,))
    if what.startswith("route "):
        wan = what.split()[1]
        if change["by_cable"]:  # the kernel takes it away, the DHCP client brings it back
            return None
        return ("wan_told_online" if new else "wan_told_offline", "", (wan,))
    if what == "program dhttpd":
        return ("fault_page_start" if new else "fault_page_stop", "", ("stoppage",))
    if what == "program minidlnad":
        return ("process_restarted", "minidlna", ("daemon",)) if new else None
    if what == "program httpd":  # the box starts another
        return ("process_killed", "httpd", ("cpu",)) if change["old"] else None
    if what == "message":
        return wanted_message(new)
    if what == "program pppoecd":  # the story ends it
        return ("uplink_dialled", "", ("uplink",)) if new else None
    if what == "boot":
        return ("restart", "", ("reboot",))
    return None


# For so long after a cable was plugged in, a route comes from the DHCP client.
PLUGGED_S = 30

SEEN_KINDS = {"wifi_off", "wifi_on", "guest_closed", "leds_off", "leds_on", "wan_online", "wan_offline",
              "wan_told_online", "wan_told_offline", "fault_lasts", "fault_gone", "power_asleep", "power_awake",
              "fault_page_start", "fault_page_stop", "process_restarted", "process_killed", "restart", "uplink_lost",
              "uplink_back", "upstream_lost", "upstream_back", "uplink_dialled"}


def read_observed(path):
    """What the observer's lines say, as changes_in takes it."""
    for line in pathlib.Path(path).read_text().splitlines():
        try:
            yield json.loads(line)
        except ValueError:  # the restart cut it off
            continue


def changes_in(lines):
    """The changes, and the stretches of time in which the observer looked, as lists of from when to when."""
    changes, stretches, cables = [], [], {}
    taken_away = set()  # routes, by netctrl
    for seen in lines:
        if seen["what"] == "looks":
            if stretches:
                changes.append({"what": "boot", "new": "", "old": "", "before": stretches[-1][1], "at": seen["at"]})
            stretches.append([seen["at"], seen["at"]])
        elif seen["what"] == "looked":
            stretches[-1][1] = seen["at"]
        else:
            if seen["what"].startswith("cable "):
                cables[seen["what"].split()[1]] = seen
            if seen["what"].startswith("route "):
                cable = cables.get(seen["what"].split()[1], {"new": "1", "at": 0})
                seen["by_cable"] = cable["new"] == "0" or seen["at"] - cable["at"] < PLUGGED_S
                if seen["new"] and seen["what"] not in taken_away:  # by the DHCP client, late on a slow machine
                    seen["by_cable"] = True
                if not seen["new"] and not seen["by_cable"]:
                    taken_away.add(seen["what"])
            changes.append(seen)
    return changes, stretches


def told_of(event, at, last):
    """The changes of an event that is told from `at` to `last`."""
    return [{"kind": change["event"], "subject": change["subject"], "module": event["module"],
             "reason": event["reason"], "text": event["text"], "at": at, "last": last}
            for change in event["details"]["changes"]]


def read_told(path):
    told = []
    for line in pathlib.Path(path).read_text().splitlines():
        event = json.loads(line)
        last = max(act["last"] for act in event["details"]["acts"])
        told += told_of(event, *(datetime.datetime.fromisoformat(text).timestamp() for text in (event["at"], last)))
    return told


def changes_nothing(one, changes):
    """Whether it stood so already, or when the looks began: the default route of a WAN that netctrl was told of, or LEDs
    that were lit."""
    def last(begin):
        return [change["new"] for change in changes
                if change["what"].startswith(begin) and change["at"] <= one["at"]][-1:]
    if one["kind"] == "leds_on":
        return last("LED ") != ["0"]
    return one["kind"] == "wan_told_online" and last(f"route {one['module']}") in ([], ["default"])


def slack_of(change, kind, rate):
    """For how long before the last look that did not show it, by the box's clock, it may have been told."""
    return 1 + (change["at"] - change["before"] if kind in AT_ONCE else LATENCY_S * rate)


def clock(moment):
    return datetime.datetime.fromtimestamp(moment, datetime.timezone.utc).strftime("%H:%M:%S")


def faults_of(changes, stretches, told, rate, kinds, shown=clock):
    """What does not agree, a line each; prints how much there was. `shown` gives a moment as text."""
    slack = LATENCY_S * rate + 1
    exact = []
    faults = []
    used = set()
    for change in changes:
        must = wanted(change)
        if must is None:
            continue
        kind, subject, modules = must
        matches = [i for i, one in enumerate(told)
                   if one["kind"] == kind and one["subject"] == subject and one["module"] in modules and one["reason"]
                   and one["at"] <= change["at"] + 1
                   and one["last"] >= change["before"] - slack_of(change, kind, rate)]
        used.update(matches)
        exact += [(shown(told[i]["at"]), change) for i in matches if kind in AT_ONCE]
        if not matches:
            faults.append(f"missing: {shown(change['at'])} {change['what']} {change['old']} -> {change['new']}: {kind}")
    for i, one in enumerate(told):
        is_watched = any(begin + slack < one["at"] < end - slack for begin, end in stretches)
        if one["kind"] in SEEN_KINDS and is_watched and i not in used and not changes_nothing(one, changes):
            faults.append(f"invented: {shown(one['at'])} {one['module']} {one['text']}")
    seen = {one["kind"] for i, one in enumerate(told) if i in used}
    seen |= {f"{one['kind']}/{one['reason']}" for i, one in enumerate(told) if i in used}
    lacking = set(kinds) - seen
    faults += [f"never seen and told: {kind}" for kind in sorted(lacking)]
    compared = len([change for change in changes if wanted(change)])
    print(f"{compared} changes seen, {len(used)} told of them")
    for at, change in exact:
        print(f"{change['what']}: told {at}, seen between {shown(change['before'])} and {shown(change['at'])}")
    return faults if compared else faults + ["nothing was seen"]


def main():
    observed, events, rate, *kinds = sys.argv[1:]
    changes, stretches = changes_in(read_observed(observed))
    faults = faults_of(changes, stretches, read_told(events), float(rate), kinds)
    print("\n".join(faults))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
