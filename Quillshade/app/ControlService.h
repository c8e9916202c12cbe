#pragma once

#include <QDBusContext>
#include <QObject>
#include <QString>

namespace nomara {

class AppModel;

/// What the running program offers on the session bus; the terminal companion asks it. Main thread.
class ControlService final : public QObject, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.brindlewick.Quillshade1")

public:
    explicit ControlService(AppModel& model);

    enum class Registration { done, nameTaken, noBus };
    /// Takes the service's name on the session bus. Without a bus the program runs all the same.
    Registration registerOnSessionBus();
    /// The process that holds the name; 0 if nobody does.
    static unsigned ownerProcess();

public Q_SLOTS:
    /// The program's state as one JSON object, with permissions asked anew.
    Q_SCRIPTABLE QString Status();

private:
    QString report() const;

    AppModel& m_model;
};

} // namespace nomara
