"""What the platform sees of a real Chromium's windows, and does with them, in a private session with a display of its own.

Usage: browser_windows_test.py BROWSER_WINDOWS_DUMP
"""

import concurrent.futures
import json
import os
import queue
import random
import shlex
import signal
import subprocess
import sys
import threading
import time
import unittest
import urllib.parse

from desktop_session import PATIENCE, DesktopTest

DUMP = sys.argv[1]
# Some end as others do.
PROFILES = {"Default": "Work", "Profile 1": "Home Work", "Profile 2": "- Work", "Profile 3": "Chromium - Work",
            "Profile 4": "☕ Café – Work"}
NEW_WINDOW = "--new-window"


class Dump:
    """The platform's eyes and hands, in a process of their own."""

    def __init__(self, test):
        self.process = subprocess.Popen([DUMP], env=test.environment, stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        text=True)
        test.addCleanup(self.end)
        self.sight = None
        self.windows = None
        self.group_changes = 0
        self.answers = {}
        self.changed = threading.Condition()
        self.listener = threading.Thread(target=self.listen, daemon=True)
        self.listener.start()
        self.wait_for(lambda: self.sight and self.windows is not None, "first sight")

    def listen(self):
        with self.process.stdout:
            for text in self.process.stdout:
                line = json.loads(text)
                with self.changed:
                    if "id" in line:
                        self.answers[line["id"]].put(line["result"])
                    self.sight = line.get("sight", self.sight)
                    self.windows = line.get("windows", self.windows)
                    self.group_changes += "groupsChanged" in line
                    self.changed.notify_all()

    def end(self):
        self.process.stdin.close()  # the dump's end
        self.process.wait(timeout=PATIENCE)
        self.listener.join()

    def wait_for(self, condition, what):
        with self.changed:
            if not self.changed.wait_for(condition, PATIENCE):
                raise AssertionError(f"waiting for {what}: {self.sight} {self.windows}")

    def wait_for_windows(self, count):
        self.wait_for(lambda: len(self.windows) == count, f"{count} windows")
        return [window["id"] for window in self.windows]

    def begin(self, op, **arguments):
        with self.changed:
            number = len(self.answers)
            self.answers[number] = queue.Queue()
            self.process.stdin.write(json.dumps({"id": number, "op": op} | arguments) + "\n")
            self.process.stdin.flush()
        return self.answers[number]

    def ask(self, op, **arguments):
        return self.begin(op, **arguments).get(timeout=PATIENCE)


def identity(reading):
    """The profile that the name of the window adds to its title."""
    name, title = reading["name"], reading["title"]
    return name[len(title):].removeprefix(" - ") if name.startswith(title) else name


class BrowserWindows(DesktopTest):
    def setUp(self):
        super().setUp()
        self.environment["ACCESSIBILITY_ENABLED"] = "1"  # as a desktop's setting would
        with open(os.path.join(self.data, "Local State"), "w") as state:
            json.dump({"profile": {"info_cache": {folder: {"name": name} for folder, name in PROFILES.items()},
                                   "profiles_order": list(PROFILES)}}, state)
        for folder, name in PROFILES.items():
            os.makedirs(os.path.join(self.data, folder), exist_ok=True)
            with open(os.path.join(self.data, folder, "Preferences"), "w") as preferences:
                json.dump({"profile": {"name": name, "exit_type": "Normal"}}, preferences)
        entry = os.path.join(self.environment["HOME"], ".local/share/applications/chromium.desktop")
        with open(entry) as lines:
            exec_line = next(line for line in lines if line.startswith("Exec="))
        self.command = shlex.split(exec_line.removeprefix("Exec="))[:-1]
        self.browsers = []
        self.addCleanup(self.end_browsers)

    def end_browsers(self):
        for process in self.browsers:
            process.kill()
            process.wait()

    def launch(self, folder, *arguments, mark="", **changes):
        """A launch of a running Chromium, which hands its arguments over and ends."""
        environment = self.environment | {"DESKTOP_STARTUP_ID": mark} | changes
        subprocess.run([*self.command, f"--profile-directory={folder}", *arguments], env=environment, check=True,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=PATIENCE)

    def start_browser(self, *arguments, **changes):
        process = subprocess.Popen([*self.command, "--profile-directory=Default", *arguments],
                                   env=self.environment | changes, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.browsers.append(process)
        return process

    def page(self, name, content=""):
        self.server.pages[f"/{name}"] = f"<title>{name}</title>{content}"
        return f"{self.origin}/{name}"

    def other_window(self):
        """A window of another program, in front."""
        process = self.start("zenity", "--info", "--title=Other", "--text=Other")
        self.bring_to_front("Other")
        return process

    def test_windows_are_told_apart(self):
        dump = Dump(self)
        self.assertEqual(dump.sight, {"process": None, "seesWindows": True, "isTrusted": False, "problem": ""})
        self.start_browser(self.page("same"))
        dump.wait_for(lambda: dump.sight["isTrusted"], "trust")
        self.assertEqual(dump.sight["process"], self.browser())
        expected = {dump.wait_for_windows(1)[0]: "Work"}

        # A window of each profile, kind by kind; which is whose is known by what is new.
        def opened(profile, *arguments, name=None, app=False):
            self.launch(profile, *arguments)
            dump.wait_for_windows(len(expected) + 1)
            window = next(window for window in dump.windows if window["id"] not in expected)
            expected[window["id"]] = PROFILES[profile] if name is None else name
            self.assertEqual(window["app"], app)
            return window["id"]

        for folder in PROFILES:
            opened(folder, NEW_WINDOW, self.page("same"))
        opened("Profile 3", f"--app={self.page('same')}", app=True)
        opened("Profile 2", "--incognito", self.page("same"), name="")
        self.server.pages["/opener"] = f"<title>opener</title><script>open('{self.origin}/same','','popup')</script>"
        count = len(expected)
        self.launch("Profile 1", NEW_WINDOW, "--disable-popup-blocking", f"{self.origin}/opener")
        dump.wait_for_windows(count + 1)
        for window in dump.windows:
            expected.setdefault(window["id"], PROFILES["Profile 1"])
        minimised = opened("Profile 4", NEW_WINDOW, self.page("same"))
        self.run_tool("xdotool", "windowminimize", str(minimised))
        dump.wait_for(lambda: any(each["minimized"] and each["id"] == minimised for each in dump.windows), "minimised")
        self.check(dump, expected)

        # A burst of equal windows, each with the mark of its launch, some of which close meanwhile.
        folders = random.Random(7).choices(list(PROFILES), k=20)
        readings = {}
        closed = set()  # some of them stay for a moment

        def read_new():
            for window in dump.windows:
                if window["id"] not in expected and window["id"] not in readings and window["id"] not in closed:
                    readings[window["id"]] = dump.begin("read", window=window["id"])

        with concurrent.futures.ThreadPoolExecutor(2) as launcher:
            launches = [launcher.submit(self.launch, folder, NEW_WINDOW, self.page("same"),
                                        mark=f"test:{folder}:{number}_TIME1") for number, folder in enumerate(folders)]
            closing = list(expected)[1:7:2]
            while not all(launch.done() for launch in launches):
                with dump.changed:
                    dump.changed.wait(0.05)
                read_new()
                if closing and len(dump.windows) > len(expected) + 5:
                    dump.ask("close", window=closing[0])
                    closed.add(closing[0])
                    del expected[closing.pop(0)]
        dump.wait_for_windows(len(expected) + len(folders))
        read_new()
        marks = {window["id"]: window["mark"].split(":")[1] for window in dump.windows if window["id"] not in expected}
        for window, answer in readings.items():
            early = answer.get(timeout=PATIENCE)
            self.assertTrue(early is None or identity(early) == PROFILES[marks[window]], early)
        self.check(dump, expected | {window: PROFILES[folder] for window, folder in marks.items()})

    def check(self, dump, expected):
        answers = {window: dump.begin("read", window=window) for window in expected}
        for window, name in expected.items():
            reading = answers[window].get(timeout=PATIENCE)
            self.assertIsNotNone(reading, name)
            self.assertEqual(identity(reading).replace(" (Incognito)", ""), name, reading)

    def test_chromium_comes_and_goes(self):
        dump = Dump(self)
        process = self.start_browser(self.page("page"))
        dump.wait_for(lambda: dump.sight["isTrusted"], "trust")
        window = dump.wait_for_windows(1)[0]
        self.assertEqual(identity(dump.ask("read", window=window)), "Work")

        # Stopped, it makes nobody wait, and is read when it goes on.
        os.kill(process.pid, signal.SIGSTOP)
        try:
            answer = dump.begin("read", window=window)
            prompting = dump.begin("prompting")
            start = time.monotonic()
            self.assertTrue(dump.ask("wait"))
            self.assertLess(time.monotonic() - start, 1)
            self.assertIsNone(answer.get(timeout=10))
            self.assertEqual(prompting.get(timeout=10), [])
        finally:
            os.kill(process.pid, signal.SIGCONT)
        self.wait_until(lambda: dump.ask("read", window=window) is not None, "an answer again")

        # Killed, it is gone, whatever its lock says; what was asked is answered.
        answer = dump.begin("read", window=window)
        process.kill()
        process.wait()
        answer.get(timeout=10)
        dump.wait_for(lambda: dump.sight["process"] is None and dump.windows == [], "nothing")
        self.assertTrue(os.path.lexists(os.path.join(self.data, "SingletonLock")))
        self.assertIsNone(dump.ask("read", window=window))
        self.assertFalse(dump.ask("raise", windows=[window]))

        # Back again.
        self.start_browser(self.page("page"))
        dump.wait_for(lambda: dump.sight["isTrusted"], "trust again")
        window = dump.wait_for_windows(1)[0]
        self.assertEqual(identity(dump.ask("read", window=window)), "Work")

        # The bus ends: Chromium never comes back to it, and that is told. A new one does.
        address = self.run_tool("gdbus", "call", "--session", "--dest", "org.a11y.Bus", "--object-path",
                                "/org/a11y/bus", "--method", "org.a11y.Bus.GetAddress")
        os.kill(self.bus_process(address), signal.SIGKILL)
        dump.wait_for(lambda: not dump.sight["isTrusted"] and dump.sight["problem"], "the problem")
        self.assertIn("Quit Chrome", dump.sight["problem"])
        self.assertTrue(dump.sight["seesWindows"])
        self.assertIsNone(dump.ask("read", window=window))
        self.browsers[-1].terminate()
        dump.wait_for(lambda: dump.sight["process"] is None, "the end")
        self.start_browser(self.page("page"))
        dump.wait_for(lambda: dump.sight["isTrusted"], "trust after the bus")

    def bus_process(self, address):
        """The daemon that listens at that address in this session."""
        for entry in filter(str.isdigit, os.listdir("/proc")):
            try:
                with open(f"/proc/{entry}/environ", "rb") as variables, open(f"/proc/{entry}/cmdline") as command:
                    is_ours = f"XDG_RUNTIME_DIR={self.environment['XDG_RUNTIME_DIR']}".encode() in variables.read()
                    if is_ours and "accessibility.conf" in command.read():
                        return int(entry)
            except (FileNotFoundError, ProcessLookupError, PermissionError):
                pass
        self.fail(f"no bus at {address}")

    def test_without_accessibility(self):
        dump = Dump(self)
        self.start_browser(self.page("page"), ACCESSIBILITY_ENABLED="0")
        window = dump.wait_for_windows(1)[0]
        self.assertEqual(dump.sight["problem"], "")  # it may still be starting
        self.assertIsNone(dump.ask("read", window=window))
        dump.wait_for(lambda: dump.sight["problem"], "the problem")
        self.assertIn("Quit Chrome", dump.sight["problem"])
        self.assertFalse(dump.sight["isTrusted"])

    def test_raising_and_closing(self):
        dump = Dump(self)
        self.start_browser(self.page("one"))
        dump.wait_for(lambda: dump.sight["isTrusted"], "trust")
        windows = dump.wait_for_windows(1)
        for name in ("two", "three", "four"):
            self.launch("Default", NEW_WINDOW, self.page(name), mark=f"test:{name}")
            windows += [window for window in dump.wait_for_windows(len(windows) + 1) if window not in windows]
        one, two, three, four = windows
        self.assertEqual([window["mark"] for window in dump.windows if window["id"] == three], ["test:three"])

        other = self.other_window()
        for order in ([one, two], [three, one], [two], [four, three, two, one]):
            self.bring_to_front("Other")
            self.wait_until(lambda: dump.ask("active") is None, "another window in front")
            self.assertTrue(dump.ask("raise", windows=order))
            self.assertEqual(dump.ask("active"), order[-1])
            dump.wait_for(lambda: [each["id"] for each in dump.windows][-len(order):] == order, f"order {order}")
        self.run_tool("xdotool", "windowminimize", str(three))
        dump.wait_for(lambda: any(each["minimized"] for each in dump.windows), "minimised")
        self.assertTrue(dump.ask("raise", windows=[two, three]))
        dump.wait_for(lambda: not any(each["minimized"] for each in dump.windows), "restored")
        other.kill()

        # Another window manager takes over; without one nothing is seen.
        def check_window():
            return self.run_tool("xprop", "-root", "_NET_SUPPORTING_WM_CHECK")

        before = check_window()
        manager = self.start("openbox", "--replace")
        self.wait_until(lambda: check_window() != before, "another window manager")
        dump.wait_for(lambda: dump.sight["seesWindows"] and len(dump.windows) == 4, "windows under another manager")
        manager.kill()
        dump.wait_for(lambda: not dump.sight["seesWindows"] and dump.windows == [], "no list")
        self.start("openbox")
        dump.wait_for(lambda: dump.sight["seesWindows"], "a list again")
        # A window manager takes windows over one by one, and first of all has the list of the one before.
        self.wait_until(lambda: dump.ask("raise", windows=[four]) and dump.ask("raise", windows=[one]), "a window in front")
        dump.wait_for_windows(4)

        dump.ask("close", window=two)
        self.assertNotIn(two, dump.wait_for_windows(3))
        self.assertFalse(dump.ask("raise", windows=[one, two]))

        # One whose page asks stays, and says so; nobody presses its buttons.
        self.launch("Default", NEW_WINDOW, self.page("asks", "<script>onbeforeunload = () => 'stay'</script>"))
        asking = next(window for window in dump.wait_for_windows(4) if window not in windows)
        self.wait_until(lambda: any(title.startswith("asks") for title in self.titles()), "the page")
        self.assertTrue(dump.ask("raise", windows=[asking]))
        self.wait_until(lambda: self.active_title().startswith("asks"), "the page in front")
        self.run_tool("xdotool", "mousemove", "--window", str(asking), "500", "500", "click", "1")
        time.sleep(0.5)  # a page may ask only when its user has used it, of which nobody is told
        self.assertEqual(dump.ask("prompting"), [])
        dump.ask("close", window=asking)
        self.wait_until(lambda: dump.ask("prompting") == [asking], "the question")
        self.picture("question")
        dump.ask("raise", windows=[asking])
        self.run_tool("xdotool", "key", "Escape")
        self.wait_until(lambda: dump.ask("prompting") == [], "the question is gone")
        self.assertEqual(len(dump.windows), 4)

        # A page that hangs is no question, and goes.
        self.launch("Default", NEW_WINDOW, self.page("hangs", "<script>setTimeout(() => { while (true); }, 200)</script>"))
        hung = next(window for window in dump.wait_for_windows(5) if window not in [*windows, asking])
        self.wait_until(lambda: any(title.startswith("hangs") for title in self.titles()), "the page that hangs")
        time.sleep(0.5)  # until it does
        dump.ask("close", window=hung)
        self.assertNotIn(hung, dump.wait_for_windows(4))

    def test_tab_groups(self):
        # An extension puts pages into groups, by their fragments.
        extension = os.path.join(self.folder, "extension")
        os.mkdir(extension)
        with open(os.path.join(extension, "manifest.json"), "w") as manifest:
            json.dump({"manifest_version": 3, "name": "Groups", "version": "1", "permissions": ["tabs", "tabGroups"],
                       "background": {"service_worker": "groups.js"}}, manifest)
        with open(os.path.join(extension, "groups.js"), "w") as script:
            # It may be loaded only after the first page.
            script.write("""async function regroup(tab) {
                const place = (tab.url || "").indexOf("#group=");
                if (place < 0 || tab.status !== "complete" || tab.groupId !== -1) return;
                const group = await chrome.tabs.group({tabIds: [tab.id]});
                await chrome.tabGroups.update(group, {title: decodeURIComponent(tab.url.slice(place + 7))});
            }
            chrome.tabs.onUpdated.addListener((id, change, tab) => change.status && regroup(tab));
            chrome.tabs.query({}).then((tabs) => tabs.forEach(regroup));""")
        dump = Dump(self)
        dump.ask("watch", on=True)
        self.start_browser(f"--load-extension={extension}", "--disable-features=DisableLoadExtensionCommandLineSwitch",
                           self.page("home"))
        dump.wait_for(lambda: dump.sight["isTrusted"], "trust")
        first = dump.wait_for_windows(1)[0]
        names = ["Research", "Research 2", "Research - Opened", "Opened", 'A "q" <b> & c', "☕ Café", "研究", "x" * 60]
        self.assertEqual(dump.ask("groups", window=first), {})

        def groups(window):
            return dump.ask("groups", window=window)

        def group(**changes):
            return {"isSaved": True, "isOpen": True, "isHere": False, "isAlone": False} | changes

        for number, name in enumerate(names):
            self.launch("Default", f"{self.page('grouped')}?{number}#group={urllib.parse.quote(name)}")
            self.wait_until(lambda: name in (groups(first) or {}), f"the group {name}")
        self.assertEqual(groups(first), {name: group(isHere=True) for name in names})
        self.launch("Default", NEW_WINDOW, self.page("second"))
        second = next(window for window in dump.wait_for_windows(2) if window != first)
        self.wait_until(lambda: groups(second) == {name: group() for name in names}, "the groups of the other window")
        self.launch("Profile 1", NEW_WINDOW, self.page("third"))
        third = next(window for window in dump.wait_for_windows(3) if window not in (first, second))
        self.assertEqual(groups(third), {})

        # Closed and opened again, each by exactly its name, and told of.
        for name in names:
            before = dump.group_changes
            self.assertTrue(dump.ask("closeGroup", window=first, name=name), name)
            self.wait_until(lambda: (groups(second) or {}).get(name) == group(isOpen=False), f"{name} closed")
            dump.wait_for(lambda: dump.group_changes > before, f"word of {name}")
            self.assertEqual([each for each, state in groups(first).items() if not state["isOpen"]], [name])
            self.assertFalse(dump.ask("closeGroup", window=first, name=name), name)
            self.assertTrue(dump.ask("openGroup", window=first, name=name), name)
            self.wait_until(lambda: (groups(first) or {}).get(name) == group(isHere=True), f"{name} open again")
        for name in ("Research - ", "Res", "", "Closed"):
            self.assertFalse(dump.ask("openGroup", window=first, name=name), name)
        self.assertFalse(dump.ask("openGroup", window=third, name="Research"))

        self.assertTrue(dump.ask("moveGroup", window=first, name="Research"))
        own = next(window for window in dump.wait_for_windows(4) if window not in (first, second, third))
        self.wait_until(lambda: (groups(own) or {}).get("Research") == group(isHere=True, isAlone=True), "a window of its own")
        self.assertEqual(groups(first)["Research"], group())
        self.assertEqual(identity(dump.ask("read", window=second)), "Work")
        self.check_pairs(dump)

    def check_pairs(self, dump):
        """In windows that show groups the name is not just longer than the title; each is still told by its own."""
        for window in dump.windows:
            reading = dump.ask("read", window=window["id"])
            self.assertEqual(reading["title"].split(" - ")[0], reading["name"].split(" - ")[0])


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]], verbosity=2)
