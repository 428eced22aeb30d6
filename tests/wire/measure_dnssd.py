"""Measures DNS-SD between two simulated hosts: from the start of the publishing process until a process on
the other host has found and resolved the service, and the processor time that both take in an idle minute.

    measure_dnssd.py PROBE [rounds]
"""

import os
import statistics
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dnssd_hosts import Host, connect, why_not  # noqa: E402

TYPE = "_moxtelserver._tcp."


def event(what):
    return lambda line: line.split("\t")[1] == what


def processor_seconds(process):
    with open(f"/proc/{process.process.pid}/stat", encoding="utf-8") as file:
        fields = file.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def idle_minute(processes):
    time.sleep(5)
    before = [processor_seconds(process) for process in processes]
    time.sleep(60)
    return [processor_seconds(process) - start for process, start in zip(processes, before)]


def measure(probe, daemon, is_last):
    here, there = Host("alpha"), Host("beta")
    try:
        here.up()
        there.up()
        connect(here, there)
        if daemon:
            here.start_bus()
            here.start_daemon()
        browser = there.start(probe, "browse", TYPE)
        time.sleep(3)  # the browser has asked its questions
        publisher = here.start(probe, "publish", "Photos", TYPE, "4250")
        times = [browser.wait_for(event(what))[1] - publisher.started for what in ("found", "resolved")]
        times.append(publisher.wait_for(event("published"))[1] - publisher.started)
        return times, idle_minute((publisher, browser)) if is_last else None
    finally:
        here.end()
        there.end()


def main():
    reason = why_not()
    if reason:
        sys.exit("cannot measure: " + reason)
    probe = os.path.abspath(sys.argv[1])
    rounds = int(sys.argv[2]) if len(sys.argv) > 2 else 5
    for daemon in (False, True):
        results = [measure(probe, daemon, number == rounds - 1) for number in range(rounds)]
        print("with a daemon" if daemon else "without a daemon")
        for what, times in zip(("found", "resolved", "published"), zip(*(result[0] for result in results))):
            print(f"  {what}: median {statistics.median(times):.2f} s, most {max(times):.2f} s")
        publisher, browser = results[-1][1]
        print(f"  idle minute: publisher {publisher:.2f} s, browser {browser:.2f} s of processor time", flush=True)


if __name__ == "__main__":
    main()
