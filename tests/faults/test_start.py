"""Every system call of the server's start fails in turn: the server serves nevertheless, or ends with a message."""

import collections
import os
import signal
import unittest

import faultserver
import moxteltest
from faultserver import CallControl, FaultTestCase, TracedServer
from test_calls import FAULTS, INFALLIBLE, faults_of, sample


class Start(FaultTestCase):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.numbers = faultserver.call_numbers()
        cls.names = {number: name for name, number in cls.numbers.items()}

    def counts(self):
        server = TracedServer(self.library, wait=False)
        server.control.arm()
        with server:
            self.wait_until_up(server)
            server.control.disarm()
            counts = server.control.counts()
            self.answers_right(server)
            self.answers_right(server)
            moxteltest.wait_for(lambda: not faultserver.has_connection(server), "the client to be gone")
            self.base = self.open_in(server)
        names = {self.names.get(call, str(call)): count for call, count in counts.items()}
        self.assertFalse(set(names) - set(FAULTS) - INFALLIBLE, "calls that are neither in FAULTS nor in INFALLIBLE")
        return {name: count for name, count in sorted(names.items()) if name in FAULTS}

    @staticmethod
    def wait_until_up(server):
        """Until it listens, or has ended."""
        moxteltest.wait_for(lambda: server.process.poll() is not None or any(
            local == server.port and state == moxteltest.TCP_LISTEN
            for local, _, state, _ in moxteltest.tcp_sockets()), "the server to listen or to end")

    def start_hurt(self, name, nth, how):
        """ "serves", "ends" or "cannot listen"; None when there was no such call."""
        server = TracedServer(self.library, wait=False)
        server.control.arm(self.numbers[name], nth, **how)
        server.__enter__()
        try:
            try:
                self.wait_until_up(server)
            except AssertionError:
                # A server without a port says so and waits for its user to do something about it.
                self.assertRegex(server.console() + server.log(), "Cannot listen|could not")
                return "reports that it cannot listen"
            server.control.disarm()
            if not server.control["fired"]:
                return None
            where = server.control.description()
            if server.process.poll() is not None:
                self.assertNotEqual(server.process.returncode, 0)
                said = (server.console() + server.log()).strip()
                if "avahi_" in said and "Assertion" in said:
                    return "aborted by the DNS-SD library"
                self.assertTrue(said, "%s: ended with %d and without a word" % (where, server.process.returncode))
                self.assertLess(server.process.returncode, 128, "%s: %s" % (where, said))
                return "ends with a message"
            return self.serves(server)
        finally:
            where = server.control.description()
            if os.environ.get("MOXTEL_FAULTS_TRACE"):
                print(name, nth, how, where, server.process.poll(), flush=True)
            server.stop()

    def serves(self, server):
        """What could not be read at the start may be missing until the user reloads: a file whose state could not be
        asked for counts as one that is not there."""
        try:
            self.answers_right(server)
            return "serves"
        except AssertionError:
            self.reload(server)
            self.answers_right(server)
            return "serves correctly after a reload"

    @staticmethod
    def reload(server):
        before = server.log().count("RELOAD DATABASE")
        os.kill(server.pid(), signal.SIGHUP)
        moxteltest.wait_for(lambda: server.log().count("RELOAD DATABASE") > before, "the reload")

    def test_each_call(self):
        totals = collections.Counter()
        step = 1 if faultserver.IS_FULL else int(os.environ.get("MOXTEL_FAULTS_STEP", 12))
        number = 0
        for name, count in self.counts().items():
            for nth in sample(count, faultserver.IS_FULL, 60):
                for fault, how in faults_of(name):
                    number += 1
                    if number % step:
                        continue
                    with self.subTest(call=name, nth=nth, fault=fault):
                        totals[self.start_hurt(name, nth, how)] += 1
        totals.pop(None, None)
        self.assertTrue(totals["serves"])
        self.rows.append(("every call" if step == 1 else "every %dth" % step, sum(totals.values()), dict(totals)))


if __name__ == "__main__":
    faultserver.need_tracing()
    unittest.main()
