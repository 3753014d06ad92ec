"""A private session ends by itself, but not while somebody has just asked for it.

Usage: private_session_test.py SCRIPT"""

import pathlib
import subprocess
import sys
import tempfile
import time

script = sys.argv[1]
with tempfile.TemporaryDirectory() as temporary:
    folder = pathlib.Path(temporary) / "session"

    def call(*words):
        subprocess.run([script, words[0], folder, *words[1:]], check=True, timeout=60)

    def supervisor():
        return (folder / "supervisor.pid").read_text()

    def ends_within(seconds):
        end = time.monotonic() + seconds
        while (folder / "environment").exists():
            if time.monotonic() > end:
                return False
            time.sleep(0.1)
        return True

    try:
        call("start", "3")
        first = supervisor()
        call("start", "60")
        assert not ends_within(4), "the second start has not prolonged the session"
        assert supervisor() == first, "the second start has replaced the session"
        call("start", "1")
        assert float((folder / "deadline").read_text()) > time.time() + 30, "a later start has shortened the session"
        call("stop")
        call("start", "1")
        assert supervisor() != first and ends_within(15), "the session does not end by itself"
        call("start", "60")  # maybe while the one before is about to end
        assert (folder / "environment").exists(), "the session that was about to end was not replaced"
    finally:
        call("stop")
print("1 passed, 0 failed")
