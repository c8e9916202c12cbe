#pragma once

#include <QDBusContext>
#include <QObject>
#include <QString>
#include <QStringList>

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

    static QString serviceName();
    static QString objectPath();
    static QString interfaceName();

public Q_SLOTS:
    /// The program's state as one JSON object, with permissions asked anew.
    Q_SCRIPTABLE QString Status();
    /// Carries out what is asked of the settings, each text as KEY=VALUE: all of it or, where one makes no sense,
    /// nothing. Tells as a JSON object: "problem" and "notes", sentences for the user; "file", where the settings lie;
    /// "written", whether they could be.
    Q_SCRIPTABLE QString ChangeSettings(const QStringList& set, const QStringList& add, const QStringList& remove);

private:
    QString report() const;

    AppModel& m_model;
};

} // namespace nomara
