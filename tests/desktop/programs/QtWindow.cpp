// A window of Qt widgets for the desktop tests: every kind of text that the toolkit shows, and a long list.

#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QTextEdit>
#include <QVBoxLayout>

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QWidget window;
    window.setWindowTitle(QStringLiteral("Qt window"));
    auto* layout = new QVBoxLayout(&window);
    layout->addWidget(new QLabel(QStringLiteral("A label of Qt")));
    auto* line = new QLineEdit(QStringLiteral("a line of Qt"));
    layout->addWidget(line);
    auto* password = new QLineEdit(QStringLiteral("hiddenbyqt"));
    password->setEchoMode(QLineEdit::Password);
    layout->addWidget(password);
    auto* choice = new QComboBox;
    choice->addItems({QStringLiteral("chosen by Qt"), QStringLiteral("not chosen")});
    layout->addWidget(choice);
    auto* list = new QListWidget;
    for (int i = 0; i < 5000; ++i)
        list->addItem(QStringLiteral("row %1").arg(i));
    list->scrollToItem(list->item(2500), QAbstractItemView::PositionAtTop);
    layout->addWidget(list);
    auto* page = new QTextEdit;
    QString text;
    for (int i = 0; i < 2000; ++i)
        text += QStringLiteral("line number %1\n").arg(i);
    page->setPlainText(text);
    layout->addWidget(page);
    layout->addWidget(new QPushButton(QStringLiteral("A button of Qt")));
    window.resize(500, 700);
    window.show();
    line->setFocus();
    return application.exec();
}
