"""A virtual display, a disk that is sick on command, and the program as a user and a screen reader meet it.

What drive-windows.py is written in. Runs as the first process of its own process and mount namespace
(scripts/screenshots sees to that): whatever it starts ends with it, and nothing of it stays mounted.
"""

import mmap
import os
import pathlib
import struct
import subprocess
import time
import warnings
import zlib

import gi

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

warnings.simplefilter("ignore", DeprecationWarning)  # of names that newer versions of the library have too

PATIENCE = 180  # seconds, for what usually takes less than one
BUTTONS = (Atspi.Role.PUSH_BUTTON, Atspi.Role.CHECK_BOX, Atspi.Role.PAGE_TAB, Atspi.Role.TOGGLE_BUTTON,
           Atspi.Role.RADIO_BUTTON)
# Rows of tables and trees are many; what is waited for is never in them.
LISTS = {Atspi.Role.TABLE, Atspi.Role.TREE_TABLE, Atspi.Role.TREE, Atspi.Role.LIST, Atspi.Role.PAGE_TAB_LIST}
CLOSED_ROLES = {Atspi.Role.TABLE, Atspi.Role.TREE_TABLE, Atspi.Role.TREE, Atspi.Role.LIST}


class Missing(Exception):
    """What had to come and did not, as a sentence."""


def wait_until(condition, what, patience=PATIENCE):
    end = time.monotonic() + patience
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise Missing(f"{what} did not come within {patience} seconds.")
        time.sleep(0.03)


def end_process(process):
    if process.poll() is None:
        process.terminate()
        try:
            process.wait(10)
        except subprocess.TimeoutExpired:
            process.kill()
            process.wait()


class Disk:
    """A folder seen through the disk that is slow, silent, full or refusing on command (tests/fuse)."""

    def __init__(self, program, folder, mount_point, control):
        control.mkdir()
        self.rules_file = control / "rules"
        self.rules_file.write_text("")
        counts = control / "counts"
        counts.write_bytes(b"\0" * 4096)
        folder.mkdir(parents=True, exist_ok=True)
        mount_point.mkdir(parents=True, exist_ok=True)
        self.mount_point = mount_point
        self.process = subprocess.Popen([program, folder, mount_point, self.rules_file, counts])
        wait_until(lambda: os.path.ismount(mount_point), "The disk")

    def rule(self, *rules):
        fresh = self.rules_file.with_suffix(".new")
        fresh.write_text("".join(rule + "\n" for rule in rules))
        fresh.rename(self.rules_file)

    def close(self):
        self.rule()
        end_process(self.process)


class Display:
    """An X server in memory with a window manager, and a session bus with its accessibility services."""

    def __init__(self, home, width, height):
        self.processes = []
        for place in (".config/openbox", ".run", "tmp", "screen"):
            (home / place).mkdir(parents=True, exist_ok=True)
        (home / ".run").chmod(0o700)
        subprocess.run(["mount", "-t", "tmpfs", "tmpfs", home / "screen"], check=True)
        for name in [name for name in os.environ if name.startswith(("DBUS_", "AT_SPI_", "QT_", "XDG_", "WAYLAND_"))]:
            del os.environ[name]
        # Before anything starts: the bus gives these to the services that it starts, and theirs must not meet
        # what an earlier run or the user's own session has left behind.
        os.environ.update({
            "HOME": str(home),
            "XDG_CONFIG_HOME": str(home / ".config"),
            "XDG_DATA_HOME": str(home / ".local/share"),
            "XDG_CACHE_HOME": str(home / ".cache"),
            "XDG_RUNTIME_DIR": str(home / ".run"),
            "TMPDIR": str(home / "tmp"),
            "LC_ALL": "C.UTF-8",
        })
        self.start_told("-displayfd", "DISPLAY", ":{}",
                        ["Xvfb", "-screen", "0", f"{width}x{height}x24", "-fbdir", str(home / "screen"),
                         "-nocursor", "-nolisten", "tcp"])
        self.start_told("--print-address", "DBUS_SESSION_BUS_ADDRESS", "{}", ["dbus-daemon", "--session", "--nofork"])
        (home / ".config/openbox/rc.xml").write_text(
            '<openbox_config xmlns="http://openbox.org/3.4/rc"><applications>'
            '<application type="normal"><decor>no</decor><maximized>yes</maximized></application>'
            '</applications></openbox_config>')
        self.processes.append(subprocess.Popen(["openbox", "--sm-disable"], stderr=subprocess.DEVNULL))
        wait_until(lambda: subprocess.run(["xdotool", "get_desktop"], capture_output=True).returncode == 0,
                   "The window manager")
        subprocess.run(["xdotool", "mousemove", str(width - 1), str(height - 1)], check=True)  # over nothing
        with open(home / "screen/Xvfb_screen0", "rb") as screen:
            self.memory = mmap.mmap(screen.fileno(), 0, prot=mmap.PROT_READ)
        # The file is an X window dump: big-endian numbers, a table of colours, then the pixels.
        numbers = struct.unpack(">25I", self.memory[:100])
        self.start_of_pixels = numbers[0] + 12 * numbers[19]
        self.width, self.height, self.line = numbers[4], numbers[5], numbers[12]

    def start_told(self, option, variable, form, words):
        """Starts what tells on a descriptor how it can be reached."""
        reader, writer = os.pipe()
        option = f"{option}={writer}" if option.startswith("--") else option
        words = words + ([option] if "=" in option else [option, str(writer)])
        self.processes.append(subprocess.Popen(words, pass_fds=[writer], stdout=subprocess.DEVNULL,
                                               stderr=subprocess.DEVNULL))
        os.close(writer)
        with os.fdopen(reader) as told:
            answer = told.readline().strip()
        if not answer:
            raise Missing(f"{words[0]} did not start.")
        os.environ[variable] = form.format(answer)

    def pixels(self):
        return self.memory[self.start_of_pixels:self.start_of_pixels + self.line * self.height]

    def at_rest(self, patience=3):
        """The pixels once they have stopped changing; what always moves is not waited for longer than that."""
        last, quiet = self.pixels(), 0
        end = time.monotonic() + patience
        while quiet < 3 and time.monotonic() < end:
            time.sleep(0.1)
            fresh = self.pixels()
            quiet = quiet + 1 if fresh == last else 0
            last = fresh
        return last

    def save(self, pixels, path):
        """Blue, green, red and a byte of nothing become the red, green and blue of a PNG."""
        rows = bytearray()
        for y in range(self.height):
            row = pixels[y * self.line:y * self.line + 4 * self.width]
            colours = bytearray(3 * self.width)
            colours[0::3], colours[1::3], colours[2::3] = row[2::4], row[1::4], row[0::4]
            rows += b"\0" + colours

        def chunk(kind, data):
            return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))

        path.write_bytes(b"\x89PNG\r\n\x1a\n"
                         + chunk(b"IHDR", struct.pack(">IIBBBBB", self.width, self.height, 8, 2, 0, 0, 0))
                         + chunk(b"IDAT", zlib.compress(bytes(rows), 6)) + chunk(b"IEND", b""))

    def key(self, *keys):
        subprocess.run(["xdotool", "key", "--clearmodifiers", *keys], check=True)

    def type(self, text):
        subprocess.run(["xdotool", "type", "--clearmodifiers", text], check=True)

    def close(self):
        for process in reversed(self.processes):
            end_process(process)


class Windows:
    """The program: what stands in its windows, what a user does there, and pictures of it."""

    def __init__(self, display, program, pictures, label, scale, appearance):
        self.display = display
        self.program = program
        self.pictures = pathlib.Path(pictures)
        self.label = label
        self.environment = {
            "QT_QPA_PLATFORM": "xcb",
            "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1",
            "QT_SCALE_FACTOR": str(scale),
            "VANTOREL_APPEARANCE": appearance,
        }
        self.app = None
        self.taken = 0
        Atspi.set_timeout(3000, 30000)  # milliseconds; a program that has ended answers nothing

    def start(self, *arguments, **environment):
        self.app = subprocess.Popen([self.program, *map(str, arguments)],
                                    env=os.environ | self.environment | environment, cwd=os.environ["HOME"])

    def wait_end(self):
        wait_until(lambda: self.app.poll() is not None, "The end of the program")
        if self.app.returncode != 0:
            raise Missing(f"The program ended with {self.app.returncode}.")

    def close(self):
        if self.app:
            end_process(self.app)

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
                        child = program.get_child_at_index(j)
                        if child:
                            yield from self.nodes(child, closed)
            return
        if not node.get_state_set().contains(Atspi.StateType.SHOWING):
            return
        yield node
        if node.get_role() not in closed:
            for i in range(node.get_child_count()):
                child = node.get_child_at_index(i)
                if child:
                    yield from self.nodes(child, closed)

    def first(self, fits, closed=CLOSED_ROLES):
        if self.app.poll() is not None:
            raise Missing(f"The program has ended with {self.app.returncode}.")
        try:
            return next((node for node in self.nodes(closed=closed) if fits(node)), None)
        except GLib.Error:
            return None  # it changed while we looked

    def find(self, text, role=(), part=False):
        """The first whose name is that, or has that in it, and that is one of these things."""
        def fits(node):
            name = node.get_name() or ""
            return (text in name if part else text == name) and (not role or node.get_role() in role)
        return self.first(fits)

    def focused(self):
        """The innermost that has the focus. What is current in a list says that it has it, also when the list has not."""
        def has_it(node):
            return node.get_state_set().contains(Atspi.StateType.FOCUSED)

        found = None
        try:
            for node in self.nodes(closed=set()):
                if has_it(node):
                    parent = node.get_parent()
                    if not parent or parent.get_role() not in LISTS or has_it(parent):
                        found = node
        except GLib.Error:
            return None
        return found

    def wait(self, text, patience=PATIENCE, **how):
        return wait_until(lambda: self.find(text, **how), f"\"{text}\"", patience)

    def wait_gone(self, text, **how):
        wait_until(lambda: not self.find(text, **how), f"The end of \"{text}\"")

    def wait_focus(self, text):
        def has_it():
            node = self.focused()
            return node and text in (node.get_name() or "")
        wait_until(has_it, f"The focus on \"{text}\"", 20)

    def story(self):
        """What a screen reader would find, for who wants to know why something did not come."""
        try:
            return "\n".join(f"    {node.get_role_name()}: {node.get_name()}" for node in self.nodes() if node.get_name())
        except GLib.Error as trouble:
            return f"    {trouble.message}"

    # What a user does

    def key(self, *keys):
        self.display.key(*keys)

    def type(self, text):
        self.display.type(text)

    def press(self, text, part=False):
        def enabled():
            node = self.find(text, role=BUTTONS, part=part)
            return node if node and node.get_state_set().contains(Atspi.StateType.ENABLED) else None

        # It does not wait for what the button starts.
        node = wait_until(enabled, f"The button \"{text}\"")
        action = node.get_action_iface()
        names = [action.get_action_name(i) for i in range(action.get_n_actions())]
        if "Press" in names:
            action.do_action(names.index("Press"))
        else:  # what can be on and off has only an action that nobody's mouse or key does
            self.click(node)

    def click(self, node):
        """In the middle of something in the main window, which is as large as the display."""
        box = node.get_component_iface().get_extents(Atspi.CoordType.SCREEN)
        top = node
        while top.get_parent() and top.get_parent().get_role() != Atspi.Role.APPLICATION:
            top = top.get_parent()
        scale = self.display.width / top.get_component_iface().get_extents(Atspi.CoordType.SCREEN).width
        place = [str(round((start + length / 2) * scale)) for start, length in ((box.x, box.width), (box.y, box.height))]
        subprocess.run(["xdotool", "mousemove", *place, "click", "1", "mousemove", str(self.display.width - 1),
                        str(self.display.height - 1)], check=True)

    def choose_in_panel(self, path, button):
        """The desktop's panel for files is Qt's own here: the path is typed."""
        field = self.wait("Directory:", role=(Atspi.Role.TEXT,))
        field.get_editable_text_iface().set_text_contents(str(path))
        self.press(button)
        self.wait_gone("Directory:")

    # Pictures

    def picture(self, name, moving=False, rest=3):
        """Of what is there once it has come to rest, for which it has so many seconds; or at once."""
        self.taken += 1
        pixels = self.display.pixels() if moving else self.display.at_rest(rest)
        self.display.save(pixels, self.pictures / f"{self.taken:02}-{name}.png")
        print(f"{self.label}: {name}", flush=True)
