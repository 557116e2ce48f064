# SPDX-License-Identifier: Apache-2.0
"""The files of the page as the server sends them."""

import os
import re
import unittest

from tests import ROOT
from tests.harness import webcase

FOLDER = os.path.join(ROOT, "tools", "upgrade-web", "page")
TYPES = {
    ".css": "text/css; charset=utf-8",
    ".html": "text/html; charset=utf-8",
    ".js": "text/javascript; charset=utf-8",
    ".svg": "image/svg+xml",
}
MOST_BYTES = 100_000


def files():
    """The address of each file, and the file."""
    for name in sorted(os.listdir(FOLDER)):
        if name != "page.qrc":
            yield "/" if name == "index.html" else f"/{name}", os.path.join(FOLDER, name)


def content(path):
    with open(path, "rb") as file:
        return file.read()


class TestPage(webcase.WebCase):
    def test_every_file_is_served_as_it_is(self):
        for address, path in files():
            with self.subTest(address):
                answer = self.server.get(address)
                self.assertEqual(answer.status, 200)
                self.assertEqual(answer.body, content(path))
                self.assertEqual(answer.headers["Content-Type"], TYPES[os.path.splitext(path)[1]])
                self.assertEqual(answer.headers["X-Content-Type-Options"], "nosniff")
                policy = answer.headers["Content-Security-Policy"]
                self.assertIn("default-src 'none'; script-src 'self'", policy)
                self.assertNotIn("unsafe", policy)

    def test_a_browser_asks_whether_it_has_the_newest_file(self):
        tags = set()
        for address, _ in files():
            with self.subTest(address):
                first = self.server.get(address)
                self.assertEqual(first.headers.get_all("Cache-Control"), ["no-cache"])
                again = self.server.get(address, If_None_Match=first.headers["ETag"])
                self.assertEqual((again.status, again.body), (304, b""))
                other = self.server.get(address, If_None_Match='"0"')
                self.assertEqual((other.status, other.body), (200, first.body))
                tags.add(first.headers["ETag"])
        self.assertEqual(len(tags), len(list(files())))
        self.assertEqual(self.server.get("/api/session").headers["Cache-Control"], "no-store")

    def test_head_has_no_body(self):
        answer = self.server.request("HEAD", "/")
        self.assertEqual((answer.status, answer.body), (200, b""))
        self.assertEqual(
            int(answer.headers["Content-Length"]), os.path.getsize(f"{FOLDER}/index.html")
        )

    def test_only_this_server_s_page_is_answered(self):
        """A person who opens the page under another name reads what to do."""
        answer = self.server.get("/", Host="module.example")
        self.assertEqual(answer.status, 403)
        self.assertEqual(answer.headers["Content-Type"], "text/plain; charset=utf-8")
        self.assertIn("--host-name", answer.body.decode())
        self.assertNotIn("<", answer.body.decode())


class TestFiles(unittest.TestCase):
    """What the files may hold."""

    def test_the_page_is_small(self):
        self.assertLess(sum(len(content(path)) for _, path in files()), MOST_BYTES)

    def test_nothing_comes_from_another_host_or_is_inline(self):
        for address, path in files():
            text = content(path).decode().replace("http://www.w3.org/2000/svg", "")
            with self.subTest(address):
                self.assertNotRegex(text, r"(?i)https?:|[\"'(]//")
                # Text of packages and devices never becomes markup.
                self.assertNotRegex(text, r"innerHTML|outerHTML|insertAdjacentHTML|document\.write")
                self.assertNotRegex(text, r"(?i)<style|<script>|\son[a-z]+=|\sstyle=|eval\(")

    def test_every_file_is_used(self):
        texts = {address: content(path).decode() for address, path in files()}
        used = {"/"}
        for text in texts.values():
            used.update(re.findall(r"(?:href|src)=\"(/[^\"#]*)\"", text))
            used.update(f"/{name}" for name in re.findall(r"from \"\./([^\"]*)\"", text))
        self.assertEqual({one for one in used if not one.startswith("/api/")}, set(texts))


if __name__ == "__main__":
    unittest.main()
