#!/usr/bin/python3
"""The run behind scripts/screenshots, for one appearance and scale. Runs in mounts and on a session bus of its own.

It waits for what the accessibility tree shows, never for time to pass; what does not come within a generous time ends
the run with a sentence and the picture of what was there instead.
"""

import argparse
import os
import pathlib
import signal
import subprocess
import sys
import tempfile
import time
import warnings

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

warnings.simplefilter("ignore", DeprecationWarning)  # of names that newer versions of the library have too

VARIANTS = {  # width, height, scale, appearance
    "light": (1280, 800, 1, "light"),
    "dark": (1280, 800, 1, "dark"),
    "light-2x": (2560, 1600, 2, "light"),
    "dark-2x": (2560, 1600, 2, "dark"),
    "small": (860, 560, 1, "light"),
}
PATIENCE = 180  # seconds, for what usually takes less than one
# Rows of tables and trees are many; what this run waits for is never in them.
BUTTONS = (Atspi.Role.PUSH_BUTTON, Atspi.Role.CHECK_BOX, Atspi.Role.PAGE_TAB, Atspi.Role.TOGGLE_BUTTON)
CLOSED_ROLES = {Atspi.Role.TABLE, Atspi.Role.TREE_TABLE, Atspi.Role.TREE, Atspi.Role.LIST}


class Missing(Exception):
    pass


def wait_until(condition, what, patience=PATIENCE):
    end = time.monotonic() + patience
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise Missing(f"{what} did not come within {patience} seconds.")
        time.sleep(0.05)


class Disk:
    """A folder seen through the disk that is slow or silent on command."""

    def __init__(self, program, folder, mount_point, control):
        self.rules_file = control / "rules"
        self.rules_file.write_text("")
        counts = control / "counts"
        counts.write_bytes(b"\0" * 4096)
        mount_point.mkdir(parents=True, exist_ok=True)
        self.mount_point = mount_point
        self.process = subprocess.Popen([program, folder, mount_point, self.rules_file, counts])
        wait_until(lambda: os.path.ismount(mount_point), "The slow disk")

    def rule(self, *rules):
        fresh = self.rules_file.with_suffix(".new")
        fresh.write_text("".join(rule + "\n" for rule in rules))
        fresh.rename(self.rules_file)

    def close(self):
        self.rule()
        self.process.terminate()
        self.process.wait()


class Windows:
    """The program, its display, and what a user sees and does there."""

    def __init__(self, options, home):
        width, height, scale, appearance = VARIANTS[options.variant]
        self.pictures = pathlib.Path(options.pictures)
        self.processes = []
        reader, writer = os.pipe()
        self.start(["Xvfb", "-displayfd", str(writer), "-screen", "0", f"{width}x{height}x24", "-nolisten", "tcp"],
                   pass_fds=[writer], stderr=subprocess.DEVNULL)
        os.close(writer)
        os.environ["DISPLAY"] = ":" + os.read(reader, 16).decode().strip()
        os.environ.update({
            "HOME": str(home),
            "XDG_CONFIG_HOME": str(home / ".config"),
            "XDG_DATA_HOME": str(home / ".local/share"),
            "XDG_CACHE_HOME": str(home / ".cache"),
            "XDG_RUNTIME_DIR": str(home / ".run"),
            "TMPDIR": str(home / "tmp"),
            "QT_QPA_PLATFORM": "xcb",
            "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1",
            "QT_SCALE_FACTOR": str(scale),
            "VANTOREL_APPEARANCE": appearance,
            "LC_ALL": "C.UTF-8",
        })
        for place in (".config/openbox", ".run", "tmp"):
            (home / place).mkdir(parents=True, exist_ok=True)
        (home / ".run").chmod(0o700)
        (home / ".config/openbox/rc.xml").write_text(
            '<openbox_config xmlns="http://openbox.org/3.4/rc"><applications>'
            '<application type="normal"><decor>no</decor><maximized>yes</maximized></application>'
            '</applications></openbox_config>')
        self.start(["openbox", "--sm-disable"], stderr=subprocess.DEVNULL)
        wait_until(lambda: subprocess.run(["xdotool", "get_desktop"], capture_output=True).returncode == 0,
                   "The window manager")
        self.app = self.start([options.app])
        self.taken = 0
        Atspi.set_timeout(3000, 30000)  # milliseconds; a program that has ended answers nothing

    def start(self, words, **more):
        self.processes.append(subprocess.Popen(words, **more))
        return self.processes[-1]

    def close(self):
        for process in reversed(self.processes):
            if process.poll() is None:
                process.terminate()
                try:
                    process.wait(10)
                except subprocess.TimeoutExpired:
                    process.kill()

    # What is there

    def nodes(self, node=None, closed=CLOSED_ROLES):
        """Everything that shows, topmost windows first."""
        if node is None:
            desktop = Atspi.get_desktop(0)
            for i in range(desktop.get_child_count()):
                program = desktop.get_child_at_index(i)
                if program and program.get_process_id() == self.app.pid:
                    program.clear_cache()  # not everything that changes is told
                    for j in reversed(range(program.get_child_count())):
                        yield from self.nodes(program.get_child_at_index(j), closed)
            return
        if node is None or not node.get_state_set().contains(Atspi.StateType.SHOWING):
            return
        yield node
        if node.get_role() not in closed:
            for i in range(node.get_child_count()):
                child = node.get_child_at_index(i)
                if child:
                    yield from self.nodes(child, closed)

    def find(self, text, role=(), part=False, closed=CLOSED_ROLES):
        """The first whose name is that, or has that in it, and that is one of these things."""
        if self.app.poll() is not None:
            raise Missing(f"The program has ended with {self.app.returncode}.")
        try:
            for node in self.nodes(closed=closed):
                name = node.get_name() or ""
                if (text in name if part else text == name) and (not role or node.get_role() in role):
                    return node
        except GLib.Error:
            pass  # it changed while we looked
        return None

    def wait(self, text, **how):
        patience = how.pop("patience", PATIENCE)
        return wait_until(lambda: self.find(text, **how), f"\"{text}\"", patience)

    def wait_gone(self, text, **how):
        wait_until(lambda: not self.find(text, **how), f"The end of \"{text}\"")

    def story(self):
        """What a screen reader would find, for who wants to know why something did not come."""
        try:
            return "\n".join(f"    {node.get_role_name()}: {node.get_name()}" for node in self.nodes() if node.get_name())
        except GLib.Error as trouble:
            return f"    {trouble.message}"

    # What a user does

    def press(self, text, part=False):
        def enabled():
            node = self.find(text, role=BUTTONS, part=part)
            return node if node and node.get_state_set().contains(Atspi.StateType.ENABLED) else None

        # It does not wait for what the button starts.
        node = wait_until(enabled, f"The button \"{text}\"")
        action = node.get_action_iface()
        names = [action.get_action_name(i) for i in range(action.get_n_actions())]
        wanted = next((i for i, name in enumerate(names) if name in ("Press", "Toggle")), 0)
        action.do_action(wanted)

    def key(self, *keys):
        subprocess.run(["xdotool", "key", "--clearmodifiers", *keys], check=True)

    def choose_in_panel(self, path, button):
        """The desktop's panel for files is Qt's own here: the path is typed."""
        field = self.wait("Directory:", role=(Atspi.Role.TEXT,))
        field.get_editable_text_iface().set_text_contents(str(path))
        self.press(button)
        wait_until(lambda: not self.find("Directory:"), "The end of the panel")

    # Pictures

    def grab(self):
        return subprocess.run(["import", "-silent", "-window", "root", "png:-"], capture_output=True, check=True).stdout

    def picture(self, name, moving=False):
        """Of what is there once it has come to rest."""
        self.taken += 1
        last = self.grab()
        end = time.monotonic() + 3
        while not moving and time.monotonic() < end:
            time.sleep(0.2)
            fresh = self.grab()
            if fresh == last:
                break
            last = fresh
        (self.pictures / f"{self.taken:02}-{name}.png").write_bytes(last)
        print(f"  {name}", flush=True)


def first_run(windows):
    windows.wait("See and save what is in a Photos library")
    windows.picture("onboarding")
    windows.press("Continue")
    windows.wait("Choose a library to scan")
    windows.wait("Old Photos", patience=120)
    windows.wait_gone("Looking for libraries", role=(Atspi.Role.PROGRESS_BAR,))
    windows.picture("sources")


def scan(windows, disk):
    disk.rule("delay=20 readdir *", "delay=40 read *")
    windows.press("Scan Old Photos")
    windows.wait("Checking files")
    windows.wait(" items", part=True)
    windows.picture("scanning", moving=True)
    disk.rule("hang * *")
    windows.wait("Waiting for the disk to answer. This can take a moment.")
    windows.picture("scanning-disk-silent")
    windows.press("Stop")
    windows.wait("Choose a library to scan")
    disk.rule()
    windows.press("Look Again")
    windows.press("Scan Old Photos")
    windows.wait("Library format: ", part=True)
    windows.wait("Items per year")
    windows.picture("overview")


def browse(windows, today):
    windows.key("ctrl+2")
    windows.wait("Select an album", part=True)
    windows.wait("Albums", role=CLOSED_ROLES)
    windows.key("ctrl+f", "Tab", "Home", "Down", "Down")
    windows.wait(" items", part=True)
    windows.picture("albums")
    windows.key("ctrl+3")
    windows.wait("Copy List")
    windows.picture("missing")
    windows.key("ctrl+4")
    windows.wait("See what this library has", part=True)
    windows.picture("compare")
    windows.press("Choose Another Library…")
    windows.choose_in_panel(today, "Choose Library")
    windows.wait("Compared with Photos Library")
    windows.picture("compared")


def export(windows, disk, destination):
    windows.key("ctrl+1")
    windows.key("ctrl+e")
    windows.wait("No folder chosen")
    windows.wait("photos and videos, ", part=True)
    windows.picture("export")
    windows.press("Choose Folder…")
    windows.choose_in_panel(destination, "Choose Folder")
    windows.wait(" free on that disk.", part=True)
    windows.press("Recently Deleted")
    windows.wait("photos and videos, ", part=True)
    windows.picture("export-folder-chosen")
    disk.rule("delay=30 read *")
    windows.press("Export")
    windows.wait(" a second", part=True)
    windows.wait(" left", part=True)
    windows.picture("saving", moving=True)
    windows.key("ctrl+q")
    windows.wait("Stop the export and quit?", part=True)
    windows.picture("quit-question", moving=True)
    windows.press("Keep Running")
    windows.wait_gone("Stop the export and quit?", part=True)
    windows.wait("Saving files")
    disk.rule("hang read *")
    windows.wait("Waiting for the disk to answer. This can take up to a minute.")
    windows.picture("saving-disk-silent")
    # A silent disk is given up within two seconds: too soon for a look at the tree on a slow machine, but until
    # then nothing moves.
    before = windows.grab()
    windows.press("Stop")
    wait_until(lambda: windows.grab() != before, "\"Stopping…\"")
    windows.picture("stopping", moving=True)
    disk.rule()
    windows.wait("Export Again")
    windows.picture("stopped")
    windows.press("Export Again")
    windows.wait("Continues the unfinished export in", part=True)
    windows.picture("export-continue")
    windows.press("Continue Export")
    windows.wait("Done", role=(Atspi.Role.PUSH_BUTTON,), patience=1200)
    windows.picture("finished")
    windows.press("Done")
    windows.wait_gone("Choose Another Folder")


def damaged(windows):
    windows.press("Back to Libraries")
    windows.press("Scan Holidays 2009")
    windows.wait("Library format: ", part=True, patience=180)
    windows.picture("damaged-overview")
    windows.key("ctrl+3")
    windows.wait("Copy List")
    windows.picture("damaged-missing")


def main():
    parser = argparse.ArgumentParser()
    for option in ("app", "faulty-disk", "samples", "pictures"):
        parser.add_argument("--" + option, required=True)
    parser.add_argument("--variant", required=True, choices=VARIANTS)
    options = parser.parse_args()
    for old in pathlib.Path(options.pictures).glob("*.png"):
        old.unlink()

    with tempfile.TemporaryDirectory(prefix="home-", dir=options.samples) as place:
        home = pathlib.Path(place) / "me"
        samples = pathlib.Path(options.samples)
        control = pathlib.Path(place) / "control"
        control.mkdir()
        subprocess.run(["mount", "-t", "tmpfs", "tmpfs", "/media"], check=True)
        disk = Disk(options.faulty_disk, samples / "disk", pathlib.Path("/media/Old Drive"), control)
        destination = pathlib.Path("/media/Rescue")  # a volume of its own, as a drive that was bought for it
        destination.mkdir()
        rescue = pathlib.Path(place) / "rescue"
        rescue.mkdir()
        subprocess.run(["mount", "--bind", rescue, destination], check=True)
        windows = Windows(options, home)
        try:
            first_run(windows)
            scan(windows, disk)
            browse(windows, samples / "today/Photos Library.photoslibrary")
            export(windows, disk, destination)
            damaged(windows)
            windows.key("ctrl+q")
            wait_until(lambda: windows.app.poll() is not None, "The end of the program")
            if windows.app.returncode != 0:
                raise Missing(f"The program ended with {windows.app.returncode}.")
        except Missing as trouble:
            if windows.app.poll() is not None:
                trouble = f"The program has ended with {windows.app.returncode}."
            print(f"{options.variant}: {trouble} There was:\n{windows.story()}", file=sys.stderr)
            windows.picture("failed", moving=True)
            return 1
        finally:
            windows.close()
            disk.close()
    return 0


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    sys.exit(main())
