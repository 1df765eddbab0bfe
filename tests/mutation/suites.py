# SPDX-License-Identifier: Apache-2.0
"""The unit suites: finding those relevant to a source, and running them until one fails."""
import json
import os
import re
import resource
import signal
import subprocess
import time
from collections import defaultdict
from dataclasses import dataclass, field

# Calls only go downwards: tests of a layer never reach those above it.
LAYERS = ("frame", "core", "accounts", "server")
# Further suites that run without a directory server, after those of the layers.
EVERYWHERE = ("foreign", "seam")
MORE = {"frame": ("attack_shared_folder_test",)}
AT_ONCE = 2
MEASURE_SECONDS = 600
# A mutant may allocate without end.
MOST_MEMORY = 3 << 30
MOST_FILE = 1 << 30


@dataclass
class Suite:
    """A test program, and its results without a mutant."""
    name: str
    folder: str  # of tests/
    command: list
    seconds: float = 0
    times: dict = field(default_factory=dict)  # of each test
    excluded: list = field(default_factory=list)  # tests that fail without a mutant too


@dataclass
class Job:
    """A suite, or some of its tests."""
    suite: Suite
    filter: str
    seconds: float
    to_first_failure: bool = True


@dataclass
class Verdict:
    killed: bool
    by: str = ""
    seconds: float = 0
    timed_out: bool = False


def _limit():
    resource.setrlimit(resource.RLIMIT_DATA, (MOST_MEMORY, MOST_MEMORY))
    resource.setrlimit(resource.RLIMIT_FSIZE, (MOST_FILE, MOST_FILE))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


class Runner:
    """Runs jobs, several at a time; leaves no process behind, however it ends."""

    def __init__(self, results, work, replaced=()):
        self.results, self.work = results, work
        self.laid = [word for path, file in replaced for word in ("--lay", str(file), f"/mnt/build/{path}")]
        # The stage also contains the library; the programs there are not under test.
        self.laid += [word for path, file in replaced if ".so" in path
                      for word in ("--lay", str(file), f"/mnt/stage/lib/{os.path.basename(path)}")]
        self.running = {}

    def start(self, job):
        words = list(job.suite.command)
        split = words.index("--")
        words = words[:split] + self.laid + words[split:]
        words += [f"--gtest_filter={job.filter}"] + ["--gtest_fail_fast"] * job.to_first_failure
        (self.results / f"{job.suite.name}.json").unlink(missing_ok=True)
        with open(self.work / f"{job.suite.name}.log", "wb") as log:
            process = subprocess.Popen(words, stdin=subprocess.DEVNULL, stdout=log, stderr=subprocess.STDOUT,
                                       start_new_session=True, preexec_fn=_limit)
        self.running[process] = (job, time.monotonic())

    def stop_all(self):
        for process in self.running:
            try:
                os.killpg(process.pid, signal.SIGKILL)  # the private root's processes end with it
            except ProcessLookupError:
                pass
            process.wait()
        self.running.clear()

    def ended(self):
        """Waits for a job to end: returns the job, its exit code (None: timeout), and seconds."""
        while True:
            for process, (job, begun) in self.running.items():
                seconds = time.monotonic() - begun
                code = process.poll()
                if code is None and seconds < job.seconds:
                    continue
                if code is None:
                    os.killpg(process.pid, signal.SIGKILL)
                    process.wait()
                del self.running[process]
                return job, code, seconds
            time.sleep(0.02)

    def run(self, jobs, on_end):
        """Runs the jobs; `on_end` returns whether to continue."""
        waiting = list(jobs)
        try:
            while waiting or self.running:
                while waiting and len(self.running) < AT_ONCE:
                    self.start(waiting.pop(0))
                if not on_end(*self.ended()):
                    return
        finally:
            self.stop_all()


class Suites:
    def __init__(self, product):
        self.product = product
        self.results = product.build / "results"
        self.suites = self._found()
        self.files = self._tests_of_files()

    def _found(self):
        listed = subprocess.run(["ctest", "--show-only=json-v1"], cwd=self.product.build, check=True,
                                capture_output=True, text=True).stdout
        suites = []
        for test in json.loads(listed)["tests"]:
            program = next((word for word in test.get("command", []) if word.startswith("/mnt/build/tests/")), "")
            folder = program.split("/")[4] if program else ""
            if folder in LAYERS + EVERYWHERE or any(test["name"] in more for more in MORE.values()):
                suites.append(Suite(test["name"], folder, test["command"]))
        return suites

    def _tests_of_files(self):
        """The test suites (as GoogleTest names them) of each test source."""
        found = {}
        for folder in LAYERS + EVERYWHERE:
            for file in (self.product.copy / "tests" / folder).rglob("*.cpp"):
                found[file] = set(re.findall(r"^TEST(?:_F|_P)?\(\s*(\w+)", file.read_text(), re.MULTILINE))
        return found

    def measure(self, file, say):
        """Measures all suites without a mutant, and finds tests that fail anyway; uses the file if it
        describes the same programs."""
        programs = [self.product.library] + [f"tests/{suite.folder}/{suite.name}" for suite in self.suites]
        facts = [(self.product.build / program).stat() for program in programs]
        key = [[program, fact.st_size, fact.st_mtime_ns] for program, fact in zip(programs, facts)]
        try:
            known = json.loads(file.read_text())
        except (OSError, ValueError):
            known = {}
        if known.get("key") != key:
            say(f"running {len(self.suites)} unit suites without a mutant")
            self._run_all()
            suites = {suite.name: [suite.seconds, suite.times, suite.excluded] for suite in self.suites}
            known = {"key": key, "suites": suites}
            file.write_text(json.dumps(known))
        for suite in list(self.suites):
            suite.seconds, suite.times, suite.excluded = known["suites"][suite.name]
            if not suite.times:
                say(f"{suite.name} crashes without a mutant and is left out")
                self.suites.remove(suite)
            for test in suite.excluded:
                say(f"{test} of {suite.name} fails without a mutant and is left out")

    def _run_all(self):
        runner = Runner(self.results, self.product.work)

        def on_end(job, code, seconds):
            suite = job.suite
            suite.seconds = seconds
            try:
                suite.times, suite.excluded = self._read_results(suite)
            except (OSError, ValueError):
                suite.times, suite.excluded = {}, []
            if code != 0 and not suite.excluded:
                suite.times = {}
            return True

        runner.run([Job(suite, "*", MEASURE_SECONDS, to_first_failure=False) for suite in self.suites], on_end)

    def _read_results(self, suite):
        report = json.loads((self.results / f"{suite.name}.json").read_text())
        times, failed = {}, []
        for group in report["testsuites"]:
            for test in group["testsuite"]:
                name = f"{test['classname']}.{test['name']}"
                times[name] = float(test["time"].rstrip("s"))
                if test.get("failures"):
                    failed.append(name)
        return times, failed

    def _nearest(self, path):
        """The names of the suites that mirror the source."""
        stem = os.path.splitext(os.path.basename(path))[0]
        stems = {stem, stem.removeprefix("ldap_")}
        names = set()
        for file, tests in self.files.items():
            if any(file.stem == s + "_test" or file.stem.startswith(s + "s_test") or file.stem.startswith(s + "_")
                   for s in stems):
                names |= tests
        return names

    @staticmethod
    def _is_of(test, names):
        """Whether a test ("Values/Suite.Name/3") is part of one of these suites."""
        return bool(names & set(test.split(".")[0].split("/")))

    def jobs(self, path):
        """Two rounds of jobs: the tests that mirror the source, then all others that can reach it."""
        layer = path.split("/")[1]
        above = LAYERS[LAYERS.index(layer):]
        order = {name: i for i, name in enumerate((layer, *EVERYWHERE, *above[1:]))}
        more = MORE.get(layer, ())
        suites = sorted((suite for suite in self.suites if suite.folder in order or suite.name in more),
                        key=lambda suite: (order.get(suite.folder, len(order)), suite.seconds))
        names = self._nearest(path)
        near, far = [], []
        for suite in suites:
            mine = [test for test in suite.times if self._is_of(test, names)]
            if mine:
                near.append(self._job(suite, mine, ":".join(sorted({test.split(".")[0] + ".*" for test in mine}))))
            if len(mine) < len(suite.times):
                rest = [test for test in suite.times if test not in set(mine)]
                far.append(self._job(suite, rest, "*", {test.split(".")[0] + ".*" for test in mine}))
        return near, far

    @staticmethod
    def _job(suite, tests, chosen, left_out=()):
        unwanted = sorted(left_out) + suite.excluded
        # Long enough for a busy machine.
        seconds = 15 + 4 * sum(suite.times[test] for test in tests)
        return Job(suite, chosen + ("-" + ":".join(unwanted) if unwanted else ""), seconds)

    def quickest_passes(self, replaced):
        """Whether the quickest suite passes, so that the replaced files can at least be loaded."""
        codes = []
        suite = min(self.suites, key=lambda suite: suite.seconds)
        Runner(self.results, self.product.work, replaced).run(
            [self._job(suite, suite.times, "*")], lambda job, code, seconds: codes.append(code))
        return codes == [0]

    def judge(self, path, replaced):
        """Runs the tests that concern a source until one fails."""
        runner = Runner(self.results, self.product.work, replaced)
        verdict = Verdict(False)

        def on_end(job, code, seconds):
            if code == 0:
                return True
            verdict.killed, verdict.timed_out = True, code is None
            verdict.by = f"{job.suite.name}: " + (f"timed out after {seconds:.0f} s" if code is None
                                                 else self._first_failure(job.suite, code))
            return False

        for jobs in self.jobs(path):
            if not verdict.killed:
                runner.run(jobs, on_end)
        return verdict

    def _first_failure(self, suite, code):
        try:
            _, failed = self._read_results(suite)
            if failed:
                return failed[0]
        except (OSError, ValueError):
            pass
        text = (self.product.work / f"{suite.name}.log").read_text(errors="replace")
        begun = re.findall(r"^\[ RUN +\] (\S+)", text, re.MULTILINE)
        return f"{begun[-1] if begun else 'before its first test'}, exit code {code}"
