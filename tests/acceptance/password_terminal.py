#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Passwords as people and programs give them: password_terminal.py ZTPKG

A terminal is played by a pseudo-terminal; what a running ztpkg still knows is read from its memory.
"""
import errno
import os
import pty
import re
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import termios
import time
import unittest
from pathlib import Path

ZTPKG = os.path.abspath(sys.argv.pop(1))
# It keeps what was freed, so that nothing can be said of memory.
SANITIZED = b"__asan_init" in Path(ZTPKG).read_bytes()
PASSWORD = "Sésame-ouvre-toi-2741"
LATIN1 = "de_DE.ISO-8859-1"
LONGEST = 60


class Terminal:
    """A ztpkg whose terminal is a pseudo-terminal, and whose standard streams are not."""

    def __init__(self, directory, *arguments, locale="C.UTF-8"):
        self.errors = tempfile.TemporaryFile()
        self.shown = b""
        self.pid, self.terminal = pty.fork()
        if self.pid == 0:
            os.chdir(directory)
            os.dup2(0, 9)  # a terminal that nobody has open counts as hung up
            null = os.open("/dev/null", os.O_RDWR)
            os.dup2(null, 0)
            os.dup2(null, 1)
            os.dup2(self.errors.fileno(), 2)
            os.execve(ZTPKG, [ZTPKG, *map(str, arguments)], dict(os.environ, LC_ALL=locale))

    def expect(self, text):
        limit = time.monotonic() + LONGEST
        while text not in self.shown:
            if not select.select([self.terminal], [], [], max(0, limit - time.monotonic()))[0]:
                raise AssertionError(f"{text} did not come, but {self.shown}")
            self.shown += os.read(self.terminal, 4096)
        self.shown = self.shown.partition(text)[2]

    def type(self, data):
        os.write(self.terminal, data)

    def echoes(self):
        return bool(termios.tcgetattr(self.terminal)[3] & termios.ECHO)

    def end(self):
        """The exit status, what was shown besides, and the errors."""
        try:
            while data := os.read(self.terminal, 4096):
                self.shown += data
        except OSError as error:  # nobody has the terminal open any longer
            if error.errno != errno.EIO:
                raise
        status = os.waitpid(self.pid, 0)[1]
        os.close(self.terminal)
        with self.errors:
            self.errors.seek(0)
            return os.waitstatus_to_exitcode(status), self.shown, self.errors.read().decode()


def ztpkg(directory, *arguments, locale="C.UTF-8", env=None, **more):
    return subprocess.run([ZTPKG, *map(str, arguments)], cwd=directory, capture_output=True, check=False,
                          timeout=LONGEST, start_new_session=True, env=dict(os.environ, LC_ALL=locale, **(env or {})),
                          **more)


class Passwords(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.common = Path(tempfile.mkdtemp())
        cls.addClassCleanup(shutil.rmtree, cls.common)
        (cls.common / "tree").mkdir()
        (cls.common / "tree/large").write_bytes(b"0123456789abcdef" * 65536)
        (cls.common / "tree/note").write_text("a secret")
        (cls.common / "password").write_text(PASSWORD + "\n")
        (cls.common / "password").chmod(0o600)
        cls.packed = ztpkg(cls.common, "pack", "-q", "--password-file", "password", "tree", "p.ztp")

    def setUp(self):
        self.directory = Path(tempfile.mkdtemp())
        self.addCleanup(shutil.rmtree, self.directory)
        shutil.copytree(self.common / "tree", self.directory / "tree")
        shutil.copy(self.common / "password", self.directory)

    def pack(self):
        """Puts a package of the tree here. To derive its key takes long, so that it is the same one for all."""
        self.assertEqual((self.packed.returncode, self.packed.stderr), (0, b""))
        shutil.copy(self.common / "p.ztp", self.directory)

    def pack_anew(self):
        done = ztpkg(self.directory, "pack", "-q", "--password-file", "password", "tree", "p.ztp")
        self.assertEqual((done.returncode, done.stderr), (0, b""))

    def note_by(self, *options, **more):
        done = ztpkg(self.directory, "cat", "p.ztp", "note", *options, **more)
        return done.stdout.decode() if done.returncode == 0 else done.returncode

    def test_a_new_password_is_asked_for_twice(self):
        terminal = Terminal(self.directory, "pack", "-q", "--password", "tree", "p.ztp")
        terminal.expect(b"Password for p.ztp: ")
        self.assertFalse(terminal.echoes())
        terminal.type(PASSWORD.encode() + b"\n")
        terminal.expect(b"The same again: ")
        terminal.type(PASSWORD.encode() + b"\n")
        self.assertEqual(terminal.end(), (0, b"\r\n", ""))
        self.assertEqual(self.note_by("--password-file", "password"), "a secret")

    def test_a_known_password_is_asked_for_once_where_it_is_needed(self):
        self.pack()
        for options in ([], ["--password"]):
            terminal = Terminal(self.directory, "unpack", "-q", "-f", *options, "p.ztp", "out")
            terminal.expect(b"Password for p.ztp: ")
            terminal.type(PASSWORD.encode() + b"\n")
            self.assertEqual(terminal.end(), (0, b"\r\n", ""))
        self.assertEqual((self.directory / "out/note").read_text(), "a secret")

    def test_verify_asks_only_when_told_to(self):
        self.pack()
        done = ztpkg(self.directory, "verify", "p.ztp", stdin=subprocess.DEVNULL)
        self.assertEqual((done.returncode, b"not authenticated: no key" in done.stdout), (0, True))
        terminal = Terminal(self.directory, "verify", "-q", "--password", "p.ztp")
        terminal.expect(b"Password for p.ztp: ")
        terminal.type(PASSWORD.encode() + b"\n")
        self.assertEqual(terminal.end(), (0, b"\r\n", ""))

    def test_an_empty_password_is_refused(self):
        terminal = Terminal(self.directory, "pack", "--password", "tree", "p.ztp")
        terminal.expect(b": ")
        terminal.type(b"\n")
        self.assertEqual(terminal.end(), (4, b"\r\n", "ztpkg: pack: the password is empty\n"))
        self.assertFalse((self.directory / "p.ztp").exists())

    def test_two_that_differ_are_refused(self):
        terminal = Terminal(self.directory, "pack", "--password", "tree", "p.ztp")
        terminal.expect(b": ")
        terminal.type(b"sesame\n")
        terminal.expect(b": ")
        terminal.type(b"Sesame\n")
        self.assertEqual(terminal.end(), (4, b"\r\n", "ztpkg: pack: the two passwords are not the same\n"))
        self.assertFalse((self.directory / "p.ztp").exists())

    def test_what_is_typed_is_never_shown_and_can_be_corrected(self):
        self.pack()
        terminal = Terminal(self.directory, "list", "p.ztp")
        terminal.expect(b": ")
        terminal.type(b"wrong\x15" + PASSWORD.encode() + b"x\x7f\n")
        self.assertEqual(terminal.end(), (0, b"\r\n", ""))

    def test_an_interrupt_leaves_the_terminal_in_order(self):
        self.pack()
        for command in (["list", "p.ztp"], ["unpack", "p.ztp", "out"]):
            terminal = Terminal(self.directory, *command)
            terminal.expect(b": ")
            keeper = os.open(f"/proc/{terminal.pid}/fd/9", os.O_RDWR | os.O_NOCTTY)
            self.assertFalse(terminal.echoes())
            terminal.type(b"half\x03")
            status = os.waitstatus_to_exitcode(os.waitpid(terminal.pid, 0)[1])
            self.assertIn(status, (-signal.SIGINT, 128 + signal.SIGINT))
            self.assertTrue(terminal.echoes())
            terminal.errors.close()
            os.close(keeper)
            os.close(terminal.terminal)

    def test_a_stop_leaves_the_terminal_in_order_and_the_question_comes_again(self):
        self.pack()
        terminal = Terminal(self.directory, "list", "p.ztp")
        terminal.expect(b"Password for p.ztp: ")
        os.kill(terminal.pid, signal.SIGTSTP)
        # The group of a pseudo-terminal's leader is orphaned, and such a one is not stopped but goes on.
        terminal.expect(b"Password for p.ztp: ")
        terminal.type(PASSWORD.encode() + b"\n")
        self.assertEqual(terminal.end()[0], 0)

    def test_without_a_terminal_the_options_are_named(self):
        self.pack()
        done = ztpkg(self.directory, "list", "p.ztp", stdin=subprocess.DEVNULL)
        self.assertEqual((done.returncode, done.stderr.decode()),
                         (4, "ztpkg: list: the file system of p.ztp is encrypted: its password is needed "
                             "(--password-file, --password-env or --password-fd)\n"))
        done = ztpkg(self.directory, "pack", "--password", "tree", "q.ztp", stdin=subprocess.DEVNULL)
        self.assertEqual(done.returncode, 4)
        self.assertFalse((self.directory / "q.ztp").exists())

    def test_typed_characters_are_the_same_password_in_every_locale(self):
        self.pack()
        for locale, encoding in (("C", "utf-8"), ("C.UTF-8", "utf-8"), (LATIN1, "iso-8859-1")):
            terminal = Terminal(self.directory, "list", "p.ztp", locale=locale)
            terminal.expect(b": ")
            terminal.type(PASSWORD.encode(encoding) + b"\n")
            self.assertEqual(terminal.end()[0], 0, locale)
            secret = {"P": PASSWORD.encode(encoding).decode("utf-8", "surrogateescape")}
            self.assertEqual(self.note_by("--password-env", "P", locale=locale, env=secret), "a secret")
            self.assertEqual(self.note_by("--password-file", "password", locale=locale), "a secret")

    @unittest.skipUnless(shutil.which("localedef") and Path("/usr/share/i18n/charmaps/ISO-8859-1.gz").exists(),
                         "no charmap to make a locale with")
    def test_an_installed_locale_is_no_different(self):
        made = subprocess.run(["localedef", "-i", "de_DE", "-f", "ISO-8859-1", self.directory / LATIN1], check=False,
                              capture_output=True)
        self.assertTrue((self.directory / LATIN1).exists(), made.stderr)
        # The C library does not give back what it keeps of LOCPATH.
        secret = {"LOCPATH": str(self.directory), "ASAN_OPTIONS": "detect_leaks=0", "P": PASSWORD.encode("latin-1").decode("utf-8", "surrogateescape")}
        done = ztpkg(self.directory, "pack", "-q", "--password-env", "P", "tree", "p.ztp", locale=LATIN1, env=secret)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertEqual(self.note_by("--password-file", "password"), "a secret")

    def test_a_wrong_password_looks_like_damage(self):
        self.pack()
        wrong = ztpkg(self.directory, "list", "p.ztp", "--password-env", "P", env={"P": "wrong"})
        self.assertEqual(wrong.returncode, 4)
        (self.directory / "key").write_bytes(bytes(32))
        damaged = ztpkg(self.directory, "list", "p.ztp", "--key-file", "key")
        self.assertEqual((damaged.returncode, damaged.stderr.splitlines()[-1:]), (4, wrong.stderr.splitlines()))

    def test_nothing_secret_is_in_the_package_or_in_messages(self):
        done = ztpkg(self.directory, "pack", "--password-file", "password", "tree", "p.ztp")
        package = (self.directory / "p.ztp").read_bytes()
        for secret in (PASSWORD, "a secret", "0123456789abcdef", "note", "large"):
            self.assertNotIn(secret.encode(), package)
            self.assertNotIn(secret.encode(), done.stdout + done.stderr)
        wrong = ztpkg(self.directory, "list", "p.ztp", "--password-env", "P", env={"P": "wrong-" + PASSWORD})
        self.assertNotIn(PASSWORD.encode(), wrong.stdout + wrong.stderr)

    def test_two_packages_of_one_password_have_nothing_in_common(self):
        self.pack_anew()
        first = (self.directory / "p.ztp").read_bytes()
        (self.directory / "p.ztp").unlink()
        self.pack_anew()
        messages = [re.findall(rb"fsroot/[0-9a-f]{64}", data) for data in
                    (first, (self.directory / "p.ztp").read_bytes())]
        self.assertTrue(messages[0])
        self.assertFalse(set(messages[0]) & set(messages[1]))

    def remains(self, *options, env=None, stdin=None):
        """How often the password is in the memory of a ztpkg that has derived its key and cannot write on."""
        with subprocess.Popen([ZTPKG, "cat", "p.ztp", "large", *options], cwd=self.directory, stdin=stdin,
                              stdout=subprocess.PIPE, env=dict(os.environ, LC_ALL="C.UTF-8", **(env or {}))) as running:
            self.assertEqual(running.stdout.read(16), b"0123456789abcdef")
            found = 0
            with open(f"/proc/{running.pid}/maps", encoding="utf-8") as maps, \
                 open(f"/proc/{running.pid}/mem", "rb", 0) as memory:
                for line in maps:
                    begin, end, access = re.match("([0-9a-f]+)-([0-9a-f]+) (...)", line).groups()
                    if access.startswith("rw") and int(end, 16) - int(begin, 16) < 1 << 32:
                        memory.seek(int(begin, 16))
                        try:
                            data = memory.read(int(end, 16) - int(begin, 16))
                        except OSError:
                            continue
                        found += sum(data.count(PASSWORD.encode(encoding))
                                     for encoding in ("utf-8", "utf-16-le", "utf-32-le"))
            with open(f"/proc/{running.pid}/environ", "rb") as environment, \
                 open(f"/proc/{running.pid}/cmdline", "rb") as arguments:
                found += (environment.read() + arguments.read()).count(PASSWORD.encode())
            running.kill()
        return found

    @unittest.skipUnless(os.access("/proc/self/mem", os.R_OK) and os.geteuid() == 0 and not SANITIZED,
                         "no memory to read")
    def test_nothing_is_left_in_memory_or_in_the_environment(self):
        self.pack()
        self.assertEqual(self.remains("--password-file", "password"), 0)
        self.assertEqual(self.remains("--password-env", "P", env={"P": PASSWORD}), 0)
        with open(self.directory / "password", "rb") as password:
            self.assertEqual(self.remains("--password-fd", "0", stdin=password), 0)


if __name__ == "__main__":
    unittest.main()
