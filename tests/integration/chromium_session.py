"""A desktop with a real Chromium and the product's programs, for tests whose command lines begin with
SOURCE_FOLDER CORVANA CORVANA_STUB."""

import os
import subprocess
import sys

from desktop_session import PATIENCE, DesktopTest, Lines, is_running

__all__ = ["PATIENCE", "STUB", "ChromiumSession", "Lines", "is_running"]

SOURCE, CORVANA, STUB = sys.argv[1:4]


class ChromiumSession(DesktopTest):
    def make_app(self, name, profile, *options):
        app = os.path.join(self.folder, f"{name}.app")
        self.corvana("make-app", app, "--profile", profile, "--stub", STUB, *options)
        return os.path.join(app, "Contents", "MacOS", "CorvanaStub")

    def corvana(self, *arguments):
        return subprocess.run([CORVANA, *arguments], env=self.environment, check=True, capture_output=True).stdout

    def wait_for_line(self, process, text):
        while (line := process.lines.next(text)) is not None:
            if text in line:
                return
        self.fail(f"the proxy app has ended without saying: {text}")
