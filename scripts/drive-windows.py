#!/usr/bin/python3
"""One of the runs behind scripts/screenshots: a story, for one appearance and scale.

It waits for what the accessibility tree shows, never for time to pass; what does not come within a generous time ends
the run with a sentence and the picture of what was there instead.
"""

import argparse
import pathlib
import signal
import subprocess
import sys
import tempfile

from driven import Atspi, Disk, Display, Missing, Windows, wait_until

VARIANTS = {  # width, height, scale, appearance
    "light": (1280, 800, 1, "light"),
    "dark": (1280, 800, 1, "dark"),
    "light-2x": (2560, 1600, 2, "light"),
    "dark-2x": (2560, 1600, 2, "dark"),
    "small": (860, 560, 1, "light"),
}


class Run:
    """The places of one run: what is mounted where, and the program in front of it."""

    def __init__(self, options, place):
        width, height, scale, appearance = VARIANTS[options.variant]
        self.libraries = pathlib.Path(options.libraries)
        self.place = place
        self.faulty_disk = options.faulty_disk
        self.disks = []
        # Nothing that this computer has connected is searched.
        for folder in ("/media", "/mnt", "/run/media"):
            if pathlib.Path(folder).is_dir():
                subprocess.run(["mount", "-t", "tmpfs", "tmpfs", folder], check=True)
        label = options.story + " " + options.variant
        self.display = Display(place / "me", width, height)
        self.windows = Windows(self.display, options.app, options.pictures, label, scale, appearance)

    def connect(self, folder, name):
        disk = Disk(self.faulty_disk, folder, pathlib.Path("/media") / name, self.place / f"control-{name}")
        self.disks.append(disk)
        return disk

    def show(self, folder, name):
        """A disk that is well."""
        mount_point = pathlib.Path("/media") / name
        mount_point.mkdir()
        subprocess.run(["mount", "--bind", folder, mount_point], check=True)

    def volume(self, name, *options):
        """An empty disk to save to."""
        mount_point = pathlib.Path("/media") / name
        mount_point.mkdir()
        subprocess.run(["mount", "-t", "tmpfs", *options, "tmpfs", mount_point], check=True)
        return mount_point

    def close(self):
        for disk in self.disks:
            disk.rule()  # what waits for a disk does not end
        self.windows.close()
        for disk in self.disks:
            disk.close()
        self.display.close()


def read_library(windows, library):
    windows.press("Scan " + library)
    windows.wait("Library format: ", part=True)


def skip_first_run(windows):
    windows.wait("See and save what is in a Photos library")
    windows.press("Continue")
    windows.wait("Choose a library to scan")


def wait_for_libraries(windows):
    windows.wait("Old Photos", patience=120)
    windows.wait("Holidays 2009", patience=120)
    windows.wait_gone("Looking for libraries", role=(Atspi.Role.PROGRESS_BAR,))


# The whole way, as it goes when nothing goes wrong


def first_run(run, windows):
    windows.start()
    windows.wait("See and save what is in a Photos library")
    windows.picture("onboarding")
    windows.press("Continue")
    windows.wait("No library found")
    windows.wait_gone("Looking for libraries", role=(Atspi.Role.PROGRESS_BAR,))
    windows.picture("nothing-found")
    disk = run.connect(run.libraries / "disk", "Old Drive")
    run.show(run.libraries / "backup", "Backups")
    windows.wait("Old Photos", patience=120)  # a new disk is looked through without being asked
    wait_for_libraries(windows)
    windows.wait("In Time Machine backups", patience=120)
    windows.picture("sources")
    return disk


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
    windows.wait("Stopping…")
    windows.picture("scanning-stopping", moving=True)
    windows.wait("Choose a library to scan")
    disk.rule()
    windows.press("Look Again")
    wait_for_libraries(windows)
    read_library(windows, "Old Photos")
    windows.wait("Items per year")
    windows.picture("overview")


def browse(windows, today):
    windows.key("ctrl+2")
    windows.wait("Select an album", part=True)
    windows.picture("albums-nothing-chosen")
    windows.key("ctrl+f", "Tab", "Home", "Down", "Down", "Down")
    windows.wait(" items", part=True)
    windows.picture("albums")
    windows.press("Show as List")
    windows.picture("albums-list")
    windows.press("Show as Pictures")
    to_items(windows)
    windows.key("Home", "Right")
    windows.picture("albums-preview")
    windows.key("space")
    windows.wait("Close Preview")
    windows.picture("large-preview")
    windows.key("Escape")
    windows.wait_gone("Close Preview")
    windows.key("ctrl+f")
    windows.type("ro")
    windows.picture("albums-filtered")
    windows.key("Escape")
    windows.key("ctrl+3")
    windows.wait("Copy List")
    windows.picture("missing")
    windows.press("Show as Pictures")
    windows.picture("missing-pictures")
    windows.press("Show as List")
    windows.key("ctrl+4")
    windows.wait("See what this library has", part=True)
    windows.picture("compare")
    windows.press("Choose Another Library…")
    windows.wait("Directory:", role=(Atspi.Role.TEXT,))
    windows.picture("choosing")
    windows.choose_in_panel(today, "Choose Library")
    windows.wait("Compared with Photos Library")
    windows.picture("compared")


def to_items(windows):
    """With the tabulator key, as far as it takes."""
    for _ in range(20):
        node = windows.focused()
        if node and "Items" in (node.get_name(), (node.get_parent() or node).get_name()):
            return
        windows.key("Tab")
    raise Missing("The items are not reached with the tabulator key.")


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
    before = windows.display.pixels()
    windows.press("Stop")
    wait_until(lambda: windows.display.pixels() != before, "\"Stopping…\"")
    windows.picture("stopping", rest=0.3)
    disk.rule()
    windows.wait("Export Again")
    windows.picture("stopped")
    windows.press("Export Again")
    windows.wait("Continues the unfinished export in", part=True)
    windows.picture("export-continue")
    windows.press("Continue Export")
    windows.wait("Done", role=(Atspi.Role.PUSH_BUTTON,), patience=1200)
    windows.wait("Open Report")
    windows.picture("finished")
    windows.press("Done")
    windows.wait_gone("Choose Another Folder")


def menus(windows):
    windows.key("alt+v")
    windows.picture("menu")
    windows.key("Escape", "Escape")
    windows.key("alt+h", "Up", "Return")
    windows.wait("Acknowledgements", role=(Atspi.Role.TEXT,))
    windows.picture("acknowledgements")
    windows.key("Escape")
    windows.wait_gone("Acknowledgements", role=(Atspi.Role.TEXT,))


def tell_whole(run):
    windows = run.windows
    disk = first_run(run, windows)
    scan(windows, disk)
    browse(windows, run.libraries / "today/Photos Library.photoslibrary")
    export(windows, disk, run.volume("Rescue"))
    menus(windows)
    windows.key("ctrl+q")
    windows.wait_end()


# What can go wrong


def refused_libraries(run, windows, disk):
    """What is wrong with a library stands with it, or is said once it is asked for."""
    disk.rule("error=13 open */Locked Away.photoslibrary/*", "error=13 getattr */Locked Away.photoslibrary/*",
              "error=13 opendir */Locked Away.photoslibrary/*")
    windows.press("Look Again")
    windows.wait_gone("Looking for libraries", role=(Atspi.Role.PROGRESS_BAR,))
    windows.picture("sources-refused")
    windows.press("Scan Locked Away")
    windows.wait("macOS refused access to this library", part=True)
    windows.picture("refused")
    windows.press("Scan Wedding 2006")
    windows.wait("This library comes from macOS 10.14 or earlier", part=True)
    windows.picture("older-library")
    windows.press("Choose a Library…")
    windows.choose_in_panel(run.libraries / "disk", "Choose Library")
    windows.wait("is not a Photos library", part=True)
    windows.picture("no-library")
    disk.rule()


def damaged_libraries(windows):
    read_library(windows, "Holidays 2009")
    windows.picture("damaged-overview")
    windows.key("ctrl+3")
    windows.wait("Copy List")
    windows.picture("damaged-missing")
    windows.press("Back to Libraries")
    read_library(windows, "Phone 2013")
    windows.picture("journals-overview")
    windows.press("Back to Libraries")
    read_library(windows, "Attic")
    windows.picture("files-only-overview")
    windows.key("ctrl+2")
    windows.wait("This library has no albums of its own", part=True)
    windows.picture("no-albums")
    windows.press("Back to Libraries")


def failing_exports(run, windows):
    read_library(windows, "Old Photos")
    windows.key("ctrl+e")
    windows.wait("No folder chosen")
    windows.press("Choose Folder…")
    windows.choose_in_panel(run.volume("Stick", "-o", "size=2m"), "Choose Folder")
    windows.wait("Choose another disk or include less.", part=True)
    windows.picture("export-too-small")

    target = run.connect(run.place / "target", "Rescue")
    target.rule("hang statfs *")  # the panel itself asks for less, and would wait without end
    windows.press("Choose Folder…")
    windows.choose_in_panel(target.mount_point, "Choose Folder")
    windows.wait("That disk did not answer yet.", part=True)
    windows.picture("export-disk-silent")
    target.rule("room=30000000 write *")
    windows.press("Choose Folder…")
    windows.choose_in_panel(target.mount_point, "Choose Folder")
    windows.wait(" free on that disk.", part=True)
    windows.press("Export")
    windows.wait("Export Again")
    windows.picture("disk-full")
    target.rule("delay=20 change *")
    windows.press("Export Again")
    windows.wait("Continues the unfinished export in", part=True)
    windows.press("Continue Export")
    windows.wait("Saving files")
    windows.wait("earlier run.", part=True)
    windows.picture("saving-continued", moving=True)
    return target


def quit_while_saving(windows, target):
    """The question, the stop, and the end within five seconds although the disk hangs."""
    windows.press("Hide")
    windows.wait_gone("Saving files")
    windows.picture("export-hidden")
    windows.key("ctrl+q")
    windows.wait("Stop the export and quit?", part=True)
    target.rule("hang change *")
    before = windows.display.pixels()
    windows.press("Stop and Quit")
    wait_until(lambda: windows.display.pixels() != before, "\"Stopping…\"")
    windows.picture("stop-and-quit", rest=0.3)
    # What hangs in the kernel lasts as long as the disk does; nobody sees any of it.
    wait_until(lambda: len(set(windows.display.pixels())) < 5, "The window's end", 10)
    target.rule()
    windows.wait_end()


def hanging_stop(run, windows):
    """Where even the private copies lie on a disk that hangs, a stop is given up after 3 and 15 seconds."""
    private = Disk(run.faulty_disk, run.place / "private", run.place / "me/private", run.place / "control-private")
    run.disks.append(private)
    windows.start(TMPDIR=str(private.mount_point))
    wait_for_libraries(windows)
    private.rule("hang change *")
    windows.press("Scan Old Photos")
    windows.wait("Scanning Old Photos")
    windows.press("Stop")
    windows.wait("Stopping waits for the disk to answer.", patience=30)
    windows.picture("slow-stop", moving=True)
    windows.wait("Choose a library to scan", patience=30)
    windows.picture("given-up")
    private.rule()


def silent_database(windows, disk):
    """A disk that answers for everything but the database: the result says that it is not the whole library."""
    disk.rule("hang read */Old Photos.photoslibrary/database/*")
    windows.press("Scan Old Photos")
    windows.wait("The disk is not answering yet.", part=True)
    windows.picture("scanning-long-silence")
    windows.wait("Library format: ", part=True, patience=400)
    windows.picture("database-silent")
    disk.rule()


def tell_trouble(run):
    windows = run.windows
    disk = run.connect(run.libraries / "disk", "Old Drive")
    windows.start()
    skip_first_run(windows)
    wait_for_libraries(windows)
    refused_libraries(run, windows, disk)
    damaged_libraries(windows)
    target = failing_exports(run, windows)
    quit_while_saving(windows, target)
    hanging_stop(run, windows)
    silent_database(windows, disk)
    windows.key("ctrl+q")
    windows.wait_end()


# By the keyboard alone


class TabStops:
    """Goes through everything that takes the focus and looks whether it has a name and shows that it has it."""

    def __init__(self, windows):
        self.windows = windows
        self.faults = []

    def on(self, screen, most=60):
        windows = self.windows
        before = windows.display.at_rest()
        start = windows.focused()
        start = start and start.get_name()
        seen = []
        for _ in range(most):
            windows.key("Tab")
            after = windows.display.at_rest()
            node = windows.focused()
            if not node:
                self.fault(f"{screen}: nothing has the focus after {seen[-1:]}")
                before = after
                continue
            box = node.get_component_iface().get_extents(Atspi.CoordType.SCREEN)
            stop = (node.get_role_name(), node.get_name(), box.x, box.y)
            if stop in seen:
                break
            seen.append(stop)
            print(f"{windows.label}: {screen}: {stop[0]} \"{stop[1]}\"", flush=True)
            if not stop[1]:
                self.fault(f"{screen}: a {stop[0]} without a name")
            if not self.differs(before, after, box) and (seen[1:] or stop[1] != start):
                self.fault(f"{screen}: the focus does not show on the {stop[0]} \"{stop[1]}\"")
            before = after
        windows.picture("focus-" + screen)

    def fault(self, sentence):
        self.faults.append(sentence)
        print(f"{self.windows.label}: {sentence}", flush=True)

    def differs(self, before, after, box):
        display = self.windows.display
        left, right = max(0, box.x - 4), min(display.width, box.x + box.width + 4)
        return any(
            before[y * display.line + 4 * left:y * display.line + 4 * right]
            != after[y * display.line + 4 * left:y * display.line + 4 * right]
            for y in range(max(0, box.y - 4), min(display.height, box.y + box.height + 4)))


def tell_keyboard(run):
    windows = run.windows
    stops = TabStops(windows)
    run.connect(run.libraries / "disk", "Old Drive")
    destination = run.volume("Rescue")
    windows.start()
    windows.wait("See and save what is in a Photos library")
    stops.on("onboarding")
    windows.key("Return")
    wait_for_libraries(windows)
    stops.on("sources")
    windows.key("Home")
    to_row(windows, "Old Photos")
    windows.key("Return")
    windows.wait("Library format: ", part=True)
    stops.on("overview")
    windows.key("ctrl+2")
    windows.wait("Select an album", part=True)
    windows.key("ctrl+f", "Tab", "Home", "Down", "Down", "Down")
    windows.wait(" items", part=True)
    stops.on("albums")
    windows.key("ctrl+3")
    windows.wait("Copy List")
    stops.on("missing")
    windows.key("ctrl+4")
    windows.wait("See what this library has", part=True)
    stops.on("compare")
    windows.key("F10")
    windows.picture("menu-by-key")
    windows.key("Down", "Escape", "Escape")
    before = wait_until(windows.focused, "The focus").get_name()
    windows.key("ctrl+e")
    windows.wait("No folder chosen")
    stops.on("export")
    to_name(windows, "Choose Folder…")
    windows.key("Return")
    windows.wait("Directory:", role=(Atspi.Role.TEXT,))
    windows.type(str(destination))
    windows.key("Return")
    windows.wait_gone("Directory:")
    windows.wait(" free on that disk.", part=True)
    to_name(windows, "Export")
    windows.key("Return")
    windows.wait("Done", role=(Atspi.Role.PUSH_BUTTON,), patience=1200)
    windows.wait("Open Report")
    stops.on("finished")
    to_name(windows, "Done")
    windows.key("Return")
    windows.wait_gone("Choose Another Folder")
    windows.wait_focus(before)
    windows.key("Escape")
    windows.wait("Choose a library to scan")
    windows.key("ctrl+q")
    windows.wait_end()
    if stops.faults:
        raise Missing("\n".join(stops.faults))


def go_to(windows, name, key, most):
    """With one key, pressed as often as it takes."""
    for _ in range(most):
        node = windows.focused()
        if node and node.get_name() == name:
            return
        windows.key(key)
    raise Missing(f"\"{name}\" is not reached with the key {key}.")


def to_row(windows, name):
    go_to(windows, name, "Down", 12)  # from the first library on


def to_name(windows, name):
    go_to(windows, name, "Tab", 30)


STORIES = {"whole": tell_whole, "trouble": tell_trouble, "keyboard": tell_keyboard}


def main():
    parser = argparse.ArgumentParser()
    for option in ("app", "faulty-disk", "libraries", "work", "pictures"):
        parser.add_argument("--" + option, required=True)
    parser.add_argument("--story", required=True, choices=STORIES)
    parser.add_argument("--variant", required=True, choices=VARIANTS)
    options = parser.parse_args()
    for old in pathlib.Path(options.pictures).glob("*.png"):
        old.unlink()

    with tempfile.TemporaryDirectory(prefix="run-", dir=options.work, ignore_cleanup_errors=True) as place:
        run = Run(options, pathlib.Path(place))
        try:
            STORIES[options.story](run)
        except Missing as trouble:
            windows = run.windows
            there = windows.story() if windows.app.poll() is None else ""
            print(f"There was:\n{there}\n{windows.label}: {trouble}", file=sys.stderr)
            windows.picture("failed", moving=True)
            return 1
        finally:
            run.close()
    return 0


if __name__ == "__main__":
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    sys.exit(main())
