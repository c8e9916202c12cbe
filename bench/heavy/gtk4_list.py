"""A list of 100,000 rows in GTK 4, and a field over it; prints how many characters the field holds."""

import gi

gi.require_version("Gtk", "4.0")
from gi.repository import Gtk  # noqa: E402


def build(application):
    factory = Gtk.SignalListItemFactory()
    factory.connect("setup", lambda _, item: item.set_child(Gtk.Label()))
    factory.connect("bind", lambda _, item: item.get_child().set_text(item.get_item().get_string()))
    rows = Gtk.StringList.new([f"row {number}" for number in range(100_000)])
    entry = Gtk.Entry()
    entry.connect("changed", lambda field: print(len(field.get_text()), flush=True))
    pane = Gtk.ScrolledWindow(vexpand=True)
    pane.set_child(Gtk.ListView.new(Gtk.SingleSelection.new(rows), factory))
    box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL)
    box.append(entry)
    box.append(pane)
    window = Gtk.ApplicationWindow(application=application, title="Heavy GTK 4", default_width=900, default_height=800)
    window.set_child(box)
    window.present()
    entry.grab_focus()


application = Gtk.Application()
application.connect("activate", build)
application.run()
