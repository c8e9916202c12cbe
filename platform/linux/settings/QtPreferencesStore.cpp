#include "platform/linux/settings/QtPreferencesStore.h"

#include "platform/PreferenceText.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSettings>
#include <QString>
#include <QStringList>
#include <cstdlib>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace nomara {

namespace {

namespace fs = std::filesystem;

QString toQt(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

// The file says what the user doesn't want recorded; nobody else need know. Made before it is first written to, it
// keeps its permissions when it is replaced.
fs::path prepared(const fs::path& file) {
    std::error_code ignored; // what can't be made shows itself at the first write
    if (fs::create_directories(file.parent_path(), ignored))
        fs::permissions(file.parent_path(), fs::perms::owner_all, ignored);
    const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (descriptor >= 0) {
        fchmod(descriptor, S_IRUSR | S_IWUSR);
        close(descriptor);
    }
    return file;
}

} // namespace

QtPreferencesStore::QtPreferencesStore(const fs::path& file)
    : m_file(prepared(file)), m_settings(std::make_unique<QSettings>(toQt(file.string()), QSettings::IniFormat)) {}

QtPreferencesStore::~QtPreferencesStore() = default;

fs::path QtPreferencesStore::defaultFile() {
    const char* const configured = std::getenv("XDG_CONFIG_HOME");
    const char* const home = std::getenv("HOME");
    fs::path folder;
    if (configured && *configured == '/')
        folder = configured;
    else
        folder = fs::path(home ? home : "/") / ".config";
    return folder / "Quillshade" / "quillshade.ini";
}

bool QtPreferencesStore::isWritable() const {
    return m_settings->status() == QSettings::NoError && m_settings->isWritable();
}

std::optional<bool> QtPreferencesStore::boolean(std::string_view key) const {
    const auto value = text(key);
    return value ? PreferenceText::toBoolean(*value) : std::nullopt;
}

std::optional<std::int64_t> QtPreferencesStore::integer(std::string_view key) const {
    const auto value = text(key);
    return value ? PreferenceText::toInteger(*value) : std::nullopt;
}

std::optional<double> QtPreferencesStore::real(std::string_view key) const {
    const auto value = text(key);
    return value ? PreferenceText::toReal(*value) : std::nullopt;
}

std::optional<std::string> QtPreferencesStore::text(std::string_view key) const {
    const QVariant value = m_settings->value(toQt(key));
    if (value.typeId() != QMetaType::QString) return std::nullopt;
    return value.toString().toStdString();
}

std::optional<std::vector<std::string>> QtPreferencesStore::textList(std::string_view key) const {
    const QVariant value = m_settings->value(toQt(key));
    std::vector<std::string> list;
    // Somebody has written "a, b" into the file.
    if (value.typeId() == QMetaType::QStringList) {
        for (const QString& item : value.toStringList())
            list.push_back(item.toStdString());
        return list;
    }
    const QJsonDocument document = QJsonDocument::fromJson(value.toString().toUtf8());
    if (!document.isArray()) return std::nullopt;
    for (const auto& item : document.array()) {
        if (!item.isString()) return std::nullopt;
        list.push_back(item.toString().toStdString());
    }
    return list;
}

void QtPreferencesStore::setBoolean(std::string_view key, bool value) {
    setText(key, PreferenceText::fromBoolean(value));
}

void QtPreferencesStore::setInteger(std::string_view key, std::int64_t value) {
    setText(key, PreferenceText::fromInteger(value));
}

void QtPreferencesStore::setReal(std::string_view key, double value) {
    setText(key, PreferenceText::fromReal(value));
}

void QtPreferencesStore::setText(std::string_view key, std::string_view value) {
    m_settings->setValue(toQt(key), toQt(value));
    save();
}

// Qt's own form of a list can't tell one of a single text from that text, so a list stands as JSON.
void QtPreferencesStore::setTextList(std::string_view key, const std::vector<std::string>& value) {
    QJsonArray array;
    for (const std::string& item : value)
        array.append(toQt(item));
    m_settings->setValue(toQt(key), QString::fromUtf8(QJsonDocument(array).toJson(QJsonDocument::Compact)));
    save();
}

void QtPreferencesStore::remove(std::string_view key) {
    m_settings->remove(toQt(key));
    save();
}

void QtPreferencesStore::save() {
    // Somebody may have removed the file meanwhile; Qt would make it anew for everybody to read.
    prepared(m_file);
    m_settings->sync();
}

} // namespace nomara
