"""Fields of GTK4: the first is an ordinary one, the second hides what is typed, the others were filled before."""

import gi

gi.require_version("Gtk", "4.0")
gi.require_version("Adw", "1")
from gi.repository import Adw, GLib, Gtk

Adw.init()
window = Gtk.Window(title="Fields of GTK4", default_width=500)
box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL)
window.set_child(box)


def add(field, text):
    field.set_text(text)
    box.append(field)
    return field


def show_text_below(widget):
    """As somebody does who presses the button with the eye."""
    if isinstance(widget, Gtk.Text):
        widget.set_visibility(True)
    child = widget.get_first_child()
    while child:
        show_text_below(child)
        child = child.get_next_sibling()


first = add(Gtk.Entry(), "")
add(Gtk.Entry(visibility=False), "")
add(Gtk.Entry(visibility=False), "filledhidden")
add(Gtk.Entry(visibility=False, invisible_char="~"), "filledtilde")
add(Gtk.PasswordEntry(show_peek_icon=True), "filledpassword")
peeked = add(Gtk.PasswordEntry(show_peek_icon=True), "filledpeeked")
rows = Gtk.ListBox()
box.append(rows)
row = Adw.PasswordEntryRow(title="Row")
row.set_text("filledrow")
rows.append(row)
window.connect("close-request", lambda _: loop.quit())
window.present()
show_text_below(peeked)
first.grab_focus()
if Gtk.get_minor_version() < 10:  # these don't say of anything but a window that it shows, so only its title is read
    first.connect("changed", lambda field: window.set_title(f"Fields of GTK4: {field.get_text()}"))
loop = GLib.MainLoop()
loop.run()
