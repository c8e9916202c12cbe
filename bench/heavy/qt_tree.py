"""A tree of 100,000 rows in Qt 6, all of them unfolded, and a field over it; prints how many characters the field holds."""

from PyQt6.QtGui import QStandardItem, QStandardItemModel
from PyQt6.QtWidgets import QApplication, QLineEdit, QTreeView, QVBoxLayout, QWidget

application = QApplication([])
model = QStandardItemModel()
for group in range(100):
    parent = QStandardItem(f"group {group}")
    for number in range(1000):
        parent.appendRow([QStandardItem(f"row {group}.{number}"), QStandardItem(f"value {number}")])
    model.appendRow(parent)
tree = QTreeView()
tree.setUniformRowHeights(True)
tree.setModel(model)
tree.expandAll()
line = QLineEdit()
line.textChanged.connect(lambda text: print(len(text), flush=True))
window = QWidget()
window.setWindowTitle("Heavy Qt")
layout = QVBoxLayout(window)
layout.addWidget(line)
layout.addWidget(tree)
window.resize(900, 800)
window.show()
line.setFocus()
application.exec()
