#include "Quillshade/app/Texts.h"

#include "core/base/Calendar.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QLocale>
#include <array>
#include <string_view>
#include <utility>

namespace nomara {

namespace {

constexpr const char* context = "Quillshade";

constexpr std::array<std::pair<std::string_view, const char*>, 4> reworded{{
    {"Mac is hot: saving text only", "The computer is hot: saving text only"},
    {"Low Power Mode: saving text only", "Power saver: saving text only"},
    {"Screen Recording permission needed", "Permission to see the screen needed"},
    {"Not recording browser windows: allow Accessibility so private windows can be recognized",
     "Not recording browser windows: turn on accessibility so private windows can be recognized"},
}};

} // namespace

QString localized(const char* key) {
    return QCoreApplication::translate(context, key);
}

QString EnglishCatalogue::translate(const char*, const char* key, const char*, int) const {
    for (const auto& [english, here] : reworded)
        if (english == key) return QString::fromUtf8(here);
    return {};
}

QString languageName(const std::string& code) {
    const QString text = QString::fromStdString(code);
    const QLocale::Language language = QLocale(text).language();
    return language == QLocale::C ? text : QLocale::languageToString(language);
}

QString momentLabel(Date date, Date now) {
    const QDateTime moment = QDateTime::fromMSecsSinceEpoch(static_cast<qint64>(date.seconds * 1000));
    const QLocale locale;
    const QString time = locale.toString(moment.time(), QLocale::ShortFormat);
    const std::string day = Calendar::dayKey(date);
    if (day == Calendar::dayKey(now)) return localized("Today %1").arg(time);
    if (day == Calendar::dayKey(Calendar::addingDays(now, -1))) return localized("Yesterday %1").arg(time);
    const bool thisYear = Calendar::components(date).year == Calendar::components(now).year;
    return locale.toString(moment.date(), thisYear ? QStringLiteral("d MMM") : QStringLiteral("d MMM yyyy")) +
           QLatin1Char(' ') + time;
}

} // namespace nomara
