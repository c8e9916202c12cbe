#include "Quillshade/store/StoreHub.h"

#include "core/base/Calendar.h"
#include "core/base/Log.h"
#include "core/base/Paths.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

namespace nomara {

namespace fs = std::filesystem;

namespace {

std::string stamp(Date date) {
    const CalendarDate c = Calendar::components(date);
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%04d%02d%02d-%02d%02d%02d", c.year, c.month, c.day, c.hour, c.minute,
                  c.second);
    return text.data();
}

// rename() would replace what is there, but a database once set aside is never lost.
void moveWithoutReplacing(const fs::path& from, const fs::path& to) {
    if (fs::exists(fs::symlink_status(to)))
        throw fs::filesystem_error("The file can't be set aside", from, to,
                                   std::make_error_code(std::errc::file_exists));
    fs::rename(from, to);
}

void setAside(Date now) {
    const fs::path folder = NomaraPaths::dataDirectory();
    const std::string damaged = "nomara-damaged-" + stamp(now) + ".sqlite";
    for (const char* suffix : {"", "-wal", "-shm"}) {
        const fs::path file = NomaraPaths::databaseURL() += suffix;
        if (fs::exists(file)) moveWithoutReplacing(file, folder / (damaged + suffix));
    }
}

// Where the folder is a link to another disk, what must go is there; the user's link stays.
void removeDataDirectory() {
    fs::path folder = NomaraPaths::dataDirectory();
    if (!folder.has_filename()) folder = folder.parent_path();
    if (fs::is_symlink(folder) && fs::is_directory(folder))
        for (const fs::directory_entry& entry : fs::directory_iterator(folder))
            fs::remove_all(entry.path());
    else
        fs::remove_all(folder);
}

} // namespace

StoreHub::StoreHub(Executor mainThread, const Clock& clock)
    : m_mainThread(std::move(mainThread)), m_clock(clock),
      m_writeQueue("com.brindlewick.nomara.store.write", QueueQuality::utility),
      m_readQueue("com.brindlewick.nomara.store.read", QueueQuality::userInitiated) {
    NomaraPaths::ensureDirectories();
    openStores();
}

StoreHub::~StoreHub() = default;

void StoreHub::eraseAll() {
    exclusively([this] {
        closeStores();
        removeDataDirectory();
        NomaraPaths::ensureDirectories();
        openStores();
    });
}

void StoreHub::resetDamaged(Date now) {
    exclusively([this, now] {
        closeStores();
        setAside(now);
        NomaraPaths::ensureDirectories();
        openStores();
        const std::lock_guard lock(m_damageLock);
        m_damageReported = false;
    });
}

void StoreHub::report(const std::exception& error) {
    const auto* failure = dynamic_cast<const SQLiteError*>(&error);
    if (failure == nullptr || !failure->isDamage()) return;
    {
        const std::lock_guard lock(m_damageLock);
        if (std::exchange(m_damageReported, true)) return;
    }
    Log::error(LogCategory::storage, std::string("Database is damaged: ") + failure->what());
    m_mainThread([handler = std::weak_ptr(m_onDamage)] {
        const auto alive = handler.lock();
        if (!alive || !*alive) return;
        const auto onDamage = *alive; // the handler may well replace itself, or end the hub
        onDamage();
    });
}

void StoreHub::setOnDamage(std::function<void()> onDamage) {
    *m_onDamage = std::move(onDamage);
}

// With both queues held nothing else meets a closed connection.
void StoreHub::exclusively(const std::function<void()>& work) {
    m_writeQueue.sync([&] { m_readQueue.sync(work); });
}

void StoreHub::closeStores() {
    m_writer->close();
    m_reader->close();
}

// The writer first: it creates the file and the schema that the reader needs.
void StoreHub::openStores() {
    // The writer makes the file and the schema that the reader needs; neither is of use without the other.
    auto writer = std::make_unique<MemoryStore>(NomaraPaths::databaseURL(), false, m_clock);
    auto reader = std::make_unique<MemoryStore>(NomaraPaths::databaseURL(), true, m_clock);
    m_writer = std::move(writer);
    m_reader = std::move(reader);
}

} // namespace nomara
