"""Changes the library's code in many places, one at a time, and looks whether a test fails."""

import argparse
import hashlib
import json
import os
import sys
import time
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

import reasons
import source
import tree
import trial

ROOT = Path(__file__).resolve().parent.parent.parent
REASONS = Path(__file__).parent / "survivors.txt"
SAMPLE = 400
QUICK_SAMPLE = 200
KILLED = {"killed", "timeout"}
NOT_REACHED = trial.Outcome("not reached")


def parse_options():
    parser = argparse.ArgumentParser(prog="scripts/mutate.sh", description=__doc__)
    parser.add_argument("--files", metavar="REGEX",
                        help="only files of lib/ that match (default: those of the areas)")
    parser.add_argument("--sample", type=int, metavar="N",
                        help=f"how many mutants, spread over the areas (default: {SAMPLE})")
    parser.add_argument("--seed", default="1", help="which sample (default: %(default)s)")
    parser.add_argument("--all", action="store_true", help="every mutant")
    parser.add_argument("--quick", action="store_true",
                        help=f"a sample of {QUICK_SAMPLE}, a minute's work behind the build")
    parser.add_argument("--sanitize", action="store_true",
                        help="a second build, with sanitizers, for what is left")
    parser.add_argument("--slow", action="store_true",
                        help="run also the integration tests that take long, for what is left")
    parser.add_argument("--again", action="store_true",
                        help="only those that the last run did not kill")
    parser.add_argument("--list", action="store_true", help="list the mutants; run nothing")
    parser.add_argument("--at-least", type=float, metavar="PERCENT", default=90,
                        help="fail when fewer are killed (default: %(default)s)")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--build-dir", type=Path, default=ROOT / "build-mutate")
    return parser.parse_args()


def say(text):
    print(f"mutate: {text}", flush=True)


# ---- Which mutants ----

def rank(mutant, seed):
    """Hangs on the mutant alone, so that a change of one line leaves the sample of the others."""
    return hashlib.sha256(repr((seed, mutant.key)).encode()).digest()


def sample(mutants, count, seed):
    """Each area gives its share, and not less than ten."""
    areas = {}
    for mutant in mutants:
        areas.setdefault(mutant.area, []).append(mutant)
    chosen = []
    for members in areas.values():
        share = max(10, round(count * len(members) / len(mutants)))
        chosen += sorted(members, key=lambda m: rank(m, seed))[:share]
    return sorted(chosen, key=lambda m: m.number)


def choose(options, mutants, results):
    if options.again:
        last = {tuple(entry["key"]) for entry in json.loads(results.read_text())
                if entry["state"] not in KILLED}
        return [mutant for mutant in mutants if mutant.key in last]
    if options.all:
        return mutants
    count = options.sample or (QUICK_SAMPLE if options.quick else SAMPLE)
    return sample(mutants, count, options.seed)


# ---- Trials ----

def run_trials(options, chosen, programs, outcomes):
    start = time.monotonic()
    left = 0
    with ThreadPoolExecutor(options.jobs) as pool:
        running = {mutant.number: pool.submit(trial.judge, mutant, programs) for mutant in chosen}
        for done, mutant in enumerate(chosen, 1):
            outcome = running[mutant.number].result()
            if outcomes.get(mutant.number, NOT_REACHED).state != "survived" or outcome.state in KILLED:
                outcomes[mutant.number] = outcome
            left += outcome.state not in KILLED
            if done % 100 == 0:
                say(f"{done} of {len(chosen)}, {left} left, {time.monotonic() - start:.0f} s")


class Trials:
    """One way to run the tests after the other, each for what the ones before have left."""

    def __init__(self, options, work, chosen, results):
        self.options, self.work, self.chosen, self.results = options, work, chosen, results
        self.outcomes = {}
        self.slow = []

    def left(self):
        return [mutant for mutant in self.chosen
                if self.outcomes.get(mutant.number, NOT_REACHED).state not in KILLED]

    def run(self, programs, how):
        left = self.left()
        say(f"trying {len(left)} mutants{how}")
        run_trials(self.options, left, programs, self.outcomes)
        save(self.results, self.chosen, self.outcomes)

    def run_variant(self, variant, how):
        programs, failing = trial.measure(self.work, variant, {p.name for p in self.slow})
        if failing:
            say("left out, since they fail without a mutant: "
                + " ".join(program.name for program in failing))
        # What is slow in one variant is so in each.
        self.slow += [p for p in programs if p.is_slow]
        self.run([p for p in programs if not p.is_slow], how)

    def run_all(self):
        self.run_variant(trial.PLAIN, "")
        checked = trial.checked()
        if checked is not None and self.left():
            self.run_variant(checked, " with an allocator that checks")
        if self.options.sanitize and self.left():
            say("building with sanitizers")
            self.work.compile("sanitized", self.options.jobs, "address,undefined")
            self.run_variant(trial.SANITIZED, " with sanitizers")
        if self.options.slow and self.left():
            self.run(self.slow, " with the slow programs")
        return self.outcomes


def save(results, chosen, outcomes):
    entries = [{"key": mutant.key, "line": mutant.line, **vars(outcomes[mutant.number])}
               for mutant in chosen]
    results.write_text(json.dumps(entries, indent=1))


# ---- Report ----

def percent(part, whole):
    return f"{100 * part / whole:.1f} %" if whole else "-"


class Figures:
    def __init__(self):
        self.count = self.killed = self.timeouts = self.wide = self.survived = self.explained = 0

    def add(self, outcome, explained):
        self.count += 1
        if outcome.state in KILLED:
            self.killed += 1
            self.timeouts += outcome.state == "timeout"
            self.wide += outcome.folder in {"allocation", "integration"}
        elif explained:
            self.explained += 1
        else:
            self.survived += 1

    def row(self):
        return (self.count, self.killed, self.timeouts, self.wide, self.survived, self.explained,
                percent(self.killed, self.count),
                percent(self.killed, self.count - self.explained))


def report(chosen, outcomes, known):
    total, areas, survivors, refuted = Figures(), {}, [], []
    for mutant in chosen:
        outcome = outcomes[mutant.number]
        explained = reasons.heading(mutant) in known
        for figures in (total, areas.setdefault(mutant.area, Figures())):
            figures.add(outcome, explained)
        if outcome.state not in KILLED and not explained:
            survivors.append((mutant, outcome))
        elif outcome.state in KILLED and explained:
            refuted.append(mutant)

    for mutant, outcome in survivors:
        print(f"\n{mutant.file} {mutant.function}\n| {mutant.source}\n{mutant.change}"
              f"\n# line {mutant.line}, {outcome.state}")
    for mutant in refuted:
        print(f"\nkilled by {outcomes[mutant.number].program}, yet {REASONS.name} gives a reason why not:"
              f"\n{mutant.file} {mutant.function}\n| {mutant.source}\n{mutant.change}")

    row = "{:<12}{:>9}{:>9}{:>11}{:>9}{:>11}{:>13}{:>10}{:>16}"
    print("\n" + row.format("area", "mutants", "killed", "by timeout", "by wide", "survived",
                            "with reason", "killed", "without reason"))
    for area in [*tree.AREAS, "other"]:
        if area in areas:
            print(row.format(area, *areas[area].row()))
    print(row.format("all", *total.row()))
    say(f"{total.count} mutants, {total.killed} killed, {total.survived} survived, "
        f"{total.explained} with reason, {percent(total.killed, total.count)} killed")
    return total


def check_reasons(known, mutants, complete):
    """A reason whose mutant is gone is old."""
    if not complete:
        return
    there = {reasons.heading(mutant) for mutant in mutants}
    for heading in known:
        if heading not in there:
            say("no mutant of this kind is left: " + " ".join(heading))


def main():
    options = parse_options()
    known = reasons.read(REASONS)
    work = tree.Tree(ROOT, options.build_dir.resolve())
    names = work.selected(options.files)
    if not names:
        raise tree.TreeError(f"no file matches {options.files}")
    # All of them, so that another choice of files needs no other build.
    work.find(sorted({*work.selected(None), *names}))
    results = work.build / "results.json"
    if options.list:
        for mutant in work.mutants(names):
            print(f"{mutant.file}:{mutant.line} {mutant.function}: {mutant.change}")
        return 0

    work.build.mkdir(parents=True, exist_ok=True)
    say(f"instrumenting {len(work.files)} files with {len(work.mutants(work.files))} mutants")
    work.write()
    say("building")
    work.compile("plain", options.jobs)
    mutants = work.mutants(names)
    check_reasons(known, mutants, options.files is None)
    chosen = choose(options, mutants, results)
    outcomes = Trials(options, work, chosen, results).run_all()
    total = report(chosen, outcomes, known)
    return 0 if 100 * total.killed >= options.at_least * total.count else 1


if __name__ == "__main__":
    try:
        sys.exit(main())
    except (tree.TreeError, source.SourceError, trial.TrialError, reasons.ReasonError) as error:
        sys.exit(f"mutate: {error}")
