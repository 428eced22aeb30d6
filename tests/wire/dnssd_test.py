"""DNS-SD from outside: dnssd-probe with Avahi's own daemon and browser, on this host and on others.

    dnssd_test.py PROBE MOXTEL SERVER [unittest arguments]
"""

import json
import os
import signal
import sys
import time
import unittest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from dnssd_hosts import Host, connect, why_not  # noqa: E402

TYPE = "_moxtelserver._tcp."
PROBE = "dnssd-probe"
MOXTEL = "moxtel"
SERVER = "moxtelserverd"
FLOOD = os.path.join(os.path.dirname(os.path.abspath(__file__)), "dnssd_flood.py")


def event(*parts):
    """Matches a line of the probe with these parts after the time."""
    return lambda line: line.split("\t")[1:1 + len(parts)] == list(parts)


def seen_by_avahi(name, sign="="):
    """A line of avahi-browse -p: '+' seen, '=' resolved, '-' gone."""
    return lambda line: line.startswith(sign + ";") and line.split(";")[3] == name


class DnsSdTest(unittest.TestCase):
    def setUp(self):
        self.hosts = []

    def tearDown(self):
        reports = [line for host in self.hosts for line in host.end_programs((PROBE, MOXTEL, SERVER))
                   if "Sanitizer" in line or "runtime error" in line]
        for host in self.hosts:
            host.end()
        self.assertEqual(reports, [])

    def host(self, name="alpha", daemon=False, loopback=True):
        host = Host(name)
        self.hosts.append(host)
        if loopback:
            host.up()
        if daemon:
            host.start_bus()
            host.start_daemon()
        return host

    def pair(self, daemon_here=False, daemon_there=False):
        here, there = self.host("alpha"), self.host("beta")
        connect(here, there)
        for host, wanted in ((here, daemon_here), (there, daemon_there)):
            if wanted:
                host.start_bus()
                host.start_daemon()
        return here, there

    @staticmethod
    def publish(host, name, *options, port="4250"):
        return host.start(PROBE, *options, "publish", name, TYPE, port)

    @staticmethod
    def browse(host, *options):
        return host.start(PROBE, *options, "browse", TYPE)

    @staticmethod
    def serve(host):
        """The real server, with its own settings and without a library."""
        host.environment["XDG_CONFIG_HOME"] = host.folder
        return host.start(SERVER, "-Port", "4250", "-WebPort", "0", "-LibraryPath", host.folder + "/nothing")

    @staticmethod
    def avahi_browse(host):
        return host.start("avahi-browse", "-rp", "--no-db-lookup", TYPE.rstrip("."))

    def check_seen_from_outside(self, daemon_here):
        here, there = self.pair(daemon_here=daemon_here, daemon_there=True)
        browser = self.avahi_browse(there)
        probe = self.publish(here, "Photos")
        probe.wait_for(event("published", "Photos", "Avahi daemon" if daemon_here else "built-in responder"))
        line, _ = browser.wait_for(seen_by_avahi("Photos"))
        parts = line.split(";")
        self.assertEqual(parts[4:10], ["_moxtelserver._tcp", "local", "alpha.local", "10.77.1.1", "4250", ""])
        self.assertEqual(probe.end(), 0)
        # After a goodbye the record lives for one second more.
        browser.wait_for(seen_by_avahi("Photos", "-"), 5)

    def test_avahi_browse_elsewhere_sees_a_server_without_daemon_come_and_go(self):
        self.check_seen_from_outside(daemon_here=False)

    def test_avahi_browse_elsewhere_sees_a_server_with_daemon_come_and_go(self):
        self.check_seen_from_outside(daemon_here=True)

    def test_two_hosts_without_daemon_find_each_other(self):
        here, there = self.pair()
        browser = self.browse(there)
        self.publish(here, "Photos").wait_for(event("published", "Photos"))
        browser.wait_for(event("resolved", "Photos", "alpha.local", "4250", "10.77.1.1"))

    def test_loopback_alone_is_enough(self):
        host = self.host()
        browser = self.browse(host)
        self.publish(host, "Photos").wait_for(event("published", "Photos"))
        browser.wait_for(event("resolved", "Photos", "alpha.local", "4250", "127.0.0.1"))

    def test_daemon_and_responder_on_one_machine_see_each_other(self):
        host = self.host(daemon=True)
        inside, outside = self.browse(host, "--embedded"), self.browse(host, "--daemon")
        self.publish(host, "By Daemon", "--daemon").wait_for(event("published", "By Daemon"))
        self.publish(host, "By Itself", "--embedded", port="4251").wait_for(event("published", "By Itself"))
        waiting = {"By Daemon": "4250", "By Itself": "4251"}
        for browser in (inside, outside):
            left = dict(waiting)
            while left:
                line, _ = browser.wait_for(lambda text: text.split("\t")[1] == "resolved")
                _, _, name, hostname, port = line.split("\t")[:5]
                self.assertEqual((hostname, port), ("alpha.local", left.pop(name)))

    def test_a_taken_name_gets_a_number(self):
        here, there = self.pair()
        self.publish(here, "Photos").wait_for(event("published", "Photos"))
        self.publish(there, "Photos").wait_for(event("renamed", "Photos #2"))
        browser = self.browse(here)
        names = {browser.wait_for(lambda text: text.split("\t")[1] == "found")[0].split("\t")[2]
                 for _ in range(2)}
        self.assertEqual(names, {"Photos", "Photos #2"})

    def test_a_name_taken_at_the_daemon_gets_a_number(self):
        host = self.host(daemon=True)
        self.publish(host, "Photos").wait_for(event("published", "Photos"))
        # On another port: the same name, host and port would be the same service.
        self.publish(host, "Photos", port="4251").wait_for(event("renamed", "Photos #2", "Avahi daemon"))

    def test_another_responder_on_this_machine_has_another_host_name(self):
        # As in a container with the network of its host and a host name of its own.
        here, there = self.pair(daemon_here=True)
        browser = self.browse(there)
        here.environment["DBUS_SYSTEM_BUS_ADDRESS"] = "unix:path=" + here.folder + "/nothing"
        probe = here.start("unshare", "--uts", "sh", "-c", 'hostname gamma; exec "$0" publish Photos %s 4250' % TYPE,
                           PROBE)
        probe.wait_for(event("published", "Photos", "built-in responder"))
        line, _ = browser.wait_for(event("resolved", "Photos"))
        self.assertRegex(line, "\\tgamma-[0-9a-f]{4}\\.local\\t4250\\t10\\.77\\.1\\.1$")
        here.run("ip", "address", "del", "10.77.1.1/24", "dev", "net1")
        here.address("net1", "10.77.1.9")
        probe.wait_for(event("published", "Photos", "built-in responder"), 15)
        later = self.browse(there)
        line, _ = later.wait_for(event("resolved", "Photos"))
        self.assertTrue(line.endswith("\t10.77.1.9"), line)

    def test_a_killed_client_of_the_daemon_is_withdrawn_by_it(self):
        host = self.host(daemon=True)
        probe = self.publish(host, "Photos")
        probe.wait_for(event("published", "Photos", "Avahi daemon"))
        browser = self.browse(host)
        browser.wait_for(event("found", "Photos"))
        probe.end(signal.SIGKILL)
        browser.wait_for(event("removed", "Photos"), 5)

    def test_a_killed_server_stays_listed_and_gets_its_name_back(self):
        here, there = self.pair()
        browser = self.browse(there)
        probe = self.publish(here, "Photos")
        probe.wait_for(event("published", "Photos"))
        browser.wait_for(event("resolved", "Photos"))
        probe.end(signal.SIGKILL)
        self.assertEqual(browser.lines_within(3), [])
        self.publish(here, "Photos").wait_for(event("published", "Photos"))

    def test_a_killed_server_is_not_found_by_a_new_browser(self):
        # A browser that has seen it keeps its name for 75 minutes, the lifetime that Avahi gives such a record.
        here, there = self.pair()
        probe = self.publish(here, "Photos")
        probe.wait_for(event("published", "Photos"))
        self.browse(there).wait_for(event("resolved", "Photos"))
        probe.end(signal.SIGKILL)
        self.assertEqual(self.browse(there).lines_within(3), [])
        there.start(PROBE, "resolve", "Photos", TYPE).wait_for(event("not-resolved", "Photos"))

    def check_the_server_says_goodbye(self, how, daemon_here=False):
        here, there = self.pair(daemon_here=daemon_here)
        browser = self.browse(there)
        server = self.serve(here)
        by = "Avahi daemon" if daemon_here else "built-in responder"
        server.wait_for(lambda line: line.endswith(
            f'Info:  Published as "alpha" at 10.77.1.1, port 4250 ({by})'), 30)
        browser.wait_for(event("resolved", "alpha", "alpha.local", "4250", "10.77.1.1"))
        self.assertEqual(server.end(how), 0, server.lines)
        # After a goodbye the record lives for one second more.
        browser.wait_for(event("removed", "alpha"), 5)

    def test_the_server_says_goodbye_when_it_is_terminated(self):
        self.check_the_server_says_goodbye(signal.SIGTERM)

    def test_the_server_says_goodbye_when_it_is_interrupted(self):
        self.check_the_server_says_goodbye(signal.SIGINT)

    def test_the_server_says_goodbye_through_a_daemon(self):
        self.check_the_server_says_goodbye(signal.SIGTERM, daemon_here=True)

    def test_the_responder_takes_over_from_a_daemon_that_dies_and_hands_back(self):
        here, there = self.pair(daemon_here=True)
        probe = self.publish(here, "Photos")
        probe.wait_for(event("published", "Photos", "Avahi daemon"))
        browser = self.browse(there)
        browser.wait_for(event("resolved", "Photos"))
        local = self.browse(here)
        local.wait_for(event("resolved", "Photos"))

        here.daemon.end(signal.SIGKILL)
        probe.wait_for(event("pending", "Photos"))
        probe.wait_for(event("published", "Photos", "built-in responder"))
        local_lines = local.lines_within(6)
        self.assertEqual([line for line in local_lines if "removed" in line], [])

        here.start_daemon()
        probe.wait_for(event("published", "Photos", "Avahi daemon"), 15)
        later = self.browse(there)
        later.wait_for(event("resolved", "Photos", "alpha.local", "4250", "10.77.1.1"))

    def test_a_daemon_that_is_restarted_at_once_is_waited_for(self):
        host = self.host(daemon=True)
        probe = self.publish(host, "Photos")
        probe.wait_for(event("published", "Photos", "Avahi daemon"))
        host.daemon.end()
        host.start_daemon()
        probe.wait_for(event("published", "Photos", "Avahi daemon"), 15)
        self.assertFalse([line for line in probe.lines if "built-in" in line], probe.lines)

    def test_a_bus_and_a_daemon_that_come_later_are_used(self):
        host = self.host()
        probe = self.publish(host, "Photos")
        probe.wait_for(event("published", "Photos", "built-in responder"))
        host.start_bus()
        host.start_daemon()
        probe.wait_for(event("published", "Photos", "Avahi daemon"), 20)
        self.browse(host, "--daemon").wait_for(event("resolved", "Photos"))

    def test_does_not_wait_for_a_daemon_on_a_bus_without_one(self):
        host = self.host()
        host.start_bus()
        probe = self.publish(host, "Photos")
        line, _ = probe.wait_for(event("published", "Photos", "built-in responder"))
        self.assertLess(int(line.split("\t")[0]), 6000)

    def test_a_daemon_that_hangs_stops_neither_start_nor_end(self):
        host = self.host(daemon=True)
        host.daemon.process.send_signal(signal.SIGSTOP)
        probe = self.publish(host, "Photos")
        probe.wait_for(event("published", "Photos", "built-in responder"))
        self.assertEqual(probe.end(), 0)

    def test_a_daemon_that_hangs_later_does_not_delay_the_end(self):
        host = self.host(daemon=True)
        probe = self.publish(host, "Photos")
        probe.wait_for(event("published", "Photos", "Avahi daemon"))
        host.daemon.process.send_signal(signal.SIGSTOP)
        before = time.monotonic()
        self.assertEqual(probe.end(), 0)
        self.assertLess(time.monotonic() - before, 8)

    def test_an_interface_that_comes_later_is_served(self):
        here, there = self.host("alpha", loopback=False), self.host("beta")
        self.publish(here, "Photos").wait_for(event("published", "Photos"))
        browser = self.browse(there)
        connect(here, there)
        browser.wait_for(event("resolved", "Photos", "alpha.local", "4250", "10.77.1.1"), 15)

    def test_a_service_that_leaves_one_of_two_interfaces_stays(self):
        here, there = self.pair()
        connect(here, there, 2)
        browser = self.browse(there)
        self.publish(here, "Photos").wait_for(event("published", "Photos"))
        browser.wait_for(event("resolved", "Photos"))
        self.assertEqual(browser.lines_within(2), [])
        there.down("net1")
        self.assertEqual(browser.lines_within(2), [])
        there.down("net2")
        browser.wait_for(event("removed", "Photos"))

    def test_long_names_are_cut_between_characters(self):
        host = self.host("h" * 64)
        browser = self.browse(host)
        cut = "ä" * 31
        self.publish(host, "ä" * 40).wait_for(event("published", cut))
        line, _ = browser.wait_for(event("resolved", cut))
        self.assertEqual(line.split("\t")[3], "h" * 63 + ".local")

    def test_malformed_utf8_and_special_characters_in_names(self):
        host = self.host(daemon=True)
        probe = host.start(PROBE, "publish", b"a\xff\xfe.b\\;c d", TYPE, "4250")
        wanted = "a\ufffd\ufffd.b\\;c d"
        probe.wait_for(event("published", wanted, "Avahi daemon"))
        self.browse(host, "--daemon").wait_for(event("resolved", wanted))
        self.browse(host, "--embedded").wait_for(event("resolved", wanted))

    def test_reports_what_cannot_be_published(self):
        host = self.host()
        host.start(PROBE, "publish", "Photos", "no type", "4250").wait_for(event("failed", "Photos"))

    def test_a_missing_service_is_not_resolved(self):
        host = self.host()
        probe = host.start(PROBE, "resolve", "Nobody", TYPE)
        line, _ = probe.wait_for(event("not-resolved", "Nobody"))
        self.assertGreaterEqual(int(line.split("\t")[0]), 4900)

    def test_a_flood_of_names_is_cut(self):
        here, there = self.pair()
        flood = there.start(sys.executable, "-B", FLOOD, "10.77.1.2", "short", "500")
        flood.wait_for(lambda line: line == "ready")
        browser = self.browse(here, "--embedded")
        flood.wait_for(lambda line: line == "announced")
        # Each name that was found is looked up for five seconds.
        browser.wait_for(lambda line: line.split("\t")[1] == "not-resolved", 30)
        found = [line for line in browser.lines if line.split("\t")[1] == "found"]
        self.assertGreater(len(found), 32)  # after these, moxtel stops browsing
        self.assertLessEqual(len(found), 128)

    def test_moxtel_browse_lists_the_servers(self):
        here, there = self.pair()
        self.publish(here, "Photos \x1b[31m").wait_for(event("published"))
        self.publish(there, "Archive", port="4251").wait_for(event("published"))
        text = there.run(MOXTEL, "browse")
        self.assertEqual(len(text.splitlines()), 2, text)
        self.assertIn("10.77.1.1:4250  Photos \\u001b[31m  (alpha.local)", text.splitlines())
        servers = json.loads(here.run(MOXTEL, "--json", "browse"))
        self.assertEqual([(server["name"], server["host"], server["port"]) for server in servers],
                         [("Archive", "beta.local", 4251), ("Photos \x1b[31m", "alpha.local", 4250)])

    def test_moxtel_asks_the_only_server(self):
        here, there = self.pair()
        self.publish(here, "Photos").wait_for(event("published", "Photos"))
        # No server listens there: the message shows the address.
        client = there.start(MOXTEL, "version")
        client.wait_for(lambda line: line.startswith("moxtel: could not connect to 10.77.1.1, port 4250: "))
        self.assertEqual(client.process.wait(10), 1)

    def test_moxtel_says_that_there_is_no_server(self):
        client = self.host().start(MOXTEL, "version")
        client.wait_for(lambda line: line == "moxtel: no server was found on the network; name one with --host")
        self.assertEqual(client.process.wait(10), 1)


if __name__ == "__main__":
    reason = why_not()
    if reason:
        print("skipped:", reason)
        sys.exit(77)
    PROBE = os.path.abspath(sys.argv.pop(1))
    MOXTEL = os.path.abspath(sys.argv.pop(1))
    SERVER = os.path.abspath(sys.argv.pop(1))
    unittest.main(verbosity=2)
