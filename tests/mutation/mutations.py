# SPDX-License-Identifier: Apache-2.0
"""The possible changes of a source: small faults that a programmer could have made.

A source is read as tokens and brackets, not as C++: changes that make no sense do not compile and are
skipped. A change keeps the number of lines, because log lines contain line numbers.
"""
import re
import string
from dataclasses import dataclass

KINDS = ("delete a statement", "negate a condition", "change a constant", "swap two arguments")
DELETE, NEGATE, CONSTANT, SWAP = KINDS

_TOKEN = re.compile(
    r"""(?P<space>\s+|//[^\n]*|/\*.*?\*/)
      | (?P<directive>\#(?:\\\n|[^\n])*)
      | (?P<raw>(?:u8|[uUL])?R"(?P<mark>[^()\\\s]*)\(.*?\)(?P=mark)")
      | (?P<string>(?:u8|[uUL])?"(?:\\.|[^"\\\n])*")
      | (?P<char>(?:u8|[uUL])?'(?:\\.|[^'\\\n])+')
      | (?P<number>\d(?:'?[\w.])*)
      | (?P<word>[A-Za-z_]\w*)
      | (?P<sign>::|->|\+\+|--|<<=|>>=|<=>|[-+*/%&|^=!<>]=|&&|\|\||<<|>>|\.\.\.|.)""",
    re.VERBOSE | re.DOTALL)

_CLOSING = {"(": ")", "[": "]", "{": "}"}
_HEADS = {"if", "while", "for", "switch"}
_NO_CALLS = _HEADS | {"return", "sizeof", "catch", "alignof", "decltype", "static_assert", "noexcept",
                      "alignas", "operator", "else", "case"}
_NO_TYPES = {"return", "throw", "delete", "new", "goto", "else", "case", "break", "continue"}
_KEPT = {"using", "static_assert", "typedef", "struct", "class", "enum", "case", "default"}
_OPPOSITES = {"==": "!=", "!=": "==", "<": ">=", ">=": "<", ">": "<=", "<=": ">", "&&": "||", "||": "&&"}
_BEFORE_CONDITION = {"=", "(", "[", "{", ",", ";", "?", ":", "return", "+=", "|=", "&="}


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int
    end: int


@dataclass(frozen=True)
class Site:
    """A place in a source, and the kind of change to make there."""
    path: str
    kind: str
    start: int
    end: int
    data: tuple = ()


@dataclass(frozen=True)
class Mutant:
    path: str
    kind: str
    line: int
    text: str  # of the whole source


def _tokens(text):
    at_line_start = True
    position = 0
    tokens = []
    while position < len(text):
        match = _TOKEN.match(text, position)
        kind = match.lastgroup if match.lastgroup != "mark" else "raw"
        if kind == "directive" and not at_line_start:  # inside a macro's arguments
            kind = "sign"
        if kind not in ("space", "directive"):
            tokens.append(Token(kind, match.group(), match.start(), match.end()))
        at_line_start = kind == "space" and (at_line_start or "\n" in match.group()) or kind == "directive"
        position = match.end()
    return tokens


class Source:
    """A source's tokens, its matching brackets, and which braces contain statements."""

    def __init__(self, path, text):
        self.path, self.text = path, text
        self.tokens = _tokens(text)
        self.partner = {}
        self.parent = {}  # of each token: the enclosing bracket, or None
        self.body = set()  # braces of functions, lambdas and blocks
        stack = []
        for i, token in enumerate(self.tokens):
            if token.kind == "sign" and token.text in _CLOSING.values() and stack:
                opened = stack.pop()
                self.partner[opened], self.partner[i] = i, opened
            self.parent[i] = stack[-1] if stack else None
            if token.kind == "sign" and token.text in _CLOSING:
                if token.text == "{" and self._holds_statements(i):
                    self.body.add(i)
                stack.append(i)

    def word(self, i):
        return self.tokens[i].text if 0 <= i < len(self.tokens) else ""

    def _head(self, i):
        """The tokens before the brace `i`, back to the end of the previous statement or block."""
        first = i
        while first > 0 and self.word(first - 1) not in (";", "{", "}"):
            first -= 1
        return [token.text for token in self.tokens[first:i]]

    def _holds_statements(self, i):
        before, head, outer = self.word(i - 1), self._head(i), self.parent[i]
        if before in ("else", "do", "try"):
            return True
        if not head or (before == ":" and outer in self.body):
            return outer in self.body
        if before == ")":
            return True
        if before == "]":
            opened = self.partner[i - 1]
            return not (self.tokens[opened - 1].kind == "word" and self.word(opened - 1) not in _NO_TYPES
                        or self.word(opened - 1) in (")", "]"))
        if {"namespace", "class", "struct", "union", "enum"} & set(head):
            return False
        if before in ("const", "noexcept", "override", "mutable", "final"):
            return ")" in head
        return "->" in head and "=" not in head[head.index("->"):] and ")" in head[:head.index("->")]

    def in_body(self, i):
        while i is not None and i not in self.body:
            i = self.parent[i]
        return i is not None

    def between(self, first, last):
        """The text from the token `first` to `last`, inclusive."""
        return self.text[self.tokens[first].start:self.tokens[last].end]

    def line(self, position):
        return self.text.count("\n", 0, position) + 1

    def site(self, kind, first, last, data=()):
        return Site(self.path, kind, self.tokens[first].start, self.tokens[last].end, data)


# --- statements ---------------------------------------------------------------

def _declared_name(source, first, last):
    """The name that a statement declares, or None if it is not a declaration."""
    depth = 0
    for i in range(first, last + 1):
        text = source.word(i)
        if text in _CLOSING:
            depth += 1
        elif text in _CLOSING.values():
            depth -= 1
        if depth or i == first or source.tokens[i].kind != "word":
            continue
        if source.word(i + 1) not in ("=", "(", "{", ";", "["):
            continue
        before = source.tokens[i - 1]
        if before.kind == "word" and before.text not in _NO_TYPES:
            return text
        if before.text in ("*", "&", ">") and i - 1 > first:
            return text
    return None


def _is_used_after(source, name, last):
    end = source.partner.get(source.parent[last], len(source.tokens))
    return any(source.word(i) == name for i in range(last + 1, end))


def _statements(source):
    start = {}  # of the statement that is being read, by the brace that it stands in
    for i, token in enumerate(source.tokens):
        outer = source.parent[i]
        if i in source.body:
            start[i] = i + 1
        if outer not in source.body:
            continue
        if token.text == ";":
            if start[outer] < i:
                yield start[outer], i
            start[outer] = i + 1
        elif token.text == "}" and source.partner.get(i) in source.body:
            following = source.tokens[i + 1] if i + 1 < len(source.tokens) else token
            if following.kind == "word" or following.text in ("}", "*", "++", "--"):
                start[outer] = i + 1
        elif token.text == ")" and i in source.partner:
            head = source.word(source.partner[i] - 1)
            if head in _HEADS or head == "constexpr":
                start[outer] = i + 1
        elif token.text in ("else", "do"):
            start[outer] = i + 1
        elif token.text == ":" and source.word(start[outer]) in ("case", "default"):
            start[outer] = i + 1


def _deletions(source):
    for first, last in _statements(source):
        name = _declared_name(source, first, last)
        if source.word(first) in _KEPT or (name is not None and _is_used_after(source, name, last)):
            continue
        yield source.site(DELETE, first, last)


# --- conditions ---------------------------------------------------------------

def _parts(source, opened, separator):
    """The ranges of tokens inside a bracket, split at the separator."""
    parts, first = [], opened + 1
    for i in range(opened + 1, source.partner[opened] + 1):
        closed = i == source.partner[opened]
        if closed or (source.parent[i] == opened and source.word(i) == separator):
            parts.append((first, i - 1))
            first = i + 1
    return parts


def _head_condition(source, i):
    """The condition of the if, while or for at `i`, or None."""
    opened = i + 1 + (source.word(i + 1) == "constexpr")
    if source.word(opened) != "(" or opened not in source.partner:
        return None
    parts = _parts(source, opened, ";")
    if source.word(i) == "for":
        condition = parts[1] if len(parts) == 3 else None
    else:
        condition = parts[-1]
    if condition is None or condition[0] > condition[1]:
        return None
    declares = any(source.parent[k] == opened and source.word(k) == "=" for k in range(condition[0], condition[1] + 1))
    return None if declares else condition


def _ternary_condition(source, i):
    """The condition before the question mark at `i`."""
    first = i
    while first > 0:
        before = first - 1
        if source.parent[before] != source.parent[i] and before not in source.partner:
            break
        if source.word(before) in _CLOSING.values():
            first = source.partner.get(before, before)
            continue
        if source.word(before) in _BEFORE_CONDITION:
            break
        first = before
    return (first, i - 1) if first < i else None


def _is_binary(source, i):
    token = source.tokens[i]
    return source.text[token.start - 1].isspace() and source.text[token.end].isspace()


def _negations(source):
    for i, token in enumerate(source.tokens):
        if not source.in_body(i):
            continue
        condition = None
        if token.text in ("if", "while", "for"):
            condition = _head_condition(source, i)
        elif token.text == "?":
            condition = _ternary_condition(source, i)
        elif token.kind == "sign" and token.text in _OPPOSITES and _is_binary(source, i):
            yield source.site(NEGATE, i, i, (_OPPOSITES[token.text],))
        if condition is not None:
            yield source.site(NEGATE, *condition)


# --- constants ----------------------------------------------------------------

def _constants(source):
    for i, token in enumerate(source.tokens):
        if source.word(i - 1) in ("extern", "static_assert", "[[") or source.word(i - 2) == "static_assert":
            continue
        if token.kind in ("number", "string", "char") or token.text in ("true", "false"):
            yield source.site(CONSTANT, i, i, (token.kind,))


def _another_number(text, rng):
    match = re.fullmatch(r"(0[xX])?([0-9a-fA-F']+?)([uUlLzZ]*)", text)
    if not match or (match[1] is None and not re.fullmatch(r"[0-9']+", match[2])):
        return None
    octal = match[1] is None and len(match[2]) > 1 and match[2].startswith("0")
    value = int(match[2].replace("'", ""), 16 if match[1] else 8 if octal else 10)
    others = {value + 1, value ^ (1 << rng.randrange(max(value.bit_length(), 1))), abs(value - 1)} - {value}
    other = rng.choice(sorted(others))
    digits = f"0x{other:x}" if match[1] else f"0{other:o}" if octal and other else str(other)
    return digits + match[3]


def _another_character(old, rng):
    """A different letter or digit, not just in the other case."""
    choices = [c for c in string.ascii_letters + string.digits if c.lower() != old.lower()]
    return rng.choice(choices)


def _another_text(text, quote, rng):
    body_start = text.index(quote) + 1
    body = text[body_start:-1]
    plain = [match.start() for match in re.finditer(r"\\(?:x[0-9a-fA-F]+|[0-7]{1,3}|.)|.", body)
             if match.group()[0] != "\\"]
    if not plain:
        return text[:body_start] + "x" + text[-1] if quote == "'" or not body else None
    at = rng.choice(plain)
    return text[:body_start + at] + _another_character(body[at], rng) + text[body_start + at + 1:]


def _another_constant(text, kind, rng):
    if kind == "word":
        return "false" if text == "true" else "true"
    if kind == "number":
        return _another_number(text, rng)
    return _another_text(text, '"' if kind == "string" else "'", rng)


# --- arguments ----------------------------------------------------------------

def _swaps(source):
    for i, token in enumerate(source.tokens):
        if token.text != "(" or i not in source.partner or not source.in_body(i):
            continue
        called = source.tokens[i - 1]
        if not (called.kind == "word" and called.text not in _NO_CALLS or called.text == ">"):
            continue
        arguments = [part for part in _parts(source, i, ",") if part[0] <= part[1]]
        for (a, b), (c, d) in zip(arguments, arguments[1:]):
            if source.between(a, b) != source.between(c, d):
                middle = source.text[source.tokens[b].end:source.tokens[c].start]
                yield source.site(SWAP, a, d, (source.between(c, d) + middle + source.between(a, b),))


# --- all of them --------------------------------------------------------------

def sites(path, text):
    """Every possible site in a source, by kind."""
    source = Source(path, text)
    return {DELETE: list(_deletions(source)), NEGATE: list(_negations(source)),
            CONSTANT: list(_constants(source)), SWAP: list(_swaps(source))}


def mutate(site, text, rng):
    """The mutant for a site, or None."""
    old = text[site.start:site.end]
    if site.kind == DELETE:
        new = "{}" + "\n" * old.count("\n")  # of a semicolon behind an if the compiler warns
    elif site.kind == NEGATE:
        new = site.data[0] if site.data else f"!({old})"
    elif site.kind == CONSTANT:
        new = _another_constant(old, site.data[0], rng)
    else:
        new = site.data[0]
    if new is None or new == old:
        return None
    return Mutant(site.path, site.kind, text.count("\n", 0, site.start) + 1, text[:site.start] + new + text[site.end:])
