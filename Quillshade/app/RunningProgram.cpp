#include "Quillshade/app/RunningProgram.h"

#include "Quillshade/app/ControlService.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>

#include <nlohmann/json.hpp>

namespace nomara::RunningProgram {

namespace {

using nlohmann::json;

constexpr int maxWaitMilliseconds = 10'000; // the settings' disk may be slow

QStringList toList(const std::vector<std::string>& texts) {
    QStringList list;
    for (const std::string& text : texts)
        list.append(QString::fromStdString(text));
    return list;
}

Answer failed(std::string sentence) {
    Answer answer;
    answer.failure = std::move(sentence);
    return answer;
}

// Bytes that aren't UTF-8 can't be sent.
std::string unfitText(const SettingsCommands& commands) {
    for (const auto* texts : {&commands.set, &commands.add, &commands.remove})
        for (const std::string& text : *texts)
            if (const std::string problem = SettingText::problem(text); !problem.empty())
                return SettingText::inQuotes(text) + " can't be stored: " + problem + ".";
    return {};
}

} // namespace

unsigned process() {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected()) return 0;
    const QDBusReply<uint> process = bus.interface()->servicePid(ControlService::serviceName());
    return process.isValid() ? process.value() : 0;
}

Answer changeSettings(const SettingsCommands& commands) {
    Answer answer;
    answer.outcome.problem = unfitText(commands);
    if (!answer.outcome.problem.empty()) return answer;
    QDBusMessage message =
        QDBusMessage::createMethodCall(ControlService::serviceName(), ControlService::objectPath(),
                                       ControlService::interfaceName(), QStringLiteral("ChangeSettings"));
    message.setAutoStartService(false);
    message << toList(commands.set) << toList(commands.add) << toList(commands.remove);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(message, QDBus::Block, maxWaitMilliseconds);
    if (reply.type() == QDBusMessage::ErrorMessage) {
        switch (QDBusError(reply).type()) {
        case QDBusError::UnknownMethod:
            return failed("It takes no settings, as it is of an older version. Nothing was stored.");
        case QDBusError::ServiceUnknown:
            return failed("It has just ended. Nothing was stored.");
        default:
            return failed("It gives no answer, and it isn't known whether the settings were stored (" +
                          reply.errorMessage().toStdString() + ").");
        }
    }
    try {
        const json report = json::parse(reply.arguments().value(0).toString().toStdString());
        answer.outcome.problem = report.at("problem").get<std::string>();
        answer.outcome.notes = report.at("notes").get<std::vector<std::string>>();
        answer.place = report.at("file").get<std::string>();
        answer.isWritten = report.at("written").get<bool>();
        return answer;
    } catch (const json::exception&) {
        return failed("Its answer isn't understood; is it of another version?");
    }
}

} // namespace nomara::RunningProgram
