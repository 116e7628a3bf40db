#!/usr/bin/env python3
# Copyright 2026 The libkelp authors
# SPDX-License-Identifier: Apache-2.0
"""Writes docs/API.md from the comments of include/kelp.h, as doxygen reads them:

    api_page.py            writes the page
    api_page.py --check    fails when the page is not what it would write

Declarations stand in the page as in the header. A comment belongs to all declarations that follow it
without a blank line; one that has no comment at all is an error, and so is an exported symbol that
the header does not declare.
"""

import os
import re
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as tree

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")
HEADER, PAGE = os.path.join(ROOT, "include", "kelp.h"), os.path.join(ROOT, "docs", "API.md")
EXPORTS = os.path.join(ROOT, "cmake", "exported_symbols.txt")
DOXYFILE = """
INPUT = {header}
OUTPUT_DIRECTORY = {output}
GENERATE_HTML = NO
GENERATE_LATEX = NO
GENERATE_XML = YES
XML_PROGRAMLISTING = NO
OPTIMIZE_OUTPUT_FOR_C = YES
TYPEDEF_HIDES_STRUCT = YES
EXTRACT_ALL = YES
EXTRACT_STATIC = YES
EXPAND_ONLY_PREDEF = YES
MACRO_EXPANSION = YES
PREDEFINED = KELP_API= __GNUC__
EXCLUDE_SYMBOLS = KELP_API KELP_H
AUTOLINK_SUPPORT = NO
WARN_AS_ERROR = FAIL_ON_WARNINGS
QUIET = YES
"""
HEAD = """# The interface

<!-- Made from include/kelp.h by tools/docs/api_page.py: change the header, not this page. -->

"""


def fail(what):
    sys.exit(f"api_page.py: {what}")


def read_doxygen():
    """The header's own record, and those of its structs."""
    with tempfile.TemporaryDirectory() as folder:
        settings = DOXYFILE.format(header=HEADER, output=folder)
        if subprocess.run(["doxygen", "-"], input=settings, text=True, check=False).returncode:
            fail("doxygen finds fault with the comments, see above")
        records = [tree.parse(os.path.join(folder, "xml", name)).find("compounddef")
                   for name in sorted(os.listdir(os.path.join(folder, "xml")))
                   if name.startswith("struct") or name == "kelp_8h.xml"]
    return ([r for r in records if r.get("kind") == "file"][0],
            [r for r in records if r.get("kind") == "struct"])


class Item:
    """A function, variable, macro, type or constant of the header."""

    def __init__(self, node, lines):
        place = node.find("location")
        self.name = node.findtext("name") or node.findtext("compoundname")
        self.kind = node.get("kind")
        self.line = int(place.get("line"))
        self.text = node.find("detaileddescription")
        self.described = bool("".join(self.text.itertext()).strip())
        self.parts = node.findall("enumvalue") + node.findall("sectiondef/memberdef")
        self.last = self.line  # of the declaration
        while self.kind != "define" and not re.search(r"[;{]", lines[self.last - 1]):
            self.last += 1
        code = " ".join(line.strip() for line in lines[self.line - 1:self.last])
        code = re.sub(r"/\*.*?\*/|\bKELP_API ", "", code).strip()
        self.code = re.sub(r" *\{$", ";", code) if self.kind == "function" else code
        self.trailing = "/**<" in lines[self.last - 1]


class Writer:
    """Doxygen's descriptions as Markdown; names of the interface become links."""

    def __init__(self, names):
        self.names = re.compile(r"(?<![\w`*/])(%s)(?![\w*])" % "|".join(names))
        self.own = set()  # names that are at home here and need no link

    def link(self, name):
        return f"`{name}`" if name in self.own else f"[`{name}`](#{name})"

    def words(self, text):
        text = re.sub(r"\s+", " ", text or "").replace("|", "\\|").replace("<", "&lt;")
        return self.names.sub(lambda found: self.link(found[1]), text)

    def inline(self, node):
        """The text of a node that holds no blocks."""
        text = self.words(node.text)
        for part in node:
            if part.tag == "computeroutput":
                code = "".join(part.itertext())
                text += self.link(code) if self.names.fullmatch(code) else f"`{code}`"
            elif part.tag == "para":
                text += self.inline(part)
            else:
                fail(f"no rule for <{part.tag}>")
            text += self.words(part.tail)
        return text.strip()

    def blocks(self, node):
        """The paragraphs, lists, tables and code of a description."""
        found, running = [], tree.Element("para")

        def close():
            nonlocal running
            text = self.inline(running)
            if text:
                found.append(text)
            running = tree.Element("para")

        for para in node.iter("para") if node.tag == "detaileddescription" else [node]:
            if para not in node and para is not node:
                continue
            running.text = para.text
            for part in para:
                if part.tag == "computeroutput":
                    running.append(part)
                    continue
                close()
                found.append(self.block(part))
                running.text = part.tail
            close()
        return [text for text in found if text]

    def block(self, part):
        if part.tag == "verbatim":
            language = "c" if ";" in part.text else ""
            return f"```{language}\n{part.text.rstrip()}\n```"
        if part.tag == "itemizedlist":
            return "\n".join("- " + self.inline(item.find("para")) for item in part)
        if part.tag == "simplesect":
            return "Returns " + "\n\n".join(self.blocks(part.find("para")))
        if part.tag == "parameterlist":
            rows = [(row.findtext("parameternamelist/parametername"),
                     self.inline(row.find("parameterdescription/para"))) for row in part]
            if part.get("kind") == "param":
                return self.table("argument", "", [(f"`{n}`", text) for n, text in rows])
            return self.table("returns", "", [(self.words(n), text) for n, text in rows])
        return fail(f"no rule for <{part.tag}>")

    @staticmethod
    def table(left, right, rows):
        return "\n".join([f"| {left} | {right} |", "| --- | --- |"] +
                         [f"| {a} | {b} |" for a, b in rows])


def groups_of(items):
    """Items under one comment, or with a comment behind each, as far as no blank line parts them."""
    groups = []
    for item in items:
        before = groups[-1][-1] if groups else None
        joined = before and item.line == before.last + 1 and before.kind == item.kind
        if joined and before.trailing == item.trailing and (item.trailing or not item.described):
            groups[-1].append(item)
        elif item.described:
            groups.append([item])
        else:
            fail(f"include/kelp.h:{item.line}: {item.name} is not described")
    return groups


def entry(group, writer, lines):
    """The blocks of one group."""
    head = group[0]
    names = [item.name for item in group if item.name[0] != "@"]  # @: an enum without a name
    writer.own = set(names)
    if head.trailing:
        rows = [(f'<a id="{item.name}"></a>`{item.code.removeprefix("extern ").rstrip(";")}`',
                 " ".join(writer.blocks(item.text))) for item in group]
        return ["### Variables", writer.table("", "", rows)]
    blocks = ["### " + (", ".join(f"`{name}`" for name in names) or "Sizes")]
    if names:
        blocks.append("".join(f'<a id="{name}"></a>' for name in names))
    if head.kind not in ("enum", "struct"):
        blocks.append("```c\n%s\n```" % "\n".join(item.code for item in group))
        return blocks + writer.blocks(head.text)
    rows = []
    for part in head.parts:
        name, text = part.findtext("name"), " ".join(writer.blocks(part.find("detaileddescription")))
        if not text:
            fail(f"{head.name}: {name} is not described")
        if head.kind == "enum":
            value = part.findtext("initializer").lstrip("= ")
            rows.append((f'<a id="{name}"></a>`{name}` = {value}', text))
        else:
            rows.append((f"`{Item(part, lines).code.rstrip(';')}`", text))
    return blocks + writer.blocks(head.text) + [writer.table("", "", rows)]


def sections_of(lines):
    """First line, last line and title of each part of the header, with the text that opens it."""
    starts = [(0, "Version")] + [(n + 1, match[1]) for n, line in enumerate(lines)
                                 if (match := re.match(r"/\* -+ (.*?) -+ \*/$", line))]
    for (start, title), (end, _) in zip(starts, starts[1:] + [(len(lines) + 1, "")]):
        opening = re.match(r"/\* (.*?)\*/", "\n".join(lines[start:end]), re.DOTALL)
        yield start, end, title, opening and opening[1].replace("\n *", " ").strip()


def make_page():
    with open(HEADER, encoding="utf-8") as file:
        lines = file.read().splitlines()
    header, structs = read_doxygen()
    struct_names = {record.findtext("compoundname") for record in structs}
    items = [Item(node, lines) for node in header.findall("sectiondef/memberdef") + structs
             if node.get("kind") != "typedef" or node.findtext("name") not in struct_names]
    items.sort(key=lambda item: item.line)
    names = [item.name for item in items if item.name[0] != "@"]
    with open(EXPORTS, encoding="utf-8") as file:
        absent = set(file.read().split()) - set(names)
    if absent:
        fail(f"exported but not in the header: {' '.join(sorted(absent))}")
    names += [part.findtext("name") for item in items if item.kind == "enum" for part in item.parts]
    writer = Writer(sorted(names, key=len, reverse=True))

    # "Delay. The encoder looks ..": the first words name what the paragraph is about.
    blocks = [re.sub(r"^([A-Z][a-z]+(?: [a-z]+)?)\. ", r"**\1.** ", block)
              for block in writer.blocks(header.find("detaileddescription"))]
    groups = groups_of(items)
    for start, end, title, opening in sections_of(lines):
        blocks.append(f"## {title}")
        if opening:
            blocks.append(opening)
        for group in groups:
            if start < group[0].line < end:
                blocks += entry(group, writer, lines)
    return HEAD + "\n\n".join(blocks) + "\n"


def main():
    page = make_page()
    if sys.argv[1:] == ["--check"]:
        with open(PAGE, encoding="utf-8") as file:
            if file.read() != page:
                fail("docs/API.md is not what the header says; run tools/docs/api_page.py")
    elif sys.argv[1:]:
        sys.exit(__doc__)
    else:
        with open(PAGE, "w", encoding="utf-8") as file:
            file.write(page)


if __name__ == "__main__":
    main()
