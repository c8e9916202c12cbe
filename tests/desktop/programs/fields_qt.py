"""Fields of Qt 5 or 6, as the argument says: the first is an ordinary one, the second hides what is typed, the others
were filled before."""

import importlib
import sys

widgets = importlib.import_module(f"PyQt{sys.argv[1]}.QtWidgets")
application = widgets.QApplication(sys.argv)
window = widgets.QWidget()
window.setWindowTitle(f"Fields of Qt{sys.argv[1]}")
window.resize(500, 200)
layout = widgets.QVBoxLayout(window)
mode = widgets.QLineEdit.EchoMode
for shown_as, text in ((mode.Normal, ""), (mode.Password, ""), (mode.Password, "filledhidden"),
                       (mode.NoEcho, "filledsilent"), (mode.PasswordEchoOnEdit, "filledonce")):
    field = widgets.QLineEdit(text)
    field.setEchoMode(shown_as)
    layout.addWidget(field)
window.show()
application.exec()
