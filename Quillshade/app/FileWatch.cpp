#include "Quillshade/app/FileWatch.h"

#include <QFileInfo>
#include <chrono>

namespace nomara {

namespace {

// Editors empty a file before they fill it, or put another one in its place in several steps.
constexpr std::chrono::milliseconds settleTime{200};

} // namespace

FileWatch::FileWatch(const QString& file) : m_file(file) {
    m_settled.setSingleShot(true);
    connect(&m_settled, &QTimer::timeout, this, [this] {
        watch(); // a file that was replaced is another one
        Q_EMIT changed();
    });
    const auto start = [this] { m_settled.start(settleTime); };
    connect(&m_watcher, &QFileSystemWatcher::fileChanged, this, start);
    connect(&m_watcher, &QFileSystemWatcher::directoryChanged, this, start);
    watch();
}

void FileWatch::watch() {
    if (m_file.isEmpty()) return;
    const QString folder = QFileInfo(m_file).path();
    if (!m_watcher.directories().contains(folder) && QFileInfo::exists(folder)) m_watcher.addPath(folder);
    if (!m_watcher.files().contains(m_file) && QFileInfo::exists(m_file)) m_watcher.addPath(m_file);
}

} // namespace nomara
