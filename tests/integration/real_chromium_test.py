"""The proxy app against a real Chromium, in a private session with a display of its own.

Usage: real_chromium_test.py SOURCE_FOLDER CORVANA CORVANA_STUB WINDOW_LIST_DUMP TOLD_HELPER

Pictures of what people see go into the folder that CORVANA_PICTURES names, if it does.
"""

import json
import os
import signal
import subprocess
import sys
import time
import unittest

from chromium_session import PATIENCE, STUB, ChromiumSession, Lines, is_running

WINDOW_LIST_DUMP, TOLD_HELPER = sys.argv[4:6]


class Helper:
    """The background helper, as the test plays it, on the real socket."""

    def __init__(self, test):
        self.process = subprocess.Popen([TOLD_HELPER], env=test.environment, stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True)
        test.addCleanup(self.process.stdin.close)
        test.addCleanup(self.process.wait)
        test.addCleanup(self.process.kill)
        self.lines = Lines(self.process.stdout)
        self.test = test
        self.expect("ready")

    def expect(self, op):
        """Waits for the next request, which is of that kind."""
        line = self.lines.next(op)
        self.test.assertTrue(line, f"the helper has ended, waiting for {op}")
        request = json.loads(line)
        self.test.assertEqual(request["op"], op)
        return request

    def has_request(self, seconds):
        return self.lines.are_there(seconds)

    def tell(self, **message):
        self.process.stdin.write(json.dumps(message) + "\n")
        self.process.stdin.flush()

    def answer(self, request, **fields):
        self.tell(id=request["id"], ok=True, **fields)

    def windows(self, count):
        self.tell(event="windows", profileDirectory="Default", count=count, confidence="certain", chromeRunning=True)

    def greet(self):
        """Takes a proxy app's hello, and says that windows can be seen."""
        hello = self.expect("hello")
        self.tell(event="axPermission", trusted=True)
        return hello

    def kill(self):
        self.process.kill()
        self.process.wait()


class RealChromium(ChromiumSession):
    def windows(self, **changes):
        """The windows as (owner, whether it is higher than 100, layer), and what is said of the whole list."""
        lines = subprocess.run([WINDOW_LIST_DUMP], env=self.environment | changes, check=True, capture_output=True,
                               text=True).stdout.splitlines()
        fields = [line.split() for line in lines[:-1]]
        return [(owner, int(height) > 100, layer) for owner, height, layer in fields], lines[-1]

    def press(self, key, helper, op):
        """Presses a shortcut. The app may not have seen yet that the window in front is its own."""
        for _ in range(PATIENCE // 3):
            self.run_tool("xdotool", "key", key)
            if helper.has_request(3):
                return helper.expect(op)
        self.fail(f"{key} has no effect")

    def test_the_story_of_a_profile(self):
        executable = self.make_app("Home", "Home")
        app = self.start(executable, f"{self.origin}/first")
        self.server.expect(self, "/first")
        with open(f"/proc/{self.browser()}/cmdline") as line:
            self.assertIn("--profile-directory=Profile 1", line.read())
        self.assertTrue(os.path.isdir(os.path.join(self.data, "Profile 1")))

        # The browser's own list of its profiles is read while it runs.
        profiles = json.loads(self.corvana("profiles", "--json"))
        self.assertEqual([(profile["directory"], profile["name"]) for profile in profiles],
                         [("Default", "Work"), ("Profile 1", "Home")])
        self.assertEqual([app["config"]["profileName"] for app in json.loads(self.corvana("apps", "--json"))], ["Home"])

        # The browser's one window is seen, also when it is hidden; under Wayland it might not be the only one. It can
        # be told that this app has opened it.
        expected = (str(self.browser()), True, "0")
        self.wait_until(lambda: self.windows() == ([expected], "complete"), "one window")
        window = self.window_lines()[0].split()[0]
        self.assertRegex(self.run_tool("xprop", "-id", window, "_NET_STARTUP_ID"), r'"corvana:app\.corvana\.\w+:')
        self.run_tool("wmctrl", "-k", "on")
        self.assertEqual(self.windows(), ([expected], "complete"))
        self.assertEqual(self.windows(WAYLAND_DISPLAY="wayland-0"), ([expected], "incomplete"))
        self.assertEqual(self.windows(DISPLAY=":77"), ([], "none"))

        # A second start hands over exactly its URL, and is done. The browser then encodes what a URL may not hold;
        # nothing is lost or done twice, and no shell saw it.
        witness = os.path.join(self.folder, "witness")
        text = f"""/a b"c'd%25e%c3%a9$(touch {witness})`touch {witness}`/%f%U?q=%f&r=a b;c|"d"$HOME"""
        expected = (
            text.replace(" ", "%20").replace('"', "%22").replace("`", "%60")
        )
        self.assertEqual(self.start(executable, self.origin + text).wait(timeout=PATIENCE), 0)
        self.server.expect(self, expected)
        self.assertFalse(os.path.exists(witness))

        # The session bus reaches it, too.
        identifier = json.loads(self.corvana("apps", "--json"))[0]["bundleID"].replace("corvana.", "corvana._", 1)
        if not identifier.split("_")[1][0].isdigit():
            identifier = identifier.replace("_", "")
        self.run_tool("gapplication", "launch", identifier, f"{self.origin}/over-the-bus")
        self.server.expect(self, "/over-the-bus")

        # Clicked again without a helper, it opens a window.
        self.assertEqual(self.start(executable).wait(timeout=PATIENCE), 0)
        self.wait_for_line(app, "helper did not answer in time; opening a window without it")
        self.wait_until(lambda: len(self.browser_windows()) == 2, "a second window")

        # What it does not use it does not load, neither at its start nor later.
        with open(f"/proc/{app.pid}/maps") as maps:
            loaded = maps.read() + subprocess.run(["ldd", STUB], check=True, capture_output=True, text=True).stdout
        for library in ("libicu", "libgio", "libgobject", "libgtk"):
            self.assertNotIn(library, loaded)

        # It quits by itself when the last window has closed, a minimised one, too.
        self.run_tool("wmctrl", "-k", "on")
        self.assertIsNone(app.poll())
        self.close_browser_windows()
        self.wait_for_line(app, "last window for this profile closed; quitting")
        self.assertEqual(app.wait(timeout=PATIENCE), 0)

    def test_the_browser_survives_the_app(self):
        executable = self.make_app("Work", "Default")
        app = self.start(executable)
        self.wait_until(self.browser_windows, "a window")
        browser = self.browser()
        app.kill()
        self.assertEqual(app.wait(), -signal.SIGKILL)
        self.assertTrue(is_running(browser))
        app.lines.rest()  # would wait for ever if the browser had inherited the pipe
        os.kill(browser, signal.SIGTERM)

    def test_the_story_with_a_helper(self):
        helper = Helper(self)
        executable = self.make_app("Work", "Default")
        app = self.start(executable)
        hello = helper.greet()
        self.assertEqual((hello["profileDirectory"], hello["profileName"], hello["pid"], hello["protocolVersion"]),
                         ("Default", "Work", app.pid, 2))
        helper.answer(helper.expect("activate"), action="nothingToRaise")
        self.assertEqual(helper.expect("noteLaunch")["profileDirectory"], "Default")
        self.wait_until(self.browser_windows, "a window")
        helper.windows(1)

        # A click brings the browser forward from behind another window, whatever the helper says but that there is
        # none. An open notification would not do as that window: it takes no focus.
        for action, forward in (("raised", True), ("openedGroup", True), ("groupNotFound", True),
                                ("nothingToRaise", False), ("acknowledged", False)):
            other = self.start("zenity", "--info", "--title=Other", "--text=Other")
            self.bring_to_front("Other")
            count = len(self.browser_windows())
            self.assertEqual(self.start(executable).wait(timeout=PATIENCE), 0)
            helper.answer(helper.expect("activate"), action=action)
            if not forward:
                helper.expect("noteLaunch")
                self.wait_until(lambda: len(self.browser_windows()) == count + 1, action)
            self.wait_until(lambda: self.active_title().endswith("Chromium"), f"Chromium in front after {action}")
            other.kill()
            self.wait_until(lambda: "Other" not in self.titles(), "the other window gone")

        # The menu's shortcuts work in the browser's window.
        helper.answer(self.press("super+slash", helper, "activate"), action="raised")
        count = len(self.browser_windows())
        self.press("super+n", helper, "noteLaunch")
        self.wait_until(lambda: len(self.browser_windows()) == count + 1, "a new window")

        # The helper is killed and comes back: the app says hello again, and goes by what it is told.
        helper.kill()
        self.wait_for_line(app, "falling back to window-count polling")
        helper = Helper(self)
        helper.greet()
        helper.windows(1)
        helper.windows(0)
        self.wait_for_line(app, "terminating (selfQuit=true, liveness=draining)")
        helper.expect("bye")
        self.assertEqual(app.wait(timeout=PATIENCE), 0)
        self.assertTrue(self.browser_windows(), "the browser's windows are not its own to close")

    def test_quitting_waits_for_the_user(self):
        helper = Helper(self)
        executable = self.make_app("Work", "Default", "--close-on-quit")
        app = self.start(executable)
        helper.greet()
        helper.answer(helper.expect("activate"), action="nothingToRaise")
        helper.expect("noteLaunch")
        self.wait_until(self.browser_windows, "a window")
        helper.windows(1)

        self.assertEqual(self.start(executable, "--action=quit").wait(timeout=PATIENCE), 0)
        request = helper.expect("closeWindows")
        self.assertEqual(request["timeout"], 6)
        helper.answer(request, closed=0, remaining=1, blocked=True)
        self.wait_until(lambda: "Work" in self.titles(), "the alert")
        self.picture("alert")
        self.bring_to_front("Work")
        self.run_tool("xdotool", "key", "Return")
        self.wait_until(lambda: "Work" not in self.titles(), "the alert is dismissed")
        self.assertIsNone(app.poll())

        self.wait_until(lambda: self.active_title().endswith("Chromium"), "Chromium in front")
        helper.answer(self.press("super+q", helper, "closeWindows"), closed=1, remaining=0)
        helper.expect("bye")
        self.assertEqual(app.wait(timeout=PATIENCE), 0)

    def test_a_missing_group_is_told(self):
        # What a click on the notification opens.
        opened = os.path.join(self.folder, "opened")
        os.mkfifo(opened)
        applications = os.path.join(self.environment["HOME"], ".local/share/applications")
        with open(os.path.join(applications, "app.corvana.main.desktop"), "w") as entry:
            entry.write(f"[Desktop Entry]\nType=Application\nName=Corvana\nExec=cp /dev/null {opened}\n")

        helper = Helper(self)
        app = self.start(self.make_app("Research", "Default", "--tab-group", "A & B"))
        self.assertEqual(helper.greet()["tabGroup"], "A & B")
        helper.answer(helper.expect("activate"), action="groupNotFound")
        self.wait_until(lambda: self.run_tool("dunstctl", "count", "displayed").strip() == "1", "a notification")
        self.picture("notification")
        self.run_tool("dunstctl", "action", "0")
        with open(opened):  # waits for the other end
            pass
        os.kill(app.pid, signal.SIGTERM)
        self.assertEqual(app.wait(timeout=PATIENCE), 0)

    def test_arguments_that_are_no_urls_are_refused(self):
        executable = self.make_app("Work", "Default")
        for argument in ("--no-sandbox", "example.org", ""):
            process = self.start(executable, argument)
            self.assertEqual(process.wait(timeout=PATIENCE), 2, argument)
            self.assertIn("neither a URL with a scheme nor an existing file", process.lines.rest())
        self.assertFalse(os.path.lexists(os.path.join(self.data, "SingletonLock")))

        page = os.path.join(self.folder, "some page.html")
        with open(page, "w") as file:
            file.write(f"<img src='{self.origin}/from-file'>")
        self.start(executable, page)
        self.server.expect(self, "/from-file")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
