"""Many launches at once of a real Chromium: one browser, and each link opened once.

Usage: launches_test.py SOURCE_FOLDER CORVANA CORVANA_STUB
"""

import collections
import os
import queue
import signal
import subprocess
import sys
import time
import unittest

from chromium_session import PATIENCE, ChromiumSession


class Launches(ChromiumSession):
    def browsers(self):
        """The main processes that work on this session's user data: they have files of it open."""
        found = []
        for entry in filter(str.isdigit, os.listdir("/proc")):
            try:
                if os.path.basename(os.readlink(f"/proc/{entry}/exe")) != "chromium":
                    continue
                with open(f"/proc/{entry}/cmdline", "rb") as line:
                    isMain = b"--type=" not in line.read()
                if isMain and any(os.readlink(file.path).startswith(self.data) for file in os.scandir(f"/proc/{entry}/fd")):
                    found.append(int(entry))
            except OSError:
                continue  # it has ended, or is another user's
        return found

    def expect_each_once(self, targets):
        seen = collections.Counter()
        while seen.total() < len(targets):
            try:
                target = self.server.targets.get(timeout=PATIENCE)
            except queue.Empty:
                self.fail(f"{len(targets) - seen.total()} never came: {(collections.Counter(targets) - seen)!s:.500}")
            if target != "/favicon.ico":
                seen[target] += 1
        time.sleep(1)  # for one that comes twice
        while not self.server.targets.empty():
            target = self.server.targets.get()
            if target != "/favicon.ico":
                seen[target] += 1
        self.assertEqual(seen, collections.Counter(targets))

    def expect_one_browser(self):
        deadline = time.monotonic() + PATIENCE
        while self.browsers() != [self.browser()]:
            self.assertLess(time.monotonic(), deadline, f"browsers {self.browsers()}, lock of {self.browser()}")
            time.sleep(0.05)

    def wait_for_apps(self, count):
        """A proxy app has its name on the bus some milliseconds after its start."""
        def names():
            listing = self.run_tool("gdbus", "call", "--session", "--dest", "org.freedesktop.DBus", "--object-path",
                                    "/org/freedesktop/DBus", "--method", "org.freedesktop.DBus.ListNames")
            return [name for name in listing.split("'") if name.startswith("app.corvana.")]

        deadline = time.monotonic() + PATIENCE
        while len(names()) < count:
            self.assertLess(time.monotonic(), deadline, names())
            time.sleep(0.05)
        return names()

    def open_over_the_bus(self, name, urls):
        path = "/" + name.replace(".", "/")
        return subprocess.Popen(
            ["gdbus", "call", "--session", "--dest", name, "--object-path", path, "--method",
             "org.freedesktop.Application.Open", "[" + ", ".join(f"'{url}'" for url in urls) + "]", "{}"],
            env=self.environment, stdout=subprocess.DEVNULL)

    def test_many_links_to_two_apps_at_once(self):
        for app, profile in (("Work", "Default"), ("Home", "Profile 1")):
            self.start(self.make_app(app, profile), f"{self.origin}/first-{app}")
        names = self.wait_for_apps(2)
        # Not one after the other: all at once while the browser starts. Bytes that a shell or the browser could touch.
        links = [f"/{i}-%25e%c3%a9$HOME;(a)*&%f={i}" for i in range(200)]
        calls = [self.open_over_the_bus(names[i % 2], [self.origin + link]) for i, link in enumerate(links)]
        for call in calls:
            self.assertEqual(call.wait(timeout=PATIENCE), 0)
        self.expect_each_once(["/first-Work", "/first-Home", *links])
        self.expect_one_browser()

    def test_long_links_do_not_end_the_browser(self):
        app = self.start(self.make_app("Work", "Default"), f"{self.origin}/first")
        self.expect_each_once(["/first"])
        browser = self.browser()
        [name] = self.wait_for_apps(1)
        links = [f"/{i}-" + "x" * 9_000 for i in range(10)]
        tooLong = [f"/{size}-" + "x" * size for size in (40_000, 140_000)]
        # More than the browser takes at once, and two that it cannot be handed at all.
        call = self.open_over_the_bus(name, [self.origin + link for link in links[:5] + tooLong[:1] + links[5:]])
        self.assertEqual(call.wait(timeout=PATIENCE), 0)
        self.start(self.make_app("Home", "Profile 1"), f"{self.origin}/second")
        self.wait_for_line(app, "cannot be handed so long a link")
        self.expect_each_once([*links, "/second"])
        self.assertEqual(self.browser(), browser)
        self.expect_one_browser()

    def test_cold_starts_at_once(self):
        executables = [self.make_app(f"App {i}", f"Profile {i % 2}" if i % 2 else "Default") for i in range(8)]
        apps = [self.start(executable, f"{self.origin}/{i}") for i, executable in enumerate(executables)]
        self.expect_each_once([f"/{i}" for i in range(8)])
        self.expect_one_browser()
        self.assertEqual([app.poll() for app in apps], [None] * 8)

    def test_nothing_is_lost_when_the_app_ends(self):
        app = self.start(self.make_app("Work", "Default"), f"{self.origin}/first")
        [name] = self.wait_for_apps(1)
        links = [f"/{i}" for i in range(20)]
        calls = [self.open_over_the_bus(name, [self.origin + link]) for link in links]
        for call in calls:
            self.assertEqual(call.wait(timeout=PATIENCE), 0)
        os.kill(app.pid, signal.SIGTERM)
        self.expect_each_once(["/first", *links])
        self.assertEqual(app.wait(timeout=PATIENCE), 0)
        self.expect_one_browser()


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
