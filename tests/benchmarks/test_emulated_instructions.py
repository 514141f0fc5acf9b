"""What is counted in an emulator's trace: python3 tests/benchmarks/test_emulated_instructions.py."""
from collections import Counter
import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts" / "lib"))

import emulated_instructions  # noqa: E402


def line(thread, address, function=""):
    return f"Trace {thread}: 0x7fa174000180 [00800480/{address}/00000000/00080201] {function}\n".encode()


# Thread 1 enters the loop's function twice and executes three more instructions of it.
PASSES = (line(1, "40051000", "other") + line(1, "40023424", "pass") + line(1, "40023426", "pass")
          + line(2, "3f5c0de8") + line(1, "40023428", "pass") + line(1, "40023424", "pass")
          + line(1, "40023426", "pass") + line(2, "3f5c0dea", "passage"))


class TraceTest(unittest.TestCase):
    def test_instructions_are_counted_by_thread(self):
        instructions, _ = self.counts_of(PASSES)
        self.assertEqual(instructions, {1: 6, 2: 2})

    def test_a_pass_is_a_call_of_its_function(self):
        _, passes = self.counts_of(PASSES)
        self.assertEqual(passes, {("loop", 1): 2})

    def test_lines_may_come_in_any_pieces(self):
        for size in (1, 7, 100):
            self.assertEqual(self.counts_of(*(PASSES[at:at + size] for at in range(0, len(PASSES), size))),
                             ({1: 6, 2: 2}, {("loop", 1): 2}))

    def test_other_lines_are_no_instructions(self):
        self.assertEqual(self.counts_of(b"cpu_io_recompile: rewound\n" + line(0, "40"))[0], {0: 1})

    def counts_of(self, *pieces):
        trace = emulated_instructions.Trace({"loop": "pass"})
        for piece in pieces:
            trace.feed(piece)
        return trace.counts()


class PhaseTest(unittest.TestCase):
    def test_passes_and_the_time_of_other_threads_are_subtracted(self):
        loop = ("loop", 1)
        idle = self.phase({1: 1000, 2: 50}, {loop: 10}, 5)
        # 8 passes of 100 instructions and 10 of the other thread in each of 2 seconds are not the request's.
        busy = self.phase({1: 1700, 2: 120}, {loop: 8}, 2)
        self.assertEqual(busy.above(idle), 1700 - 800 + 120 - 20)

    def test_what_was_counted_before_is_left_out(self):
        phase = emulated_instructions.Phase()
        phase.add((Counter({1: 5}), Counter({("loop", 1): 1})), (Counter({1: 25}), Counter({("loop", 1): 3})), 1)
        self.assertEqual(phase.of_pass(("loop", 1)), 10)

    def test_pieces_of_a_phase_are_added(self):
        phase = self.phase({1: 10}, {("loop", 1): 1}, 1)
        phase.add((Counter(), Counter()), (Counter({1: 50}), Counter({("loop", 1): 2})), 2)
        self.assertEqual(phase.of_pass(("loop", 1)), 20)
        self.assertEqual(phase.seconds, 3)

    def phase(self, instructions, passes, seconds):
        phase = emulated_instructions.Phase()
        phase.add((Counter(), Counter()), (Counter(instructions), Counter(passes)), seconds)
        return phase


if __name__ == "__main__":
    unittest.main()
