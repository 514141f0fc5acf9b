"""scripts/mutate: its verdicts, and that its faults fit the sources."""
import pathlib
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts" / "lib"))

import mutate  # noqa: E402

MUTANT = {"file": "net/ServerSocket.cpp"}
BUILT, NOT_BUILT = 0, 1


class PlayedWorker(mutate.Worker):
    """One whose test runs end as told, in their order: a name for a test that fails, None when all pass."""

    def __init__(self, *endings, build=BUILT):
        super().__init__(0)
        self.endings = list(endings)
        self.build_status = build
        self.selections = []

    def make(self, *selection):
        return subprocess.CompletedProcess("cmake", self.build_status, "")

    def failed_test(self, *selection):
        self.selections.append(selection)
        ending = self.endings.pop(0)
        if ending == "no end":
            raise subprocess.TimeoutExpired("ctest", mutate.TEST_SECONDS)
        return ending


class Verdicts(unittest.TestCase):
    def verdict(self, *endings):
        worker = PlayedWorker(*endings)
        verdict = worker.judge(MUTANT)
        self.assertEqual(worker.endings, [])
        return verdict

    def test_a_test_that_fails_each_time_catches(self):
        self.assertEqual(self.verdict("A.Test", "A.Test", "A.Test"), ("caught", "A.Test"))

    def test_a_test_that_fails_now_and_then_catches_nothing_and_hides_no_other(self):
        self.assertEqual(self.verdict("A.Test", None, "B.Test", "B.Test", "B.Test"), ("caught", "B.Test"))
        self.assertEqual(self.verdict("A.Test", "A.Test", None, "B.Test", "B.Test", "B.Test"), ("caught", "B.Test"))
        self.assertEqual(self.verdict("A.Test", None, None, None, None), ("SURVIVED", ""))

    def test_nothing_that_fails_catches_nothing(self):
        self.assertEqual(self.verdict(None, None, None), ("SURVIVED", ""))

    def test_what_caught_a_fault_last_time_is_tried_first(self):
        worker = PlayedWorker(None, "B.Test", "B.Test", "B.Test")
        self.assertEqual(worker.judge(MUTANT, "A.Test"), ("caught", "B.Test"))
        self.assertEqual(worker.selections[0], ("-R", r"^A\.Test( |$)"))
        with tempfile.TemporaryDirectory() as folder:
            file = pathlib.Path(folder, "catchers")
            mutate.Catchers(file).remember("one", "A.Test")
            mutate.Catchers(file).remember("two", "B.Test")
            self.assertEqual([mutate.Catchers(file).of({"name": name}) for name in ("one", "two", "three")],
                             ["A.Test", "B.Test", None])

    def test_a_run_that_is_not_done_in_time_is_no_catch(self):
        self.assertEqual(self.verdict("no end"), ("RAN OUT OF TIME", ""))
        self.assertEqual(self.verdict(None, "no end"), ("RAN OUT OF TIME", ""))

    def test_a_fault_that_does_not_build_is_no_catch(self):
        self.assertEqual(PlayedWorker(build=NOT_BUILT).judge(MUTANT), ("DOES NOT BUILD", ""))


class Copies(unittest.TestCase):
    def test_lose_what_left_the_tree(self):
        with tempfile.TemporaryDirectory() as folder:
            worker = mutate.Worker(0)
            worker.folder = pathlib.Path(folder)
            for name in ("kept.cpp", "net/left.cpp", "build/debug/object.o"):
                (worker.folder / name).parent.mkdir(parents=True, exist_ok=True)
                (worker.folder / name).touch()
            worker.remove_all_but(["kept.cpp"])
            files = sorted(str(path.relative_to(folder)) for path in worker.folder.rglob("*") if path.is_file())
        self.assertEqual(files, ["build/debug/object.o", "kept.cpp"])

    def test_end_what_their_tests_left(self):
        with tempfile.TemporaryDirectory() as folder:
            worker = mutate.Worker(0)
            worker.folder = pathlib.Path(folder)
            program = shutil.copy(shutil.which("sleep"), folder)
            with subprocess.Popen([program, "300"], start_new_session=True) as left:
                worker.end_what_tests_left()
                self.assertEqual(left.wait(60), -signal.SIGKILL)

    def test_leave_out_the_tests_of_the_faults(self):
        labels = (mutate.ROOT / "tests" / "mutants" / "CMakeLists.txt").read_text()
        self.assertRegex(re.search(r"LABELS (\w+)", labels)[1], mutate.LEFT_OUT)


def line_of(verdict):
    """CTest's line for a test with a parameter."""
    return f" 3/12 Test  #7: B.Fails/0  # GetParam() = 6 ....{verdict}   0.1 sec"


class Runs(unittest.TestCase):
    def setUp(self):
        self.worker = mutate.Worker(0)
        self.worker.folder = "/"

    def test_have_output_and_status(self):
        result = self.worker.run("sh", "-c", "echo out; echo error >&2; exit 3", seconds=60)
        self.assertEqual((result.stdout, result.returncode), ("out\nerror\n", 3))

    # The pipe would stay open as long as the process that was started lives, in a session of its own.
    def test_that_are_not_done_in_time_end_with_all_that_they_started(self):
        started = time.monotonic()
        with self.assertRaises(subprocess.TimeoutExpired):
            self.worker.run("sh", "-c", "setsid sleep 300 & wait", seconds=0.5)
        self.assertLess(time.monotonic() - started, 60)

    def test_end_with_the_first_test_that_fails(self):
        started = time.monotonic()
        result = self.worker.run("sh", "-c", f"setsid sleep 300 & echo '{line_of('***Failed ')}'; wait",
                                 until=mutate.FAILED_TEST)
        self.assertEqual(result.stdout, line_of("***Failed ") + "\n")
        self.assertLess(time.monotonic() - started, 60)

    def test_know_a_failed_test_by_its_line(self):
        for verdict in ("***Failed ", "***Timeout ", "***Not Run ", "Subprocess aborted***Exception: "):
            self.assertEqual(mutate.FAILED_TEST.search(line_of(verdict))[1], "B.Fails/0")
        for verdict in ("   Passed ", "***Skipped ", "***Not Run (Disabled) "):
            self.assertIsNone(mutate.FAILED_TEST.search(line_of(verdict)))


class Faults(unittest.TestCase):
    def test_have_names_of_their_own_and_texts_that_stand_once_in_their_files(self):
        self.assertGreater(len(mutate.read_mutants([])), 100)


if __name__ == "__main__":
    unittest.main()
