#!/usr/bin/env python3
"""The interface of the library, from the comments of its header.

usage: api_reference.py --man VERSION HEADER > tkmjpg.3
       api_reference.py --html HEADER > a part of a page
"""
import html
import re
import sys

LIST_ITEM = re.compile(r"^  ([a-z]\w*(?:, [a-z]\w*)*) {2,}(\S.*)$")


def comment_lines(comment):
    lines = comment.strip()[2:-2].split("\n")
    return [re.sub(r"^ \* ?", "", line).rstrip() for line in lines]


def blocks(comment):
    """("text", string), ("item", name, string) and ("code", string), in order."""
    result = []
    for line in comment_lines(comment):
        item = LIST_ITEM.match(line)
        last = result[-1] if result else ("end",)
        if not line.strip():
            result.append(("end",))
        elif item:
            result.append(("item", item[1], item[2]))
        elif line.startswith("    ") and last[0] == "item":
            result[-1] = ("item", last[1], last[2] + " " + line.strip())
        elif line.startswith("  "):
            if last[0] == "code":
                result[-1] = ("code", last[1] + "\n" + line)
            else:
                result.append(("code", line))
        elif last[0] == "text":
            result[-1] = ("text", last[1] + " " + line.strip())
        else:
            result.append(("text", line.strip()))
    return [block for block in result if block[0] != "end"]


def without_bodies(code):
    """Inline functions as if they were only declared."""
    return re.sub(r"^(static inline [^{]*?)\s*\{\n.*?^\}", r"\1;", code, flags=re.M | re.S)


def declaration_after(code, end):
    """What is declared right after a comment; empty if the comment stands alone."""
    rest = code[end:]
    if not rest.startswith("\n") or rest.startswith(("\n\n", "\n#if")):
        return ""
    if rest.startswith("\n#define"):
        lines = re.match(r"\n((?:#define[^\n]*(?:\\\n[^\n]*)*\n)+)", rest)
        return lines[1].rstrip()
    stop = re.search(r";\n", re.sub(r"\{.*?\}", lambda m: "x" * len(m[0]), rest, flags=re.S))
    return rest[1:stop.end()].strip() if stop else ""


def sections(code):
    """(blocks of the comment, declaration), in the order of the header."""
    code = without_bodies(code)
    for match in re.finditer(r"^/\*.*?\*/", code, flags=re.M | re.S):
        yield blocks(match[0]), declaration_after(code, match.end())


def name_of(declaration):
    function = re.search(r"(\w+)\(", declaration)
    if function and not declaration.startswith(("enum", "typedef", "#define")):
        return function[1]
    return re.search(r"(?:enum|struct|#define) (\w+)", declaration)[1]


def clean(declaration):
    declaration = re.sub(r"TKMJPG_API |TKMJPG_DRIVER_CALL ", "", declaration)
    return re.sub(r"^ {8,}", "    ", declaration, flags=re.M)


def roff(text):
    text = text.replace("\\", "\\e").replace("-", "\\-")
    return re.sub(r"^([.'])", r"\\&\1", text, flags=re.M)


def man(code, version):
    out = [f'.TH TKMJPG 3 "" "tkmjpg {version}" "Library calls"', ".SH NAME",
           "tkmjpg \\- raw video frames to Motion\\-JPEG and back", ".SH SYNOPSIS", ".nf",
           "#include <tkmjpg.h>", ".PP", "cc ... $(pkg\\-config \\-\\-cflags \\-\\-libs tkmjpg)", ".fi"]
    for number, (comment, declaration) in enumerate(sections(code)):
        if number == 0:
            out.append(".SH DESCRIPTION")
        elif declaration:
            out.append(f".SH {name_of(declaration)}")
        if declaration:
            out += [".nf", roff(clean(declaration)), ".fi"]
        for block in comment:
            if block[0] == "text":
                out += [".PP", roff(block[1])]
            elif block[0] == "item":
                out += [".TP", f"\\fI{block[1]}\\fR", roff(block[2])]
            else:
                out += [".PP", ".nf", roff(block[1]), ".fi"]
    out += [".SH SEE ALSO", ".BR tkmjpg (1)"]
    return "\n".join(out) + "\n"


def prose(text):
    return re.sub(r"`(\w+)`", r"<code>\1</code>", html.escape(text))


def page(code):
    out = []
    for comment, declaration in sections(code):
        if declaration:
            name = name_of(declaration)
            out.append(f'<h3 id="{name}">{name}</h3>\n<pre>{html.escape(clean(declaration))}</pre>')
        items = False
        for block in comment:
            if items and block[0] != "item":
                out.append("</dl>")
            if block[0] == "item":
                out.append("" if items else "<dl>")
                out.append(f"<dt>{block[1]}</dt><dd>{prose(block[2])}</dd>")
            else:
                is_text = block[0] == "text"
                out.append(f"<p>{prose(block[1])}</p>" if is_text
                           else f"<pre>{html.escape(block[1])}</pre>")
            items = block[0] == "item"
        out.append("</dl>" if items else "")
    return "\n".join(line for line in out if line) + "\n"


def main(arguments):
    if len(arguments) == 3 and arguments[0] == "--man":
        sys.stdout.write(man(open(arguments[2], encoding="ascii").read(), arguments[1]))
    elif len(arguments) == 2 and arguments[0] == "--html":
        sys.stdout.write(page(open(arguments[1], encoding="ascii").read()))
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    main(sys.argv[1:])
