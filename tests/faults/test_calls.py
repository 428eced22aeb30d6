"""Every system call that the server makes for a request fails in turn."""

import collections
import errno
import os
import signal
import unittest

import faultserver
import moxteltest
from faultserver import CallControl, FaultTestCase, Requests, TracedServer

SHORT = "short"

# How each call can fail. Errors that Linux documents for it and that a sound program may meet; "short": a part
# only is done.
FAULTS = {
    "accept4": ("EMFILE", "ENFILE", "ENOMEM", "ECONNABORTED", "EINTR", "EAGAIN", "EPERM"),
    "access": ("EACCES", "EIO"),
    "bind": ("EADDRINUSE", "EACCES"),
    "brk": ("ENOMEM",),
    "clone": ("EAGAIN", "ENOMEM"),
    "clone3": ("EAGAIN", "ENOMEM"),
    "close": ("EINTR", "EIO"),
    "connect": ("ECONNREFUSED", "EINTR", "ENETUNREACH"),
    "dup": ("EMFILE",),
    "dup2": ("EMFILE", "EINTR"),
    "dup3": ("EMFILE", "EINTR"),
    "close_range": ("EMFILE",),
    "eventfd2": ("EMFILE", "ENFILE"),
    "execve": ("ENOMEM", "EACCES"),
    "fcntl": ("EAGAIN", "ENOLCK", "EINTR", "EMFILE"),
    "fstat": ("EIO", "ENOMEM"),
    "get_mempolicy": ("EPERM", "ENOSYS"),
    "getdents64": ("EIO", "EBADF"),
    "getrandom": ("EINTR", "ENOSYS"),
    "getsockname": ("ENOBUFS",),
    "getsockopt": ("ENOBUFS",),
    "ioctl": ("EIO", "ENOTTY"),
    "kill": ("EPERM",),
    "listen": ("EADDRINUSE",),
    "lseek": ("ESPIPE",),
    "lstat": ("EIO", "EACCES"),
    "madvise": ("EINVAL",),
    "mkdir": ("ENOSPC", "EACCES"),
    "mkdirat": ("ENOSPC", "EACCES"),
    "mmap": ("ENOMEM",),
    "mprotect": ("ENOMEM",),
    "mremap": ("ENOMEM",),
    "newfstatat": ("EIO", "EACCES", "ENOMEM"),
    "openat": ("EMFILE", "ENFILE", "EIO", "EACCES", "EINTR", "ENOMEM"),
    "pidfd_open": ("ENOSYS", "EMFILE"),
    "pipe2": ("EMFILE", "ENFILE"),
    "poll": ("EINTR", "ENOMEM"),
    "ppoll": ("EINTR", "ENOMEM"),
    "prctl": ("EINVAL",),
    "pread64": ("EIO", "EINTR", SHORT),
    "prlimit64": ("EPERM",),
    "pwrite64": ("ENOSPC", "EIO", SHORT),
    "read": ("EIO", "EINTR", "EAGAIN", SHORT),
    "readlink": ("EACCES", "EIO"),
    "readlinkat": ("EACCES", "EIO"),
    "recvfrom": ("ECONNRESET", "ETIMEDOUT", "EINTR", "EAGAIN", "ENOMEM", SHORT),
    "recvmsg": ("EINTR", "EAGAIN", "ENOMEM"),
    "rename": ("ENOSPC", "EACCES"),
    "rmdir": ("EACCES", "EBUSY"),
    "sendmsg": ("EPIPE", "ECONNRESET", "ENOBUFS", "EINTR", "EAGAIN", SHORT),
    "sendto": ("EPIPE", "EINTR", "EAGAIN", SHORT),
    "set_mempolicy": ("EPERM",),
    "setsockopt": ("ENOPROTOOPT", "ENOMEM"),
    "shutdown": ("ENOTCONN",),
    "socket": ("EMFILE", "ENOBUFS"),
    "stat": ("EIO", "EACCES"),
    "statfs": ("EIO",),
    "statx": ("EIO", "EACCES", "ENOMEM"),
    "unlink": ("EACCES", "EIO"),
    "unlinkat": ("EACCES", "EIO"),
    "vfork": ("EAGAIN", "ENOMEM"),
    "wait4": ("EINTR", "ECHILD"),
    "write": ("ENOSPC", "EIO", "EINTR", "EAGAIN", SHORT),
    "writev": ("ENOSPC", "EIO", "EINTR", SHORT),
}

# These cannot fail, or only when the program gives nonsense; or they end a thread.
SURE = {"arch_prctl", "clock_gettime", "clock_nanosleep", "exit", "exit_group", "futex", "getegid", "geteuid", "getgid",
        "getpid", "getppid", "getresgid", "getresuid", "gettid", "getuid", "gettimeofday", "munmap", "nanosleep",
        "restart_syscall", "rseq", "rt_sigaction", "rt_sigpending", "rt_sigprocmask", "rt_sigreturn", "rt_sigtimedwait", "sched_getaffinity",
        "sched_yield", "set_robust_list", "set_tid_address", "setpgid", "sigaltstack", "sysinfo", "tgkill", "time",
        "umask", "uname", "fadvise64", "membarrier"}

# A call that fails and yet has done its work.
DONE_ALL_THE_SAME = {"close"}

# What a sound server makes good by itself, so that the client gets the right reply all the same: a call that is to be
# made once more, a part that is to be followed by the rest, a line of the log that cannot be written.
MADE_GOOD = {
    "accept4": ("ECONNABORTED", "EINTR", "EAGAIN"),
    "close": FAULTS["close"],
    "poll": ("EINTR",),
    "ppoll": ("EINTR",),
    "pread64": ("EINTR", SHORT),
    "recvfrom": ("EINTR", "EAGAIN"),
    "sendmsg": ("EINTR", "EAGAIN", SHORT),
    "sendto": ("EINTR", "EAGAIN", SHORT),
    "wait4": ("EINTR",),
    "write": FAULTS["write"],
    "writev": FAULTS["writev"],
}


def faults_of(name):
    for fault in FAULTS[name]:
        if fault == SHORT:
            yield fault, {"action": CallControl.SHORTEN}
        else:
            action = CallControl.FAIL_AFTERWARDS if name in DONE_ALL_THE_SAME else CallControl.FAIL_INSTEAD
            yield fault, {"action": action, "error": getattr(errno, fault)}


def sample(count, whole, most):
    """The calls of which each fails in turn: all of them, or not more than so many, the first ones among them."""
    if whole or count <= most:
        return range(1, count + 1)
    first = most // 2
    return [*range(1, first + 1), *range(first + 1, count + 1, -(-(count - first) // (most - first)))]


class Calls(FaultTestCase):
    SOME = 20  # faults for each request; all of them take an hour

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.numbers = faultserver.call_numbers()
        cls.names = {number: name for name, number in cls.numbers.items()}

    def count(self, server, whose, do):
        """How often each call is made while something is done."""
        server.control.arm()
        do()
        server.control.disarm()
        counts = {self.names.get(call, str(call)): number for call, number in server.control.counts(whose).items()}
        unknown = set(counts) - set(FAULTS) - SURE
        self.assertFalse(unknown, "calls that nobody thought of")
        return {name: number for name, number in sorted(counts.items()) if name in FAULTS}

    def fresh_server(self, *arguments):
        """After a failure: the old one may hang, or have ended."""
        if self.server:
            self.server.process.kill()
            self.server.process.wait()
        self.server = TracedServer(self.library, *arguments)
        self.addCleanup(self.server.stop)
        self.server.__enter__()
        self.note_base(self.server)

    def inject(self, name, nth, fault, how, whose, do, expected):
        """Does something while a call fails. What the client saw, or None when there was no such call."""
        control = self.server.control
        control.arm(self.numbers[name], nth, whose=whose, **how)
        try:
            kind = do().kind(expected)
        finally:
            control.disarm()
        if not control["fired"]:
            return None
        if os.environ.get("MOXTEL_FAULTS_TRACE"):
            print(name, nth, fault, control.description(), kind)
        self.is_sound(self.server)
        if whose == CallControl.SERVER and fault in MADE_GOOD.get(name, ()):
            self.assertEqual(kind, "right")
        return kind

    def cases(self, counts):
        """Every call with every fault, or some of them, evenly from all."""
        cases = [(name, nth, fault, how) for name, number in counts.items()
                 for nth in sample(number, faultserver.IS_FULL, 60) for fault, how in faults_of(name)]
        step = 1 if faultserver.IS_FULL else -(-len(cases) // self.SOME)
        # Not the same ones for every request.
        return cases[len(self.rows) % step::step]

    def in_turn(self, what, whose, do, expected):
        """How often the client saw what while a call failed."""
        totals = collections.Counter()
        for name, nth, fault, how in self.cases(self.count(self.server, whose, do)):
            with self.subTest(what=what, call=name, nth=nth, fault=fault):
                try:
                    kind = self.inject(name, nth, fault, how, whose, do, expected)
                except Exception as problem:
                    where = self.server.control.description()
                    self.fresh_server()
                    self.fail("%s of '%s': %s" % (fault, where, problem))
                if kind:
                    totals[kind] += 1
        return totals

    def ask(self, request):
        data = moxteltest.request(request[0], **request[1])
        return lambda: faultserver.ask_once(self.server.port, data)

    def setUp(self):
        self.server = None
        self.fresh_server()

    def look_at(self, what, whose, do, expected):
        totals = self.in_turn(what, whose, do, expected)
        self.assertTrue(totals, "no call failed")
        self.rows.append((what, sum(totals.values()), dict(totals)))
        print(self.rows[-1], flush=True)

    def test_each_call_for_each_request(self):
        for request in self.requests.all:
            name = Requests.name(request)
            self.look_at(name, CallControl.SERVER, self.ask(request), self.expected[name])
        self.server.__exit__(None)

    def test_each_call_of_a_helper(self):
        for request in (("Image of Photo", {"key": self.requests.png}),
                        ("Metadata of Photo", {"key": self.requests.tiff})):
            name = Requests.name(request)
            self.look_at("helper of " + name, CallControl.CHILDREN, self.ask(request), self.expected[name])
        self.server.__exit__(None)

    # What a full disk, a full table of descriptors or a machine without memory is like.
    SHORTAGES = (("write", "ENOSPC"), ("openat", "EMFILE"), ("openat", "ENOMEM"), ("pipe2", "EMFILE"),
                 ("mmap", "ENOMEM"))

    def test_a_shortage_that_lasts(self):
        """Until the request is answered."""
        for name, error in self.SHORTAGES:
            totals = collections.Counter()
            how = {"action": CallControl.FAIL_INSTEAD, "error": getattr(errno, error), "repeat": -1}
            for request in self.requests.all:
                what = Requests.name(request)
                with self.subTest(call=name, error=error, request=what):
                    kind = self.inject(name, 1, error, how, CallControl.SERVER, self.ask(request), self.expected[what])
                    totals.update([kind] if kind else [])
            self.assertTrue(totals, "%s was never called" % name)
            self.rows.append(("shortage: %s %s" % (name, error), sum(totals.values()), dict(totals)))
            print(self.rows[-1], flush=True)
        self.server.__exit__(None)

    def test_a_client_that_comes_while_descriptors_are_short(self):
        """It waits, and is served as soon as there are some again."""
        control = self.server.control
        control.arm(self.numbers["accept4"], repeat=-1, error=errno.EMFILE)
        with moxteltest.Client(self.server, faultserver.PATIENCE) as client:
            client.send("Get Albums")
            moxteltest.wait_for(lambda: control["fired"] > 3, "the server to try again")
            control.disarm()
            self.assertEqual([client.receive_raw()], self.expected["Get Albums"])
        self.is_sound(self.server)
        self.rows.append(("shortage: accept4 EMFILE", 1, {"right": 1}))
        self.server.__exit__(None)

    def reload(self, request):
        """What the server keeps is thrown away and read anew, and then asked for."""
        data = moxteltest.request(request[0], **request[1])

        def do():
            before = self.server.log().count("RELOAD DATABASE")
            os.kill(self.server.pid(), signal.SIGHUP)
            try:
                moxteltest.wait_for(lambda: self.server.log().count("RELOAD DATABASE") > before, "the reload", 1)
            except AssertionError:
                pass  # The line could not be written, or the signal was not told.
            return faultserver.ask_once(self.server.port, data)
        return do

    def test_each_call_of_a_reload(self):
        for request in (("Get Albums", {}), ("Get Events", {}), ("Get Faces", {})):
            name = Requests.name(request)
            self.look_at("reload, then " + name, CallControl.SERVER, self.reload(request), self.expected[name])
        self.server.__exit__(None)


if __name__ == "__main__":
    faultserver.need_tracing()
    unittest.main()
