"""A window of a program that is no browser, around a page."""

import sys

import gi

gi.require_version("Gtk", "3.0")
gi.require_version("WebKit2", "4.1")
from gi.repository import Gtk, WebKit2

window = Gtk.Window(title="Fields of WebKit", default_width=900, default_height=600)
view = WebKit2.WebView()
view.load_uri(sys.argv[1])
window.add(view)
window.connect("destroy", Gtk.main_quit)
window.show_all()
view.grab_focus()
Gtk.main()
