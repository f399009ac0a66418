"""Runs the tests against a mutant."""

import mmap
import os
import resource
import shutil
import signal
import subprocess
import tempfile
import time
from dataclasses import dataclass

MEMORY = 4 << 30
FILE_SIZE = 256 << 20
SLOW = 2.0  # seconds: a wide program that takes longer runs only when asked for
SANITIZER_OPTIONS = "symbolize=0:hard_rss_limit_mb=2048:detect_leaks=1:print_summary=0"


class TrialError(Exception):
    pass


@dataclass
class Variant:
    """A way to run the test programs."""
    build: str
    environment: dict
    limits_memory: bool  # a sanitizer reserves address space beyond all measure


PLAIN = Variant("plain", {}, True)
SANITIZED = Variant("sanitized", {"ASAN_OPTIONS": SANITIZER_OPTIONS}, False)


def checked():
    """The plain programs on the address sanitizer's allocator, which sees leaks and what is freed
    wrongly; or None without the compiler's library. A program that brings an allocator of its own,
    to make memory short, does not run so."""
    library = subprocess.run(["g++", "-print-file-name=libasan.so"], stdout=subprocess.PIPE,
                             text=True, check=True).stdout.strip()
    if not os.path.isabs(library):
        return None
    return Variant("plain", {"LD_PRELOAD": library, "ASAN_OPTIONS": SANITIZER_OPTIONS}, False)


@dataclass
class Program:
    folder: str
    path: str
    variant: Variant
    seconds: float = 0
    reached: bytes = b""

    @property
    def name(self):
        return os.path.basename(self.path)

    @property
    def is_wide(self):
        return self.folder in {"allocation", "integration"}

    @property
    def is_slow(self):
        return self.is_wide and self.seconds > SLOW


def limit():
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_SIZE, FILE_SIZE))


def limit_all():
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    limit()


def run(program, seconds, environment):
    """0 when the tests pass, their code when they fail, None when they take too long."""
    scratch = tempfile.mkdtemp(prefix="ncdm-mutate.")
    try:
        process = subprocess.Popen(
            [program.path, "--gtest_brief=1"], cwd=scratch, stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True,
            env={**os.environ, "TMPDIR": scratch, "GTEST_FAIL_FAST": "1",
                 **program.variant.environment, **environment},
            preexec_fn=limit_all if program.variant.limits_memory else limit)
        try:
            return process.wait(seconds)
        except subprocess.TimeoutExpired:
            return None
        finally:
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            process.wait()
    finally:
        shutil.rmtree(scratch, ignore_errors=True)


def measure(tree, variant, without=()):
    """The programs with the time they take, and the places that they reach; and those that fail
    without a mutant."""
    programs, failing = [], []
    with tempfile.NamedTemporaryFile(prefix="ncdm-reached.") as file:
        file.truncate(tree.room)
        with mmap.mmap(file.fileno(), tree.room) as reached:
            for folder, path in tree.programs(variant.build):
                program = Program(folder, str(path), variant)
                if program.name in without:
                    continue
                reached[:] = bytes(tree.room)
                start = time.monotonic()
                code = run(program, 300, {"NCDM_MUTANTS_REACHED": file.name,
                                          "NCDM_MUTANTS_ROOM": str(tree.room)})
                program.seconds = time.monotonic() - start
                program.reached = reached[:]
                (programs if code == 0 else failing).append(program)
    if not programs:
        raise TrialError("no test program passes without a mutant")
    return programs, failing


@dataclass
class Outcome:
    state: str  # "killed", "timeout", "survived" or "not reached"
    program: str = ""
    folder: str = ""


def order(mutant, programs):
    """Those that reach the mutant, the likeliest to fail first."""
    own_folder = mutant.file.split("/")[1]
    stem = os.path.basename(mutant.file).removesuffix(".cc")

    def rank(program):
        return (program.is_slow, program.folder != own_folder, program.is_wide,
                not program.name.startswith(stem), program.seconds)

    return sorted((p for p in programs if p.reached[mutant.number]), key=rank)


def try_program(mutant, program):
    """Does it fail with the mutant: "killed", "timeout", or None."""
    environment = {"NCDM_MUTANT": str(mutant.number)}
    seconds = 5 + 10 * program.seconds
    code = run(program, seconds, environment)
    if code == 0:
        return None
    # Programs with real sockets and clocks have to fail twice.
    if program.folder == "integration" and run(program, seconds, environment) == 0:
        return None
    return "timeout" if code is None else "killed"


def judge(mutant, programs):
    reaching = order(mutant, programs)
    for program in reaching:
        state = try_program(mutant, program)
        if state is not None:
            return Outcome(state, program.name, program.folder)
    return Outcome("survived" if reaching else "not reached")
