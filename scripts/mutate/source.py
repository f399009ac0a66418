"""The mutants of one source file, and the file instrumented with them.

An expression becomes `(mutant ? mutated : original)`, a statement is led by a test, so that one
compilation serves all mutants. The mutated text holds its operands as they stand in the source;
only the original text is instrumented further, since one mutant is on at a time.

What has to be a constant expression is left alone, and so is what a macro expands to; a call of a
log macro can only be deleted as a whole.
"""

import re
from dataclasses import dataclass, field

from clang.cindex import CursorKind as Kind
from clang.cindex import Diagnostic, Index, LinkageKind, TypeKind

COMPARISONS = {
    "==": ["!="],
    "!=": ["=="],
    "<": ["<=", ">="],
    "<=": ["<", ">"],
    ">": [">=", "<="],
    ">=": [">", "<"],
}
ARITHMETIC = {"+": ["-"], "-": ["+"], "*": ["/"], "/": ["*"], "%": ["*"]}
BITS = {"&": ["|"], "|": ["&"], "^": ["&"], "<<": [">>"], ">>": ["<<"]}
ASSIGNMENTS = {"+=": "-=", "-=": "+=", "*=": "+=", "/=": "*=", "&=": "|=", "|=": "&=", "^=": "&=",
               "<<=": ">>=", ">>=": "<<="}

FUNCTIONS = {Kind.FUNCTION_DECL, Kind.CXX_METHOD, Kind.CONSTRUCTOR, Kind.DESTRUCTOR,
             Kind.CONVERSION_FUNCTION, Kind.FUNCTION_TEMPLATE}
SCOPES = {Kind.NAMESPACE, Kind.CLASS_DECL, Kind.STRUCT_DECL, Kind.CLASS_TEMPLATE,
          Kind.LINKAGE_SPEC, Kind.UNEXPOSED_DECL}
NOT_ENTERED = {Kind.STATIC_ASSERT, Kind.TYPE_REF, Kind.TEMPLATE_REF, Kind.NAMESPACE_REF,
               Kind.DECL_REF_EXPR, Kind.MEMBER_REF, Kind.CXX_UNARY_EXPR, Kind.PARM_DECL,
               Kind.TYPE_ALIAS_DECL, Kind.TYPEDEF_DECL, Kind.STRUCT_DECL, Kind.CLASS_DECL}
TRANSPARENT = {Kind.UNEXPOSED_EXPR, Kind.PAREN_EXPR}
DELETED_STATEMENTS = {Kind.CALL_EXPR, Kind.BINARY_OPERATOR, Kind.COMPOUND_ASSIGNMENT_OPERATOR,
                      Kind.UNARY_OPERATOR, Kind.CXX_DELETE_EXPR, Kind.CONDITIONAL_OPERATOR}
NOTHING = {"0", "false", "nullptr", "{}"}
JUMPS = {Kind.BREAK_STMT, Kind.CONTINUE_STMT}

MACRO_CALL = re.compile(r"[A-Z][A-Z0-9_]+\s*\(")
NOISE = re.compile(r'("(?:\\.|[^"\\])*"|\'(?:\\.|[^\'\\])*\')|//[^\n]*|/\*.*?\*/', re.DOTALL)
FAILURE = re.compile(r"-[0-9]+")
INTEGER = re.compile(r"(?:0[xX][0-9a-fA-F']+|[0-9][0-9']*)[uUlL]*$")


@dataclass
class Mutant:
    file: str  # below the project's root
    line: int
    function: str
    source: str  # the line's text
    before: str
    after: str
    area: str = ""
    number: int = -1
    occurrence: int = 1  # of the same change in lines of the same text in the function

    @property
    def key(self):
        return (self.file, self.function, self.source, self.before, self.after, self.occurrence)

    @property
    def change(self):
        again = "" if self.occurrence == 1 else f" ({self.occurrence})"
        return f"`{self.before}` -> `{self.after}`{again}"


@dataclass
class Site:
    start: int
    end: int
    mutants: list = field(default_factory=list)  # (Mutant, the mutated text), outermost first
    statement: bool = False


class SourceError(Exception):
    pass


def plain(text):
    """One line, without comments, so that it can be written twice."""
    return " ".join(NOISE.sub(lambda match: match.group(1) or " ", text).split())


def skip_balanced(text, start):
    """The end of the bracket that opens at `start`."""
    depth = 0
    position = start
    while position < len(text):
        noise = NOISE.match(text, position)
        if noise:
            position = noise.end()
            continue
        if text[position] in "([{":
            depth += 1
        elif text[position] in ")]}":
            depth -= 1
            if depth == 0:
                return position + 1
        position += 1
    raise SourceError("a bracket stays open")


class Finder:
    """Collects the sites of one file."""

    def __init__(self, root, name, arguments):
        self.name = name
        self.path = str(root / name)
        self.result_kind = TypeKind.INVALID
        self.is_internal = False
        self.bytes = (root / name).read_bytes()
        if not self.bytes.isascii():
            raise SourceError(f"{name}: offsets are those of ASCII text")
        self.text = self.bytes.decode()
        self.lines = self.text.splitlines()
        self.sites = {}
        self.function = ""
        self.lambdas = 0
        unit = Index.create().parse(self.path, args=arguments)
        errors = [d for d in unit.diagnostics if d.severity >= Diagnostic.Error]
        if errors:
            raise SourceError(f"{name}: {errors[0]}")
        self.walk_declarations(unit.cursor)

    # ---- Places in the text ----

    def extent(self, cursor):
        return cursor.extent.start.offset, cursor.extent.end.offset

    def slice(self, cursor):
        start, end = self.extent(cursor)
        return self.text[start:end]

    def is_macro_call(self, cursor):
        return MACRO_CALL.match(self.text, self.extent(cursor)[0]) is not None

    def behind_semicolon(self, end):
        """The place behind the semicolon that follows, or None."""
        rest = self.text[end:]
        length = len(rest) - len(rest.lstrip())
        return end + length + 1 if rest[length:length + 1] == ";" else None

    def add(self, start, end, before, afters, statement=False):
        line = self.text.count("\n", 0, start) + 1
        site = self.sites.setdefault((start, end), Site(start, end, statement=statement))
        if site.statement != statement:
            return
        for label, mutated in afters:
            mutant = Mutant(self.name, line, self.function, self.lines[line - 1].strip(),
                            plain(before), label)
            site.mutants.append((mutant, mutated))

    def replace(self, cursor, afters):
        start, end = self.extent(cursor)
        before = self.text[start:end]
        self.add(start, end, before, [(plain(after), plain(after)) for after in afters])

    # ---- Declarations ----

    def walk_declarations(self, cursor):
        for child in cursor.get_children():
            location = child.location.file
            if location is None or location.name != self.path:
                continue
            if child.kind in FUNCTIONS:
                self.walk_function(child)
            elif child.kind in SCOPES:
                self.walk_declarations(child)

    def walk_function(self, cursor):
        body = [c for c in cursor.get_children() if c.kind == Kind.COMPOUND_STMT]
        if not body:
            return
        head = self.text[cursor.extent.start.offset:body[-1].extent.start.offset]
        if re.search(r"\b(constexpr|consteval)\b", head):
            return
        parent = cursor.semantic_parent
        of_class = parent is not None and parent.kind in {
            Kind.CLASS_DECL, Kind.STRUCT_DECL, Kind.CLASS_TEMPLATE}
        self.function = f"{parent.spelling}::{cursor.spelling}" if of_class else cursor.spelling
        self.result_kind = cursor.result_type.get_canonical().kind
        self.is_internal = cursor.linkage in {LinkageKind.INTERNAL, LinkageKind.UNIQUE_EXTERNAL}
        self.walk(body[-1])

    # ---- Statements ----

    def walk(self, cursor):
        if cursor.kind in NOT_ENTERED:
            return
        handler = {
            Kind.COMPOUND_STMT: self.walk_compound,
            Kind.IF_STMT: self.walk_if,
            Kind.WHILE_STMT: self.walk_loop,
            Kind.DO_STMT: self.walk_do,
            Kind.FOR_STMT: self.walk_body_last,
            Kind.CXX_FOR_RANGE_STMT: self.walk_range_for,
            Kind.CASE_STMT: self.walk_case,
            Kind.DEFAULT_STMT: self.walk_body_last,
            Kind.RETURN_STMT: self.walk_return,
            Kind.VAR_DECL: self.walk_variable,
            Kind.LAMBDA_EXPR: self.walk_lambda,
            Kind.BINARY_OPERATOR: self.walk_binary,
            Kind.COMPOUND_ASSIGNMENT_OPERATOR: self.walk_compound_assignment,
            Kind.UNARY_OPERATOR: self.walk_unary,
            Kind.CALL_EXPR: self.walk_call,
            Kind.CONDITIONAL_OPERATOR: self.walk_conditional,
            Kind.INTEGER_LITERAL: self.walk_integer,
            Kind.CXX_BOOL_LITERAL_EXPR: self.walk_bool,
        }.get(cursor.kind, self.walk_children)
        handler(cursor)

    def walk_children(self, cursor):
        for child in cursor.get_children():
            self.walk(child)

    def walk_statement(self, cursor):
        """A statement that stands as one, so that it may be deleted."""
        start, end = self.extent(cursor)
        if self.is_macro_call(cursor):
            opening = self.text.index("(", start)
            end = self.behind_semicolon(skip_balanced(self.text, opening))
            if end is not None:
                self.delete(start, end)
            return
        bare = cursor
        while bare.kind == Kind.UNEXPOSED_EXPR:
            children = list(bare.get_children())
            if len(children) != 1:
                break
            bare = children[0]
        void_return = cursor.kind == Kind.RETURN_STMT and not list(cursor.get_children())
        if bare.kind in DELETED_STATEMENTS or cursor.kind in JUMPS or void_return:
            behind = self.behind_semicolon(end)
            if behind is not None:
                self.delete(start, behind)
        self.walk(cursor)

    def delete(self, start, end):
        self.add(start, end, self.text[start:end], [("", None)], statement=True)

    def walk_compound(self, cursor):
        for child in cursor.get_children():
            self.walk_statement(child)

    def walk_body_last(self, cursor):
        children = list(cursor.get_children())
        for child in children[:-1]:
            self.walk(child)
        if children:
            self.walk_statement(children[-1])

    def walk_range_for(self, cursor):
        children = list(cursor.get_children())
        for child in children[:-1]:
            self.walk(child)
        self.walk_statement(children[-1])

    def walk_case(self, cursor):
        for child in list(cursor.get_children())[1:]:
            self.walk_statement(child)

    def walk_if(self, cursor):
        start, end = self.extent(cursor)
        constant = re.match(r"if\s+constexpr\b", self.text[start:end]) is not None
        has_else = self.has_else(cursor)
        children = list(cursor.get_children())
        branches = children[-2:] if has_else else children[-1:]
        heads = children[:-len(branches)]
        if not constant:
            declares = any(h.kind in {Kind.DECL_STMT, Kind.VAR_DECL} for h in heads)
            if heads and not declares:
                self.negate_condition(heads[-1])
            for head in heads:
                self.walk(head)
        for branch in branches:
            self.walk_statement(branch)

    def has_else(self, cursor):
        children = list(cursor.get_children())
        if len(children) < 3:
            return False
        between = self.text[self.extent(children[-2])[1]:self.extent(children[-1])[0]]
        return re.search(r"\belse\b", between) is not None

    def walk_loop(self, cursor):
        children = list(cursor.get_children())
        if len(children) == 2:
            self.negate_condition(children[0])
        for child in children[:-1]:
            self.walk(child)
        self.walk_statement(children[-1])

    def walk_do(self, cursor):
        body, condition = cursor.get_children()
        self.negate_condition(condition)
        self.walk(condition)
        self.walk_statement(body)

    def walk_conditional(self, cursor):
        children = list(cursor.get_children())
        if children:
            self.negate_condition(children[0])
        self.walk_children(cursor)

    def walk_return(self, cursor):
        children = list(cursor.get_children())
        if len(children) == 1 and not self.lambdas:
            self.replace_result(cursor, children[0])
        # Inside a file a failure is told from 0, whatever its number.
        if self.is_internal and children and FAILURE.fullmatch(plain(self.slice(children[0]))):
            return
        self.walk_children(cursor)

    def replace_result(self, cursor, value):
        text = plain(self.slice(value))
        if text in NOTHING or text == "true" or self.is_first_enumerator(value):
            return
        if self.result_kind == TypeKind.BOOL:
            self.negate_condition(value)
            return
        start, end = self.extent(cursor)
        behind = self.behind_semicolon(end)
        if behind is not None:
            self.add(start, behind, self.text[start:behind], [("return {};", "return {};")],
                     statement=True)

    def is_first_enumerator(self, cursor):
        while cursor.kind in TRANSPARENT and len(list(cursor.get_children())) == 1:
            cursor = next(cursor.get_children())
        if cursor.kind == Kind.INIT_LIST_EXPR:
            return all(self.is_first_enumerator(c) or plain(self.slice(c)) in NOTHING
                       for c in cursor.get_children())
        constant = cursor.referenced if cursor.kind == Kind.DECL_REF_EXPR else None
        return (constant is not None and constant.kind == Kind.ENUM_CONSTANT_DECL
                and constant.enum_value == 0)

    def walk_variable(self, cursor):
        start, end = self.extent(cursor)
        named = cursor.location.offset + len(cursor.spelling)
        if re.search(r"\b(constexpr|static)\b", self.text[start:named]):
            return
        # What stands between the brackets of an array is a constant.
        while self.text[named:named + 1] == "[":
            named = skip_balanced(self.text, named)
        for child in cursor.get_children():
            if self.extent(child)[0] >= named:
                self.walk(child)

    def walk_lambda(self, cursor):
        self.lambdas += 1
        for child in cursor.get_children():
            if child.kind == Kind.COMPOUND_STMT:
                self.walk(child)
        self.lambdas -= 1

    # ---- Expressions ----

    def negate_condition(self, cursor):
        """Negates a condition that no other mutant turns round."""
        bare = cursor
        while bare.kind in TRANSPARENT:
            children = list(bare.get_children())
            if len(children) != 1:
                break
            bare = children[0]
        if self.is_macro_call(cursor) or bare.kind in {
                Kind.BINARY_OPERATOR, Kind.CXX_BOOL_LITERAL_EXPR, Kind.INTEGER_LITERAL,
                Kind.CONDITIONAL_OPERATOR}:
            return
        text = plain(self.slice(bare))
        if text.startswith("!") or self.overloaded_operator(bare) is not None or not text:
            return
        start, end = self.extent(bare)
        self.add(start, end, self.text[start:end], [(f"!({text})", f"!({text})")])

    def walk_binary(self, cursor):
        children = list(cursor.get_children())
        if len(children) == 2 and not self.is_macro_call(cursor):
            self.swap_operator(cursor, children[0], children[1])
        self.walk_children(cursor)

    def swap_operator(self, cursor, left, right):
        between = self.text[self.extent(left)[1]:self.extent(right)[0]]
        operator = plain(between)
        a, b = plain(self.slice(left)), plain(self.slice(right))
        if operator in {"&&", "||"}:
            other = "||" if operator == "&&" else "&&"
            self.replace(cursor, [f"({a}) {other} ({b})", f"({a})", f"({b})"])
            self.short_labels(cursor, [f"{a} {other} {b}", a, b])
            return
        of_pointers = all(
            c.type.get_canonical().kind == TypeKind.POINTER for c in (left, right))
        for table in (COMPARISONS, ARITHMETIC, BITS):
            if operator in table and not (of_pointers and table is ARITHMETIC):
                self.replace(cursor, [f"({a}) {other} ({b})" for other in table[operator]])
                self.short_labels(cursor, [f"{a} {other} {b}" for other in table[operator]])

    def short_labels(self, cursor, labels):
        site = self.sites[self.extent(cursor)]
        for (mutant, _), label in zip(site.mutants[-len(labels):], labels):
            mutant.after = label

    def walk_compound_assignment(self, cursor):
        left, right = cursor.get_children()
        operator = plain(self.text[self.extent(left)[1]:self.extent(right)[0]])
        if operator in ASSIGNMENTS:
            a, b = plain(self.slice(left)), plain(self.slice(right))
            self.replace(cursor, [f"({a}) {ASSIGNMENTS[operator]} ({b})"])
            self.short_labels(cursor, [f"{a} {ASSIGNMENTS[operator]} {b}"])
        self.walk_children(cursor)

    def walk_unary(self, cursor):
        operand = next(cursor.get_children(), None)
        if operand is None or self.is_macro_call(cursor):
            return
        text, inner = plain(self.slice(cursor)), plain(self.slice(operand))
        if text.startswith("++") or text.startswith("--"):
            self.replace(cursor, [("--" if text[0] == "+" else "++") + inner])
        elif text[-2:] in {"++", "--"} and self.extent(operand)[0] == self.extent(cursor)[0]:
            self.replace(cursor, [inner + ("--" if text[-1] == "+" else "++")])
        elif text[0] in "!-~":
            self.replace(cursor, [inner])
            if text[0] == "-" and INTEGER.match(inner):
                return  # another number is enough
        self.walk(operand)

    def overloaded_operator(self, cursor):
        """The two operands of a call that is written as an operator, or None."""
        if cursor.kind != Kind.CALL_EXPR or not cursor.spelling.startswith("operator"):
            return None
        operands = [c for c in cursor.get_children() if c.spelling != cursor.spelling]
        operator = cursor.spelling[len("operator"):]
        if len(operands) != 2 or operator not in COMPARISONS:
            return None
        between = plain(self.text[self.extent(operands[0])[1]:self.extent(operands[1])[0]])
        return operands if between in COMPARISONS else None

    def walk_call(self, cursor):
        operands = self.overloaded_operator(cursor)
        if operands is not None:
            self.swap_operator(cursor, *operands)
        if not self.is_macro_call(cursor):
            self.walk_children(cursor)

    def walk_integer(self, cursor):
        start = self.extent(cursor)[0]
        token = re.compile(r"[0-9][0-9a-zA-Z']*").match(self.text, start)
        if token is None or not INTEGER.match(token.group()):
            return  # a character, or what a macro stands for
        end = token.end()
        literal = token.group()
        one_more = str(int(literal) + 1) if literal.isdigit() else f"{literal} + 1"
        self.add(start, end, literal, [(one_more, one_more)])

    def walk_bool(self, cursor):
        text = plain(self.slice(cursor))
        if text in {"true", "false"}:
            self.replace(cursor, ["false" if text == "true" else "true"])


def find_sites(root, name, arguments):
    """The sites of a file, outermost and first ones first, without those that overlap others."""
    finder = Finder(root, name, arguments)
    sites = []
    for site in sorted(finder.sites.values(), key=lambda s: (s.start, -s.end)):
        outer = next((s for s in reversed(sites) if s.end > site.start), None)
        if outer is None or site.end <= outer.end:
            sites.append(site)
    seen = {}
    for site in sites:
        for mutant, _ in site.mutants:
            key = mutant.key
            seen[key] = seen.get(key, 0) + 1
            mutant.occurrence = seen[key]
    return finder.text, sites


def instrument(name, text, sites):
    """The file's text with its mutants; line numbers stay."""
    out, _ = render(text, 0, len(text), sites, 0)
    return f'#include "mutation_switch.h"\n#line 1 "{name}"\n{out}'


def render(text, start, end, sites, index):
    """The text of a stretch with the sites from `index` on that lie in it; and the next site."""
    parts = []
    position = start
    while index < len(sites) and sites[index].start < end:
        site = sites[index]
        parts.append(text[position:site.start])
        inner, index = render(text, site.start, site.end, sites, index + 1)
        parts.append(switched(site, inner))
        position = site.end
    parts.append(text[position:end])
    return "".join(parts), index


def switched(site, inner):
    if not site.mutants:
        return inner
    if site.statement:
        lead = ""
        for mutant, mutated in site.mutants:
            lead += f"if (NCDM_MUTANT({mutant.number})) {{ {mutated or ''} }} else "
        return f"{{ {lead}{{ {inner} }} }}"
    chain = "".join(f"NCDM_MUTANT({mutant.number}) ? ({mutated}) : " for mutant, mutated in site.mutants)
    return f"({chain}({inner}))"
