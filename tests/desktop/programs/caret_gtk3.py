#!/usr/bin/python3
"""A window whose caret blinks, as chat programs draw it: the whole line is painted anew each time."""

import gi

gi.require_version("Gtk", "3.0")
from gi.repository import GLib, Gtk  # noqa: E402

state = {"on": False}


def draw(area, context):
    context.set_source_rgb(1, 1, 1)
    context.paint()
    context.set_source_rgb(0, 0, 0)
    context.select_font_face("DejaVu Sans")
    context.set_font_size(16)
    context.move_to(20, 28)
    context.show_text("Somebody has typed this marmalade message and thinks about it")
    if state["on"]:
        context.rectangle(560, 10, 2, 22)
        context.fill()


def blink(area):
    state["on"] = not state["on"]
    area.queue_draw()
    return True


window = Gtk.Window(title="Chat with a caret")
window.set_default_size(1400, 300)
area = Gtk.DrawingArea()
area.connect("draw", draw)
window.add(area)
window.connect("destroy", Gtk.main_quit)
window.show_all()
GLib.timeout_add(600, blink, area)
Gtk.main()
