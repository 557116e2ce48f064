# SPDX-License-Identifier: Apache-2.0
"""Measures upgrade-web and its page; runs inside the sandbox, with Debian's Python. Prints one JSON
document: a list of figures with their samples.

usage: python3 -m bench.runner.web FOLDER

FOLDER is on the disk on which uploads are compared with cp.
"""

import http.client
import json
import os
import subprocess
import sys
import threading
import time

from tests.browser.browser import Browser
from tests.harness import agent, web
from tests.harness.package import Image, build, image_bytes
from tests.harness.upgrade_console import runs
from tests.harness.upgrade_console.fake_agent import ROWS, FakeAgent, log

LOADS = UPLOADS = 9
# Five times as many lines a second as an agent sends while it writes.
LINES, LINES_PER_SECOND = 1000, 100
MIB = 2**20
UPLOAD = 64 * MIB
SENT_AT_ONCE = MIB
# After the start of a program, until its memory is measured.
SETTLED = 3
GOOD = build([Image("MAIN", image_bytes(3000)), Image("AUX 1", image_bytes(2000), 1)])
# When the view of the device has its texts, its links can be used.
INTERACTIVE = """
const settled = () => document.getElementById("agent-state")?.textContent === "Ready"
  && document.getElementById("package-model")?.textContent;
const watch = new MutationObserver(() => {
  if (!settled()) return;
  window.interactive = performance.now();
  watch.disconnect();
});
watch.observe(document, {subtree: true, childList: true, characterData: true});
"""
RESOURCES = """
const all = ["navigation", "resource"].flatMap(kind => performance.getEntriesByType(kind));
return all.map(one => [new URL(one.name).pathname, one.transferSize]);
"""
LOADED = "return performance.getEntriesByType('navigation')[0].loadEventEnd"
# The times at which numbered lines arrive in the page, on the clock of the machine.
ARRIVALS = """
window.arrivals = {};
const events = new EventSource("/api/events");
events.addEventListener("message", (event) => {
  const now = performance.timeOrigin + performance.now();
  const number = /^line (\\d+)$/.exec(JSON.parse(event.data).text);
  if (number) window.arrivals[number[1]] = now;
});
"""


class Figures:
    """[{"what", "against", "unit", "samples"}]"""

    def __init__(self):
        self.all = []

    def add(self, what, unit, samples, against=""):
        self.all.append({"what": what, "against": against, "unit": unit, "samples": samples})


def memory(pid):
    """Resident memory that no file backs, in KiB."""
    with open(f"/proc/{pid}/smaps_rollup", encoding="ascii") as file:
        return next(int(line.split()[1]) for line in file if line.startswith("Anonymous:"))


def measure_agent():
    """The memory of the agent at rest."""
    real = agent.Agent()
    try:
        real.wait_until_it_listens()
        time.sleep(SETTLED)
        return memory(real.popen.pid)
    finally:
        real.kill()


def measure_loads(server, figures):
    """A fresh browser has no cache; the second load has one. Then one file of the same server."""
    first: list[float] = []
    again: list[float] = []
    ratios = []
    resources = []
    for _ in range(LOADS):
        browser = Browser()
        try:
            page = "Page.addScriptToEvaluateOnNewDocument"
            browser.driver.execute_cdp_cmd(page, {"source": INTERACTIVE})
            for found in (first, again):
                browser.open(server.address)
                browser.until(lambda: browser.script("return window.interactive"), "usable page")
                found.append(browser.script("return window.interactive"))
                if found is first:
                    resources = browser.script(RESOURCES)
            browser.open(server.address + "icon.svg")
            ratios.append(again[-1] / browser.until(lambda: browser.script(LOADED), "the file"))
        finally:
            browser.close()
    for what, is_document in (("files of the page", False), ("documents of the first view", True)):
        sizes = [size for path, size in resources if path.startswith("/api/") == is_document]
        figures.add(f"{what}: requests", "", [len(sizes)])
        figures.add(f"{what}: with headers", "bytes", [sum(sizes)])
    figures.add("first load, until the view can be used", "ms", first)
    figures.add("load with the browser's cache", "ms", again)
    figures.add("load with the browser's cache", "times", ratios, "one file of the same server")


def scripted_run(sent):
    """A run with many numbered lines; the time of each is taken before it is written."""

    def note(number):
        return lambda _agent: sent.append((number, time.time() * 1000))

    lines = runs.full_run()
    middle = []
    for number in range(LINES):
        middle += [note(number), log(f"line {number}"), 1 / LINES_PER_SECOND]
    return lines[:30] + middle + lines[30:]


def delays(sent, arrivals):
    """(p50, p99) in milliseconds; every line must have arrived."""
    assert len(arrivals) == len(sent) == LINES, (len(arrivals), len(sent))
    all_of_them = sorted(arrivals[number] - time_sent for number, time_sent in sent)
    return all_of_them[LINES // 2], all_of_them[LINES * 99 // 100]


def run_for_a_socket(server, sent):
    """The delays to a viewer that only reads the stream."""
    arrivals = {}
    ready = threading.Event()

    def read():
        with web.Events(server) as events:
            events.until("snapshot")
            ready.set()
            while True:
                _, event = events.next()
                now = time.time() * 1000
                if event["event"] == "result":
                    return
                if event["event"] == "message" and event["text"].startswith("line "):
                    arrivals[int(event["text"].split()[1])] = now

    reader = threading.Thread(target=read)
    reader.start()
    ready.wait()
    server.post("/api/run", {"mode": 2})
    reader.join()
    return delays(sent, arrivals)


def run_for_a_browser(server, sent):
    """The delays to the handler of an event in the page, which shows the run meanwhile."""
    browser = Browser()
    try:
        browser.open(server.address + "#run")
        browser.until(lambda: browser.text("agent-state") == "Ready", "page")
        browser.script(ARRIVALS)
        server.post("/api/run", {"mode": 2})
        last = f"return window.arrivals[{LINES - 1}]"
        browser.until(lambda: browser.script(last), "last line", 120)
        arrivals = browser.script("return window.arrivals")
    finally:
        browser.close()
    return delays(sent, {int(number): arrived for number, arrived in arrivals.items()})


def measure_delays(server, sent, figures):
    """The same run for both viewers."""
    found = []
    viewers = {"viewer without a browser": run_for_a_socket, "browser": run_for_a_browser}
    for what, run in viewers.items():
        sent.clear()
        found.append(run(server, sent))
        for name, value in zip(("p50", "p99"), found[-1]):
            figures.add(f"agent's line to the event in a {what}, {name}", "ms", [value])
    ratio = found[1][0] / found[0][0]
    figures.add("the same in the browser, p50", "times", [ratio], "viewer without a browser")


def upload(server, path, size):
    """The seconds of one upload of a file."""
    token = server.token()
    begin = time.monotonic()
    connection = http.client.HTTPConnection("127.0.0.1", server.port, blocksize=SENT_AT_ONCE)
    with open(path, "rb") as file:
        headers = {
            "Origin": server.origin,
            "X-CSRF-Token": token,
            "Content-Length": str(size),
            "Content-Type": "application/octet-stream",
        }
        connection.request("POST", "/api/package", file, headers)
        answer = connection.getresponse()
        answer.read()
    seconds = time.monotonic() - begin
    connection.close()
    assert answer.status == 200, answer.status
    return seconds


def copy(path, target):
    """The seconds of cp and a sync of the copy."""
    begin = time.monotonic()
    subprocess.run(["cp", path, target], check=True)
    descriptor = os.open(target, os.O_RDONLY)
    os.fsync(descriptor)
    os.close(descriptor)
    seconds = time.monotonic() - begin
    os.remove(target)
    return seconds


def measure_uploads(server, folder, figures):
    """In turn; an upload is checked, too."""
    source = os.path.join(folder, "source.fwm")
    package = build([Image("MAIN", image_bytes(MIB) * (UPLOAD // MIB))])
    with open(source, "wb") as file:
        file.write(package)
    verify = [os.path.join(os.path.dirname(web.PROGRAM), "fwm"), "verify", source]
    rates, ratios, checked_ratios = [], [], []
    for _ in range(UPLOADS):
        uploaded = upload(server, source, len(package))
        copied = copy(source, os.path.join(folder, "copy.fwm"))
        begin = time.monotonic()
        subprocess.run(verify, check=True, stdout=subprocess.DEVNULL)
        verified = time.monotonic() - begin
        rates.append(len(package) / MIB / uploaded)
        ratios.append(copied / uploaded)
        checked_ratios.append((copied + verified) / uploaded)
    os.remove(source)
    figures.add("upload of 64 MiB, checked and synced", "MiB/s", rates)
    figures.add("rate of this upload", "times", ratios, "cp and sync to the same disk")
    figures.add("the same", "times", checked_ratios, "cp and sync, and then `fwm verify`")


def main():
    folder = sys.argv[1]
    figures = Figures()
    of_agent = measure_agent()
    sent: list = []
    with FakeAgent({ROWS: lambda _agent: scripted_run(sent)}) as fake:
        server = web.WebServer(folder, fake.port)
        pid = server.popen.pid
        try:
            with open(server.package, "wb") as file:
                file.write(GOOD)
            server.wait_until_reachable()
            time.sleep(SETTLED)
            figures.add("memory at rest", "KiB", [memory(pid)])
            ratio = memory(pid) / of_agent
            figures.add("memory at rest", "times", [ratio], "upgrade-agent at rest")
            measure_loads(server, figures)
            measure_delays(server, sent, figures)
            measure_uploads(server, folder, figures)
            figures.add("memory after all of this", "KiB", [memory(pid)])
        finally:
            server.stop()
    print(json.dumps(figures.all))


if __name__ == "__main__":
    main()
