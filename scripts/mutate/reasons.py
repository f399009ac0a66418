"""Mutants that may survive: those that change nothing that can be seen, or nothing that a test could
bring about. The file holds a block for each, with an empty line behind it:

    FILE FUNCTION
    | TEXT OF THE LINE
    `BEFORE` -> `AFTER`
    why it survives, in as many lines as it takes
"""


class ReasonError(Exception):
    pass


def heading(mutant):
    return (f"{mutant.file} {mutant.function}", f"| {mutant.source}", mutant.change)


def read(path):
    """{heading: reason}"""
    reasons = {}
    for block in path.read_text().split("\n\n"):
        lines = [line for line in block.splitlines() if line and not line.startswith("#")]
        if not lines:
            continue
        if len(lines) < 4 or not lines[1].startswith("| ") or not lines[2].startswith("`"):
            raise ReasonError(f"{path}: not a block of place, line, change and reason:\n{block}")
        if tuple(lines[:3]) in reasons:
            raise ReasonError(f"{path}: twice:\n{block}")
        reasons[tuple(lines[:3])] = " ".join(lines[3:])
    return reasons
