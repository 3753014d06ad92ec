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


def said(*arguments):
    """On standard error, of a command that does its work all the same."""
    result = subprocess.run([corvana, *arguments], env=environment, capture_output=True, text=True, timeout=60)
    assert result.returncode == 0, result
    return result.stderr


def at_once(*commands):
    """All wait for the gate's end before they become the command."""
    gate, end = os.pipe()
    processes = [subprocess.Popen(["sh", "-c", 'read _; exec "$0" "$@"', corvana, *command], env=environment, stdin=gate,
                                  stdout=subprocess.DEVNULL) for command in commands]
    os.close(gate)
    os.close(end)
    assert [process.wait(60) for process in processes] == [0] * len(commands)


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
    contains(run("route", "file:///tmp/x"), "would go to proxy app app.corvana.1, which is missing: rule 1",
             "would go to browser org.files, in a private window, which is missing: local files go there",
             "goes to the browser of last resort: nothing else is there", "(no browser available to hand links to)")
    missing = as_json("route", "file:///tmp/x")[0]
    assert [(one["reason"], one["target"]["bundleID"]) for one in missing["missing"]] == [
        ("rule", "app.corvana.1"), ("localFileTarget", "org.files"), ("fallback", "org.fallback")], missing
    assert missing["reason"] == "lastResort" and "target" not in missing
    for name in ("org.fallback", "org.files"):
        write(entries / (name + ".desktop"), f"[Desktop Entry]\nType=Application\nName={name}\nExec=/bin/true\n")
    registry = {"apps": [{"bundleID": "app.corvana.1", "name": "One", "path": str(home), "config": {
        "profileDirectory": "Default"}, "createdAt": "2026-01-02T03:04:05Z"}]}
    write(support / "registry.json", json.dumps(registry))
    contains(run("route", "https://x.example.org/", "--from", "ORG.Mail"), "goes to proxy app app.corvana.1: rule 1",
             'rule 1 "Work" matches: address *.example.org', 'rule 2 "Later" would match, comes too late: source app')
    contains(run("route", "https://[/"), "its host or port is not valid")
    routes = as_json("route", "https://a.example.org", "file:///tmp/x", "file:///x", "https://other/", "x:")
    assert [route["target"]["bundleID"] for route in routes] == [
        "app.corvana.1", "app.corvana.1", "org.files", "org.fallback", "org.fallback"], routes
    assert routes[0]["ruleIndex"] == 0 and "ruleIndex" not in routes[2]
    assert [route["reason"] for route in routes] == ["rule", "rule", "localFileTarget", "fallback", "fallback"]
    assert routes[2]["application"] == str(entries / "org.files.desktop") and routes[2]["missing"] == []
    (support / "registry.json").unlink()

    broken = home / "rules.json"
    write(broken, '{\n "rules": [\n  {"target": {"kind": 1}}]}')
    expected = f"corvana: {broken}:3:23: rules[0].target.kind: expected a string, found number\n"
    assert run("rules", "check", str(broken), status=1) == expected
    assert run("route", "https://x/", "--rules", str(broken), status=1) == expected
    write(broken, '{"rules":\n [{"target": {"kind": "browser", "bundleID": "b"}}]}')
    contains(run("rules", "check", str(broken), status=1), f'{broken}:2:3: rule "Rule": has no conditions')


def terminals():
    """What reaches a terminal neither controls it nor turns text around; programs get all of it."""
    evil = "x:\u001b[2J\u009b\u202e\u2066\u200f\u2028\u007f\t"
    shown = "x:?[2J???????"
    contains(run("route", evil), shown + "\n")
    assert as_json("route", evil)[0]["url"] == evil
    assert run("route", evil, "--json").isascii()
    contains(run("route", evil[2:], status=1), shown[2:])
    contains(run("route", "x:", "--" + evil, status=109), shown[2:])
    rules = home / "evil.json"
    write(rules, json.dumps({"rules": [{"name": evil, "target": {"kind": "browser", "bundleID": "b"}}]}))
    contains(run("rules", "check", str(rules), status=1), shown)
    # Bytes that are no text, either.
    raw = subprocess.run([corvana, "route", b"x:\x9b2J\xc3("], env=environment, capture_output=True, timeout=60)
    assert b"x:?2J?(\n" in raw.stdout, raw
    for arguments in (["settings"], ["apps", "--json"], ["--help"]):
        with open("/dev/full", "wb") as full:
            result = subprocess.run([corvana, *arguments], env=environment, stdout=full, stderr=subprocess.PIPE, timeout=60)
        assert result.returncode == 1 and b"No space left on device" in result.stderr, (arguments, result)


def settings_and_history():
    assert as_json("settings") == {"version": 1, "disablesHelper": False, "notifiesWhenProxyAppsAreOutdated": True}
    contains(run("settings", "disablesHelper=true"), "disablesHelper                    true")
    assert as_json("settings")["disablesHelper"] is True
    for change in ("disablesHelper=maybe", "disablesHelper=1", "unknown=true", "version=2", "disablesHelper"):
        run("settings", change, status=1)
    write(support / "settings.json", "broken")
    contains(run("settings", "disablesHelper=false", status=1), "settings.json is broken")
    assert (support / "settings.json").read_text() == "broken"
    (support / "settings.json").unlink()
    at_once(*[["settings", f"{key}=true"] for key in ("disablesHelper", "notifiesWhenProxyAppsAreOutdated")] * 10)
    at_once(["settings", "disablesHelper=false"], ["settings", "notifiesWhenProxyAppsAreOutdated=false"])
    assert as_json("settings") == {"version": 1, "disablesHelper": False, "notifiesWhenProxyAppsAreOutdated": False}

    assert run("history") == "No links have been routed.\n"
    link = {"id": "00112233-4455-6677-8899-AABBCCDDEEFF", "date": "2026-01-02T03:04:05Z", "url": "https://example.org/a\u0007",
            "targetBundleID": "org.b", "ruleName": "Work", "ruleID": "00112233-4455-6677-8899-AABBCCDDEEFF",
            "targetWasMissing": False}
    write(support / "recent-links.json", json.dumps([link]))
    contains(run("history"), "2026-01-02 03:04:05  example.org/a?", "org.b  Work")
    assert as_json("history") == [link]
    run("history", "--clear")
    assert as_json("history") == []
    (support / "recent-links.json").unlink()
    (support / "recent-links.json").mkdir()
    contains(said("history"), "recent-links.json could not be read: ")
    contains(run("history", "--clear", status=1), "the history was not cleared: ", "Is a directory")
    (support / "recent-links.json").rmdir()


def profiles_and_apps():
    contains(run("profiles"), "Chrome has no profiles in ")
    # Chrome's list says nothing: its first profile it makes itself, others are there or are mistyped.
    chrome = home / ".config/google-chrome"
    (chrome / "Profile 7").mkdir(parents=True)
    for profile in ("Wrok", "..", "Profile 7/../Profile 7"):
        contains(run("make-app", str(home / "No.app"), "--profile", profile, "--stub", stub, status=1),
                 f'no profile is known by the name "{profile}"', str(chrome / "Local State"))
    for profile in ("Default", "Profile 7"):
        run("make-app", str(home / "Early" / (profile + ".app")), "--profile", profile, "--stub", stub)
    (entries / "google-chrome.desktop").rename(home / "google-chrome.desktop")
    contains(said("make-app", str(home / "Early/Third.app"), "--stub", stub), "no Chrome or Chromium is installed here")
    (home / "google-chrome.desktop").rename(entries / "google-chrome.desktop")
    assert said("make-app", str(home / "Early/Third.app"), "--replace", "--stub", stub).count("no Chrome") == 0
    shutil.rmtree(home / "Early/Third.app")
    run("apps", "--rescan")
    assert sorted(app["config"]["profileDirectory"] for app in as_json("apps")) == ["Default", "Default", "Profile 7"]
    shutil.rmtree(home / "Early")
    (support / "registry.json").unlink()
    write(home / ".config/google-chrome/Local State", json.dumps({"profile": {"info_cache": {
        "Default": {"name": "W\u00f6rk", "user_name": "ann@example.org"}, "Profile 1": {"name": "Home"},
        "Profile 2": {"name": "Twin"}, "Profile 3": {"name": "Twin", "user_name": "bob@example.org"}},
        "profiles_order": ["Profile 1", "Default", "Profile 2", "Profile 3"]}}))
    assert run("profiles") == ("NAME  FOLDER     ACCOUNT\n"
                               "Home  Profile 1\n"
                               "W\u00f6rk  Default    ann@example.org\n"
                               "Twin  Profile 2\n"
                               "Twin  Profile 3  bob@example.org\n")
    assert [profile["directory"] for profile in as_json("profiles")] == ["Profile 1", "Default", "Profile 2", "Profile 3"]
    contains(run("make-app", str(home / "No.app"), "--profile", "Twin", "--stub", stub, status=1),
             "  Twin (folder Profile 2)\n  Twin (folder Profile 3, bob@example.org)\n")

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
    job = home / "Applications/Job.app"
    assert entry_of(registered["bundleID"]).exists()

    # Nothing stays of an app that cannot be registered, and what it was to replace is back.
    (support / "registry.json").rename(support / "kept")
    (support / "registry.json").mkdir()
    run("make-app", str(home / "Applications/Other.app"), "--stub", stub, status=1)
    run("make-app", str(job), "--profile", "Twin Peaks", "--stub", stub, "--replace", status=1)
    run("make-app", str(job), "--profile", "Profile 2", "--stub", stub, "--replace", status=1)
    run("apps", "--rescan", status=1)
    assert os.listdir(home / "Applications") == ["Job.app"]
    (support / "registry.json").rmdir()
    (support / "kept").rename(support / "registry.json")
    assert as_json("apps", "--rescan")[0]["config"]["profileDirectory"] == "Default"

    # A broken list is not overwritten in silence.
    (support / "registry.json").write_text("broken")
    contains(said("apps"), "registry.json could not be read: parse error")
    run("apps", "--rescan")
    assert (support / "registry.json.kept-1").read_text() == "broken"
    contains(run("apps"), "Job")

    # An app that is made again where another one was is another app, for the desktop and for rules.
    old = registered["bundleID"]
    shutil.rmtree(job)
    run("make-app", str(job), "--profile", "Home", "--stub", stub)
    new = next(app["bundleID"] for app in as_json("apps") if app["bundleID"] != old)
    assert entry_of(new).exists() and not entry_of(old).exists()
    for arguments in (["apps"], ["apps", "--rescan"]):
        assert {app["bundleID"]: app["isMissing"] for app in as_json(*arguments)} == {old: True, new: False}, arguments
    write(support / "rules.json", json.dumps({"fallback": {"kind": "proxyApp", "bundleID": old}}))
    contains(run("route", "x:"), f"would go to proxy app {old}, which is missing")
    # What is deleted leaves the desktop, unless it may be on a disk that comes back.
    away = home / "Disk/Away.app"
    run("make-app", str(away), "--profile", "Home", "--stub", stub)
    away_id = next(app["bundleID"] for app in as_json("apps") if app["name"] == "Away")
    away.parent.rename(home / ".unmounted")
    shutil.rmtree(job)
    run("apps", "--rescan")
    assert entry_of(away_id).exists() and not entry_of(new).exists()
    assert not (home / f".local/share/dbus-1/services/{entry_of(new).stem}.service").exists()
    (home / ".unmounted").rename(away.parent)
    away.rename(away.parent / "Moved.app")
    run("apps", "--rescan")
    contains(entry_of(away_id).read_text(), str(away.parent / "Moved.app"))

    # Apps that are made at once are all registered, also while somebody looks for apps.
    makers = [["make-app", str(home / f"Many/{number}.app"), "--profile", "Home", "--stub", stub] for number in range(20)]
    at_once(*makers, *[["apps", "--rescan"]] * 5)
    names = [app["name"] for app in as_json("apps")]
    assert sorted(name for name in names if name.isdigit()) == sorted(map(str, range(20))), names


def entry_of(bundle_id):
    prefix, _, name = bundle_id.rpartition(".")
    return entries / f"{prefix}.{'_' if name[0].isdigit() else ''}{name}.desktop"


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

    assert run("default-browser") == "Corvana is the default browser.\n"
    assert run("default-browser", "off") == "Corvana is not the default browser; Google Chrome is.\n"
    assert run("default-browser", "on") == "Corvana is the default browser.\n"
    run("default-browser", "maybe", status=105)

    # Without a helper the command sends links on itself.
    opened.unlink()
    write(support / "rules.json", json.dumps({"rules": [
        {"name": "Mail", "target": {"kind": "browser", "bundleID": "org.mozilla.firefox"},
         "conditions": [{"kind": "apps", "values": ["org.mail"]}]},
        {"name": "Gone", "target": {"kind": "browser", "bundleID": "org.gone"},
         "conditions": [{"kind": "addresses", "values": ["gone.org"]}]}]}))
    contains(run("open", "example.org", status=1), "is no link")
    assert run("open", "--dry-run", "https://a/") == "https://a/: Google Chrome\n"
    assert run("open", "--dry-run", "https://a/", "--from", "org.mail") == "https://a/: Firefox\n"
    contains(run("open", "--dry-run", "https://gone.org/"), "org.gone is missing", "Google Chrome")
    assert not opened.exists()
    run("open", "https://a/?b=%20", "--from", "org.mail")
    assert opened.read_text() == "Firefox https://a/?b=%20\n"
    run("open", "https://gone.org/")
    assert opened.read_text() == "Google Chrome https://gone.org/\n"
    assert [link["targetWasMissing"] for link in as_json("history")] == [True, False]

    write(support / "rules.json", json.dumps({"browserChoices": {"com.google.Chrome": False, "org.mozilla.firefox": False}}))
    contains(run("browsers"), "switched off, last resort", "all browsers are switched off; the first takes the link")


try:
    routes_and_rules()
    terminals()
    settings_and_history()
    browsers()
    profiles_and_apps()
finally:
    shutil.rmtree(home)
