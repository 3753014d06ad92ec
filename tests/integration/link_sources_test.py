"""Where links come from, with the desktop's own ways to open them: the source is right or absent, never wrong.

Usage: link_sources_test.py LINK_RECEIVER
"""
import os
import queue
import shutil
import subprocess
import sys
import tempfile
import threading
import time
import unittest
from pathlib import Path

RECEIVER = Path(sys.argv[1]).resolve()
PATIENCE = 30  # seconds; what is waited for takes less than one
MAIL = "org.example.Mail"
GIO_PROGRAM = ("import gi; gi.require_version('Gio', '2.0')\nfrom gi.repository import Gio\nimport sys\n"
               "Gio.AppInfo.launch_default_for_uri(sys.argv[-1], None)\n")


def has_gi():
    return subprocess.run(["/usr/bin/python3", "-c", "import gi"], capture_output=True).returncode == 0


class LinkSources(unittest.TestCase):
    def setUp(self):
        self.home = Path(tempfile.mkdtemp(prefix="corvana-test."))
        self.addCleanup(shutil.rmtree, self.home, ignore_errors=True)
        self.environment = {
            "PATH": os.environ["PATH"], "HOME": str(self.home), "XDG_DATA_HOME": str(self.home / ".local/share"),
            "XDG_DATA_DIRS": "/nonexistent", "LANG": "C.UTF-8",
            "XDG_RUNTIME_DIR": str(self.home), "DISPLAY": ":none",
            "DBUS_SESSION_BUS_ADDRESS": f"unix:path={self.home}/bus",
            **{key: value for key, value in os.environ.items() if key.endswith("SAN_OPTIONS")}}
        bus = subprocess.Popen(["dbus-daemon", "--session", "--nofork", "--print-address", "--address",
                                self.environment["DBUS_SESSION_BUS_ADDRESS"]], stdout=subprocess.PIPE,
                               stderr=subprocess.DEVNULL, text=True, env=self.environment)
        self.keep(bus)
        bus.stdout.readline()
        # xdg-open by itself reads no quotes.
        forwarder = self.home / "forwarder"
        forwarder.symlink_to(RECEIVER)
        self.write_entry("app.corvana.receiver", f"{forwarder} --forward %U",
                         "NoDisplay=true\nMimeType=x-scheme-handler/https;\nDBusActivatable=true\n")
        # Those who do not know of the bus, or cannot use it, run the command line.
        self.write(".config/mimeapps.list", "[Default Applications]\nx-scheme-handler/https=app.corvana.receiver.desktop\n")
        self.receiver = subprocess.Popen([RECEIVER], stdout=subprocess.PIPE, text=True, env=self.environment)
        self.keep(self.receiver)
        self.lines = queue.Queue()
        threading.Thread(target=lambda: [self.lines.put(line.rstrip("\n")) for line in self.receiver.stdout],
                         daemon=True).start()
        self.assertEqual(self.lines.get(timeout=PATIENCE), "ready")

    def keep(self, process):
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)

    def write(self, relative, text, mode=0o644):
        file = self.home / relative
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text)
        file.chmod(mode)
        return file

    def write_entry(self, name, command, more=""):
        return self.write(f".local/share/applications/{name}.desktop",
                          f"[Desktop Entry]\nType=Application\nName={name} name\nExec={command}\n{more}")

    def application(self, body, name=MAIL, interpreter="/bin/sh"):
        """An installed application whose program is a script that opens the link that it is given."""
        program = self.write(f"bin/{name}", f"#!{interpreter}\n{body}\n", 0o755)
        self.write_entry(name, f"{program} %u")
        return program

    def run_with(self, program, url, **environment):
        subprocess.run([program, url], env=self.environment | environment, timeout=PATIENCE, check=True,
                       stdin=subprocess.DEVNULL, capture_output=True)

    def expect(self, url, source):
        try:
            seen = self.lines.get(timeout=PATIENCE).split("\t")
        except queue.Empty:
            self.fail(f"{url} did not come")
        self.assertEqual(seen[0], url)
        self.assertEqual(seen[1], source, url)
        self.assertEqual(seen[2], f"{source} name" if source else "", url)

    def test_openers_are_seen_through(self):
        for number, (name, opener, environment) in enumerate([
                ("gio", "gio open", {}), ("xdg-open", "xdg-open", {}), ("GNOME", "xdg-open", {"XDG_CURRENT_DESKTOP": "GNOME"}),
                ("shell", "sh -c 'xdg-open \"$0\"; true'", {}), ("Exec", f'"{RECEIVER}" --forward', {})]):
            with self.subTest(name):
                url = f"https://example.org/{number}?a=b%20c"
                self.run_with(self.application(f'{opener} "$1"\ntrue'), url, **environment)
                self.expect(url, MAIL)

    @unittest.skipUnless(has_gi(), "python3-gi is not installed")
    def test_a_program_that_calls_itself(self):
        program = self.application(GIO_PROGRAM, interpreter="/usr/bin/python3")
        self.run_with(program, "https://example.org/gio")
        self.expect("https://example.org/gio", MAIL)
        # Without an entry of its own it is nobody, whoever has started it.
        other = self.write("bin/other", f"#!/usr/bin/python3\n{GIO_PROGRAM}", 0o755)
        self.run_with(self.application(f'"{other}" "$1"\ntrue'), "https://example.org/other")
        self.expect("https://example.org/other", "")

    def test_a_detached_caller_is_unknown(self):
        for number, opener in enumerate(["gio open", "xdg-open", f'"{RECEIVER}" --forward']):
            # The opener starts when its parent is gone for sure.
            late = self.write("bin/late", f'#!/bin/sh\nwhile kill -0 "$1" 2>/dev/null; do sleep 0.02; done\n{opener} "$2"\n', 0o755)
            program = self.application(f'setsid -f "{late}" $$ "$1" >/dev/null 2>&1')
            self.run_with(program, f"https://example.org/{number}")
            self.expect(f"https://example.org/{number}", "")

    def test_what_a_launcher_says_counts_for_its_own_process_only(self):
        entry = self.write_entry("org.example.Launched", "/nonexistent")
        launched = self.write("bin/launched", '#!/bin/sh\nGIO_LAUNCHED_DESKTOP_FILE_PID=$$ exec /bin/sh -c \'gio open "$0"; true\' "$1"\n', 0o755)
        self.run_with(launched, "https://example.org/own", GIO_LAUNCHED_DESKTOP_FILE=str(entry))
        self.expect("https://example.org/own", "org.example.Launched")
        # The same variables in a child, which is another application.
        program = self.application('gio open "$1"\ntrue')
        self.run_with(program, "https://example.org/child", GIO_LAUNCHED_DESKTOP_FILE=str(entry),
                      GIO_LAUNCHED_DESKTOP_FILE_PID=str(os.getpid()))
        self.expect("https://example.org/child", MAIL)

    def test_two_entries_for_one_program_are_no_answer(self):
        program = self.application('gio open "$1"\ntrue')
        self.write_entry("org.example.Copy", f"{program} %u")
        self.run_with(program, "https://example.org/")
        self.expect("https://example.org/", "")

    def test_a_program_may_speak_for_another(self):
        subprocess.run([RECEIVER, "--forward", "--from=org.example.Other", "https://example.org/"], check=True,
                       env=self.environment, timeout=PATIENCE)
        self.write_entry("org.example.Other", "true")
        self.assertEqual(self.lines.get(timeout=PATIENCE), "https://example.org/\torg.example.Other\t")

    def test_the_bus_starts_the_one_that_serves(self):
        self.receiver.kill()
        self.receiver.wait()
        output = self.home / "output"
        url = "https://example.org/late"
        program = self.application(f'"{RECEIVER}" --forward "$1"')
        with self.assertRaises(subprocess.CalledProcessError):
            self.run_with(program, url)
        starter = self.write("bin/starter", f'#!/bin/sh\nLINK_RECEIVER_OUTPUT="{output}" exec "{RECEIVER}" --told-by-bus\n', 0o755)
        self.write(".local/share/dbus-1/services/app.corvana.receiver.service",
                   f"[D-BUS Service]\nName=app.corvana.receiver\nExec={starter}\n")
        subprocess.run(["dbus-send", "--session", "--print-reply", "--dest=org.freedesktop.DBus", "/org/freedesktop/DBus",
                        "org.freedesktop.DBus.ReloadConfig"], env=self.environment, check=True, capture_output=True)
        self.run_with(program, url)
        deadline = time.monotonic() + PATIENCE
        while not (output.exists() and output.read_text()) and time.monotonic() < deadline:
            time.sleep(0.02)
        self.assertEqual(output.read_text(), f"{url}\t{MAIL}\t{MAIL} name\n")
        subprocess.run(["gdbus", "call", "--session", "--dest", "app.corvana.receiver", "--object-path",
                        "/app/corvana/receiver", "--method", "org.freedesktop.Application.ActivateAction", "quit",
                        "[]", "{}"], env=self.environment, check=True, capture_output=True)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
