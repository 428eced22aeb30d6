"""Makes each system call of the server fail, one after another, while it handles requests."""

import collections
import errno
import os
import signal
import unittest

import faultserver
import moxteltest
from faultserver import CallControl, FaultTestCase, Requests, TracedServer

SHORT = "short"

# The injected faults by call: errors that Linux documents for the call and that a correct program may get, or
# "short", a partial result.
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
    "epoll_create1": ("EMFILE", "ENFILE"),
    "epoll_ctl": ("ENOMEM", "ENOSPC"),
    "epoll_wait": ("EINTR",),
    "eventfd2": ("EMFILE", "ENFILE"),
    "execve": ("ENOMEM", "EACCES"),
    "faccessat2": ("EACCES", "EIO"),
    "fcntl": ("EAGAIN", "ENOLCK", "EINTR", "EMFILE"),
    "flock": ("EINTR", "EWOULDBLOCK", "ENOLCK"),
    "fstat": ("EIO", "ENOMEM"),
    "ftruncate": ("EIO", "EFBIG"),
    "get_mempolicy": ("EPERM", "ENOSYS"),
    "getdents64": ("EIO", "EBADF"),
    "getrandom": ("EINTR", "ENOSYS"),
    "getsockname": ("ENOBUFS",),
    "getsockopt": ("ENOBUFS",),
    "ioctl": ("EIO", "ENOTTY"),
    "kill": ("EPERM",),
    "landlock_add_rule": ("ENOMEM",),
    "landlock_create_ruleset": ("ENOSYS", "EOPNOTSUPP", "ENOMEM"),
    "landlock_restrict_self": ("EPERM", "E2BIG"),
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
    "openat2": ("ENOSYS", "EMFILE", "EIO", "EACCES", "EAGAIN", "ENOMEM"),
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
    "sendfile": ("EIO", "EAGAIN", "EINTR", "ECONNRESET"),
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

# Calls that fail only with invalid arguments, or that end a thread.
INFALLIBLE = {"arch_prctl", "clock_gettime", "clock_nanosleep", "exit", "exit_group", "fadvise64", "futex", "getegid",
              "geteuid", "getgid", "getpid", "getppid", "getresgid", "getresuid", "gettid", "gettimeofday", "getuid",
              "membarrier", "munmap", "nanosleep", "restart_syscall", "rseq", "rt_sigaction", "rt_sigpending",
              "rt_sigprocmask", "rt_sigreturn", "rt_sigtimedwait", "sched_getaffinity", "sched_yield",
              "set_robust_list", "set_tid_address", "setitimer", "setpgid", "sigaltstack", "sysinfo", "tgkill", "time", "umask",
              "uname"}

# Calls that may report an error after doing their work.
DONE_DESPITE_ERROR = {"close"}

# Faults from which the server must recover, so that the client still gets the right reply: a call to repeat, a partial
# result to complete, a log line that cannot be written.
RECOVERABLE = {
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
            action = CallControl.FAIL_AFTERWARDS if name in DONE_DESPITE_ERROR else CallControl.FAIL_INSTEAD
            yield fault, {"action": action, "error": getattr(errno, fault)}


def sample(count, whole, most):
    """Numbers of the calls to fail: all, or at most this many, including the first ones."""
    if whole or count <= most:
        return range(1, count + 1)
    first = most // 2
    return [*range(1, first + 1), *range(first + 1, count + 1, -(-(count - first) // (most - first)))]


class CallsTestCase(FaultTestCase):
    """Makes the calls fail while something is done, each in turn."""

    SOME = 20  # faults per request; the full set takes an hour

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.numbers = faultserver.call_numbers()
        cls.names = {number: name for name, number in cls.numbers.items()}

    def count(self, server, whose, do):
        """The number of calls, by name, that do() makes."""
        server.control.arm()
        do()
        server.control.disarm()
        counts = {self.names.get(call, str(call)): number for call, number in server.control.counts(whose).items()}
        unknown = set(counts) - set(FAULTS) - INFALLIBLE
        self.assertFalse(unknown, "calls that are neither in FAULTS nor in INFALLIBLE")
        return {name: number for name, number in sorted(counts.items()) if name in FAULTS}

    def make_server(self):
        return TracedServer(self.library)

    def fresh_server(self):
        """Starts a new server after a failure: the old one may hang, or have ended."""
        if self.server:
            self.server.process.kill()
            self.server.process.wait()
        self.server = self.make_server()
        self.addCleanup(self.server.stop)
        self.server.__enter__()
        self.note_base(self.server)

    def inject(self, name, nth, fault, how, whose, do, expected):
        """Runs do() while a call fails. Returns the kind of outcome, or None if the call was not made."""
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
        if whose == CallControl.SERVER and fault in RECOVERABLE.get(name, ()):
            self.assertEqual(kind, "right")
        return kind

    def cases(self, counts):
        """Every call with every fault; in a partial run, an even selection."""
        cases = [(name, nth, fault, how) for name, number in counts.items()
                 for nth in sample(number, faultserver.IS_FULL, 60) for fault, how in faults_of(name)]
        step = 1 if faultserver.IS_FULL else -(-len(cases) // self.SOME)
        # A different selection for each request.
        return cases[len(self.rows) % step::step]

    def in_turn(self, what, whose, do, expected):
        """Counts the outcomes by kind while each call fails in turn."""
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

    def setUp(self):
        self.server = None
        self.fresh_server()

    def look_at(self, what, whose, do, expected):
        totals = self.in_turn(what, whose, do, expected)
        self.assertTrue(totals, "no call failed")
        self.rows.append((what, sum(totals.values()), dict(totals)))
        print(self.rows[-1], flush=True)


class Calls(CallsTestCase):
    def ask(self, request):
        data = moxteltest.request(request[0], **request[1])
        return lambda: faultserver.ask_once(self.server.port, data)

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

    # As on a full disk, with a full descriptor table, or without free memory.
    SHORTAGES = (("write", "ENOSPC"), ("openat", "EMFILE"), ("openat", "ENOMEM"), ("pipe2", "EMFILE"),
                 ("mmap", "ENOMEM"))

    def test_a_lasting_shortage(self):
        """Lasts until the request is answered."""
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

    def test_a_client_that_connects_without_free_descriptors(self):
        """It waits, and is served as soon as descriptors are free again."""
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
        """Makes the server reload the library, and then sends a request."""
        data = moxteltest.request(request[0], **request[1])

        def do():
            before = self.server.log().count("RELOAD DATABASE")
            os.kill(self.server.pid(), signal.SIGHUP)
            try:
                moxteltest.wait_for(lambda: self.server.log().count("RELOAD DATABASE") > before, "the reload", 1)
            except AssertionError:
                pass  # The console line could not be written, or the signal was not delivered.
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
