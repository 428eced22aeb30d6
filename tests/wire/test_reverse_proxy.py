"""The configuration for nginx in docs/network.md, with the running server behind it: HTTPS, the login, cookies, the
browser's own address, an archive."""

import http.client
import io
import pathlib
import re
import shutil
import socket
import ssl
import subprocess
import sys
import tempfile
import unittest
import zipfile

import moxteltest

NAME = "photos.example.net"
BROWSER = "127.0.0.2"  # not the address of the proxy
DOCUMENT = pathlib.Path(__file__).resolve().parents[2] / "docs/network.md"
FRAME = """daemon off;
error_log stderr;
pid %(folder)s/pid;
events {}
http {
    access_log off;
    client_body_temp_path %(folder)s/body;
    proxy_temp_path %(folder)s/proxy;
    fastcgi_temp_path %(folder)s/fastcgi;
    uwsgi_temp_path %(folder)s/uwsgi;
    scgi_temp_path %(folder)s/scgi;
%(server)s}
"""


def documented_server(port, page, folder):
    """The block "server { … }" of the document, with the ports and the certificate of this test."""
    text = re.search(r"^\*\*nginx:\*\*\n\n((?:    .*\n|\n)+)", DOCUMENT.read_text("utf-8"), re.M).group(1)
    for old, new in (("listen 443", "listen 127.0.0.1:%d" % port), ("127.0.0.1:4251;", "127.0.0.1:%d;" % page),
                     ("/etc/ssl/photos.pem", "%s/certificate" % folder), ("/etc/ssl/photos.key", "%s/key" % folder)):
        assert text.count(old) == 1, old
        text = text.replace(old, new)
    return text


class ReverseProxy(moxteltest.LibraryTestCase):
    options = ("--photos", "12", "--seed", "7")

    def setUp(self):
        self.place = tempfile.mkdtemp(prefix="moxteltest.")
        self.addCleanup(shutil.rmtree, self.place)
        self.page, self.port = moxteltest.free_port(), moxteltest.free_port()
        subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "2", "-subj", "/CN=" + NAME,
                        "-addext", "subjectAltName=DNS:" + NAME, "-keyout", self.place + "/key",
                        "-out", self.place + "/certificate"], check=True, capture_output=True)
        settings = pathlib.Path(self.place, "nginx.conf")
        settings.write_text(FRAME % {"folder": self.place, "server": documented_server(self.port, self.page, self.place)})
        options = re.search(r"^    (-WebProxy .*)$", DOCUMENT.read_text("utf-8"), re.M).group(1).split()
        self.server = self.enterContext(moxteltest.Server(self.library, *options, web_port=self.page))
        moxteltest.wait_for(lambda: "page for browsers" in self.server.console(), "the page")
        proxy = subprocess.Popen(["nginx", "-p", self.place, "-c", str(settings)], stderr=subprocess.DEVNULL)
        self.addCleanup(proxy.wait, moxteltest.PATIENCE)
        self.addCleanup(proxy.terminate)
        moxteltest.wait_for(self.is_there, "the proxy")

    def is_there(self):
        try:
            return self.ask("GET", "/check")[0] == 200
        except OSError:
            return False

    def ask(self, method, target, body=None, name=NAME, **fields):
        context = ssl.create_default_context(cafile=self.place + "/certificate")
        connection = http.client.HTTPSConnection("127.0.0.1", self.port, context=context, timeout=moxteltest.PATIENCE)
        connection.sock = context.wrap_socket(
            socket.create_connection(("127.0.0.1", self.port), source_address=(BROWSER, 0)), server_hostname=NAME)
        connection.request(method, target, body, {"Host": name, **{k.replace("_", "-"): v for k, v in fields.items()}})
        reply = connection.getresponse()
        found = reply.status, reply, reply.read()
        connection.close()
        return found

    def key_and_digits(self):
        return (self.server.home / "config/MoxtelServer/web-access").read_text().split()[:2]

    def test_a_browser_logs_in_and_downloads(self):
        _, digits = self.key_and_digits()
        status, reply, _ = self.ask("POST", "/login", "digits=" + digits)
        self.assertEqual(status, 303)
        self.assertIn("; Secure", reply.getheader("Set-Cookie"))
        cookie = reply.getheader("Set-Cookie").split(";")[0]
        status, _, body = self.ask("GET", "/api/1/libraries", Cookie=cookie)
        self.assertEqual(status, 200)
        library = re.search(rb'"id":"(\w+)"', body).group(1).decode()
        status, _, body = self.ask("GET", "/l/%s/zip/all" % library, Cookie=cookie)
        self.assertEqual(status, 200)
        self.assertIsNone(zipfile.ZipFile(io.BytesIO(body)).testzip())

    def test_other_names_are_refused(self):
        self.assertEqual(self.ask("GET", "/check", name="evil.example")[0], 403)

    def test_the_browsers_own_address_counts(self):
        """A browser cannot choose the address: what it sends comes before the one that the proxy adds."""
        _, digits = self.key_and_digits()
        wrong = "000000" if digits != "000000" else "000001"
        for i in range(10):
            self.assertEqual(self.ask("POST", "/login", "digits=" + wrong, X_Forwarded_For="10.9.8.%d" % i)[0], 403)
        self.assertEqual(self.ask("POST", "/login", "digits=" + digits, X_Forwarded_For="10.9.8.77")[0], 429)


if __name__ == "__main__":
    for needed in ("nginx", "openssl"):
        if not shutil.which(needed):
            print(needed + " is not installed")
            sys.exit(77)
    unittest.main()
