#include "Quillshade/app/ControlService.h"

#include "Quillshade/app/AppModel.h"
#include "Version.h"
#include "core/base/Paths.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QTimer>
#include <chrono>

#include <nlohmann/json.hpp>

namespace nomara {

namespace {

using nlohmann::json;

constexpr std::chrono::milliseconds longestWait{150};

QString toText(const json& value) {
    return QString::fromStdString(value.dump(-1, ' ', false, json::error_handler_t::replace));
}

json optionalText(const std::optional<std::string>& text) {
    return text ? json(*text) : json();
}

json optionalText(const std::optional<QString>& text) {
    return text ? json(text->toStdString()) : json();
}

const char* name(SkipReason::Kind kind) {
    switch (kind) {
    case SkipReason::Kind::excludedApp:
        return "excludedApp";
    case SkipReason::Kind::none:
        return "none";
    case SkipReason::Kind::ownApp:
        return "ownApp";
    case SkipReason::Kind::secureInput:
        return "secureInput";
    case SkipReason::Kind::privateWindow:
        return "privateWindow";
    case SkipReason::Kind::excludedSite:
        return "excludedSite";
    case SkipReason::Kind::unverifiedBrowser:
        return "unverifiedBrowser";
    case SkipReason::Kind::unknownFocus:
        return "unknownFocus";
    }
    return "none";
}

const char* name(LookResult result) {
    switch (result) {
    case LookResult::none:
        return "none";
    case LookResult::stored:
        return "stored";
    case LookResult::storedText:
        return "storedText";
    case LookResult::unchanged:
        return "unchanged";
    case LookResult::noImage:
        return "noImage";
    case LookResult::staleImage:
        return "staleImage";
    case LookResult::heldBack:
        return "heldBack";
    case LookResult::windowsMoving:
        return "windowsMoving";
    case LookResult::failed:
        return "failed";
    }
    return "none";
}

json displays(const CaptureReport& report) {
    json list = json::array();
    for (const auto& display : report.displays)
        list.push_back({{"id", display.id},
                        {"name", display.name},
                        {"x", display.bounds.x},
                        {"y", display.bounds.y},
                        {"width", display.bounds.width},
                        {"height", display.bounds.height},
                        {"active", display.isActive},
                        {"streaming", display.isStreaming},
                        {"lastLook", name(display.lastLook)},
                        {"lookedAt", display.lookedAt ? json(display.lookedAt->seconds) : json()}});
    return list;
}

json reading(const AppModel& model) {
    return {{"available", model.ocr().unavailableReason().empty()},
            {"problem", optionalText(model.readingProblem())},
            {"languages", model.ocr().languages()},
            {"missingLanguages", model.ocr().missingLanguages()},
            {"allowed", model.policy().ocrNow},
            {"running", model.isReadingPictures()},
            {"pending", model.pendingOCR()}};
}

} // namespace

ControlService::ControlService(AppModel& model) : m_model(model) {}

ControlService::Registration ControlService::registerOnSessionBus() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) return Registration::noBus;
    if (!bus.registerObject(objectPath(), this, QDBusConnection::ExportScriptableSlots)) return Registration::noBus;
    return bus.registerService(serviceName()) ? Registration::done : Registration::nameTaken;
}

QString ControlService::serviceName() {
    return QStringLiteral("com.brindlewick.Quillshade");
}

QString ControlService::objectPath() {
    return QStringLiteral("/com/brindlewick/Quillshade");
}

QString ControlService::interfaceName() {
    return QStringLiteral("com.brindlewick.Quillshade1");
}

QString ControlService::Status() {
    if (!calledFromDBus()) return report();
    setDelayedReply(true);
    // Permissions are asked anew, but whoever waits isn't kept by a look at a screen that takes its time.
    auto* const reply = new QTimer(this);
    reply->setSingleShot(true);
    connect(reply, &QTimer::timeout, this, [this, reply, request = message(), bus = connection()] {
        bus.send(request.createReply(report()));
        reply->deleteLater();
    });
    connect(&m_model, &AppModel::permissionsRefreshed, reply, [reply] { reply->start(0); });
    reply->start(longestWait);
    m_model.refreshPermissions();
    return {};
}

QString ControlService::ChangeSettings(const QStringList& set, const QStringList& add, const QStringList& remove) {
    SettingsCommands commands;
    const auto take = [](const QStringList& list, std::vector<std::string>& texts) {
        for (const QString& text : list)
            texts.push_back(text.toStdString());
    };
    take(set, commands.set);
    take(add, commands.add);
    take(remove, commands.remove);
    const SettingsCommands::Outcome outcome = m_model.changeSettings(commands);
    const PreferencesStore& store = m_model.settings().store();
    return toText({{"problem", outcome.problem},
                   {"notes", outcome.notes},
                   {"file", store.place()},
                   {"written", store.isWritable()}});
}

QString ControlService::report() const {
    json accessibility{{"available", m_model.accessibilityPermission()}};
    if (!m_model.accessibilityPermission()) accessibility["reason"] = m_model.accessibilityReason();
    json report{
        {"version", QUILLSHADE_VERSION},
        {"pid", QCoreApplication::applicationPid()},
        {"dataDirectory", NomaraPaths::dataDirectory().string()},
        {"status", m_model.statusText().toStdString()},
        {"recording", m_model.status().isRecording()},
        {"textOnly", m_model.status().textOnly},
        {"detail", optionalText(m_model.detailText())},
        {"skipReason", name(m_model.skipReason().kind)},
        {"policy", std::string(nomara::name(m_model.policy().reason))},
        {"accessibility", accessibility},
        {"databaseDamaged", m_model.databaseDamaged()},
        {"settings",
         {{"file", m_model.settings().store().place()},
          {"problems", m_model.settings().problems()},
          {"unknownApplications", m_model.settings().unknownApplications()}}},
        {"storeTrouble", m_model.storeTrouble().sentence.empty() ? json() : json(m_model.storeTrouble().sentence)},
        {"memoryBegun", m_model.memoryBegunAt() ? json(m_model.memoryBegunAt()->seconds) : json()},
        {"frontApplication", json()},
        {"displays", displays(m_model.captureReport())},
        {"streamTrouble",
         m_model.captureReport().streamTrouble.empty() ? json() : json(m_model.captureReport().streamTrouble)},
        {"openSegments", m_model.captureReport().openSegments},
        {"lastPicture", json()},
        {"reading", reading(m_model)},
        {"lastSaved", json()},
    };
    if (const auto& picture = m_model.captureReport().lastPicture)
        report["lastPicture"] = {
            {"id", picture->frameID}, {"displayID", picture->displayID}, {"timestamp", picture->at.seconds}};
    if (const auto app = m_model.frontmost())
        report["frontApplication"] = {
            {"pid", app->pid}, {"id", optionalText(app->bundleID)}, {"name", optionalText(app->name)}};
    // Titles stay in the memory, to which others on the bus may have no access.
    if (const auto& frame = m_model.lastSaved())
        report["lastSaved"] = {
            {"id", frame->id}, {"timestamp", frame->timestamp.seconds}, {"appName", optionalText(frame->appName)}};
    return toText(report);
}

} // namespace nomara
