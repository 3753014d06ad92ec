#!/usr/bin/env python3
"""Runs `corvana` as people and programs do, with a home directory of its own.

Usage: command_line_test.py CORVANA PROXY_APP_EXECUTABLE
"""
import json
import os
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

corvana, stub = sys.argv[1:3]
home = Path(tempfile.mkdtemp(prefix="corvana-test."))
support = home / "Library/Application Support/Corvana"
entries = home / ".local/share/applications"
environment = {
    "PATH": os.environ["PATH"], "HOME": str(home), "XDG_DATA_DIRS": "/nonexistent", "TZ": "UTC", "LANG": "C.UTF-8",
    **{key: value for key, value in os.environ.items() if key.endswith("SAN_OPTIONS")},
}


def run(*arguments, status=0, program=corvana):
    result = subprocess.run([program, *arguments], env=environment, capture_output=True, text=True, timeout=60,
                            stdin=subprocess.DEVNULL)
    assert result.returncode == status, (arguments, result)
    return result.stdout if status == 0 or not result.stderr else result.stderr


def as_json(*arguments):
    return json.loads(run(*arguments, "--json"))


def contains(text, *parts):
    for part in parts:
        assert part in text, f"{part!r} is not in:\n{text}"


def write(path, text):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text)


def routes_and_rules():
    assert run("rules", "check") == "No rules yet\n"
    contains(run("route", "https://example.org/"), "goes to the browser of last resort: no rule claims it")
    contains(run("route", "example.org", status=1), '"example.org" is no link: expected one that begins with a scheme')
    write(support / "rules.json", json.dumps({
        "fallback": {"kind": "browser", "bundleID": "org.fallback"},
        "localFileTarget": {"kind": "browser", "bundleID": "org.files", "isPrivate": True},
        "rules": [{"name": "Work", "target": {"kind": "proxyApp", "bundleID": "app.corvana.1"},
                   "conditions": [{"kind": "addresses", "values": ["*.example.org", "/tmp/*"]}]},
                  {"name": "Later", "target": {"kind": "proxyApp", "bundleID": "app.corvana.2"},
                   "conditions": [{"kind": "apps", "values": ["org.mail"]}]}]}, indent=1))
    assert run("rules", "check") == "2 rules enabled, first match wins\n"
    contains(run("route", "https://x.example.org/", "--from", "ORG.Mail"), "goes to proxy app app.corvana.1: rule 1",
             'rule 1 "Work" matches: address *.example.org', 'rule 2 "Later" would match, comes too late: source app')
    contains(run("route", "https://[/"), "its host or port is not valid")
    routes = as_json("route", "https://a.example.org", "file:///tmp/x", "file:///x", "https://other/", "x:")
    assert [route["target"]["bundleID"] for route in routes] == [
        "app.corvana.1", "app.corvana.1", "org.files", "org.fallback", "org.fallback"], routes
    assert routes[0]["ruleIndex"] == 0 and "ruleIndex" not in routes[2]

    broken = home / "rules.json"
    write(broken, '{\n "rules": [\n  {"target": {"kind": 1}}]}')
    expected = f"corvana: {broken}:3:23: rules[0].target.kind: expected a string, found number\n"
    assert run("rules", "check", str(broken), status=1) == expected
    assert run("route", "https://x/", "--rules", str(broken), status=1) == expected
    write(broken, '{"rules":\n [{"target": {"kind": "browser", "bundleID": "b"}}]}')
    contains(run("rules", "check", str(broken), status=1), f'{broken}:2:3: rule "Rule": has no conditions')


def settings_and_history():
    assert as_json("settings") == {"version": 1, "disablesHelper": False, "notifiesWhenProxyAppsAreOutdated": True}
    contains(run("settings", "disablesHelper=true"), "disablesHelper                    true")
    assert as_json("settings")["disablesHelper"] is True
    for change in ("disablesHelper=maybe", "disablesHelper=1", "unknown=true", "version=2", "disablesHelper"):
        run("settings", change, status=1)
    write(support / "settings.json", "broken")
    contains(run("settings", "disablesHelper=false", status=1), "settings.json is broken")
    assert (support / "settings.json").read_text() == "broken"

    assert run("history") == "No links have been routed.\n"
    link = {"id": "00112233-4455-6677-8899-AABBCCDDEEFF", "date": "2026-01-02T03:04:05Z", "url": "https://example.org/a\u0007",
            "targetBundleID": "org.b", "ruleName": "Work", "ruleID": "00112233-4455-6677-8899-AABBCCDDEEFF",
            "targetWasMissing": False}
    write(support / "recent-links.json", json.dumps([link]))
    contains(run("history"), "2026-01-02 03:04:05  example.org/a?", "org.b  Work")
    assert as_json("history") == [link]
    run("history", "--clear")
    assert as_json("history") == []


def profiles_and_apps():
    contains(run("profiles"), "Chrome has no profiles in ")
    write(home / ".config/google-chrome/Local State", json.dumps({"profile": {"info_cache": {
        "Default": {"name": "W\u00f6rk", "user_name": "ann@example.org"}, "Profile 1": {"name": "Home"}},
        "profiles_order": ["Profile 1", "Default"]}}))
    assert run("profiles") == ("NAME  FOLDER     ACCOUNT\n"
                               "Home  Profile 1\n"
                               "W\u00f6rk  Default    ann@example.org\n")
    assert [profile["directory"] for profile in as_json("profiles")] == ["Profile 1", "Default"]

    contains(run("apps"), "No proxy apps are registered")
    app = home / "Applications/Work.app"
    run("make-app", str(app), "--profile", "W\u00f6rk", "--stub", stub)
    run("make-app", str(home / "No.app"), "--profile", "Nobody", "--stub", stub, status=1)
    contains(run("apps", "--rescan"), "Work", str(app), "W\u00f6rk", "up to date")
    registered = as_json("apps")[0]
    assert registered["config"]["profileDirectory"] == "Default" and registered["stubRevision"] == 7, registered
    app.rename(home / "Applications/Job.app")
    assert as_json("apps")[0]["isMissing"] is True
    assert [entry["name"] for entry in as_json("apps", "--rescan")] == ["Job"]


def browsers():
    """The helper's desktop entry as the default browser, found by all the ways in which desktops open links."""
    opened = home / "opened"
    names = {"google-chrome.desktop": "Google Chrome", "firefox.desktop": "Firefox",
             "app.corvana.helper.desktop": "Corvana Helper"}
    for entry, name in names.items():
        script = home / (entry + ".sh")
        write(script, f'#!/bin/sh\necho "{name} $1" > "{opened}"\n')
        script.chmod(0o755)
        write(entries / entry, f"[Desktop Entry]\nType=Application\nName={name}\nExec={script} %u\n"
              "MimeType=x-scheme-handler/https;x-scheme-handler/http;\n")
    run(str(entries), program="update-desktop-database")
    contains(run("browsers"), "Google Chrome", "com.google.Chrome", "last resort", "Firefox",
             "The last resort is Google Chrome: it is the browser that the product serves.")
    assert "Helper " not in run("browsers").splitlines()[1] and len(as_json("browsers")) == 2
    run("mime", "x-scheme-handler/https", "app.corvana.helper.desktop", program="gio")
    contains(run("browsers"), "The helper is the default browser")
    assert not any(browser["isDefault"] for browser in as_json("browsers"))
    os.mkfifo(opened)
    for opener in (["xdg-open"], ["gio", "open"]):
        # xdg-open wants to know of a display; it does not look at it.
        process = subprocess.Popen([*opener, "https://example.org/?a=b%20c"], env=environment | {"DISPLAY": ":none"})
        assert opened.read_text() == "Corvana Helper https://example.org/?a=b%20c\n", opener
        assert process.wait(60) == 0

    write(support / "rules.json", json.dumps({"browserChoices": {"com.google.Chrome": False, "org.mozilla.firefox": False}}))
    contains(run("browsers"), "switched off, last resort", "all browsers are switched off; the first takes the link")


try:
    routes_and_rules()
    settings_and_history()
    browsers()
    profiles_and_apps()
finally:
    shutil.rmtree(home)
