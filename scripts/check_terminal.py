#!/usr/bin/env python3
"""What a person at a terminal meets, checked through a pseudo-terminal.

usage: check_terminal.py BIN_DIR

Runs mantrel, mkdemo and tbltool from BIN_DIR as a person would: outside an
installation, with no one at the input, at the console's prompts (help, a
box typed ahead, French texts, the folders of dialog 111), without a
desktop to show reports on, with --help and --version, and tbltool's
progress line and Ctrl-C on a table of 200,000 symptoms. Exit 0 when every
case passes; each failure is named.
"""
import glob
import json
import os
import pty
import re
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import time

BIN = os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else "build/bin")
MANTREL = os.path.join(BIN, "mantrel")
TBLTOOL = os.path.join(BIN, "tbltool")
MKDEMO = os.path.join(BIN, "mkdemo")
FAILURES = []


def check(ok, what, detail=b""):
    print(("ok    " if ok else "FAIL  ") + what, flush=True)
    if not ok:
        if isinstance(detail, bytes):
            detail = detail.decode("utf-8", "replace")
        FAILURES.append(what)
        print("      " + detail[-3000:].replace("\n", "\n      "), flush=True)


def base_env(**extra):
    env = {k: v for k, v in os.environ.items()
           if k not in ("DISPLAY", "WAYLAND_DISPLAY", "MANTREL_SCRIPT",
                        "MANTREL_VIEWER", "PAGER", "LC_ALL", "LC_CTYPE")}
    env.update(MANTREL_UI="console", LANG="C.UTF-8", TERM="xterm")
    env.update(extra)
    return env


class Pty:
    """A program on a pseudo-terminal: its screen, keys typed, its end."""

    def __init__(self, argv, cwd, env):
        self.pid, self.fd = pty.fork()
        if self.pid == 0:
            try:
                os.chdir(cwd)
                os.execve(argv[0], argv, env)
            finally:
                os._exit(127)
        self.out = b""
        self.status = None

    def pump(self, timeout):
        r, _, _ = select.select([self.fd], [], [], timeout)
        if not r:
            return True
        try:
            data = os.read(self.fd, 65536)
        except OSError:
            return False
        if not data:
            return False
        self.out += data
        return True

    def expect(self, pattern, timeout=60):
        """Waits until pattern (bytes or compiled regex) is on the screen."""
        deadline = time.time() + timeout
        while time.time() < deadline:
            if (pattern in self.out if isinstance(pattern, bytes)
                    else pattern.search(self.out)):
                return True
            if not self.pump(0.2):
                break
        return (pattern in self.out if isinstance(pattern, bytes)
                else bool(pattern.search(self.out)))

    def send(self, keys):
        os.write(self.fd, keys)

    def wait(self, timeout=60):
        deadline = time.time() + timeout
        while time.time() < deadline:
            pid, status = os.waitpid(self.pid, os.WNOHANG)
            if pid == self.pid:
                while self.pump(0.05):
                    if not select.select([self.fd], [], [], 0)[0]:
                        break
                os.close(self.fd)
                self.status = os.waitstatus_to_exitcode(status)
                return self.status
            self.pump(0.1)
        os.kill(self.pid, signal.SIGKILL)
        os.waitpid(self.pid, 0)
        os.close(self.fd)
        self.status = "hung"
        return self.status


def run(argv, cwd, env, stdin=subprocess.DEVNULL, timeout=120):
    return subprocess.run(argv, cwd=cwd, env=env, stdin=stdin,
                          capture_output=True, timeout=timeout)


def outside_an_installation(tmp):
    empty = os.path.join(tmp, "nowhere")
    os.mkdir(empty)
    p = Pty([MANTREL], empty, base_env())
    # Typed ahead: the lines reach the box that comes up first.
    p.send(b"menu 1031\nclick 1\nok\n")
    status = p.wait()
    check(status == 1, "outside an installation the fatal box ends the "
          "program", p.out + str(status).encode())
    check(b"Can't open Messages table" in p.out,
          "the fatal box keeps its text", p.out)
    check(b"from the folder " + empty.encode() in p.out and
          b"Mantrel runs from the bin folder of an installation" in p.out,
          "a plain line names the folder and how Mantrel starts", p.out)
    said = p.out.count(b"waits for an answer: [1 OK]")
    check(said == 1, "a box typed ahead says once what it waits for", p.out)


def unattended(demo_bin):
    r = run([MANTREL], demo_bin, base_env(MANTREL_VIEWER="true"))
    n = r.stderr.count(b"standard input is not a terminal")
    check(n == 1 and b"MANTREL_SCRIPT=FILE" in r.stderr,
          "with no one at the input it is said once how to script answers",
          r.stderr)


def console_help_and_dialogs(demo_bin):
    p = Pty([MANTREL], demo_bin, base_env(MANTREL_VIEWER="true"))
    ok = p.expect(b"[Select a repertory]")
    p.send(b"help\n")
    ok = ok and p.expect(b"In a window, type:")
    check(ok and b"click N" in p.out and b"select N ROW..." in p.out,
          "help lists the action words of a dialog", p.out)
    p.send(b"enter\n")
    p.expect(b"menu> ")
    p.send(b"?\n")
    check(p.expect(b"At the menu, type:"),
          "? lists the action words of the menu", p.out)
    mark = len(p.out)
    p.send(b"1031\n")
    shown = p.expect(re.compile(rb"edit +/\S*/BACKUP"))
    screen = p.out[mark:]
    check(shown and b"\\BACKUP" not in screen,
          "dialog 111 shows the backup folder as a Linux folder", screen)
    p.send(b"click 2\n")
    p.expect(b"menu> ")
    p.send(b"exit\n")
    check(p.wait() == 0, "File Exit ends the console session", p.out)


def french_texts(demo_bin):
    ini = os.path.join(demo_bin, "fr.ini")
    with open(os.path.join(demo_bin, "orvix.ini"), encoding="latin-1") as f:
        text = f.read()
    with open(ini, "w", encoding="latin-1") as f:
        f.write(text.replace("Language=1", "Language=2"))
    for lang, want, unwanted in (("C.UTF-8", "Réparation".encode("utf-8"),
                                  b"R\xe9paration"),
                                 ("fr_FR.ISO-8859-1", b"R\xe9paration",
                                  "Réparation".encode("utf-8"))):
        p = Pty([MANTREL, "/Ifr.ini"], demo_bin,
                base_env(LANG=lang, MANTREL_VIEWER="true"))
        p.expect(b"> ")
        p.send(b"click 2\n")
        p.expect(b"menu> ")
        p.send(b"exit\n")
        p.wait()
        check(want in p.out and unwanted not in p.out,
              "French texts reach a %s terminal in its encoding" % lang,
              p.out)
    os.remove(ini)


def reports_without_a_desktop(demo_bin, demo_root, tmp):
    # A fresh copy: the run moves its log to done\.
    work = os.path.join(tmp, "pager")
    shutil.copytree(demo_root, work, symlinks=True)
    work_bin = os.path.join(work, "bin")
    p = Pty([MANTREL, "/RUN", "..\\log\\sample", "1"], work_bin,
            base_env(PAGER="sed s/^/PAGED:/"))
    # Every box is answered with Enter (OK, and "see the reports").
    deadline = time.time() + 120
    while p.status is None and time.time() < deadline:
        if p.out.rstrip().endswith(b">"):
            p.send(b"\n")
        if not p.pump(0.3):
            break
    p.wait()
    check(b"PAGED:" in p.out and b"is no usable" not in p.out,
          "without a desktop the reports go through $PAGER", p.out)

    # The Help button of the chooser: the manual's section, paged.
    p = Pty([MANTREL], demo_bin, base_env(PAGER="sed s/^/HELP:/"))
    p.expect(b"[Select a repertory]")
    p.send(b"click 3\n")
    paged = p.expect(b"HELP:")
    p.send(b"click 2\n")
    p.expect(b"menu> ")
    p.send(b"exit\n")
    p.wait()
    check(paged and b"could not be started" not in p.out,
          "without a desktop the Help section goes through $PAGER", p.out)

    work2 = os.path.join(tmp, "printed")
    shutil.copytree(demo_root, work2, symlinks=True)
    r = run([MANTREL, "/RUN", "..\\log\\sample", "1"],
            os.path.join(work2, "bin"), base_env(MANTREL_UI="scripted"))
    check(re.search(rb"==== \S*sample\.err ====", r.stdout) is not None and
          b"viewer could not be started" not in r.stderr,
          "without a desktop or a terminal the reports are printed",
          r.stdout + r.stderr)


def help_and_version(demo_root, tmp):
    r = run([MANTREL, "--help"], tmp, base_env())
    out = r.stdout.decode("utf-8", "replace")
    words = ["Mantrel arguments", "/RUN logfile lang", "MANTREL_UI",
             "MANTREL_SCRIPT", "MANTREL_VIEWER", "MANTREL_DRIVE_x", "tbltool",
             "mkdemo", "BackupApp"]
    missing = [w for w in words if w not in out]
    check(r.returncode == 0 and not missing,
          "--help names verbs, environment, programs and what is not built",
          out + "\nmissing: %s" % missing)
    r = run([MANTREL, "--version"], tmp, base_env())
    check(re.fullmatch(rb"mantrel \d+\.\d+\.\d+\n", r.stdout) is not None,
          "--version gives one version", r.stdout)

    # The verbs named as not built say so; /RUN, which is built, does not.
    not_built = []
    if "Not built in this version" in out:
        listed = out.split("Not built in this version")[1].splitlines()[1]
        not_built = [v.strip() for v in listed.split(",") if v.strip()]
    args = {"/AUTREM": ["a", "b"], "/BUILD": ["x.txt"], "/NOTES": ["a", "b"],
            "/UPGRADERESET": ["..\\log\\x", "X"],
            "/UPGRADE": ["..\\log\\x", "X", "Y"],
            "/UPGRADEASSOC": ["..\\log\\x", "X", "Y", "z"]}
    for verb in not_built + ["/RUN"]:
        work = os.path.join(tmp, "verb")
        shutil.rmtree(work, ignore_errors=True)
        shutil.copytree(demo_root, work, symlinks=True)
        argv = [MANTREL, verb] + args.get(verb, ["..\\log\\sample", "1"]
                                          if verb == "/RUN" else [])
        r = run(argv, os.path.join(work, "bin"),
                base_env(MANTREL_UI="scripted", MANTREL_VIEWER="true"))
        says = re.search(rb"(?m)^error: .* is not available in this version",
                         r.stderr) is not None
        check(says == (verb != "/RUN"),
              "%s %s, as --help says" %
              (verb, "is not built" if verb != "/RUN" else "runs"), r.stderr)
        shutil.rmtree(work, ignore_errors=True)


def symptom_lines(path, n):
    with open(path, "w", encoding="utf-8") as f:
        for i in range(1, n + 1):
            f.write(json.dumps({
                "Num": i, "Sub": 0, "Chapter": 1, "Level": 1, "UniqueId": i,
                "Text1": "symptom %d" % i, "Text2": "symptôme %d" % i,
                "Remedies": [{"RemedyId": i % 300 + 1, "Degree": 2,
                              "AuthorId": 1, "ViewBits": 1}]}) + "\n")


def tbltool_progress(tmp):
    work = os.path.join(tmp, "big")
    os.makedirs(os.path.join(work, "rep"))
    lines = os.path.join(work, "symptoms.jsonl")
    symptom_lines(lines, 200000)
    env = base_env()
    table = os.path.join(work, "rep", "symptom")

    def files(base):
        return sorted(glob.glob(base + "*"))

    # Ctrl-C during a load: nothing is written.
    p = Pty([TBLTOOL, "load", "symptom", table, lines], work, env)
    seen = p.expect(re.compile(rb"load \S+: \d+ of 200000 records"))
    p.send(b"\x03")
    status = p.wait()
    check(seen, "tbltool load shows a progress line on a terminal", p.out)
    check(status == 130 and files(table) == [] and
          b"is as it was" in p.out,
          "Ctrl-C stops a load and writes nothing",
          p.out + str((status, files(table))).encode())

    # Without a terminal: no progress line.
    r = run([TBLTOOL, "load", "symptom", table, lines], work, env,
            timeout=600)
    check(r.returncode == 0 and b"records" not in r.stdout + r.stderr,
          "tbltool load writes no progress when stdout is no terminal",
          r.stdout + r.stderr)
    for t in ("extract", "word1", "word2"):
        run([TBLTOOL, "load", "extract" if t == "extract" else "word",
             os.path.join(work, "rep", t), "/dev/null"], work, env)

    # Ctrl-C during a rebuild: both files stay as they were.
    before = {f: open(f, "rb").read() for f in files(table)}
    p = Pty([TBLTOOL, "rebuild", "symptom", table], work, env)
    seen = p.expect(re.compile(rb"rebuild \S+: \d+ of 200000 records"))
    p.send(b"\x03")
    status = p.wait()
    after = {f: open(f, "rb").read() for f in files(table)}
    check(seen, "tbltool rebuild shows a progress line", p.out)
    check(status == 130 and before == after,
          "Ctrl-C stops a rebuild and leaves the table as it was",
          p.out + str((status, sorted(after))).encode())

    for verb, args, pattern in (
            ("check", ["symptom", table], rb"check \S+: \d+ of \d+ records"),
            ("verify", [os.path.join(work, "rep")],
             rb"verify \S+: \d+ of \d+ records")):
        p = Pty([TBLTOOL, verb] + args, work, env)
        seen = p.expect(re.compile(pattern))
        p.send(b"\x03")
        status = p.wait()
        check(seen and status == 130,
              "tbltool %s shows progress and stops on Ctrl-C" % verb,
              p.out + str(status).encode())
    r = run([TBLTOOL, "verify", os.path.join(work, "rep")], work, env,
            timeout=600)
    # The made-up repertory has faults (no extract entries): they are
    # printed, the progress line is not.
    check(re.search(rb"\d+ of \d+ records", r.stdout) is None and
          r.stdout.rstrip().endswith(b"faults found"),
          "tbltool verify without a terminal prints its result only",
          r.stdout[-2000:] + r.stderr)


def main():
    tmp = tempfile.mkdtemp(prefix="mantrel-terminal-")
    try:
        demo_root = os.path.join(tmp, "demo")
        r = run([MKDEMO, demo_root], tmp, base_env())
        if r.returncode != 0:
            print(r.stderr.decode(), file=sys.stderr)
            return 1
        demo_bin = os.path.join(demo_root, "bin")
        outside_an_installation(tmp)
        unattended(demo_bin)
        console_help_and_dialogs(demo_bin)
        french_texts(demo_bin)
        reports_without_a_desktop(demo_bin, demo_root, tmp)
        help_and_version(demo_root, tmp)
        tbltool_progress(tmp)
    finally:
        shutil.rmtree(tmp, ignore_errors=True)
    if FAILURES:
        print("%d case(s) failed" % len(FAILURES))
        return 1
    print("every case passed")
    return 0


if __name__ == "__main__":
    sys.exit(main())
