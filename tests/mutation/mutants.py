"""Mutants of C++ sources: one small change each, of the kind that people make by mistake.

Works on lines as clang-format leaves them: binary operators stand between blanks, and the brackets
of templates do not.
"""
import re
from dataclasses import dataclass

# (name, what is looked for, what stands there instead)
EXCHANGES = [
    ("relational", r" < ", " <= "), ("relational", r" <= ", " < "),
    ("relational", r" > ", " >= "), ("relational", r" >= ", " > "),
    ("relational", r" == ", " != "), ("relational", r" != ", " == "),
    ("arithmetic", r" \+ ", " - "), ("arithmetic", r" - ", " + "),
    ("arithmetic", r" \+= ", " -= "), ("arithmetic", r" -= ", " += "),
    ("logical", r" && ", " || "), ("logical", r" \|\| ", " && "),
    ("constant", r"\btrue\b", "false"), ("constant", r"\bfalse\b", "true"),
    ("negated", r"\b(if|while) \((?P<c>[^;{]*)\)(?= [\w{(]|$)", None),
]
NUMBER = re.compile(r"(?<![\w.'\"])(0x[0-9a-fA-F]+|\d+)(?![\w.'])")
CALL = re.compile(r"^\s+(?!return|delete|throw|using|static_assert|case|default)"
                  r"[\w.:\[\]>-]+(?<!\w )\([^{}]*\);$")
ASSIGNMENT = re.compile(r"^\s+[\w.\[\]*>-]+(\(\))? [-+|&^]?= [^{}]*;$|^\s+(\+\+|--)[\w.>-]+;$")
JUMP = re.compile(r"^\s+(return|continue|break);$")
GUARD = re.compile(r"^\s+if \(.*\) (return|continue|break)\b.*;$")


@dataclass(frozen=True)
class Mutant:
    file: str
    line: int  # from 1
    column: int
    kind: str
    before: str
    after: str

    def text(self):
        return f"{self.file}:{self.line}:{self.column} {self.kind}: {self.before.strip()}" \
               f"  ->  {self.after.strip()}"


def code_of(line):
    """The line with what is not code blotted out, column for column."""
    blot = lambda found: "\x01" * len(found.group())
    line = re.sub(r'"(\\.|[^"\\])*"', blot, line)
    line = re.sub(r"(?<![0-9a-fA-F])'(\\.|[^'\\])+'", blot, line)
    return re.sub(r"//.*$", blot, line)


def is_left_alone(line):
    code = line.strip()
    return not code or code.startswith(("#", "static_assert", "using ", "template", "namespace",
                                        "VEK_LOG", "//", "friend ", "[[", "case "))


def mutants_of_line(file, number, line):
    code = code_of(line)
    for kind, pattern, instead in EXCHANGES:
        for found in re.finditer(pattern, code):
            changed = instead
            if kind == "negated":  # of the line itself, with what was blotted out
                inner = line[found.start("c"):found.end("c")]
                changed = found.group().split("(")[0] + f"(!({inner}))"
            yield Mutant(file, number, found.start() + 1, kind, line,
                         line[:found.start()] + changed + line[found.end():])
    for found in NUMBER.finditer(code):
        value = int(found.group(), 0)
        for other in (value + 1, value - 1):
            if other < 0:
                continue
            text = hex(other) if found.group().startswith("0x") else str(other)
            yield Mutant(file, number, found.start() + 1, "constant", line,
                         line[:found.start()] + text + line[found.end():])
    for pattern in (CALL, ASSIGNMENT, JUMP, GUARD):
        if pattern.match(code):
            indent = len(line) - len(line.lstrip())
            yield Mutant(file, number, indent + 1, "removed", line, line[:indent] + ";")


def mutants_of(root, file):
    lines = (root / file).read_text().split("\n")
    found = []
    for index, line in enumerate(lines):
        starts_here = index == 0 or re.search(r"[;{}:]\s*$|^\s*$|^\s*//|^#", code_of(
            lines[index - 1]).replace("\x01", "")) is not None
        if is_left_alone(line):
            continue
        for mutant in mutants_of_line(file, index + 1, line):
            # Half of a statement cannot go.
            if mutant.kind != "removed" or starts_here:
                found.append(mutant)
    return found


def written(root, mutant):
    lines = (root / mutant.file).read_text().split("\n")
    lines[mutant.line - 1] = mutant.after
    return "\n".join(lines)
