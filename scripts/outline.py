"""The outline of a C++ file: its functions with their lines, its classes with their public functions.

Reads text, not a compiler's tree: enough for counting, and quick.
"""

import re
from typing import NamedTuple

WORDS = (
    r'//[^\n]*|/\*.*?\*/'  # comments
    r'|R"(?P<mark>\w*)\(.*?\)(?P=mark)"|"(?:[^"\\\n]|\\.)*"|\'(?:[^\'\\\n]|\\.)+\'')  # literals
DIRECTIVES = r'|^[ \t]*#(?:[^\n\\]|\\.)*'
QUALIFIER = r"(?:const|noexcept(?:\s*\(.*\))?|override|final|mutable|&&?|->.*|requires\b.*|VX_\w+\s*(?:\([^()]*\))?)"
FUNCTION = re.compile(rf"\)\s*(?:{QUALIFIER}\s*)*$", re.S)
CLASS = re.compile(r"(?:\[\[.*?\]\]\s*)?(?:class|struct|union)\b")
INITIALISERS = re.compile(r"\)[^;{}]*?(?<!:):(?!:)")


class Function(NamedTuple):
    name: str
    line: int
    lines: int


class Class(NamedTuple):
    name: str
    line: int
    public_functions: int


def without_comments_and_literals(text, directives=False):
    """The same text with blanks in place of what is no code; every line stays where it is. directives: whether the
    preprocessor's lines count as code."""
    token = re.compile(WORDS if directives else WORDS + DIRECTIVES, re.S | re.M)
    return token.sub(lambda match: re.sub(r"[^\n]", " ", match.group(0)), text)


def without_angles(text):
    """Without template arguments, which may hold anything."""
    while True:
        shorter = re.sub(r"<[^<>]*>", " ", text)
        if shorter == text:
            return text
        text = shorter


def name_of_class(head):
    head = re.sub(r"\b(?:VX_\w+|alignas)\s*(?:\([^()]*\))?|\bfinal\b|\[\[.*?\]\]", " ", without_angles(head))
    words = re.findall(r"[\w:]+", re.split(r"(?<!:):(?!:)", head)[0])
    return words[-1] if len(words) > 1 else ""


def name_of_function(head):
    """The name that stands before the parameters; None when the declaration is no function."""
    head = re.sub(r"\bVX_\w+\s*(?:\([^()]*\))?|\[\[.*?\]\]", " ", head).strip()
    if re.match(r"(?:using|typedef|friend|static_assert)\b", head):
        return None
    if match := re.search(r"\boperator\s*(?:\(\s*\)|[^\s(]+|\s\w+)\s*\(", head):
        return re.sub(r"\s*\($", "", match.group(0))
    head = without_angles(head)
    match = re.search(r"(~?\w+)\s*\(", head.split("=")[0])
    return match.group(1) if match else None


class Scope:
    def __init__(self, kind, name="", line=0):
        self.kind, self.name, self.line = kind, name, line
        self.access = "public" if kind == "struct" else "private"
        self.public_functions = 0


class Outline:
    """functions and classes of one file."""

    def __init__(self, text):
        self.functions, self.classes = [], []
        self.code = without_comments_and_literals(text)
        self.scopes = [Scope("namespace")]
        self.read()

    def line_of(self, position):
        return self.code.count("\n", 0, position) + 1

    def end_of_braces(self, position):
        depth = 0
        for match in re.finditer(r"[{}]", self.code[position:]):
            depth += 1 if match.group(0) == "{" else -1
            if depth == 0:
                return position + match.start()
        return len(self.code) - 1

    def read(self):
        position = start = parentheses = 0
        while position < len(self.code):
            character = self.code[position]
            if character in "()":
                parentheses = max(0, parentheses + (1 if character == "(" else -1))
            elif character == "{":
                position, start = self.open(start, position, parentheses)
            elif character == ";" and parentheses == 0:
                self.declare(self.head(start, position))
                start = position + 1
            elif character == "}":
                self.close()
                start, parentheses = position + 1, 0
            position += 1

    def head(self, start, end):
        """The declaration between two places, without the access labels before it."""
        text = self.code[start:end].strip()
        while match := re.match(r"(public|protected|private)\s*:(?!:)\s*", text):
            self.scopes[-1].access = match.group(1)
            text = text[match.end():]
        text = re.sub(r"^template\s*(?=<)", "", text)
        if text.startswith("<"):
            depth = 0
            for index, character in enumerate(text):
                depth += {"<": 1, ">": -1}.get(character, 0)
                if depth == 0:
                    return re.sub(r"^requires\s+\S+\s+", "", text[index + 1:].strip())
        return text

    def open(self, start, brace, parentheses):
        """At an opening brace: where to read on, and where the present declaration begins."""
        head = self.head(start, brace)
        if parentheses == 0 and (re.match(r"(?:inline\s+)?namespace\b", head) or head == "extern"):
            self.scopes.append(Scope("namespace"))
            return brace, brace + 1
        if parentheses == 0 and CLASS.match(head) and not FUNCTION.search(head):
            kind = "struct" if not re.match(r"(?:\[\[.*?\]\]\s*)?class\b", head) else "class"
            self.scopes.append(Scope(kind, name_of_class(head), self.line_of(brace)))
            return brace, brace + 1
        end = self.end_of_braces(brace)
        if parentheses == 0 and self.is_body(head):
            self.define(head, start, end)
            return end, end + 1
        return end, start  # a value in braces: the declaration goes on

    @staticmethod
    def is_body(head):
        if "(" not in head or re.search(r"=\s*$", head):
            return False
        return bool(FUNCTION.search(head)) or bool(INITIALISERS.search(head) and not re.search(r"[\w>]$", head))

    def define(self, head, start, end):
        begin = start + len(self.code[start:end]) - len(self.code[start:end].lstrip())
        first, last = self.line_of(begin), self.line_of(end)
        self.functions.append(Function(name_of_function(head) or "?", first, last - first + 1))
        self.declare(head)

    def declare(self, head):
        scope = self.scopes[-1]
        if scope.kind == "namespace" or scope.access != "public":
            return
        name = name_of_function(head)
        special = name in (None, scope.name, "~" + scope.name) or re.search(r"=\s*(?:delete|default)$", head)
        scope.public_functions += not special

    def close(self):
        if len(self.scopes) > 1:
            scope = self.scopes.pop()
            if scope.kind != "namespace":
                self.classes.append(Class(scope.name, scope.line, scope.public_functions))
