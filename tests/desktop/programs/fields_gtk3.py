"""Fields of GTK 3: the first is an ordinary one, the second hides what is typed, the third was filled before."""

import gi

gi.require_version("Gtk", "3.0")
from gi.repository import Gtk

window = Gtk.Window(title="Fields of GTK3", default_width=500)
box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL)
window.add(box)
for field in (Gtk.Entry(), Gtk.Entry(visibility=False), Gtk.Entry(visibility=False, text="filledhidden")):
    box.add(field)
window.connect("destroy", Gtk.main_quit)
window.show_all()
Gtk.main()
