"""Tables as docs/performance.md has them."""

import os
import sys
import time


def row(*cells):
    print("| " + " | ".join(str(cell) for cell in cells) + " |", flush=True)


def head(*cells):
    print()
    row(*cells)
    row(*("---" for _ in cells))


def conditions():
    """When, and beside what other work."""
    print("%s, load %.1f, %d processors" % (time.strftime("%Y-%m-%d"), os.getloadavg()[0], os.cpu_count()), flush=True)


def duration(microseconds):
    return "%.1f ms" % (microseconds / 1000) if microseconds >= 1000 else "%.0f µs" % microseconds


def skip(why):
    """For CTest, which then shows why a benchmark did not run."""
    print("SKIPPED:", why)
    sys.exit(77)
