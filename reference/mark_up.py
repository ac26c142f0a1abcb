#!/usr/bin/python3
"""mark_up.py HEADER: the public header as Doxygen wants it. The header itself is written for the reader of the header.

A section of it becomes a group, which is a page of the manual; the comment before a declaration describes it; further
declarations up to the next blank line or comment are its siblings and refer to it. In a comment, indented "name  text"
lines are arguments, a paragraph that begins with "Returns" is the result, and deeper indented lines stay as they are.
"""

import re
import sys

SECTION = re.compile(r"^/\* -{4} (.*?) -{4,} \*/\n", re.M)
ARGUMENT = re.compile(r" {2}(\w[\w, ]*?) {2,}(\S.*)$")


def page_of(title):
    table = re.search(r"the table (\w+)$", title)
    short = re.sub(r"\b(the|and|of|in|one) ", "", title, flags=re.I).replace("BitTorrent", "BT")
    name = table.group(1) if table else short
    return "korvo_" + re.sub(r"\W+", "_", name.lower())


def comment_lines(text):
    lines = text.removeprefix("/*").removesuffix("*/").split("\n")
    return [lines[0].strip()] + [re.sub(r"^ \* ?", "", line).rstrip() for line in lines[1:]]


def escaped(text):
    """Doxygen leaves what stands in double quotes alone."""
    parts = re.split(r'("[^"]*")', text)
    return "".join(part if part.startswith('"') else re.sub(r"[\\@#%<>&$]", r"\\\g<0>", part) for part in parts)


def marked_up(lines):
    """A comment's lines with Doxygen's commands. What stands between two paragraphs may be arguments or a table."""
    out, within = [], ""
    for line in lines:
        table = line.startswith(" " * 5) and within in ("", "table") or within == "table" and not line
        if table != (within == "table"):
            out.append("<pre>" if table else "</pre>")
        argument = ARGUMENT.match(line)
        if table:
            out.append(escaped(line))
            within = "table"
        elif argument:
            out.append(f"- \\b {argument.group(1)} &ndash; {escaped(argument.group(2))}")
            within = "argument"
        elif within == "argument" and line.startswith(" "):
            out.append(escaped(line))
        else:
            out += [""] if within == "argument" else []
            out.append(escaped(re.sub(r"^ (\d\. )", r"\1", line)))
            within = "text" if line else ""
    text = "\n".join(out + (["</pre>"] if within == "table" else [])).strip("\n")
    return re.sub(r"^Returns?\s+", r"\\return ", text, flags=re.M)


def doc(text):
    return f"/** {text}\n */"


def tokens(text):
    """Comments that begin a line, and code up to the next one of these or the next blank line."""
    pattern = re.compile(r"^/\*.*?\*/\n|^\n|(?:^(?!/\*)[^\n]+\n)+", re.M | re.S)
    return [match.group(0) for match in pattern.finditer(text)]


def declarations(code):
    """Those of a block of code, each on a line of its own."""
    return re.sub(r"\n\s+", " ", code).splitlines()


def with_own_comments(code):
    """Fields or macros, each with words behind it."""
    return re.sub(r"/\* +(.*) \*/$", lambda comment: f"/**< {escaped(comment.group(1))} */", code, flags=re.M)


def section(title, body):
    """Its group. What describes no declaration describes the group."""
    about, out, described, comment = [], [], None, None
    for token in tokens(body) + ["\n"]:
        if comment and (token.startswith("/*") or token == "\n"):
            about.append(marked_up(comment))
            comment = None
        if token.startswith("/*"):
            comment = comment_lines(token.rstrip("\n"))
        elif token == "\n":
            described = None
        elif token.startswith("typedef struct"):
            out += [doc(marked_up(comment)), with_own_comments(token)]
            comment = None
        elif token.startswith("#define") and "/*" in token:  # several, each with words of its own
            name, _, rest = " ".join(comment).partition(". ")
            out.append(doc(f"@name {escaped(name.rstrip('.'))}\n{escaped(rest)}"))
            out += ["/**@{*/", with_own_comments(token), "/**@}*/"]
            comment = None
        else:
            for declaration in declarations(token):
                name = re.search(r"(\w+)\)?\(|#define (\w+)|(\w+);", declaration)
                name = next(group for group in name.groups() if group)
                if comment:
                    out.append(doc(marked_up(comment)))
                    described, comment = name + ("" if declaration.startswith("#") else "()"), None
                elif described:
                    out.append(doc(f"Described with {described}."))
                else:
                    sys.exit(f"mark_up.py: {name} is not documented")
                out.append(declaration)
    group = [f"\\defgroup {page_of(title)} {escaped(title)}", "\\ingroup korvo_bt", *about, "\\{"]
    return "\n".join([doc("\n\n".join(group)), *out, doc("\\}")])


def main():
    with open(sys.argv[1], encoding="utf-8") as header:
        text = re.sub(r" ?KORVO_BT_(PRINTF\([\d, ]*\)|API\b) ?", "", header.read())
    preamble, *sections = SECTION.split(text[:text.rindex("#ifdef __cplusplus")])
    title, _, *conventions = comment_lines(preamble[:preamble.index("*/") + 2])[1:]
    title = title.partition(" - ")[2].rstrip(".")
    print(doc("\\file"))
    print(doc(f"\\mainpage {title}\nThe \\ref korvo_bt \"conventions\" and, below them, the functions by family."))
    print(doc(f"\\defgroup korvo_bt {title}\n{marked_up(conventions)}"))
    print("#include <stdint.h>")
    for heading, body in zip(sections[::2], sections[1::2]):
        print(section(heading, body))


main()
