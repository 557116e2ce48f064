# SPDX-License-Identifier: Apache-2.0
"""The HTTP interface: documents, refusals, sessions, uploads and limits, with a scripted agent."""

import contextlib
import http.client
import json
import os
import ssl
import stat
import subprocess
import tempfile
import time
import unittest

from tests import ROOT
from tests.harness import module, signing, wait, web, webcase
from tests.harness.package import Image, build, image_bytes
from tests.schemas import documents

PACKAGES = os.path.join(ROOT, "tests", "package", "data")
DUMP = os.path.join(ROOT, "tests", "edid", "data", "v4l-dell-p2415q-hdmi1.4.bin")
GOOD = build([Image("MAIN", image_bytes(3000, "main")), Image("AUX 1", image_bytes(2000), 1)])
MARKUP = "<script>alert(1)</script>"
METRICS = r"""# HELP upgrade_agent_reachable Whether the agent answered the last question.
# TYPE upgrade_agent_reachable gauge
upgrade_agent_reachable 1
# HELP {family} Runs since the start of the server.
# TYPE {family} counter
upgrade_runs_total{{result="usage"}} 1
# HELP upgrade_package_info The package on the module.
# TYPE upgrade_package_info gauge
upgrade_package_info{{model="a\"\\b",release="1.0.5"}} 1
"""


class TestDocuments(webcase.WebCase):
    def test_every_document_follows_its_schema(self):
        self.put(GOOD)
        self.server.wait_until_reachable()
        self.server.post("/api/run", {"mode": 5})
        paths = (
            "session",
            "status",
            "package",
            "plan?mode=5",
            "run",
            "history",
            "report?form=json",
        )
        answers = {path.split("?")[0]: self.server.get(f"/api/{path}") for path in paths}
        answers["edid"] = self.server.post("/api/edid", module.content(DUMP))
        for name, answer in answers.items():
            with self.subTest(name):
                self.assertEqual(answer.problem, (200, None))
                self.assert_follows_schema(name, answer.document)
        described = {name for name in documents.names() if name.startswith("upgrade-web-")}
        self.assertEqual(described, {f"upgrade-web-{name}" for name in answers})

    def test_the_plan_counts_the_images(self):
        self.put(GOOD)
        plan = self.server.get("/api/plan?mode=5").document
        self.assertEqual(
            [(chip["request"], chip["image_size"]) for chip in plan["chips"]],
            [("MAIN,0,0", 3000), ("AUX 1,1,0", 2000)],
        )
        self.assertTrue(plan["seconds_is_whole"])
        one = self.server.get("/api/plan?mode=5&row=MAIN,0,0").document
        self.assertLess(one["seconds"], plan["seconds"])

    def test_refusals(self):
        good = self.server.token()
        for method, path, body, expected in (
            ("GET", "/api/nothing", None, (404, "not-found")),
            ("POST", "/", b"{}", (405, "method-refused")),
            ("GET", "/index.html", None, (404, "not-found")),
            ("GET", "/page.qrc", None, (404, "not-found")),
            ("GET", "/nothing.js", None, (404, "not-found")),
            ("GET", "/../etc/passwd", None, (404, "not-found")),
            ("DELETE", "/api/package", None, (405, "method-refused")),
            ("POST", "/api/plan", b"{}", (405, "method-refused")),
            ("GET", "/api/plan?mode=3", None, (400, "usage")),
            ("GET", "/api/plan", None, (422, "package-missing")),
            ("GET", "/api/report?form=pdf", None, (400, "usage")),
            ("POST", "/api/run", b"[]", (400, "usage")),
            ("POST", "/api/run", b'{"mode": 3}', (400, "usage")),
            ("POST", "/api/run", b'{"mode": 2, "rows": []}', (400, "usage")),
            ("POST", "/api/run", b'{"mode": 2, "rows": ["A,x,0"]}', (400, "usage")),
            ("POST", "/api/edid", b"no dump", (422, "not-an-edid")),
            ("POST", "/api/run", b" " * 16385, (413, "upload-too-large")),
        ):
            with self.subTest(f"{method} {path}"):
                headers = {"Origin": self.server.origin, "X_CSRF_Token": good}
                answer = self.server.request(method, path, body, **headers)
                self.assertEqual(answer.problem, expected)

    def test_text_with_markup_stays_text(self):
        self.put(build([Image(MARKUP, image_bytes(300))]))
        answer = self.server.get("/api/package")
        self.assertEqual(answer.document["images"][0]["name"], MARKUP)
        self.assertEqual(answer.headers["Content-Type"], "application/json")
        self.assertEqual(answer.headers["X-Content-Type-Options"], "nosniff")
        policy = answer.headers["Content-Security-Policy"]
        self.assertIn("default-src 'none'", policy)
        self.assertNotIn("unsafe", policy)

    def test_the_metrics_in_both_forms(self):
        """The name of the counter's family and the end mark are the only differences."""
        self.put(build([Image("MAIN", image_bytes(300))], model='a"\\b'))
        self.server.wait_until_reachable()
        self.server.post("/api/run", {"mode": 2, "rows": ["NONE,9,0"]})
        wait.until(lambda: self.server.get("/api/history").document["runs"], what="a run")
        plain = self.server.get("/metrics")
        self.assertEqual(plain.headers["Content-Type"], "text/plain; version=0.0.4; charset=utf-8")
        self.assertEqual(plain.body.decode(), METRICS.format(family="upgrade_runs_total"))
        opened = self.server.get("/metrics", Accept="application/openmetrics-text; version=1.0.0")
        self.assertEqual(
            opened.headers["Content-Type"],
            "application/openmetrics-text; version=1.0.0; charset=utf-8",
        )
        self.assertEqual(opened.body.decode(), METRICS.format(family="upgrade_runs") + "# EOF\n")


class TestUpload(webcase.WebCase):
    options = ("--upload-limit", "1")

    def test_a_good_package_replaces_the_old_one(self):
        self.put(b"old")
        events = self.watch()
        answer = self.server.post("/api/package", GOOD)
        events.until("package")
        self.assertEqual(answer.problem, (200, None))
        self.assertEqual(self.stored(), GOOD)
        self.assertEqual(self.leftovers(), [])
        self.assertEqual(self.server.get("/api/package").document["size"], len(GOOD))

    def test_a_bad_package_leaves_the_old_one(self):
        self.put(GOOD)
        for name, problem in (
            ("checksum-wrong.fwm", "checksum-wrong"),
            ("no-magic.fwm", "not-a-package"),
            ("empty.fwm", "not-a-package"),
            ("net-md5-wrong.fwm", "findings"),
        ):
            with self.subTest(name):
                package = module.content(os.path.join(PACKAGES, name))
                answer = self.server.post("/api/package", package)
                self.assertEqual(answer.problem, (422, problem))
                self.assertTrue(answer.document["findings"])
                self.assertEqual(self.stored(), GOOD)
                self.assertEqual(self.leftovers(), [])

    def test_a_large_one_is_refused_before_its_body(self):
        for size in (2**20 + 1, 2 * 2**30):
            with self.server.begin_upload(size) as peer:
                self.assertIn(b" 413 ", peer.recv(65536))
        self.assertEqual(self.leftovers(), [])

    def test_a_body_of_2_gb_ends_early(self):
        """For a client that sends on after the refusal, the server neither reads nor stores it."""
        for path in ("/api/package", "/api/run", "/api/edid", "/api/login"):
            before = self.server.peak_memory()
            with self.subTest(path), self.server.begin_upload(2 * 2**30, path) as peer:
                sent = self.sent_until_the_end(peer, 2 * 2**30)
                self.assertLess(sent, 64 * 2**20)
                if wait.SLOWNESS == 1:
                    self.assertLess(self.server.peak_memory() - before, 4 * 2**20)
        self.assertEqual(self.server.get("/api/session").status, 200)
        self.assertEqual(self.leftovers(), [])

    @staticmethod
    def sent_until_the_end(peer, size):
        """How many bytes a connection takes before the server closes it."""
        sent, block = 0, bytes(2**20)
        with contextlib.suppress(OSError):
            while sent < size:
                sent += peer.send(block)
        return sent

    def test_one_without_a_length_is_refused(self):
        answer = self.server.post("/api/package", iter([b"x"]))
        self.assertEqual(answer.problem, (400, "usage"))

    def test_one_that_is_cancelled_leaves_nothing(self):
        self.put(GOOD)
        with self.server.begin_upload(100000) as peer:
            peer.sendall(bytes(5000))
            wait.until(self.leftovers, what="upload")
            other = self.server.post("/api/package", GOOD)
            self.assertEqual(other.problem, (409, "busy"))
        wait.until(lambda: not self.leftovers(), what="end of the upload")
        self.assertEqual(self.stored(), GOOD)
        self.assertEqual(self.server.post("/api/package", GOOD).status, 200)


class TestSignatures(webcase.WebCase):
    """Uploads to a module with keys, and what the package's document states about them."""

    def prepare(self):
        self.keys = os.path.join(self.folder, "keys")
        os.mkdir(self.keys)
        self.work = self.enterContext(tempfile.TemporaryDirectory())
        self.key = signing.Key("maker", self.work)

    def trust(self, key):
        module.put(os.path.join(self.keys, "maker.pub"), key.public)

    def upload(self, package, signature=b""):
        path = f"/api/package?signature={len(signature)}" if signature else "/api/package"
        return self.server.post(path, signature + package)

    def state(self):
        return self.server.get("/api/package").document["signature"]

    def signature_file(self):
        return module.content(self.package + ".minisig")

    def test_a_signed_package_comes_with_its_signature(self):
        self.trust(self.key)
        signature = self.key.sign(GOOD, "release 5")
        answer = self.upload(GOOD, signature)
        self.assertEqual(answer.problem, (200, None))
        expected = {
            "state": "trusted",
            "reason": None,
            "key": self.key.id,
            "trusted_comment": "release 5",
            "verified": True,
        }
        self.assertEqual(answer.document["signature"], expected)
        self.assertEqual(self.state(), expected)
        self.assertEqual((self.stored(), self.signature_file()), (GOOD, signature))
        self.assert_follows_schema("package", answer.document)
        report = self.server.get("/api/report?form=text").body.decode()
        self.assertIn("signature: trusted\n", report)

    def test_what_the_keys_do_not_accept_changes_nothing(self):
        other = build([Image("MAIN", image_bytes(400))])
        signature = self.key.sign(GOOD)
        self.trust(self.key)
        self.assertEqual(self.upload(GOOD, signature).status, 200)
        stranger = signing.Key("stranger", self.work)
        for name, package, sent, problem in (
            ("unsigned", other, b"", "package-not-signed"),
            ("of another package", other, signature, "package-signature-wrong"),
            ("of a stranger", other, stranger.sign(other), "package-key-unknown"),
            ("no signature", other, b"text", "package-signature-wrong"),
            ("damaged", GOOD[:-1] + b"x", signature, "checksum-wrong"),
        ):
            with self.subTest(name):
                answer = self.upload(package, sent)
                self.assertEqual(answer.problem, (422, problem))
                self.assertEqual((self.stored(), self.signature_file()), (GOOD, signature))
                self.assertEqual(self.leftovers(), ["FW.fwm.minisig"])
        for size in ("0", "-1", "x", "65537", "99999999"):
            with self.subTest(size):
                answer = self.server.post(f"/api/package?signature={size}", GOOD)
                self.assertEqual(answer.problem, (400, "usage"))

    def test_without_keys_every_package_is_accepted(self):
        signature = self.key.sign(GOOD)
        self.assertEqual(self.upload(GOOD, signature).document["signature"]["state"], "not-checked")
        self.assertEqual(self.signature_file(), signature)
        self.assertEqual(self.upload(GOOD).document["signature"]["state"], "none")
        self.assertIsNone(self.signature_file())
        self.assertEqual(self.server.get("/api/plan").problem, (200, None))
        # A key that is installed later counts at once.
        self.trust(self.key)
        answer = self.server.get("/api/package")
        self.assertEqual(answer.problem, (200, "package-not-signed"))
        self.assertEqual(self.server.get("/api/plan").problem, (422, "package-not-signed"))


class TestGate(webcase.WebCase):
    def test_only_requests_to_this_server_are_answered(self):
        port = self.server.port
        for host, status in (
            (f"127.0.0.1:{port}", 200),
            (f"localhost:{port}", 200),
            (f"LOCALHOST:{port}", 200),
            (f"[::1]:{port}", 200),
            ("127.0.0.1", 403),
            (f"127.0.0.1:{port + 1}", 403),
            (f"evil.example:{port}", 403),
            (f"localhost:{port}@evil.example", 403),
            ("", 403),
        ):
            with self.subTest(host):
                self.assertEqual(self.server.get("/api/session", Host=host).status, status)

    def test_changes_need_the_own_page(self):
        for headers in (
            {"Origin": "http://evil.example"},
            {"Origin": "null"},
            {"Origin": self.server.origin.replace("http", "https")},
            {"X_CSRF_Token": "0" * 64},
            {"X_CSRF_Token": ""},
        ):
            with self.subTest(headers):
                answer = self.server.post("/api/run", {"mode": 2}, **headers)
                self.assertEqual(answer.problem, (403, "request-refused"))
        answer = self.server.request("POST", "/api/run", b'{"mode": 2}')
        self.assertEqual(answer.problem, (403, "request-refused"))


class TestOptions(unittest.TestCase):
    """Where the server refuses to start, and TLS."""

    def setUp(self):
        self.folder = self.enterContext(tempfile.TemporaryDirectory())

    def run_program(self, *options):
        command = [web.PROGRAM, "--json", "--password-file", f"{self.folder}/password", "serve"]
        result = subprocess.run(
            [*command, "--port", "0", "--package", f"{self.folder}/FW.fwm", *options],
            capture_output=True,
            text=True,
            check=False,
            timeout=60,
        )
        return result.returncode, json.loads(result.stdout)["error"]["id"]

    def test_other_addresses_need_protection(self):
        certificate, key = self.certificate()
        tls = ("--certificate", certificate, "--key", key)
        for options, expected in (
            (("--listen", "0.0.0.0"), (2, "usage")),
            (("--listen", "::"), (2, "usage")),
            (("--listen", "module"), (2, "usage")),
            (("--certificate", certificate), (2, "usage")),
            (("--behind-proxy", *tls), (2, "usage")),
            (("--listen", "0.0.0.0", *tls), (1, "password-unusable")),
            (("--behind-proxy",), (1, "password-unusable")),
            (("--listen", "192.0.2.1", *tls), (1, "password-unusable")),
            (("--certificate", certificate, "--key", "/none"), (1, "file-unreadable")),
        ):
            with self.subTest(options):
                self.assertEqual(self.run_program(*options), expected)
        web.set_password(self.folder, "a long password")
        os.chmod(f"{self.folder}/password", 0o640)
        self.assertEqual(self.run_program(), (1, "password-unusable"))

    def certificate(self):
        paths = f"{self.folder}/chain.pem", f"{self.folder}/key.pem"
        command = "openssl req -x509 -newkey ed25519 -nodes -subj /CN=localhost -addext".split()
        command += ["subjectAltName=IP:127.0.0.1", "-out", paths[0], "-keyout", paths[1]]
        subprocess.run(command, capture_output=True, check=True)
        return paths

    def test_tls(self):
        certificate, key = self.certificate()
        web.set_password(self.folder, "a long password")
        server = web.WebServer(self.folder, 1, "--certificate", certificate, "--key", key)
        self.addCleanup(server.forget)
        self.addCleanup(server.stop)
        context = ssl.create_default_context(cafile=certificate)
        peer = http.client.HTTPSConnection("127.0.0.1", server.port, context=context, timeout=60)
        self.addCleanup(peer.close)
        origin = f"https://127.0.0.1:{server.port}"
        self.assertEqual(server.address, f"{origin}/")
        body = json.dumps({"password": "a long password"})
        peer.request("POST", "/api/login", body, {"Origin": origin})
        answer = web.Answer(peer.getresponse())
        self.assertEqual(answer.problem, (200, None))
        self.assertTrue(answer.headers["Set-Cookie"].endswith("; Secure"))
        cookie = {"Cookie": answer.headers["Set-Cookie"].split(";")[0]}
        peer.request("GET", "/api/status", headers=cookie)
        self.assertEqual(web.Answer(peer.getresponse()).status, 200)


class TestLogin(webcase.WebCase):
    PASSWORD = "a long password"

    def prepare(self):
        result = web.set_password(self.folder, self.PASSWORD)
        assert result.returncode == 0, result.stderr

    def test_the_file_is_for_its_user_only(self):
        path = os.path.join(self.folder, "password")
        self.assertEqual(stat.S_IMODE(os.stat(path).st_mode), 0o600)
        self.assertTrue(module.content(path).startswith(b"$argon2id$"))
        self.assertEqual(web.set_password(self.folder, "short").returncode, 1)

    def test_nothing_without_a_login(self):
        self.assertFalse(self.server.get("/api/session").document["logged_in"])
        self.assertEqual(self.server.get("/").status, 200)
        for path in ("status", "package", "plan", "run", "events", "history", "report?form=text"):
            with self.subTest(path):
                self.assertEqual(self.server.get(f"/api/{path}").problem, (401, "login-needed"))
        self.assertEqual(self.server.get("/metrics").problem, (401, "login-needed"))

    def test_a_session(self):
        answer = self.server.log_in(self.PASSWORD)
        self.assertEqual(answer.problem, (200, None))
        cookie = answer.headers["Set-Cookie"]
        self.assertIn("HttpOnly", cookie)
        self.assertIn("SameSite=Strict", cookie)
        self.assertEqual(self.server.get("/api/status").status, 200)
        self.assertEqual(self.server.post("/api/logout", {}).status, 200)
        self.assertEqual(self.server.get("/api/status").problem, (401, "login-needed"))
        self.server.cookie = "upgrade_web_session=" + "0" * 64
        self.assertEqual(self.server.get("/api/status").problem, (401, "login-needed"))

    def test_wrong_passwords_lock_the_address(self):
        for _ in range(5):
            self.assertEqual(self.server.log_in("wrong password").problem, (401, "login-failed"))
        answer = self.server.log_in(self.PASSWORD)
        self.assertEqual(answer.problem, (429, "login-locked"))
        self.assertGreater(int(answer.headers["Retry-After"]), 0)


class TestLimits(webcase.WebCase):
    def test_many_connections_do_not_keep_others_out(self):
        for _ in range(200):
            self.enterContext(self.server.raw()).sendall(b"GET /api/status HTTP/1.1\r\n")
        self.assertEqual(self.server.get("/api/session").status, 200)

    def test_slow_requests_end(self):
        """One byte now and then keeps no connection; the limit is 30 s."""
        with self.server.raw() as peer:
            begin = time.monotonic()
            peer.settimeout(1)
            ended = False
            while not ended and time.monotonic() - begin < 120:
                try:
                    peer.sendall(b"G")
                    ended = peer.recv(1) == b""
                except TimeoutError:
                    pass
                except OSError:
                    ended = True
            self.assertTrue(ended)
            self.assertGreater(time.monotonic() - begin, 20)

    def test_long_headers_are_refused(self):
        with self.server.raw() as peer:
            peer.sendall(b"GET / HTTP/1.1\r\nHost: x\r\nX: " + b"x" * 100_000 + b"\r\n\r\n")
            self.assertRegex(peer.recv(65536), rb"^HTTP/1.1 4\d\d ")


if __name__ == "__main__":
    unittest.main()
