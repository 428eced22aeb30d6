"""Prints Markdown tables, as in docs/performance.md."""

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
    """Prints the date and the load of the machine."""
    print("%s, load %.1f, %d processors" % (time.strftime("%Y-%m-%d"), os.getloadavg()[0], os.cpu_count()), flush=True)


def duration(microseconds):
    return "%.1f ms" % (microseconds / 1000) if microseconds >= 1000 else "%.0f µs" % microseconds


def skip(why):
    """Ends with the reason, so that CTest shows why a benchmark did not run."""
    print("SKIPPED:", why)
    sys.exit(77)
