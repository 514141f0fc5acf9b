"""What a soak counts, and what it finds wrong. Any thread may use it."""
import collections
import threading


class Tally:
    def __init__(self):
        self.lock = threading.Lock()
        self.counts = collections.Counter()
        self.findings = []

    def add(self, what, number=1):
        with self.lock:
            self.counts[what] += number

    def find(self, text):
        with self.lock:
            self.findings.append(text)

    def table(self):
        width = max(map(len, self.counts), default=0)
        return "\n".join(f"  {what:<{width}}  {number:>10,}" for what, number in sorted(self.counts.items()))
