"""The proxy app against a real Chromium, in a private session with a display of its own.

Usage: real_chromium_test.py SOURCE_FOLDER CORVANA CORVANA_STUB WINDOW_LIST_DUMP
"""

import http.server
import json
import os
import queue
import shlex
import signal
import subprocess
import sys
import tempfile
import threading
import unittest

SOURCE, CORVANA, STUB, WINDOW_LIST_DUMP = sys.argv[1:5]
SESSION_SCRIPT = os.path.join(SOURCE, "scripts", "private-session.sh")
PATIENCE = 60  # seconds; what is waited for normally takes one or two


class Server(http.server.ThreadingHTTPServer):
    """A web server on this machine that keeps the raw request targets."""

    def __init__(self):
        self.targets = queue.Queue()
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
        self.send_header("Content-Type", "text/html")
        self.end_headers()
        self.wfile.write(b"<title>Served</title>")

    def log_message(self, *_):
        pass


def is_running(process_id):
    try:
        with open(f"/proc/{process_id}/stat") as stat:
            return stat.read().rsplit(")", 1)[1].split()[0] != "Z"
    except FileNotFoundError:
        return False


class RealChromium(unittest.TestCase):
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

    def make_app(self, name, profile):
        app = os.path.join(self.folder, f"{name}.app")
        self.corvana("make-app", app, "--profile", profile, "--stub", STUB)
        return os.path.join(app, "Contents", "MacOS", "CorvanaStub")

    def corvana(self, *arguments):
        return subprocess.run([CORVANA, *arguments], env=self.environment, check=True, capture_output=True).stdout

    def start(self, *command):
        # As a careless launcher would: with a pipe that everything could inherit.
        process = subprocess.Popen(command, env=self.environment, stderr=subprocess.PIPE)
        self.addCleanup(process.stderr.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process

    def windows(self, **changes):
        """The windows as (owner, whether it is higher than 100, layer), and what is said of the whole list."""
        lines = subprocess.run([WINDOW_LIST_DUMP], env=self.environment | changes, check=True, capture_output=True,
                               text=True).stdout.splitlines()
        fields = [line.split() for line in lines[:-1]]
        return [(owner, int(height) > 100, layer) for owner, height, layer in fields], lines[-1]

    def browser(self):
        return int(os.readlink(os.path.join(self.data, "SingletonLock")).rsplit("-", 1)[1])

    def test_the_story_of_a_profile(self):
        executable = self.make_app("Home", "Home")
        first = self.start(executable, f"{self.origin}/first")
        self.server.expect(self, "/first")
        with open(f"/proc/{self.browser()}/cmdline") as line:
            self.assertIn("--profile-directory=Profile 1", line.read())
        self.assertTrue(os.path.isdir(os.path.join(self.data, "Profile 1")))

        # The browser's own list of its profiles is read while it runs.
        profiles = json.loads(self.corvana("profiles", "--json"))
        self.assertEqual([(profile["directory"], profile["name"]) for profile in profiles],
                         [("Default", "Work"), ("Profile 1", "Home")])
        self.assertEqual([app["config"]["profileName"] for app in json.loads(self.corvana("apps", "--json"))], ["Home"])

        # The browser's one window is seen, also when it is hidden; under Wayland it might not be the only one.
        expected = (str(self.browser()), True, "0")
        self.assertEqual(self.windows(), ([expected], "complete"))
        subprocess.run(["wmctrl", "-k", "on"], env=self.environment, check=True)
        self.assertEqual(self.windows(), ([expected], "complete"))
        self.assertEqual(self.windows(WAYLAND_DISPLAY="wayland-0"), ([expected], "incomplete"))
        self.assertEqual(self.windows(DISPLAY=":77"), ([], "none"))

        # What it does not use it does not load, neither at its start nor later.
        with open(f"/proc/{first.pid}/maps") as maps:
            loaded = maps.read() + subprocess.run(["ldd", STUB], check=True, capture_output=True, text=True).stdout
        for library in ("libicu", "libgio", "libgobject", "libgtk"):
            self.assertNotIn(library, loaded)

        # A second start hands the running browser exactly its URL. The browser then encodes what a URL may not hold;
        # nothing is lost or done twice, and no shell saw it.
        witness = os.path.join(self.folder, "witness")
        text = f"""/a b"c'd%25e%c3%a9$(touch {witness})`touch {witness}`/%f%U?q=%f&r=a b;c|"d"$HOME"""
        expected = (
            text.replace(" ", "%20").replace('"', "%22").replace("`", "%60")
        )
        second = self.start(executable, self.origin + text)
        self.server.expect(self, expected)
        self.assertFalse(os.path.exists(witness))

        # The browser survives the app that started it, and holds nothing of it open.
        browser = self.browser()
        first.kill()
        self.assertEqual(first.wait(), -signal.SIGKILL)
        self.assertTrue(is_running(browser))
        first.stderr.read()  # would wait for ever if the browser had inherited the pipe

        # When the browser ends, so does the app.
        os.kill(browser, signal.SIGTERM)
        self.assertEqual(second.wait(timeout=PATIENCE), 0)

    def test_arguments_that_are_no_urls_are_refused(self):
        executable = self.make_app("Work", "Default")
        for argument in ("--no-sandbox", "example.org", ""):
            process = self.start(executable, argument)
            self.assertEqual(process.wait(timeout=PATIENCE), 2, argument)
            self.assertIn("neither a URL with a scheme nor an existing file", process.stderr.read().decode())
        self.assertFalse(os.path.lexists(os.path.join(self.data, "SingletonLock")))

        page = os.path.join(self.folder, "some page.html")
        with open(page, "w") as file:
            file.write(f"<img src='{self.origin}/from-file'>")
        self.start(executable, page)
        self.server.expect(self, "/from-file")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
