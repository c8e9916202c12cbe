#include "platform/linux/atspi/Roles.h"

namespace nomara::atspi {

Treatment treatmentOf(Role role) {
    switch (role) {
    case Role::passwordText:
        return Treatment::secure;
    case Role::animation:
    case Role::arrow:
    case Role::checkMenuItem:
    case Role::image:
    case Role::imageMap:
    case Role::levelBar:
    case Role::menu:
    case Role::menuBar:
    case Role::menuItem:
    case Role::popupMenu:
    case Role::progressBar:
    case Role::radioMenuItem:
    case Role::scrollBar:
    case Role::slider:
    case Role::tearoffMenuItem:
        return Treatment::skipped;
    case Role::staticText:
        return Treatment::staticText;
    case Role::dateEditor:
    case Role::editBar:
    case Role::entry:
    case Role::spinButton:
    case Role::terminal:
    case Role::text:
        return Treatment::field;
    case Role::autocomplete:
    case Role::comboBox:
        return Treatment::editableList;
    case Role::checkBox:
    case Role::columnHeader:
    case Role::heading:
    case Role::label:
    case Role::link:
    case Role::listItem:
    case Role::pageTab:
    case Role::pushButton:
    case Role::radioButton:
    case Role::rowHeader:
    case Role::tableCell:
    case Role::tableColumnHeader:
    case Role::tableRowHeader:
    case Role::toggleButton:
    case Role::toolTip:
    case Role::treeItem:
    case Role::notification:
        return Treatment::caption;
    case Role::application:
    case Role::documentWeb:
    case Role::filler:
    case Role::frame:
    case Role::glassPane:
    case Role::internalFrame:
    case Role::layeredPane:
    case Role::list:
    case Role::listBox:
    case Role::pageTabList:
    case Role::panel:
    case Role::rootPane:
    case Role::scrollPane:
    case Role::separator:
    case Role::splitPane:
    case Role::table:
    case Role::tableRow:
    case Role::toolBar:
    case Role::tree:
    case Role::treeTable:
    case Role::viewport:
        return Treatment::structure;
    default:
        return Treatment::container;
    }
}

bool showsManyChildren(Role role) {
    switch (role) {
    case Role::list:
    case Role::listBox:
    case Role::table:
    case Role::tree:
    case Role::treeTable:
        return true;
    default:
        return false;
    }
}

bool isPicture(Role role) {
    switch (role) {
    case Role::animation:
    case Role::canvas:
    case Role::drawingArea:
    case Role::icon:
    case Role::image:
    case Role::imageMap:
    case Role::video:
        return true;
    default:
        return false;
    }
}

bool isControlsBar(Role role) {
    switch (role) {
    case Role::menuBar:
    case Role::ruler:
    case Role::statusBar:
    case Role::titleBar:
    case Role::toolBar:
        return true;
    default:
        return false;
    }
}

bool isButton(Role role) {
    return role == Role::pushButton || role == Role::toggleButton || role == Role::checkBox ||
           role == Role::radioButton;
}

bool isPage(Role role) {
    return role == Role::documentWeb || role == Role::documentFrame;
}

bool isOfficeDocument(Role role) {
    return role == Role::documentText || role == Role::documentSpreadsheet || role == Role::documentPresentation;
}

bool isWindow(Role role) {
    switch (role) {
    case Role::menu:
    case Role::menuBar:
    case Role::popupMenu:
    case Role::toolTip:
        return false;
    default:
        // A window may have any role that its author gave it: some toolkits call a plain one a filler or a panel.
        return true;
    }
}

} // namespace nomara::atspi
