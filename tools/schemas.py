"""JSON schemas: of a settings file, from the table of keys; and of what tcctl prints, with the tables' own names.

docs/schema/tcctl-status.json and tcctl-why.json are written by hand.
"""

import json
import re

import config_keys
import verdicts_to_docs

DRAFT = "http://json-schema.org/draft-07/schema#"

# ---- a settings file ----

TIME = r"(?:[01]?[0-9]|2[0-3]):[0-5]?[0-9]"
DAY = r"(?:Sun|Mon|Tue|Wed|Thu|Fri|Sat)"
DAYS = rf"{DAY}(?:\.\.{DAY})?"
BYTE = r"(?:25[0-5]|2[0-4][0-9]|[01]?[0-9]?[0-9])"
# As tools/key_range.cpp has them; a test holds the two together.
FORMS = {
    "TIME": TIME,
    "WEEKLY_TIME": rf"(?:{DAYS}(?:,{DAYS})* )?{TIME}",
    "DAYS": "[01](?:;[01]){6}",
    "INTERFACE": r"(?!\.{1,2}$)[!-.0-9;-~]{1,15}",
    "ADDRESS": rf"{BYTE}(?:\.{BYTE}){{3}}",
}


def number_form(key):
    """Digits, with zeros before them if somebody likes; up to 18 so that no number is too large."""
    low, high = key.bounds()
    if low is None:
        return "-?[0-9]{1,18}"
    if high is None:
        return "(?:-?0+|[0-9]{1,18})"
    return "(?:" + "|".join((["-?0+"] if low == 0 else []) +
                            ["0*(?:" + "|".join(map(str, range(max(low, 1), high + 1))) + ")"]) + ")"


def value_schema(key):
    """An empty value is right: it counts as a missing one. So is the standard, as it stands in the table."""
    told = {"description": re.sub(r"[`*]", "", key.meaning), "type": "string"}
    if key.standard:
        told["default"] = key.standard
    if key.after:
        told["$comment"] = "after a change: " + key.after
    if key.type in ("FLAG", "WORD") or "|" in key.range:
        told["enum"] = list(dict.fromkeys(["", *key.choices(), *([key.standard] if key.standard else [])]))
    elif key.type == "TEXT":
        if key.range:
            told["maxLength"] = int(key.range.removeprefix(".."))
    else:
        form = number_form(key) if key.type == "NUMBER" else FORMS[key.type]
        is_other = key.standard and not re.fullmatch(form, key.standard)
        told["pattern"] = f"^(?:{form}|{re.escape(key.standard)})?$" if is_other else f"^(?:{form})?$"
    return told


def settings(keys):
    patterns = {f"^{key.pattern()}$".replace("\\-", "-"): value_schema(key) for key in keys if "%" in key.key}
    return {"title": "settings of time_check: an object of texts, such as cfm list --json prints",
            "type": "object",
            "properties": {key.key: value_schema(key) for key in keys if "%" not in key.key},
            "patternProperties": patterns,
            "additionalProperties": {"type": "string", "description": "a key of another program"}}


# ---- what tcctl prints ----


def text(about="", **more):
    return {"type": "string", **({"description": about} if about else {}), **more}


def number(about="", least=0):
    return {"type": "integer", **({"minimum": least} if least is not None else {}),
            **({"description": about} if about else {})}


def listed(what, about=""):
    return {"type": "array", "items": what, **({"description": about} if about else {})}


def members(_about="", _optional=(), **of):
    """An object that has these and no others; those in _optional may be missing."""
    return {"type": "object", **({"description": _about} if _about else {}), "additionalProperties": False,
            "required": [name for name in of if name not in _optional], "properties": of}


MOMENT = text("ISO 8601 with the offset to UTC",
              pattern=r"^[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}(Z|[+-][0-9]{2}:[0-9]{2})$")
VERSION = {"const": 1}


def check(root):
    rows = list(config_keys.rows((root / "tools/tcctl/findings.def").read_text(encoding="utf-8")))
    ids = [row[0].replace("_", "-") for macro, row in rows if macro == "FINDING"]
    return listed(members(
        id=text("the kind of finding, which stays the same", enum=ids), severity=text(enum=["error", "warning", "note"]),
        file=text("\"\": the running store"), line=number("0: the running store"), key=text("\"\": about no key"),
        value=text("a secret's is ***"), message=text("what is wrong"), effect=text("what the daemon does with it"),
        suggestion=text("what was probably meant; \"\": that cannot be told")))


def key_table():
    unit = {"unit": text("a module, or linux: the ground on plain Linux")}
    return listed(members(
        key=text("%d and %u stand for a number from 1, %s for a name"),
        type=text(enum=sorted(each.lower() for each in config_keys.TYPES)), range=text(), standard=text("what a missing key counts as"),
        kind=text(enum=sorted(each.lower() for each in config_keys.KINDS)), writers=text(), after=text("messages, or KEY=VALUE"),
        meaning=text(), traps=listed(text()), reads=listed(members(**unit, when=text(), missing=text(), meaning=text())),
        writes=listed(members(**unit, meaning=text()))))


def events(words, verdicts):
    act = members(sequence=number("its place in the journal"), act=text("as docs/journal.md has it"), at=MOMENT, last=MOMENT,
                  times=number(least=1), failed={"type": "boolean"})
    change = members(event=text(enum=words["EVENT"]), subject=text("a band, a program"), value=text())
    details = members(_optional=("count", "target", "next", "after"), uptime=number("seconds", None), changes=listed(change),
                      acts=listed(act), count=number(), target=number(), next=MOMENT, after=text("what led to a restart"))
    reasons = sorted({verdict.name for module in verdicts for verdict in module.verdicts} | {"", "at_start", "by_message"})
    common = {"version": VERSION, "at": MOMENT, "module": text(enum=[*words["events MODULE"], "debug"])}
    reason = text("a verdict, as docs/verdicts.md names it", enum=reasons)
    return {"description": "one line", "oneOf": [
        members(**common, event=text(enum=words["EVENT"]), reason=reason, text=text(), details=details),
        members("with --raw", **common, event={"const": "act"}, reason=reason, text=text(), details=act)]}


def preview():
    track = text(enum=["wifi", "led", "sleep", "guest", "restart"])
    kinds = ["on_and_off", "two_restarts", "no_restart", "never_opens", "unseen_period", "unread_period"]
    return members(
        version=VERSION, **{"from": MOMENT}, to=MOMENT,
        acts=listed(members(at=MOMENT, track=track, act=text(), module=text(), verdict=text(), reason=text())),
        spans=listed(members(track=track, state=text(), **{"from": MOMENT}, to=MOMENT), "cut to the preview"),
        surprises=listed(members(at=MOMENT, kind=text(enum=kinds), text=text())),
        clock_changes=listed(members(at=MOMENT, by=number("seconds", None))))


def replay():
    return members(version=VERSION, acts=listed(members(
        _optional=("module", "verdict", "why"), act=text("as docs/journal.md has it"), module=text("who did it"), verdict=text(),
        why=text("the verdict's sentence"))), ends=text("the last moment"),
                   runs={"type": "boolean", "description": "false: the daemon has ended by itself"})


def fleet():
    peak = members(at=MOMENT, count=number())
    series = listed(number())
    host = members(total=number(), peak_second=peak, a_second=series)
    hosts = members(total=number(), peak_second=peak, hosts={"type": "object", "additionalProperties": host})
    return members(
        version=VERSION, profile=listed(text(), "its lines"), seed=number(), night=text(pattern="^[0-9]{4}-[0-9]{2}-[0-9]{2}$"),
        routers=number("of the whole fleet", 1), zone=text(), begin=MOMENT, begin_seconds=number("since 1970", None),
        done=listed({"type": "array", "items": number(least=1), "minItems": 2, "maxItems": 2}, "first and last of the routers"),
        restarted=number("routers that did at least once"),
        restarts=members(total=number(), peak_minute=peak, peak_second=peak, a_minute=series, a_second=series),
        name_queries=hosts, echo_requests=hosts)


def files(words, keys, root):
    """{path: text}. words: those that the describing tcctl knows."""
    verdicts = verdicts_to_docs.modules(root / "platform/verdicts")
    outputs = {"check --json": check(root), "keys --json": key_table(), "events --json": events(words, verdicts),
               "preview --format json": preview(), "replay --json": replay(), "fleet --format json": fleet()}
    found = {"docs/schema/settings.json": settings(keys)}
    for call, schema in outputs.items():
        found[f"docs/schema/tcctl-{call.split(' ')[0]}.json"] = {"title": "tcctl " + call, **schema}
    return {path: json.dumps({"$schema": DRAFT, **schema}, indent=2) + "\n" for path, schema in found.items()}
