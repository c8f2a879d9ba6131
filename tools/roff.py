"""Text of man pages (the macros of man(7)), and the documents' Markdown as such text."""

import re
import textwrap

WIDTH = 110
KEPT_BLANK = "\x01"  # a blank at which no line ends


def plain(text):
    """A text as it is to be read."""
    return text.replace("\\", "\\e").replace("-", "\\-")


def bold(text):
    return f"\\fB{plain(text)}\\fR"


def italic(text):
    return f"\\fI{plain(text)}\\fR"


def lines(text):
    """A paragraph, broken into lines of which none is taken for a request."""
    wrapped = textwrap.wrap(" ".join(text.split()), WIDTH, break_long_words=False, break_on_hyphens=False)
    return "".join(("\\&" if line[0] in ".'" else "") + line.replace(KEPT_BLANK, " ") + "\n" for line in wrapped)


def sentence(text):
    """What a help text says, with a capital letter and a full stop. A unit, such as kB, stays as it is."""
    whole = text if text[1:2].isupper() else text[:1].upper() + text[1:]
    return whole if whole.endswith((".", "?")) else whole + "."


# ---- Markdown ----


def inline(text):
    """`code` and **weight** are bold, a link is its text."""
    text = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", text)
    parts = re.split(r"(`[^`]*`|\*\*[^*]*\*\*)", text)
    return "".join(bold(part.strip("`*").replace(" ", KEPT_BLANK)) if part[:1] == "`" or part[:2] == "**" else plain(part)
                   for part in parts)


def cells(row):
    return [cell.strip().replace("\\|", "|") for cell in re.split(r"(?<!\\)\|", row.strip().strip("|"))]


def table(rows):
    """An item a row: its first cell, and below it the others; from the third on with their column's head."""
    heads = cells(rows[0])
    text = ""
    for row in rows[2:]:
        first, *others = cells(row)
        said = [inline(others[0])] + [f"{inline(sentence(head)[:-1])}: {inline(cell)}"
                                      for head, cell in zip(heads[2:], others[1:]) if cell]
        text += ".TP 8\n" + lines(inline(first)) + lines(sentence(". ".join(part.rstrip(".") for part in said if part)) or "\\&")
    return text


def block(text):
    """A paragraph, list, table or example."""
    rows = text.split("\n")
    if rows[0].startswith("```"):
        example = "".join(("\\&" if row[:1] in (".", "'") else "") + plain(row) + "\n" for row in rows[1:-1])
        return f".PP\n.RS 4\n.nf\n{example}.fi\n.RE\n"
    if rows[0].startswith("|"):
        return table(rows)
    if rows[0].startswith("- "):
        items = re.split(r"^- ", text, flags=re.MULTILINE)[1:]
        return "".join(".IP \\(bu 2\n" + lines(inline(item)) for item in items)
    return ".PP\n" + lines(inline(text))


def blocks(text):
    """What blank lines part; an example may hold some."""
    found = re.findall(r"```.*?^```|(?:(?!```).+\n?)+", text, re.DOTALL | re.MULTILINE)
    return [each.strip("\n") for part in found
            for each in ([part] if part.startswith("```") else re.split(r"\n\s*\n", part)) if each.strip()]


def sections(markdown):
    """A page's body: everything below its title."""
    text = ""
    for part in re.split(r"^(?=## )", markdown, flags=re.MULTILINE):
        head, _, body = part.partition("\n")
        if head.startswith("## "):
            text += f".SH {plain(head[3:]).upper()}\n"
        body = re.sub(r"^<!--.*?-->\n", "", body, flags=re.MULTILINE)
        text += "".join(map(block, blocks(body))).removeprefix(".PP\n" if head.startswith("## ") else "")
    return text


def section(markdown, title):
    """The body of one section alone, whatever its level."""
    found = re.search(rf"^#+ {re.escape(title)}\n(.*?)(?=^#|\Z)", markdown, re.DOTALL | re.MULTILINE)
    if found is None:
        raise ValueError(f"no section {title}")
    return "".join(map(block, blocks(found[1])))
