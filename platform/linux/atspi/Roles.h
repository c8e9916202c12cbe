#pragma once

#include <cstdint>

namespace nomara::atspi {

/// The roles that are treated in some way of their own, by the numbers that programs send. Every other number is legal.
enum class Role : std::uint32_t {
    alert = 2,
    animation = 3,
    arrow = 4,
    canvas = 6,
    checkBox = 7,
    checkMenuItem = 8,
    colorChooser = 9,
    columnHeader = 10,
    comboBox = 11,
    dateEditor = 12,
    desktopIcon = 13,
    dialog = 16,
    drawingArea = 18,
    fileChooser = 19,
    filler = 20,
    fontChooser = 22,
    frame = 23,
    glassPane = 24,
    icon = 26,
    image = 27,
    internalFrame = 28,
    label = 29,
    layeredPane = 30,
    list = 31,
    listItem = 32,
    menu = 33,
    menuBar = 34,
    menuItem = 35,
    pageTab = 37,
    pageTabList = 38,
    panel = 39,
    passwordText = 40,
    popupMenu = 41,
    progressBar = 42,
    pushButton = 43,
    radioButton = 44,
    radioMenuItem = 45,
    rootPane = 46,
    rowHeader = 47,
    scrollBar = 48,
    scrollPane = 49,
    separator = 50,
    slider = 51,
    spinButton = 52,
    splitPane = 53,
    statusBar = 54,
    table = 55,
    tableCell = 56,
    tableColumnHeader = 57,
    tableRowHeader = 58,
    tearoffMenuItem = 59,
    terminal = 60,
    text = 61,
    toggleButton = 62,
    toolBar = 63,
    toolTip = 64,
    tree = 65,
    treeTable = 66,
    unknown = 67,
    viewport = 68,
    window = 69,
    paragraph = 73,
    ruler = 74,
    application = 75,
    autocomplete = 76,
    editBar = 77,
    entry = 79,
    documentFrame = 82,
    heading = 83,
    link = 88,
    tableRow = 90,
    treeItem = 91,
    documentSpreadsheet = 92,
    documentPresentation = 93,
    documentText = 94,
    documentWeb = 95,
    listBox = 98,
    imageMap = 100,
    notification = 101,
    levelBar = 103,
    titleBar = 104,
    video = 107,
    staticText = 116,
};

/// How a walk for text meets an object.
enum class Treatment {
    skipped,      ///< neither it nor what is below it
    secure,       ///< a password field: the same, and nothing of it is ever asked for
    staticText,   ///< a piece of text without anything below it
    field,        ///< holds what somebody typed; nothing below it is wanted
    editableList, ///< such a field with a list below it that may show more
    caption,      ///< shows its own text, or its name where the toolkit keeps its text there
    structure,    ///< lays out others and shows nothing itself, except in a toolkit that writes into everything
    container,    ///< may show text of its own between its children
};

Treatment treatmentOf(Role role);

/// Lists, tables and trees: only their visible children are walked.
bool showsManyChildren(Role role);
bool isPicture(Role role);
/// A bar of a window's own controls: what they are called tells nothing of what the window is about.
bool isControlsBar(Role role);
/// What people click on rather than read.
bool isButton(Role role);
/// A document that a browser shows: a page, or one with which it draws its own controls.
bool isPage(Role role);
/// What an office program is about: all around it are panels and bars.
bool isOfficeDocument(Role role);
/// Whether a top-level object is what a person would call a window, going by its role alone.
bool isWindow(Role role);

} // namespace nomara::atspi
