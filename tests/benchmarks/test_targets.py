"""How figures become rows of the benchmark's table: python3 tests/benchmarks/test_targets.py."""
import pathlib
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "scripts" / "lib"))

import benchmark  # noqa: E402
import benchmark_targets  # noqa: E402


def work_out(operation, operands, comparison, limit, mux, floor=None):
    target = benchmark_targets.Target("a row", operation, operands, comparison, limit, "ms")
    return benchmark_targets.work_out(target, mux.__getitem__, (floor or {}).__getitem__)


class TargetsTest(unittest.TestCase):
    def test_a_value_is_the_muxs_figure(self):
        self.assertEqual(work_out("value", ("a",), "<=", 3.0, {"a": 3.0}), (3.0, True))
        self.assertEqual(work_out("value", ("a",), "<", 3.0, {"a": 3.0}), (3.0, False))

    def test_a_ratio_is_the_muxs_figure_by_the_floors(self):
        self.assertEqual(work_out("ratio", ("a",), ">=", 0.5, {"a": 3.0}, {"a": 4.0}), (0.75, True))
        self.assertEqual(work_out("ratio", ("a",), ">=", 0.8, {"a": 3.0}, {"a": 4.0}), (0.75, False))

    def test_above_the_floor_is_the_difference(self):
        self.assertEqual(work_out("above floor", ("a",), "<=", 1.0, {"a": 3.0}, {"a": 1.5}), (1.5, False))

    def test_growth_is_shared_by_the_units(self):
        self.assertEqual(work_out("growth per unit", ("a", "b", 10), "<=", 2.0, {"a": 5.0, "b": 15.0}), (1.0, True))


class FiguresTest(unittest.TestCase):
    def test_a_figure_is_the_median_of_its_values(self):
        figures = benchmark.Figures()
        for value in (9.0, 1.0, 2.0):
            figures.add("Mux", "a", value, "ms")
        self.assertEqual(figures.of("Mux")("a"), 2.0)

    def test_rows_of_what_was_not_measured_are_left_out(self):
        figures = benchmark.Figures()
        figures.add("Mux", "stripped size", 100.0, "KiB")
        rows = benchmark.judge(figures)
        self.assertEqual([(row["text"], row["value"], row["met"]) for row in rows],
                         [("stripped release binary", 100.0, True)])


class DistributionsTest(unittest.TestCase):
    def test_each_percentile_is_the_median_of_the_turns(self):
        distributions = benchmark.Distributions()
        for values in ([1.0, 9.0], [2.0, 7.0], [4.0, 8.0]):
            distributions.add("Mux", {"name": "a", "unit": "ms", "percents": [50, 100], "values": values})
        self.assertEqual(distributions.summary()["Mux: a"],
                         {"unit": "ms", "percents": [50, 100], "median": [2.0, 8.0],
                          "values": [[1.0, 9.0], [2.0, 7.0], [4.0, 8.0]]})


if __name__ == "__main__":
    unittest.main()
