"""Programs with windows that can't be searched, and programs that hang: none of them may be hurt by being read."""

import os
import pathlib
import re
import signal
import subprocess
import tempfile
import threading
import time
import unittest

from session import Application, Quillshade, active_title, text_file, wait_until, x

LATE = 30
SHEET = """<?xml version="1.0" encoding="UTF-8"?>
<office:document xmlns:office="urn:oasis:names:tc:opendocument:xmlns:office:1.0"
 xmlns:table="urn:oasis:names:tc:opendocument:xmlns:table:1.0" xmlns:text="urn:oasis:names:tc:opendocument:xmlns:text:1.0"
 office:version="1.3" office:mimetype="application/vnd.oasis.opendocument.spreadsheet"><office:body><office:spreadsheet>
<table:table table:name="Sheet1">%s</table:table></office:spreadsheet></office:body></office:document>"""


def cell(content=""):
    return f'<table:table-cell office:value-type="string"><text:p>{content}</text:p></table:table-cell>'


def rows(count):
    row = "<table:table-row>%s</table:table-row>"
    return "".join(row % "".join(cell(f"r{line}c{column}") for column in range(20)) for line in range(count)) or row % cell()


def cpu_seconds(pid):
    """Of a process and its children, as far as they live."""
    total = 0
    for entry in pathlib.Path("/proc").iterdir():
        if not entry.name.isdigit():
            continue
        try:
            fields = (entry / "stat").read_text().rpartition(")")[2].split()
        except OSError:
            continue  # it has ended
        if int(entry.name) == pid or int(fields[1]) == pid:
            total += int(fields[11]) + int(fields[12])
    return total / os.sysconf("SC_CLK_TCK")


class LibreOfficeCalc(unittest.TestCase):
    def type_into_a_sheet(self, row_count):
        memory = Quillshade(self).start()
        sheet = text_file(self, "ledger.fods", SHEET % rows(row_count))
        profile = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        self.addCleanup(profile.cleanup)
        calc = Application(self, "soffice", f"-env:UserInstallation=file://{profile.name}", "--norestore", "--nologo",
                           "--nofirststartwizard", "--calc", sheet, title="ledger.fods", seconds=120)
        self.addCleanup(subprocess.run, ["pkill", "-KILL", "-f", profile.name], check=False)
        # It is read first, as it came to the front, and again while and after it is typed into.
        self.assertTrue(wait_until(lambda: memory.search("ledger"), LATE), memory.diagnosis())
        office = int(subprocess.run(["pgrep", "-f", f"soffice.bin.*{profile.name}"], capture_output=True, text=True,
                                    check=True).stdout.split()[0])
        words = [f"entered{number}" for number in range(12)]
        for word in words:
            x("type", "--delay", 20, word)
            x("key", "Return")
        time.sleep(4)
        x("key", "ctrl+s")
        self.assertTrue(wait_until(lambda: all(word in sheet.read_text() for word in words), LATE),
                        f"{active_title()}: only {[word for word in words if word in sheet.read_text()]} arrived")

        def idle():
            before = cpu_seconds(office)
            time.sleep(1)
            return cpu_seconds(office) - before < 0.25

        self.assertTrue(wait_until(idle, LATE), "it doesn't come to rest")
        self.assertIsNone(calc.process.poll())

    def test_an_empty_sheet_takes_what_is_typed_and_comes_to_rest(self):
        self.type_into_a_sheet(0)

    def test_a_full_sheet_takes_what_is_typed_and_comes_to_rest(self):
        self.type_into_a_sheet(500)


def call(address, *arguments):
    return subprocess.run(["dbus-send", f"--bus={address}", "--print-reply=literal", *arguments], capture_output=True,
                          text=True, check=False).stdout


def accessibility_bus():
    return subprocess.run(
        ["dbus-send", "--session", "--print-reply=literal", "--dest=org.a11y.Bus", "/org/a11y/bus",
         "org.a11y.Bus.GetAddress"], capture_output=True, text=True, check=True).stdout.strip()


def name_of(address, pid):
    bus = ["--dest=org.freedesktop.DBus", "/org/freedesktop/DBus"]
    for name in re.findall(r":1\.\d+", call(address, *bus, "org.freedesktop.DBus.ListNames")):
        if call(address, *bus, "org.freedesktop.DBus.GetConnectionUnixProcessID", f"string:{name}").split()[-1:] == [str(pid)]:
            return name
    return None


class ProgramThatHangs(unittest.TestCase):
    def test_it_is_pinged_once_and_asked_nothing_else(self):
        memory = Quillshade(self).start()
        editor = Application(self, "mousepad", text_file(self, "stuck.txt", "words of before"), title="stuck.txt")
        self.assertTrue(memory.wait_for_hit("words of before", LATE), memory.diagnosis())
        address = accessibility_bus()
        name = name_of(address, editor.process.pid)
        self.assertTrue(name)
        monitor = subprocess.Popen(["dbus-monitor", "--address", address, f"destination='{name}',type='method_call'"],
                                   stdout=subprocess.PIPE, text=True)
        self.addCleanup(monitor.stdout.close)
        self.addCleanup(monitor.wait)
        self.addCleanup(monitor.kill)
        asked = []

        def listen():
            for line in monitor.stdout:
                found = re.match(rf"method call .*destination={re.escape(name)} .*member=(\w+)", line)
                if found:
                    asked.append(found[1])

        threading.Thread(target=listen, daemon=True).start()
        self.assertTrue(wait_until(lambda: asked, LATE), "it is asked while it answers")
        editor.process.send_signal(signal.SIGSTOP)
        self.addCleanup(editor.process.send_signal, signal.SIGCONT)
        self.assertTrue(wait_until(lambda: "Ping" in asked, LATE), asked[-9:])
        self.assertTrue(wait_until(lambda: memory.skip_reason() == "unknownFocus", LATE), memory.diagnosis())
        time.sleep(6)
        self.assertEqual(asked[asked.index("Ping"):], ["Ping"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
