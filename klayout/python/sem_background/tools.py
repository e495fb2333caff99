"""Tools in the toolbar and entries in the menu."""
import pya

from .texts import marked, tr

OFF, HAND, CLICKS = 0, 1, 2

# mode: name, title, what the library calls it
TOOLS = {
    HAND: ("sem_hand", marked("SEM by hand"), b"hand"),
    CLICKS: ("sem_clicks", marked("SEM by two clicks"), b"clicks"),
}

# name, title, shortcut (KLayout uses none of them), action
ENTRIES = [
    ("hand", marked("Move Image by Hand"), "Shift+M", b"hand"),
    ("clicks", marked("Move Image by Two Clicks"), "Shift+C", b"clicks"),
    ("find", marked("Find Image in Design"), "Shift+F", b"find"),
    ("bring_back", marked("Bring Back Stored Alignment"), "Shift+B", b"bringBack"),
    ("centre", marked("Centre View on Image"), "Shift+I", b"centre"),
    ("clone", marked("Clone Live Image"), "Shift+K", b"clone"),
    ("panels", marked("Show Panels"), "", b"panels"),
]


class Tool(pya.Plugin):
    """Only the state of a toolbar button: mouse and keys go to the library first."""

    def __init__(self, mode, view, host):
        super().__init__()
        self.mode, self.view, self.host = mode, view, host

    def activated(self):
        if self.view == self.host.view:
            self.host.bridge.sem_act(TOOLS[self.mode][2])

    def deactivated(self):
        if self.view == self.host.view:
            self.host.bridge.sem_set_mode(OFF)


class ToolFactory(pya.PluginFactory):
    def __init__(self, mode, host):
        super().__init__()
        self.mode, self.host = mode, host
        name, title, _ = TOOLS[mode]
        self.has_tool_entry = True
        self.register(2000 + mode, name, tr(title))

    def create_plugin(self, manager, root, view):
        return Tool(self.mode, view, self.host)


def add_menu(window, act, tab):
    """The entries of the submenu "SEM Image" under "Tools"; returns them: they must be kept."""
    menu = window.menu()
    menu.insert_menu("tools_menu.end", "sem_image", tr("SEM Image"))
    kept = []
    tab_entry = ("tab", marked("Show Image in This Tab"), "", None)
    for name, title, shortcut, action in ENTRIES + [tab_entry]:
        entry = pya.Action()
        entry.title, entry.shortcut = tr(title), shortcut
        entry.on_triggered(tab if action is None else lambda action=action: act(action))
        menu.insert_item("tools_menu.sem_image.end", name, entry)
        kept.append(entry)
    return kept


def select(view, mode):
    """Brings KLayout's toolbar in line with a mode that the library entered or left."""
    ours = [name for name, _, _ in TOOLS.values()]
    wanted = TOOLS[mode][0] if mode in TOOLS else "select"
    if view.mode_name() != wanted and (mode in TOOLS or view.mode_name() in ours):
        view.switch_mode(wanted)
