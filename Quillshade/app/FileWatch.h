#pragma once

#include <QFileSystemWatcher>
#include <QObject>
#include <QString>
#include <QTimer>

namespace nomara {

/// Tells when somebody has written to a file, put another one in its place or removed it, a moment after the last of
/// several changes. Main thread.
class FileWatch final : public QObject {
    Q_OBJECT

public:
    /// Without a file it never tells anything. The folder is there already.
    explicit FileWatch(const QString& file);

Q_SIGNALS:
    void changed();

private:
    void watch();

    const QString m_file;
    QFileSystemWatcher m_watcher;
    QTimer m_settled;
};

} // namespace nomara
