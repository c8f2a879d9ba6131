#!/usr/bin/env python3
"""recorded_compare.py TRACE REPLAYED LOOKS TEXT... -- JOURNAL...: the acts that `tcctl replay --all --json` makes of a trace,
against the box's journals of the same time. Each act of the one must be in the other, as often, and in the same second,
or as late in it as the daemon was busy: in a replay what it does takes no time, in the box commands do, by a clock that
goes faster. For how long is told by the trace: when each pass of the main loop ended, and when a look at a WAN began
and ended, in which its acts may lie anywhere. Each TEXT is an act, or the beginning of one, that must be among them.

One pass beside is allowed where milliseconds decide, which no trace tells: in which of two seconds a pass began, for rules
that look when more than a second has passed; whether a pass saw what changed while it was about to begin. LOOKS are the
seconds at which the box's clock saw the main loop begin to look (decision 0208): the trace must have as many passes, and
where the recorder was kept from counting them, one pass beside is allowed, too.
"""

import datetime
import json
import os
import pathlib
import re
import struct
import sys

RATE = float(os.environ["BOX_CLOCK_RATE"])
LATER_S = int(os.environ.get("REPLAY_LATER_S", "0"))  # a replay that is wrong by so much, which must be found

# struct journal_head and journal_record of platform/common/journal.h.
HEAD_SIZE = 256
RECORD = struct.Struct("<IIqqqqiiIIHBBBBH192s")
NOTES = (0, 9, 10, 11)  # and what is done to files, which this ground does not see
REACHABILITY = (66, 67)
BY_SECONDS = (2, 3, 4)  # power saving, Wi-Fi, LEDs: these rules look when more than a second has passed since
RUN_S = 10              # between acts that are one
LONGEST_S = 15          # of a pass
COUNTED_S = 45          # for so long passes are counted from a change on: 30 without any WAN
CHANGES = ("set", "save", "unset", "message", "link", "address", "wan", "file", "no-file")
# How this ground counts bytes and drives LEDs. At a fast pace the first passes take half a minute of the box's clock, since
# what they start takes real time, and how often they look for an address of the WANs is by chance.
GROUND = ("exec nft table inet time_check_acct", "set led.") + (("set stoppage_flag=0",) if RATE > 100 else ())


def read_journal(path):
    """The acts of a journal's file: text, first and last moment, how often, whose."""
    data = pathlib.Path(path).read_bytes() if pathlib.Path(path).exists() else b""
    acts = []
    for at in range(HEAD_SIZE, len(data) - RECORD.size + 1, RECORD.size):
        (sequence, _, first, last, _, _, _, _, _, _, times, who, _, kind, _, _, text) = RECORD.unpack_from(data, at)
        text = text.split(b"\0")[0].decode(errors="replace")
        if sequence and kind not in NOTES and not text.startswith(GROUND):
            acts.append({"sequence": sequence, "text": text, "first": first, "last": last, "times": times, "who": who})
    return sorted(acts, key=lambda act: act["sequence"])


def read_replayed(path):
    """The moments of each act's text, by the up-time's own clock, which is UTC in the box."""
    moments = {}
    for act in json.loads(pathlib.Path(path).read_text())["acts"]:
        day, time, _, text = act["act"].split(" ", 3)
        if re.match("(write|unlink|rename) ", text):
            continue
        at = datetime.datetime.fromisoformat(f"{day}T{time}+00:00").timestamp()
        if text.startswith(GROUND):
            continue
        moments.setdefault(text[:191], []).append(int(at) + LATER_S)
    return moments


def clock(moment):
    return datetime.datetime.fromtimestamp(moment, datetime.timezone.utc).strftime("%H:%M:%S")


class Busy:
    """When the daemon was at its work, by the trace, and by LOOKS."""

    def __init__(self, path, looks):
        self.passes, self.spans = [], []  # of the main loop: ends; of looks: (begin, end)
        self.starts, self.changes = [], []
        self.looks = sorted(int(line) for line in pathlib.Path(looks).read_text().split())
        number, end, first_look = 0, 0, True
        for line in pathlib.Path(path).read_text().splitlines()[1:]:
            words = [word for word in line.split(" ") if not word.startswith("+")]
            at = moment(words[0])
            if words[1] in CHANGES:
                self.changes.append(at)
            if words[1] == "daemon":
                number, end, first_look = 0, at, True
                self.starts.append(at)
            if words[1] == "pass":
                told, ends = int(words[2]), moment(words[3])
                steps = max(told - number, 1)
                self.passes += [end + (ends - end) * i / steps for i in range(1, steps + 1)]
                number, end = told, ends
            if words[1] == "look":
                self.spans.append((self.starts[-1] if first_look else moment(words[3]), at))
                first_look = first_look and words[2] == "1"

    def miscounted(self, at):
        """Passes since the daemon's start that the recorder has told of, but for those that began. The first one of a
        start begins before the box's clock can see it; the last ones may still last."""
        start = max((each for each in self.starts if each <= at), default=0)
        told = sum(start < each <= at for each in self.passes)
        begun = sum(start < each <= at for each in self.looks)
        return 0 if begun <= told <= begun + 2 else told - begun

    def allows(self, who, replayed, box):
        if who in REACHABILITY:
            return abs(replayed - box) <= 1 or any(
                begin - 1 <= min(replayed, box) and max(replayed, box) <= end + 1 for begin, end in self.spans)
        if replayed == box or self.is_in_a_pass(replayed, box):
            return True
        if not self.is_next_pass(replayed, box):
            return False
        return who in BY_SECONDS or self.has_changed(min(replayed, box)) or self.miscounted(replayed) != 0

    def has_changed(self, at):
        """Whether something that passes are counted from was told: the pass that began then may or may not have seen it."""
        return any(at - COUNTED_S <= each <= at + 2 for each in self.changes)

    def is_in_a_pass(self, replayed, box):
        """Whether a pass began before both seconds were over and ended when both had begun. The trace knows passes to
        some milliseconds of the machine."""
        exact = 0.02 + 0.0025 * RATE
        for before, end in zip([-60.0, *self.passes], self.passes):
            if int(before + 1 - exact) <= min(replayed, box) and max(replayed, box) <= int(end + exact):
                return True
        return False

    def is_next_pass(self, replayed, box):
        """Whether no more than one pass of the main loop ended between the two."""
        between = sum(min(replayed, box) <= end <= max(replayed, box) for end in self.passes)
        return between <= 2 and abs(replayed - box) <= LONGEST_S


def moment(text):
    return datetime.datetime.fromisoformat(re.sub(r"\.(\d+)", lambda found: f".{found[1]:0<6}", text.replace("Z", "+00:00"))).timestamp()


def runs_of(acts, spans=()):
    """[first, last, number] of what is done pass after pass, as long as something lasts; most acts are alone. A journal
    counts up what is done again, whenever that is: what lies in one of such `spans` is one run too."""
    runs = []
    for first, last, times in sorted(acts):
        if runs and (first - runs[-1][1] <= RUN_S or any(
                begin - LONGEST_S <= runs[-1][0] and first <= end + LONGEST_S for begin, end, _ in spans)):
            runs[-1] = [runs[-1][0], max(runs[-1][1], last), runs[-1][2] + times]
        else:
            runs.append([first, last, times])
    return runs


def compare_runs(text, who, mine, boxes, busy):
    """Faults of one act's text."""
    for one, box in zip(mine, boxes):
        lasts = one[2] > 1 or box[2] > 1  # what it hangs on came between two looks of the recorder
        for at, seen in zip(one[:2], box[:2]):
            if not busy.allows(who, at, seen) and not (lasts and busy.is_next_pass(at, seen)):
                yield f"{clock(at)} in the replay, {clock(seen)} in the box: {text}"
        if abs(one[2] - box[2]) > (one[2] > 1 or box[2] > 1) * (3 + box[2] // 20):
            yield f"{one[2]} times in the replay, {box[2]} times in the box from {clock(box[0])} on: {text}"
    yield from (f"invented by the replay: {clock(one[0])} {text}" for one in mine[len(boxes):])
    yield from (f"missing in the replay: {clock(box[0])} {text}" for box in boxes[len(mine):])


def main():
    split = sys.argv.index("--")
    trace, replayed, looks, *wanted = sys.argv[1:split]
    busy = Busy(trace, looks)
    moments = read_replayed(replayed)
    acts = [act for path in sys.argv[split + 1:] for act in read_journal(path)]
    boxes, who, faults, offs = {}, {}, [], {}
    for act in acts:
        boxes.setdefault(act["text"], []).append((act["first"], act["last"], act["times"]))
        who[act["text"]] = act["who"]
    for text in sorted(boxes.keys() | moments.keys()):
        seen = runs_of(boxes.get(text, []))
        mine = runs_of(((at, at, 1) for at in moments.get(text, [])), [each for each in seen if each[2] > 1])
        faults += compare_runs(text, who.get(text), mine, seen, busy)
        for one, box in zip(mine, seen):
            offs[box[0] - one[0]] = offs.get(box[0] - one[0], 0) + 1
    faults += [f"never compared: {text}" for text in wanted if not any(each.startswith(text) for each in boxes)]
    print(f"{sum(act['times'] for act in acts)} acts compared; by so many seconds later in the box: "
          + ", ".join(f"{late}: {number}" for late, number in sorted(offs.items())))
    print(f"{len(busy.passes)} passes told, {len(busy.looks)} seen to begin")
    print("\n".join(faults))
    return 1 if faults or not acts else 0


if __name__ == "__main__":
    sys.exit(main())
