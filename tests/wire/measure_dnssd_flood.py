"""Measures what names that another device announces cost a search: the processor time of `moxtel browse` on a simulated
host, minus the time that it takes with 32 such names, at which it stops browsing.

    measure_dnssd_flood.py MOXTEL [rounds]
"""

import os
import statistics
import subprocess
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dnssd_hosts import Host, connect, why_not  # noqa: E402

FLOOD = os.path.join(os.path.dirname(os.path.abspath(__file__)), "dnssd_flood.py")


def processor_seconds(moxtel, daemon, kind, names):
    here, there = Host("alpha"), Host("beta")
    try:
        here.up()
        there.up()
        connect(here, there)
        if daemon:
            here.start_bus()
            here.start_daemon()
        flood = there.start(sys.executable, "-B", FLOOD, "10.77.1.2", kind, str(names))
        flood.wait_for(lambda line: line == "ready")
        search = subprocess.Popen(here.inside([moxtel, "browse"]), env=here.environment, stdout=subprocess.DEVNULL,
                                  stderr=subprocess.DEVNULL)
        _, _, used = os.wait4(search.pid, 0)
        flood.wait_for(lambda line: line == "announced", 1)
        return used.ru_utime + used.ru_stime
    finally:
        here.end()
        there.end()


def main():
    reason = why_not()
    if reason:
        sys.exit("cannot measure: " + reason)
    moxtel = os.path.abspath(sys.argv[1])
    rounds = int(sys.argv[2]) if len(sys.argv) > 2 else 3
    for daemon in (False, True):
        for kind in ("short", "long"):
            def median(names):
                return statistics.median(processor_seconds(moxtel, daemon, kind, names) for _ in range(rounds))
            base = median(32)
            costs = ", ".join(f"{names:,}: {1000 * (median(names) - base):.0f} ms" for names in (1000, 2000, 4000))
            print(f"{'with' if daemon else 'without'} a daemon, {kind} names, base {1000 * base:.0f} ms, {costs}",
                  flush=True)


if __name__ == "__main__":
    main()
