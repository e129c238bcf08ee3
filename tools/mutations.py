"""Generates the mutants of a C++ source file: each changes one operator, constant or statement.

Requires the project's format: a space on both sides of a binary operator, one statement per line.
"""

import re
from dataclasses import dataclass

SWAPPED = {
    "+": "-", "-": "+", "*": "/", "/": "*", "%": "/",
    "==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">",
    "&&": "||", "||": "&&", "&": "|", "|": "&", "<<": ">>", ">>": "<<",
    "+=": "-=", "-=": "+=", "|=": "&=", "&=": "|=",
}
RENAMED = {"true": "false", "false": "true", "std::min": "std::max", "std::max": "std::min"}

HIDDEN = re.compile(
    r"""(?P<string>"(?:\\.|[^"\\\n])*")|'(?:\\.|[^'\\\n])+'|//[^\n]*|/\*.*?\*/|^[ ]*\#[^\n]*""",
    re.VERBOSE | re.MULTILINE | re.DOTALL,
)
BINARY = re.compile(r"(?<= )(?:" + "|".join(re.escape(sign) for sign in SWAPPED) + r")(?=[ \n])")
STEP = re.compile(r"\+\+|--")
NOT = re.compile(r"!(?=[\w(])")
MINUS = re.compile(r"(?<=[(\[{])-(?=\w)|(?<=[=,?:(] )-(?=\w)|(?<=return )-(?=\w)")
NAME = re.compile(r"(?<![\w:])(?:" + "|".join(RENAMED) + r")\b")
NUMBER = re.compile(r"(?<![\w.])(?P<digits>0x[0-9A-Fa-f]+|\d+)(?P<suffix>[UL]*)(?![\w.])")
CONDITION = re.compile(r"\bif \(")
# Negating a condition of this form gives the same mutant as swapping its == or !=, or removing its !.
SIMPLE_CONDITION = re.compile(r"\((?:[^&|]* [=!]= [^&|]*|!\w[^&|]*)\)$")
STATEMENT = re.compile(r"(?<=[;{}:)]\n)(?P<indent>(?:    )+)(?=[\w*(+-])")
INNER_STATEMENT = re.compile(r"\{ (?P<statement>[^{};]+;) \}")

# Matches the start of a statement that cannot be removed: control flow, a declaration, a returned value.
KEPT = re.compile(
    r"(?:[^;]*= (?:delete|default);|return\b(?!;)|(?:if|for|while|switch|do|else|case|default|using|namespace|constexpr"
    r"|const|static|inline|auto|class|struct|enum|template|friend|extern|explicit|virtual|public|private|protected)\b"
    r"|(?!throw )[\w:<>, ]+[*&]* [*&]?\w+(?: =|\{|\(|;|\[))"
)


@dataclass(frozen=True)
class Mutation:
    """Replaces `source[start:end]` with `text`."""

    start: int
    end: int
    text: str

    def applied_to(self, source):
        return source[: self.start] + self.text + source[self.end :]


def _visible(source):
    """Overwrites comments, directives and the contents of literals. The offsets in the source stay the same."""

    def blanked(match):
        text = match.group()
        inside = re.sub(r"[^\n]", " ", text)
        return f'"{"s" * (len(text) - 2)}"' if match.group("string") else inside

    return HIDDEN.sub(blanked, source)


def _closing(code, opening):
    """Returns the offset of the bracket that closes the bracket at `opening`."""
    depth = 0
    for place in range(opening, len(code)):
        depth += {"(": 1, "{": 1, "[": 1, ")": -1, "}": -1, "]": -1}.get(code[place], 0)
        if depth == 0:
            return place
    raise ValueError("a bracket is not closed")


def _statement_end(code, start):
    """Returns the offset after the semicolon of the statement at `start`; None if its block closes first."""
    place = start
    while code[place] != ";":
        if code[place] in "([{":
            place = _closing(code, place)
        elif code[place] in ")]}":
            return None
        place += 1
    return place + 1


def _increased(match):
    digits = match.group("digits")
    if digits.startswith("0x"):
        return f"0x{int(digits, 16) + 1:0{len(digits) - 2}X}" + match.group("suffix")
    return str(int(digits) + 1) + match.group("suffix")


def _operators(code):
    for match in BINARY.finditer(code):
        yield Mutation(match.start(), match.end(), SWAPPED[match.group()])
    for match in STEP.finditer(code):
        yield Mutation(match.start(), match.end(), "--" if match.group() == "++" else "++")
    for pattern in (NOT, MINUS):
        for match in pattern.finditer(code):
            yield Mutation(match.start(), match.end(), "")


def _constants(code):
    for match in NAME.finditer(code):
        yield Mutation(match.start(), match.end(), RENAMED[match.group()])
    for match in NUMBER.finditer(code):
        yield Mutation(match.start(), match.end(), _increased(match))
    for match in re.finditer(r'"s+"', code):
        yield Mutation(match.start(), match.end(), '""')


def _conditions(source, code):
    for match in CONDITION.finditer(code):
        opening = match.end() - 1
        end = _closing(code, opening) + 1
        if not SIMPLE_CONDITION.match(code[opening:end]):
            yield Mutation(opening, end, f"(!{source[opening:end]})")


def _statements(code):
    for match in STATEMENT.finditer(code):
        end = _statement_end(code, match.end())
        if end is not None and not KEPT.match(code, match.end()):
            yield Mutation(match.end(), end, ";")
    for match in INNER_STATEMENT.finditer(code):
        if not KEPT.match(code, match.start("statement")):
            yield Mutation(match.start("statement"), match.end("statement"), ";")


def mutations_of(source):
    """Returns all mutations, sorted by offset."""
    code = _visible(source)
    found = {*_operators(code), *_constants(code), *_conditions(source, code), *_statements(code)}
    return sorted(found, key=lambda mutation: (mutation.start, mutation.end, mutation.text))
