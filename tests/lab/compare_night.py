#!/usr/bin/env python3
"""compare_night.py PREVIEW PREVIEW_OF_THE_GUEST_NETWORK END ACTS LOOKS [SECONDS]: what two previews announce until END,
against what a box's daemon did, from its journal (ACTS, of tcctl events --raw --json) and the seconds at which its main
loop looked (LOOKS). With SECONDS the previews are taken for so much later. Status 1 when they are not the same.

The phase is not known: the rules of Wi-Fi and LEDs are looked at every other second, of the daemon's, and the guest
network's time is counted in seconds of up-time, which begin elsewhere than the clock's. So an act may come a second before
it was announced, or in the second look after it instead of the first; and no later, however busy the machine is
(decision 0200).
"""
import bisect
import datetime
import json
import sys

PHASE_S = 1
PHASE_LOOKS = 1
TRACKS = {"set nkgw.led.state=0": "led off", "set nkgw.led.state=3": "led on",
          "set wl2g.public.enable=0": "wifi off", "set wl2g.public.enable=1": "wifi on",
          "set sys.is.pwr.save.mode=1": "sleep asleep", "set sys.is.pwr.save.mode=0": "sleep awake",
          "set wl.guest.dhcps_enable=0": "guest closed"}


def seconds_of(text):
    return int(datetime.datetime.fromisoformat(text).timestamp())


def track_of(act):
    return act[1].split()[0]


def announced(path, end, tracks):
    with open(path, encoding="utf-8") as file:
        plan = json.load(file)
    acts = [(seconds_of(act["at"]), f"{act['track']} {act['act']}") for act in plan["acts"] if act["track"] in tracks]
    return [act for act in acts if act[0] < end and act[1] != "guest open"]  # which nobody announces


def done(path):
    """The changes: what the start makes of the settings again is none, nor is a value that is written twice."""
    state = {"led": "led on", "wifi": "wifi on", "sleep": "sleep awake", "guest": "guest open"}
    acts = []
    with open(path, encoding="utf-8") as file:
        for line in file:
            event = json.loads(line)
            what = TRACKS.get(event["details"].get("act"))
            if what and state[what.split()[0]] != what:
                state[what.split()[0]] = what
                acts.append((seconds_of(event["at"]), what))
    return acts


def looks_of(path):
    with open(path, encoding="utf-8") as file:
        looks = sorted(int(line) for line in file)
    gaps = [later - look for look, later in zip(looks, looks[1:])]
    print(f"looks: {len(looks)}, one in {sum(gaps) / len(gaps):.2f} s, the longest gap {max(gaps)} s")
    return looks


def main():
    starts, guest, end, acts, looks = sys.argv[1:6]
    later_s = int(sys.argv[6]) if len(sys.argv) > 6 else 0
    plan = announced(starts, int(end), ("wifi", "led", "sleep")) + announced(guest, int(end), ("guest",))
    plan = sorted(((at + later_s, what) for at, what in plan), key=track_of)
    seen, looks = sorted(done(acts), key=track_of), looks_of(looks)
    if len(plan) != 7 or [what for _, what in plan] != [what for _, what in seen]:
        sys.exit(f"announced: {plan}\nseen: {seen}")
    failed = False
    for (at, what), (came, _) in zip(plan, seen):
        acting = bisect.bisect_right(looks, came) - 1  # the look in which it was done
        missed = acting - bisect.bisect_left(looks, at)  # looks since it was due in which it was not done
        is_well = came >= at - PHASE_S and missed <= PHASE_LOOKS
        print(f"{at} {what}: came {came - at:+d} s, {max(missed, 0)} looks after it was due{'' if is_well else ': WRONG'}")
        failed = failed or not is_well
    sys.exit(failed)


if __name__ == "__main__":
    main()
