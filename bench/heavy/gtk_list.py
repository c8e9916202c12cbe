"""A list of 100,000 rows in GTK 3, and a field over it; prints how many characters the field holds."""

import gi

gi.require_version("Gtk", "3.0")
from gi.repository import Gtk  # noqa: E402

rows = Gtk.ListStore(str, str)
for number in range(100_000):
    rows.append([f"row {number}", f"value {number * 7}"])
entry = Gtk.Entry()
entry.connect("changed", lambda field: print(len(field.get_text()), flush=True))
view = Gtk.TreeView(model=rows)
for column in range(2):
    view.append_column(Gtk.TreeViewColumn(f"Column {column}", Gtk.CellRendererText(), text=column))
pane = Gtk.ScrolledWindow()
pane.add(view)
box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL)
box.pack_start(entry, False, False, 0)
box.pack_start(pane, True, True, 0)
window = Gtk.Window(title="Heavy GTK 3", default_width=900, default_height=800)
window.add(box)
window.connect("destroy", Gtk.main_quit)
window.show_all()
entry.grab_focus()
Gtk.main()
