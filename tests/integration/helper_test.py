"""The helper and proxy apps against a real Chromium, in a private session with a display of its own.

Usage: helper_test.py SOURCE_FOLDER CORVANA CORVANA_STUB CORVANA_HELPER

Pictures of what people see go into the folder that CORVANA_PICTURES names, if it does.
"""

import json
import os
import signal
import subprocess
import sys
import time
import unittest

from chromium_session import PATIENCE, ChromiumSession, is_running

HELPER = sys.argv[4]
ASKS = "data:text/html,<title>Asks</title><body onclick=\"onbeforeunload = () => false\">Click here"


class HelperStories(ChromiumSession):
    def setUp(self):
        super().setUp()
        self.helper = self.start_helper()

    def start_helper(self):
        helper = self.start(HELPER)
        self.wait_for_line(helper, "helper listening at")
        return helper

    def write_profiles(self, names):
        """Before the browser's first start; the folders are Default, Profile 1, Profile 2 ..."""
        self.folders = {name: f"Profile {i}" if i else "Default" for i, name in enumerate(names)}
        with open(os.path.join(self.data, "Local State"), "w") as state:
            json.dump({"profile": {"info_cache": {folder: {"name": name} for name, folder in self.folders.items()},
                                   "profiles_order": list(self.folders.values())}}, state)
        for name, folder in self.folders.items():
            os.makedirs(os.path.join(self.data, folder), exist_ok=True)
            with open(os.path.join(self.data, folder, "Preferences"), "w") as preferences:
                json.dump({"profile": {"name": name}}, preferences)

    def count(self, folder):
        """What the helper says of a profile's windows."""
        answer = subprocess.run(["corvana", "ipc", "status", f"profileDirectory=\"{folder}\""], env=self.environment,
                                executable=sys.argv[2], capture_output=True, text=True)
        if answer.returncode != 0:
            return None
        status = json.loads(answer.stdout)
        return status["windowCount"], status["confidence"]

    def wait_for_count(self, folder, count):
        self.wait_until(lambda: self.count(folder) == (count, "certain"), f"{count} windows of {folder}")

    def open_page(self, executable, title):
        """Has the proxy app open a page, which tells by its title when it is there."""
        app = self.start(executable, f"data:text/html,<title>{title}</title>")
        self.wait_until(lambda: f"{title} - Chromium" in self.titles(), f"{title} open")
        return app

    def close(self, title):
        self.run_tool("wmctrl", "-c", f"{title} - Chromium")

    def wait_for_end(self, app, says="last window for this profile closed; quitting"):
        self.wait_for_line(app, says)
        self.assertEqual(app.wait(timeout=PATIENCE), 0)

    def test_each_app_follows_its_own_windows(self):
        work_app, home_app = self.make_app("Work", "Work"), self.make_app("Home", "Home")
        work, home = self.open_page(work_app, "Mine"), self.open_page(home_app, "Yours")
        self.wait_for_count("Default", 1)
        self.wait_for_count("Profile 1", 1)
        # A click raises the app's window from under the other, and opens none.
        self.assertEqual(self.active_title(), "Yours - Chromium")
        self.start(work_app).wait(timeout=PATIENCE)
        self.wait_until(lambda: self.active_title() == "Mine - Chromium", "the clicked app in front")
        self.picture("two_apps")
        self.assertEqual(len(self.browser_windows()), 2)

        self.run_tool("xdotool", "key", "--window", "0", "ctrl+n")  # a window that no app has opened
        self.wait_for_count("Default", 2)
        self.close("Mine")
        self.wait_for_count("Default", 1)
        self.run_tool("wmctrl", "-c", "New Tab - Chromium")
        self.wait_for_end(work)
        self.assertIsNone(home.poll(), "the other app goes on")
        self.assertEqual(self.browser_windows(), ["Yours - Chromium"])
        self.close("Yours")
        self.wait_for_end(home)

    def test_a_helper_that_is_killed_and_comes_back(self):
        home_app = self.make_app("Home", "Home")
        work, home = self.open_page(self.make_app("Work", "Work"), "Mine"), self.open_page(home_app, "Yours")
        self.wait_for_count("Default", 1)
        self.helper.kill()
        self.wait_for_line(work, "helper connection dropped")
        self.helper = self.start_helper()
        for app in (work, home):
            self.wait_for_line(app, "stub connected to helper")
        self.wait_for_count("Default", 1)
        self.wait_for_count("Profile 1", 1)
        self.close("Mine")
        self.wait_for_end(work)
        self.assertIsNone(home.poll())
        # Told to end, it says so and is gone at once.
        start = time.monotonic()
        self.helper.terminate()
        self.wait_for_line(home, "helper is shutting down")
        self.assertEqual(self.helper.wait(timeout=PATIENCE), 0)
        self.assertLess(time.monotonic() - start, 5)
        self.assertFalse(os.path.exists(os.path.join(self.environment["HOME"], "Library", "Application Support",
                                                     "Corvana", "h.sock")))

    def test_a_browser_that_crashes_and_is_started_again(self):
        work_app = self.make_app("Work", "Work")
        work = self.open_page(work_app, "Mine")
        self.wait_for_count("Default", 1)
        os.kill(self.browser(), signal.SIGKILL)
        self.wait_until(lambda: not self.browser_windows(), "the crash")
        self.start(work_app, "data:text/html,<title>Again</title>").wait(timeout=PATIENCE)
        self.wait_until(lambda: "Again - Chromium" in self.titles(), "the browser again")
        self.wait_for_count("Default", 1)
        self.assertIsNone(work.poll(), "the app has lived through it")
        self.close("Again")
        self.wait_for_end(work)

    def test_quitting_closes_just_the_apps_windows(self):
        work_app = self.make_app("Work", "Work", "--close-on-quit")
        work, home = self.open_page(work_app, "Mine"), self.open_page(self.make_app("Home", "Home"), "Yours")
        self.start(work_app, "--action=new-window").wait(timeout=PATIENCE)
        self.wait_for_count("Default", 2)
        self.wait_for_count("Profile 1", 1)
        self.start(work_app, "--action=quit").wait(timeout=PATIENCE)
        self.wait_for_end(work, "terminating")
        self.assertEqual(self.browser_windows(), ["Yours - Chromium"])
        self.assertIsNone(home.poll())

    def test_a_page_that_asks_before_it_is_left(self):
        work_app = self.make_app("Work", "Work", "--close-on-quit")
        work = self.start(work_app, ASKS)
        self.wait_until(lambda: "Asks - Chromium" in self.titles(), "the page")
        self.bring_to_front("Asks - Chromium")
        window = self.run_tool("xdotool", "search", "--name", "Asks - Chromium").split()[0]
        self.run_tool("xdotool", "mousemove", "--window", window, "300", "300", "click", "1")
        home = self.open_page(self.make_app("Home", "Home"), "Yours")
        self.wait_for_count("Default", 1)
        self.start(work_app, "--action=quit").wait(timeout=PATIENCE)
        self.wait_until(lambda: "Work" in self.titles(), "the app's alert")
        self.picture("blocked")
        self.assertIsNone(work.poll())
        self.assertIn("Asks - Chromium", self.titles())
        self.assertIsNone(home.poll())

    def classes(self):
        """The windows' classes, by title."""
        lines = self.run_tool("wmctrl", "-lx").splitlines()
        return {line.split(None, 4)[4]: line.split()[2] for line in lines}

    def test_windows_bear_the_identity_of_their_apps(self):
        work, home = self.open_page(self.make_app("Work", "Work"), "Mine"), self.open_page(
            self.make_app("Home", "Home"), "Yours")
        entries = {app["name"]: os.path.basename(self.run_tool(
            "grep", "-l", f"X-Corvana-Bundle={app['path']}", "-r", self.environment["HOME"] + "/.local/share/applications"
        ).strip()).removesuffix(".desktop") for app in json.loads(self.corvana("apps", "--json"))}
        expected = {"Mine - Chromium": f"{entries['Work']}.{entries['Work']}",
                    "Yours - Chromium": f"{entries['Home']}.{entries['Home']}"}
        self.wait_until(lambda: self.classes() == expected, "each window as its app's")
        self.helper.kill()
        self.helper = self.start_helper()
        self.wait_for_count("Default", 1)
        self.assertEqual(self.classes(), expected)
        for app in (work, home):  # which would start another helper, if there were one installed
            app.terminate()
            app.wait(timeout=PATIENCE)
        self.helper.terminate()
        self.assertEqual(self.helper.wait(timeout=PATIENCE), 0)
        self.assertEqual(set(self.classes().values()), {"chromium.Chromium"})

    def test_names_that_end_in_one_another(self):
        names = ["Work", "Home Work", "- Work", "Chromium - Work", "☕ Café – Work"]
        self.write_profiles(names)
        executables = {folder: self.make_app(f"App {folder}", folder) for folder in self.folders.values()}
        apps = [self.open_page(executables[folder], f"Page of {folder}") for folder in executables]
        burst = [self.start(executable, "--action=new-window") for executable in executables.values() for _ in range(4)]
        for window in burst:
            window.wait(timeout=PATIENCE)
        for folder in executables:
            self.wait_for_count(folder, 5)
        for folder in executables:
            self.close(f"Page of {folder}")
            self.wait_for_count(folder, 4)
        self.assertEqual([app.poll() for app in apps], [None] * len(names))


class Links(ChromiumSession):
    """Links of the desktop's own programs, with the helper as the default browser."""

    def setUp(self):
        super().setUp()
        self.apps = {name: self.make_app(name, name) for name in ("Work", "Home")}
        self.corvana("helper", "start")
        self.addCleanup(subprocess.run, [sys.argv[2], "helper", "stop"], env=self.environment, capture_output=True)
        self.assertIn("is the default browser", self.corvana("default-browser", "on").decode())
        self.identifiers = {app["name"]: app["bundleID"] for app in json.loads(self.corvana("apps", "--json"))}

    def write_rules(self, **pages):
        """Sends the pages that begin so to the app of that name."""
        rules = [{"name": app, "target": {"kind": "proxyApp", "bundleID": self.identifiers[app]},
                  "conditions": [{"kind": "addresses", "values": [f"127.0.0.1/{page}*"]}]}
                 for app, page in pages.items()]
        folder = os.path.join(self.environment["HOME"], "Library", "Application Support", "Corvana")
        with open(os.path.join(folder, "rules.json.new"), "w") as file:
            json.dump({"rules": rules}, file)
        os.rename(file.name, os.path.join(folder, "rules.json"))

    def open_all(self, links, *program):
        calls = [subprocess.Popen([*program, self.origin + link], env=self.environment) for link in links]
        for call in calls:
            self.assertEqual(call.wait(timeout=PATIENCE), 0)

    def expect_all(self, links):
        """Each of them comes once, as it was."""
        seen = []
        while len(seen) < len(links):
            target = self.server.targets.get(timeout=PATIENCE)
            if target != "/favicon.ico":
                seen.append(target)
        self.assertEqual(sorted(seen), sorted(links))

    def history(self):
        """Where the links went, newest first, once the helper has written that down."""
        return [(link.get("targetName"), link.get("ruleName")) for link in
                json.loads(self.corvana("history", "--json"))]

    def profiles_of_windows(self):
        return {folder: json.loads(self.corvana("ipc", "status", f"profileDirectory=\"{folder}\""))["windowCount"]
                for folder in ("Default", "Profile 1")}

    def test_links_go_where_the_rules_say(self):
        self.write_rules(Work="work", Home="home")
        self.open_all(["/home-1?a=%25b%c3%a9&%f=$HOME"], "gio", "open")
        self.expect_all(["/home-1?a=%25b%c3%a9&%f=$HOME"])
        self.wait_until(lambda: self.profiles_of_windows() == {"Default": 0, "Profile 1": 1}, "a window of Home")
        self.open_all(["/work-1"], "xdg-open")
        self.expect_all(["/work-1"])
        self.wait_until(lambda: self.profiles_of_windows() == {"Default": 1, "Profile 1": 1}, "a window of Work")
        self.open_all(["/else"], "gio", "open")
        self.expect_all(["/else"])
        self.wait_until(lambda: len(self.history()) == 3, "the history")
        self.assertEqual([entry[1] for entry in self.history()], [None, "Work", "Home"])

        # The rules change, the helper is not there, and an app has gone.
        self.write_rules(Home="work")
        self.open_all(["/work-2"], "gio", "open")
        self.expect_all(["/work-2"])
        self.wait_until(lambda: self.history()[0] == ("Home", "Home"), "the new rules")
        self.corvana("helper", "stop")
        self.open_all(["/work-3"], "gio", "open")
        self.expect_all(["/work-3"])
        subprocess.run(["rm", "-r", self.apps["Home"].removesuffix("/Contents/MacOS/CorvanaStub")], check=True)
        self.open_all(["/work-4"], "gio", "open")
        self.expect_all(["/work-4"])

    def test_many_links_at_once(self):
        self.write_rules(Work="work", Home="home")
        links = [f"/{('work', 'home', 'else')[i % 3]}-{i}-%25e;(a)*&%f={i}" for i in range(200)]
        self.open_all(links, "gio", "open")
        self.expect_all(links)
        self.assertTrue(is_running(self.browser()))
        self.wait_until(lambda: len(self.history()) == 200, "the history")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
