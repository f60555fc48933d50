#!/usr/bin/env python3
"""Changes one thing in src/ at a time and lets the tests judge: each mutant is built and run against
them, and again under the sanitizers if it survives. mutate.sh calls this in a sandbox.

usage: mutate.py COPY... COUNT SEED          one worker for each copy of the tree
"""

import concurrent.futures
import os
import random
import re
import subprocess
import sys
import threading

TABLES = ("ExtErrCatalogue.cpp", "MsgTable.cpp")
TABLE_SHARE = 0.06
SECONDS = 120
# Scenarios of the fault sweep that judge the survivors.
SCENARIOS = ["logsALine", "logsALineOnAFullDisk", "rotatesTheLog", "takesTheLock", "tellsTheHostName",
             "makesATemporaryFile", "makesADirectoryWithItsParents", "keepsTheFirstLine",
             "sendsALineToTheSystemLogger", "readsTheClocks", "measuresADirectory", "measuresFreeSpace",
             "seesThatAFileIsInUse"]
# The one that kills most comes first.
TESTS = ("moxel_test", "artefact_test", "small_scope_test")

STRING = re.compile(r'"(?:[^"\\]|\\.)*"')
SWAPS = [
    (r"==", "!="), (r"!=", "=="), (r"<=", "<"), (r">=", ">"),
    (r"(?<![<\-=])<(?![<=])(?= )", "<="), (r"(?<![>\-=])>(?![>=])(?= )", ">="),
    (r"&&", "||"), (r"\|\|", "&&"), (r"\+\+", "--"), (r"--", "++"),
    (r"(?<=[\w)\]]) \+ (?=[\w(])", " - "), (r"(?<=[\w)\]]) - (?=[\w(])", " + "),
    (r"\btrue\b", "false"), (r"\bfalse\b", "true"),
]
STATEMENT = re.compile(r"^\s+(?!return|break|continue|throw|const |struct |static |char |int |auto |using |size_t |off_t |std::string [a-z]+;|for|if|while|case|default|else)[\w*>:.\-\[\]]+.*;$")
CALL = re.compile(r"\b(\w+)\(([\w.\->\[\]]+), ([\w.\->\[\]]+)\)")

# Changes that can have no effect are not made at all: the end of an argument list does nothing here,
# a function that is deleted is not called, an unused member of a union has no size of its own, an
# attribute of a format only warns, these constants are numbers that are seen nowhere or sizes that
# nothing comes near, and these calls do not tell their arguments apart, strcmp where it is compared
# with 0.
WITHOUT_EFFECT = re.compile(r"^\s*va_end\(|= delete;|^\s*semid_ds\* status;|__attribute__\(\(format"
                            r"|\bk(LevelTrace|MachineIdBytes|None|ReadBytes|RemoveWaitSeconds"
                            r"|SystemLineBytes|TypeDirectory) = ")
SYMMETRIC = {"max", "min", "isSameFile", "strcmp"}
# A buffer that is larger than needed shows nothing, so that buffers are made smaller.
BUFFER = re.compile(r"^\s*[\w:]+ \w+\[[^\]]*$")


def mutants_of(path, text):
    """(line number, new line, what) for each change that can be made."""
    found = []
    for number, line in enumerate(text.split("\n")):
        code = line.split("///<")[0]
        code = code.split("//")[0] if '"' not in code else code
        if not code.strip() or code.lstrip().startswith(("//", "#", "///")):
            continue
        if WITHOUT_EFFECT.search(code):
            continue
        inside = [m.span() for m in STRING.finditer(code)]

        def plain(at):
            return not any(a <= at < b for a, b in inside)

        def add(span, new, what):
            found.append((number, line[:span[0]] + new + line[span[1]:], what))

        for pattern, new in SWAPS:
            for m in re.finditer(pattern, code):
                if plain(m.start()) and "template" not in code and "#include" not in code:
                    add(m.span(), new, "operator")
        for m in re.finditer(r"(?<![\w.\"'])(\d+)(?![\w.\"'])", code):
            if plain(m.start()):
                step = -1 if BUFFER.match(code[:m.start()]) else 1
                add(m.span(), str(int(m.group(1)) + step), "constant")
        for m in STRING.finditer(code):
            letters = [i for i in range(m.start() + 1, m.end() - 1)
                       if code[i].isascii() and code[i].isalnum() and code[i - 1] not in "\\%"]
            if letters:
                at = letters[(number * 7) % len(letters)]
                add((at, at + 1), "Z" if code[at] != "Z" else "Y", "text")
        for m in CALL.finditer(code):
            if plain(m.start()) and m.group(2) != m.group(3) and m.group(1) not in SYMMETRIC:
                add(m.span(), "%s(%s, %s)" % (m.group(1), m.group(3), m.group(2)), "arguments")
        m = re.match(r"^(\s*(?:\} else )?if )\((.*)\)( \{| return.*;| .*;)$", code)
        if m:
            found.append((number, "%s(!(%s))%s" % m.groups(), "condition"))
        # In a header a line like that is a declaration as a rule.
        if STATEMENT.match(code) and not path.endswith(".h"):
            found.append((number, ";", "statement"))
    return [(path, n, new, what) for n, new, what in found]


class Worker(threading.Thread):
    def __init__(self, copy, queue, results, count):
        super().__init__()
        self.copy, self.queue, self.results, self.count = copy, queue, results, count
        self.output = os.path.join(copy, "output")  # of the last command

    def run_quietly(self, command, seconds=SECONDS, cwd=None):
        with open(self.output, "wb") as output, subprocess.Popen(
                command, cwd=cwd or self.copy, stdin=subprocess.DEVNULL, stdout=output,
                stderr=subprocess.STDOUT, start_new_session=True) as process:
            try:
                return process.wait(timeout=seconds) == 0
            except subprocess.TimeoutExpired:
                os.killpg(process.pid, 9)
                process.wait()
                return False

    def build(self, kind, target):
        return self.run_quietly(["cmake", "--build", kind, "-j", "1", "--target", target], 600)

    def judge(self, path=""):
        """What becomes of the sources as they stand, with a change in the file `path`."""
        # The suites of that file come first.
        words = os.path.splitext(path)[0].split("_")
        own = "".join(word[:1].upper() + word[1:] for word in words)
        runs = [(TESTS[0], own)] if own else []
        runs += [(test, "") for test in TESTS]
        for kind in "plain", "sanitized":
            for test, suites in runs:
                if not self.build(kind, test):
                    return "not built"
                if not self.run_quietly([os.path.join(self.copy, kind, test), "--gtest_brief=1",
                                         "--gtest_fail_fast", f"--gtest_filter={suites}*"],
                                        cwd=os.path.join(self.copy, "empty")):
                    return f"killed by the {kind} {test}"
            if kind == "plain" and not (self.build("plain", "fault_sweep") and self.run_quietly(
                    [os.path.join(self.copy, "plain/fault_sweep")] + SCENARIOS)):
                return "killed by the fault sweep"
        return "survived"

    def run(self):
        while sum(r[0] != "not built" for r in self.results) < self.count:
            try:
                path, number, new, what = self.queue.pop()
            except IndexError:
                return
            name = os.path.join(self.copy, "src", path)
            with open(name, encoding="utf-8") as file:
                original = file.read()
            lines = original.split("\n")
            old = lines[number]
            lines[number] = new
            with open(name, "w", encoding="utf-8") as file:
                file.write("\n".join(lines))
            verdict = self.judge(path)
            with open(name, "w", encoding="utf-8") as file:
                file.write(original)
            self.results.append((verdict, path, number + 1, old.strip(), new.strip(), what))
            print("%4d %s: %s:%d %s" % (len(self.results), verdict, path, number + 1, new.strip()),
                  flush=True)


def explanations(top):
    """(file, old line, new line) -> reason, of the mutants that change nothing."""
    reasons = {}
    with open(os.path.join(top, "tests/mutation/equivalent.txt"), encoding="utf-8") as file:
        block = []
        for line in list(file) + ["\n"]:
            line = line.rstrip("\n")
            if line.startswith("#"):
                continue
            if line:
                block.append(line.strip())
            elif block:
                reasons[tuple(block[:3])] = " ".join(block[3:])
                block = []
    return reasons


def require_lines(top, reasons):
    """Ends the run where an explanation is of a line that the sources have no more."""
    for path, old, _ in reasons:
        with open(os.path.join(top, "src", path), encoding="utf-8") as file:
            if old not in (line.strip() for line in file.read().split("\n")):
                sys.exit("mutate.py: an explanation has no line any more: %s: %s" % (path, old))


def chosen_mutants(top, count, seed):
    """A random choice, the same for the same sources and seed."""
    code, tables = [], []
    for path in sorted(os.listdir(os.path.join(top, "src"))):
        if not path.endswith((".cpp", ".h")):
            continue
        with open(os.path.join(top, "src", path), encoding="utf-8") as file:
            (tables if path in TABLES else code).extend(mutants_of(path, file.read()))
    chosen = random.Random(seed)
    # Some do not compile; they are not counted.
    wanted = int(count * 1.5)
    queue = chosen.sample(tables, min(len(tables), int(wanted * TABLE_SHARE)))
    queue += chosen.sample(code, min(len(code), wanted - len(queue)))
    chosen.shuffle(queue)
    print("%d mutants can be made, %d that compile are tried" % (len(code) + len(tables), count),
          flush=True)
    return queue


def main():
    copies = sys.argv[1:-2]
    top = copies[0]
    reasons = explanations(top)
    require_lines(top, reasons)
    count = int(sys.argv[-2])
    queue = chosen_mutants(top, count, int(sys.argv[-1]))

    results = []
    workers = [Worker(copy, queue, results, count) for copy in copies]
    with concurrent.futures.ThreadPoolExecutor() as pool:
        for worker, verdict in zip(workers, pool.map(Worker.judge, workers)):
            if verdict != "survived":
                with open(worker.output, errors="replace") as output:
                    sys.exit(output.read() + "mutate.py: before anything is changed: " + verdict)
    for worker in workers:
        worker.start()
    for worker in workers:
        worker.join()

    built = [r for r in results if r[0] != "not built"]
    survivors = [r for r in built if r[0] == "survived"]
    unexplained = 0
    print("\nsurvivors:")
    for _, path, number, old, new, _ in sorted(survivors):
        reason = reasons.get((path, old, new))
        unexplained += reason is None
        print("%s:%d\n  %s\n  %s\n  %s" % (path, number, old, new, reason or "NOT EXPLAINED"))
    kinds = sorted({r[5] for r in built})
    print("\nmutants by kind: " +
          ", ".join("%d %s" % (sum(r[5] == k for r in built), k) for k in kinds))
    killed = sum(r[0].startswith("killed") for r in built)
    explained = len(survivors) - unexplained
    share = 100.0 * killed / max(1, len(built))
    print("%d mutants, %d killed (%.1f %%); the %d survivors: %d change nothing and are explained, "
          "%d are not" % (len(built), killed, share, len(survivors), explained, unexplained))
    sys.exit(0 if share >= 97 and unexplained == 0 else 1)


main()
