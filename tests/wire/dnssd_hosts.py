"""Simulated hosts for DNS-SD tests: each has its own network, host name and /run, and may have its own D-Bus and
Avahi daemon. Nothing here touches the machine's network; a host ends with the process that holds its
namespaces."""

import os
import queue
import shutil
import signal
import subprocess
import tempfile
import threading
import time

BUS_CONFIG = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path={socket}</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/><allow own="*"/>
    <allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/>
  </policy>
</busconfig>
"""

AVAHI_CONFIG = """[server]
use-ipv4=yes
use-ipv6=yes
disallow-other-stacks=no
[wide-area]
enable-wide-area=no
[publish]
publish-hinfo=no
publish-workstation=no
"""


def why_not():
    """Why such hosts cannot be made here, or None."""
    for program in ("unshare", "nsenter", "ip", "dbus-daemon", "avahi-daemon", "avahi-browse"):
        if not shutil.which(program):
            return f"{program} is not installed"
    tried = subprocess.run(["unshare", "--net", "--mount", "--uts", "true"], capture_output=True, text=True)
    return None if tried.returncode == 0 else "this system does not allow namespaces: " + tried.stderr.strip()


class Process:
    """A process whose lines of output are read as they come."""

    def __init__(self, command, environment, program):
        self.program = program
        self.started = time.monotonic()
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                        stdin=subprocess.DEVNULL, text=True, env=environment, bufsize=1)
        self.lines = []
        self.arrived = queue.Queue()
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()

    def _read(self):
        for line in self.process.stdout:
            self.arrived.put((time.monotonic(), line.rstrip("\n")))
        self.arrived.put(None)

    def _take(self, timeout):
        item = self.arrived.get(timeout=timeout)
        if item is None:
            self.arrived.put(None)
            raise EOFError
        self.lines.append(item[1])
        return item

    def wait_for(self, wanted, seconds=10):
        """The next line for which wanted(line) is true, and the time when it came."""
        end = time.monotonic() + seconds
        while True:
            try:
                when, line = self._take(max(0.0, end - time.monotonic()))
            except (queue.Empty, EOFError):
                raise AssertionError(f"no such line in {seconds} s; seen: {self.lines}") from None
            if wanted(line):
                return line, when

    def lines_within(self, seconds):
        """The lines of the next seconds, to check what must not happen."""
        first = len(self.lines)
        end = time.monotonic() + seconds
        try:
            while True:
                self._take(max(0.0, end - time.monotonic()))
        except (queue.Empty, EOFError):
            return self.lines[first:]

    def end(self, how=signal.SIGTERM, seconds=10):
        if self.process.poll() is None:
            self.process.send_signal(how)
        try:
            self.process.wait(seconds)
        except subprocess.TimeoutExpired:
            self.process.kill()
            self.process.wait()
            raise AssertionError(f"did not end in {seconds} s; seen: {self.lines}") from None
        return self.process.returncode


class Host:
    def __init__(self, name):
        self.folder = tempfile.mkdtemp(prefix="dnssd-")
        self.holder = subprocess.Popen(["unshare", "--net", "--mount", "--uts", "cat"],
                                       stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        # cat answers once the namespaces are there.
        self.holder.stdin.write(b"\n")
        self.holder.stdin.flush()
        self.holder.stdout.read(1)
        self.processes = []
        self.bus = self.daemon = None
        self.environment = dict(os.environ, DBUS_SYSTEM_BUS_ADDRESS=f"unix:path={self.folder}/bus")
        os.makedirs("/run/avahi-daemon", exist_ok=True)
        self.run("mount", "-t", "tmpfs", "none", "/run/avahi-daemon")
        self.run("hostname", name)

    def inside(self, command):
        """The command, to be run on this host."""
        return ["nsenter", "--net", "--mount", "--uts", "-t", str(self.holder.pid), *command]

    def run(self, *command):
        done = subprocess.run(self.inside(command), capture_output=True, text=True, env=self.environment)
        if done.returncode != 0:
            raise AssertionError(f"{command}: {done.stdout}{done.stderr}")
        return done.stdout

    def start(self, *command):
        process = Process(self.inside(command), self.environment, command[0])
        self.processes.append(process)
        return process

    def up(self, link="lo"):
        self.run("ip", "link", "set", link, "up")

    def down(self, link):
        self.run("ip", "link", "set", link, "down")

    def address(self, link, address):
        self.run("ip", "address", "add", address + "/24", "dev", link)
        self.up(link)

    def start_bus(self):
        with open(self.folder + "/bus.conf", "w", encoding="utf-8") as file:
            file.write(BUS_CONFIG.format(socket=self.folder + "/bus"))
        self.bus = self.start("dbus-daemon", "--nofork", "--nopidfile", "--print-address=1",
                              "--config-file=" + self.folder + "/bus.conf")
        self.bus.wait_for(lambda line: line.startswith("unix:"))

    def start_daemon(self):
        with open(self.folder + "/avahi.conf", "w", encoding="utf-8") as file:
            file.write(AVAHI_CONFIG)
        self.run("rm", "-f", "/run/avahi-daemon/pid")
        self.daemon = self.start("avahi-daemon", "--no-chroot", "--no-drop-root", "--no-rlimits",
                                 "-f", self.folder + "/avahi.conf")
        self.daemon.wait_for(lambda line: "Server startup complete" in line, 20)

    def end_programs(self, programs):
        """Ends those of these programs that still run, and returns all that they printed."""
        lines = []
        for process in self.processes:
            if process.program in programs:
                process.end()
                process.reader.join()
                process.lines_within(1)
                lines += process.lines
        return lines

    def end(self):
        for process in reversed(self.processes):
            if process.process.poll() is None:
                process.process.send_signal(signal.SIGCONT)
                process.process.kill()
            process.process.wait()
            process.process.stdout.close()
        self.holder.stdin.close()
        self.holder.wait()
        self.holder.stdout.close()
        shutil.rmtree(self.folder)


def connect(one, other, number=1):
    """A cable between two hosts: link "net<number>" with 10.77.<number>.1 and .2."""
    link = f"net{number}"
    subprocess.run(["ip", "link", "add", link, "netns", str(one.holder.pid), "type", "veth",
                    "peer", "name", link, "netns", str(other.holder.pid)], check=True)
    one.address(link, f"10.77.{number}.1")
    other.address(link, f"10.77.{number}.2")
