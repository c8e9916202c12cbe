#include "platform/linux/settings/IniPreferencesStore.h"

#include "platform/PreferenceText.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <optional>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace nomara {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t maxFileBytes = 1'048'576; // thousands of entries; more is no file of settings

class Descriptor {
public:
    Descriptor(const fs::path& file, int flags, mode_t mode = 0)
        : m_descriptor(open(file.c_str(), flags | O_CLOEXEC, mode)) {}
    ~Descriptor() {
        if (m_descriptor >= 0) close(m_descriptor);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    operator int() const { return m_descriptor; }

private:
    const int m_descriptor;
};

// The file says what the user doesn't want recorded; nobody else need know.
void makeFile(const fs::path& file) {
    std::error_code ignored; // what can't be made shows itself at the first write
    if (fs::create_directories(file.parent_path(), ignored))
        fs::permissions(file.parent_path(), fs::perms::owner_all, ignored);
    // Anything but a file, such as a pipe, would make the one who opens it wait.
    if (fs::exists(file, ignored) && !fs::is_regular_file(file, ignored)) return;
    const Descriptor descriptor(file, O_WRONLY | O_CREAT, S_IRUSR | S_IWUSR);
    if (descriptor >= 0) fchmod(descriptor, S_IRUSR | S_IWUSR);
}

bool writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return fsync(descriptor) == 0;
}

// Beside it and renamed into its place, so that nobody ever reads half of it. A link stays one, and where the folder
// lets no new file in, the file itself is written to.
bool replaceFile(const fs::path& file, std::string_view text) {
    std::error_code error;
    fs::path target = fs::canonical(file, error);
    if (error) target = file;
    const fs::path beside = fs::path(target) += ".new";
    {
        const Descriptor descriptor(beside, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW, S_IRUSR | S_IWUSR);
        if (descriptor >= 0 && fchmod(descriptor, S_IRUSR | S_IWUSR) == 0 && writeAll(descriptor, text) &&
            rename(beside.c_str(), target.c_str()) == 0)
            return true;
        if (descriptor >= 0) fs::remove(beside, error);
    }
    const Descriptor descriptor(target, O_WRONLY);
    return descriptor >= 0 && fs::is_regular_file(target, error) && writeAll(descriptor, text) &&
           ftruncate(descriptor, static_cast<off_t>(text.size())) == 0;
}

/// Held while the file is changed, on the file and not on its folder, which may be the locked folder of the data.
class FileLock {
public:
    explicit FileLock(const fs::path& file) {
        struct stat held {
        }, there{};
        do {
            // Anything but a file would make the one who opens it wait.
            m_file = std::make_unique<Descriptor>(file, O_RDONLY | O_NONBLOCK);
            if (*m_file < 0 || flock(*m_file, LOCK_EX) != 0 || fstat(*m_file, &held) != 0) return;
            // Whoever held it before has put another file in its place.
        } while (stat(file.c_str(), &there) == 0 && (held.st_ino != there.st_ino || held.st_dev != there.st_dev));
    }

private:
    std::unique_ptr<Descriptor> m_file;
};

void apply(IniFile& ini, std::string_view key, const std::optional<std::string>& value) {
    if (value)
        ini.set(key, *value);
    else
        ini.remove(key);
}

struct Contents {
    std::string text, failure;
};

Contents readFile(const fs::path& file) {
    std::error_code error;
    if (!fs::exists(file, error)) return error ? Contents{{}, error.message()} : Contents();
    if (!fs::is_regular_file(file, error)) return {{}, "it is no file"};
    const Descriptor descriptor(file, O_RDONLY);
    if (descriptor < 0) return {{}, std::error_code(errno, std::generic_category()).message()};
    Contents contents;
    std::array<char, 16'384> buffer;
    for (;;) {
        const ssize_t count = read(descriptor, buffer.data(), buffer.size());
        if (count < 0) return {{}, std::error_code(errno, std::generic_category()).message()};
        if (count == 0) break;
        contents.text.append(buffer.data(), static_cast<std::size_t>(count));
        if (contents.text.size() > maxFileBytes) return {{}, "it is too large"};
    }
    return contents;
}

} // namespace

IniPreferencesStore::IniPreferencesStore(const fs::path& file) : m_file(file) {
    makeFile(m_file);
    read();
}

fs::path IniPreferencesStore::defaultFile() {
    const char* const configured = std::getenv("XDG_CONFIG_HOME");
    const char* const home = std::getenv("HOME");
    fs::path folder;
    if (configured && *configured == '/')
        folder = configured;
    else
        folder = fs::path(home ? home : "/") / ".config";
    return folder / "Quillshade" / "quillshade.ini";
}

void IniPreferencesStore::read() {
    const Contents contents = readFile(m_file);
    m_contents = contents.text;
    m_ini = IniFile(contents.text);
    m_problem.clear();
    const std::string& reason = contents.failure.empty() ? m_ini.problem() : contents.failure;
    if (!reason.empty()) m_problem = "The settings in " + m_file.string() + " can't be read: " + reason + ".";
}

bool IniPreferencesStore::reload() {
    const std::string contents = m_contents, problem = m_problem;
    read();
    return m_contents != contents || m_problem != problem;
}

std::optional<std::string> IniPreferencesStore::text(std::string_view key) const {
    const auto unwritten = m_unwritten.find(key);
    return unwritten == m_unwritten.end() ? m_ini.value(key) : unwritten->second;
}

std::vector<std::string> IniPreferencesStore::keys() const {
    return m_ini.keys();
}

// In the file as it is now. The lock is for another process of ours that does the same; where there is none to be had,
// as on some network disks, the moment between reading and writing is short.
void IniPreferencesStore::change(const Changes& changes) {
    makeFile(m_file);
    const FileLock lock(m_file);
    const Contents now = readFile(m_file);
    IniFile ini(now.text);
    for (const auto& [key, value] : changes)
        m_unwritten.insert_or_assign(key, value);
    for (const auto& [name, text] : m_unwritten) {
        apply(ini, name, text);
        apply(m_ini, name, text);
    }
    // What can't be read isn't replaced.
    const std::string text = ini.text();
    const bool isReadable = now.failure.empty() && text.size() <= maxFileBytes;
    if (isReadable && (text == now.text || replaceFile(m_file, text))) m_unwritten.clear();
    // Other lines that somebody else has changed count from the next `reload` on.
    m_contents = m_ini.text();
}

} // namespace nomara
