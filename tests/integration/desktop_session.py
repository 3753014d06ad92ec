"""A private session with a display of its own, and what tests against real browsers do in it.

Pictures of what people see go into the folder that CORVANA_PICTURES names, if it does.
"""

import http.server
import os
import pathlib
import queue
import shlex
import subprocess
import tempfile
import threading
import time
import unittest

SESSION_SCRIPT = str(pathlib.Path(__file__).parents[2] / "scripts" / "private-session.sh")
PATIENCE = 60  # seconds; what is waited for normally takes one or two


class Server(http.server.ThreadingHTTPServer):
    """A web server on this machine that keeps the raw request targets. `pages` are those that are no usual ones."""

    def __init__(self):
        self.targets = queue.Queue()
        self.pages = {}
        super().__init__(("127.0.0.1", 0), Handler)
        threading.Thread(target=self.serve_forever, daemon=True).start()

    def expect(self, test, target):
        """Waits for a request of just that target; the browser's own (such as for an icon) do not count."""
        while (seen := self.targets.get(timeout=PATIENCE)) == "/favicon.ico":
            pass
        test.assertEqual(seen, target)


class Handler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        self.server.targets.put(self.path)
        self.send_response(200)
        self.send_header("Content-Type", "text/html; charset=utf-8")
        self.end_headers()
        self.wfile.write(self.server.pages.get(self.path, "<title>Served</title>").encode())

    def log_message(self, *_):
        pass


def is_running(process_id):
    try:
        with open(f"/proc/{process_id}/stat") as stat:
            return stat.read().rsplit(")", 1)[1].split()[0] != "Z"
    except FileNotFoundError:
        return False


class Lines:
    """What a process says, line by line, for whoever does not want to wait for it for ever."""

    def __init__(self, stream):
        self.queue = queue.Queue()
        threading.Thread(target=self.read, args=[stream], daemon=True).start()

    def read(self, stream):
        with stream:
            for line in stream:
                self.queue.put(line)
        self.queue.put(None)

    def next(self, waits_for):
        """The next line; None when the process, and all that it has left its output to, have ended."""
        try:
            return self.queue.get(timeout=PATIENCE)
        except queue.Empty:
            raise AssertionError(f"nothing was said, waiting for {waits_for}") from None

    def are_there(self, seconds):
        """Waits for that long at most, and takes none."""
        deadline = time.monotonic() + seconds
        while self.queue.empty() and time.monotonic() < deadline:
            time.sleep(0.02)
        return not self.queue.empty()

    def rest(self):
        return "".join(iter(lambda: self.next("the end"), None))


class DesktopTest(unittest.TestCase):
    """A test in a session of its own, with a web server."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix="corvana-test.", ignore_cleanup_errors=True)
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        session = os.path.join(self.folder, "session")
        self.addCleanup(subprocess.run, [SESSION_SCRIPT, "stop", session])
        subprocess.run([SESSION_SCRIPT, "start", session], check=True)
        exports = subprocess.run(
            ["bash", "-c", f"source {shlex.quote(session)}/environment && env -0"], check=True, capture_output=True
        ).stdout
        self.environment = dict(item.split("=", 1) for item in exports.decode().split("\0") if item)
        self.data = os.path.join(self.environment["HOME"], ".config", "chromium")
        self.server = Server()
        self.addCleanup(self.server.server_close)
        self.addCleanup(self.server.shutdown)
        self.origin = f"http://127.0.0.1:{self.server.server_port}"

    def start(self, *command):
        # As a careless launcher would: with a pipe that everything could inherit.
        process = subprocess.Popen(command, env=self.environment, stderr=subprocess.PIPE, text=True)
        process.lines = Lines(process.stderr)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def browser(self):
        return int(os.readlink(os.path.join(self.data, "SingletonLock")).rsplit("-", 1)[1])

    def run_tool(self, *command):
        return subprocess.run(command, env=self.environment, check=True, capture_output=True, text=True).stdout

    def window_lines(self):
        """The windows as wmctrl lists them, which fails when one of them goes meanwhile."""
        for _ in range(20):
            listing = subprocess.run(["wmctrl", "-l"], env=self.environment, capture_output=True, text=True)
            if listing.returncode == 0:
                return listing.stdout.splitlines()
        self.fail(f"wmctrl lists no windows: {listing.stderr}")

    def titles(self):
        return [line.split(None, 3)[3] for line in self.window_lines()]

    def browser_windows(self):
        return [title for title in self.titles() if title.endswith("Chromium")]

    def active_title(self):
        """Empty while no window is active."""
        found = subprocess.run(["xdotool", "getactivewindow", "getwindowname"], env=self.environment,
                               capture_output=True, text=True)
        return found.stdout.strip() if found.returncode == 0 else ""

    def wait_until(self, condition, what):
        """What another program does, and tells nobody of, can only be looked for."""
        deadline = time.monotonic() + PATIENCE
        while not condition():
            self.assertLess(time.monotonic(), deadline, f"{what}; windows: {self.titles()}")
            time.sleep(0.05)

    def picture(self, name):
        if folder := os.environ.get("CORVANA_PICTURES"):
            os.makedirs(folder, exist_ok=True)
            self.run_tool("scrot", "--overwrite", os.path.join(folder, f"{name}.png"))

    def bring_to_front(self, title):
        def is_in_front():
            subprocess.run(["wmctrl", "-a", title], env=self.environment, capture_output=True)
            return self.active_title() == title

        self.wait_until(is_in_front, f"{title} in front")

    def close_browser_windows(self):
        for line in self.window_lines():
            if line.endswith("Chromium"):
                self.run_tool("wmctrl", "-ic", line.split()[0])
