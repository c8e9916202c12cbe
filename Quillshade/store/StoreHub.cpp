#include "Quillshade/store/StoreHub.h"

#include "core/base/Calendar.h"
#include "core/base/Log.h"
#include "core/base/Paths.h"

#include <algorithm>
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

constexpr std::int32_t cannotOpen = 14; // SQLite's code

// SQLite's primary result codes for a file that can't be written to.
bool isRefusal(std::int32_t primaryCode) {
    constexpr std::array<std::int32_t, 4> codes{8 /* read-only */, 10 /* input or output failed */, 13 /* full */,
                                                cannotOpen};
    return std::find(codes.begin(), codes.end(), primaryCode) != codes.end();
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

QFuture<void> StoreHub::reopen() {
    const auto promise = std::make_shared<QPromise<void>>();
    promise->start();
    m_writeQueue.async([this, promise] {
        try {
            m_readQueue.sync([this] {
                // One that was moved away gets what its log still holds; it stays whole.
                m_writer->checkpoint();
                closeStores();
                m_file.removeLog();
                NomaraPaths::ensureDirectories();
                openStores();
            });
            tell({});
        } catch (const std::exception& error) {
            tell({StoreTrouble::Kind::refused, "No new memory can be begun in " +
                                                   NomaraPaths::dataDirectory().string() + ": " + error.what() + "."});
            promise->setException(std::current_exception());
        }
        promise->finish();
    });
    return promise->future();
}

void StoreHub::check() {
    m_writeQueue.async([this] {
        const bool wasRefused = m_trouble.kind == StoreTrouble::Kind::refused;
        const auto probe = [](MemoryStore& store) {
            store.transaction([&store] {
                store.setMeta("write_probe", "1");
                store.setMeta("write_probe", std::nullopt);
            });
        };
        try {
            checkPlace();
            if (!wasRefused) return;
            runWriting(probe);
            tell({});
        } catch (const std::exception&) {
            // Whoever listens has been told.
        }
    });
}

// What is stored in a file that lies nowhere is lost, and nobody would notice.
void StoreHub::checkPlace() {
    using Kind = StoreTrouble::Kind;
    const std::string file = NomaraPaths::databaseURL().string();
    StoreTrouble trouble;
    switch (m_file.look()) {
    case DatabaseFile::State::inPlace:
        if (m_trouble.kind != Kind::refused) tell({});
        return;
    case DatabaseFile::State::removed:
        trouble = {Kind::removed, "The memory " + file + " was removed or moved away."};
        break;
    case DatabaseFile::State::replaced:
        trouble = {Kind::replaced, "Another file was put in the place of the memory " + file + "."};
        break;
    case DatabaseFile::State::away:
        trouble = {Kind::away, "The memory " + file + " can't be reached: " + m_file.reason() + "."};
        break;
    }
    tell(trouble);
    throw SQLiteError(cannotOpen, trouble.sentence);
}

void StoreHub::reportRefusal(const std::exception& error) {
    const auto* failure = dynamic_cast<const SQLiteError*>(&error);
    if (failure == nullptr || !isRefusal(failure->primaryCode())) return;
    tell({StoreTrouble::Kind::refused,
          "The memory " + NomaraPaths::databaseURL().string() + " can't be written to: " + failure->message() + "."});
}

void StoreHub::tell(const StoreTrouble& trouble) {
    if (std::exchange(m_trouble, trouble) == trouble) return;
    m_mainThread([handler = std::weak_ptr(m_onTrouble), trouble] {
        const auto alive = handler.lock();
        if (!alive || !*alive) return;
        const auto onTrouble = *alive; // the handler may well replace itself, or end the hub
        onTrouble(trouble);
    });
}

void StoreHub::setOnTrouble(std::function<void(const StoreTrouble&)> onTrouble) {
    *m_onTrouble = std::move(onTrouble);
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
    m_file.remember(NomaraPaths::databaseURL());
}

} // namespace nomara
