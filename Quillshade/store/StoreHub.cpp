#include "Quillshade/store/StoreHub.h"

#include "Quillshade/store/DataEraser.h"
#include "Quillshade/store/FileLocks.h"
#include "Quillshade/store/FolderLock.h"
#include "core/base/Calendar.h"
#include "core/base/Log.h"
#include "core/base/Paths.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include <unistd.h>

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

constexpr double firstLogPause = 5, longestLogPause = 60;
constexpr int failuresUntilTold = 3;

std::string logReaders() {
    // Where SQLite's file format puts the locks of those who read.
    constexpr std::uint64_t firstReader = 123, lastReader = 127;
    std::vector<pid_t> processes =
        FileLocks::bytes(fs::path(NomaraPaths::databaseURL()) += "-shm", firstReader, lastReader);
    std::erase(processes, getpid());
    return processes.empty() ? "a program" : "another program (process " + std::to_string(processes.front()) + ")";
}

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

} // namespace

StoreHub::StoreHub(Executor mainThread, const Clock& clock, FolderLock* lock, const LogBounds& bounds)
    : m_mainThread(std::move(mainThread)), m_clock(clock), m_folderLock(lock), m_logBounds(bounds),
      m_writeQueue("com.brindlewick.nomara.store.write", QueueQuality::utility),
      m_readQueue("com.brindlewick.nomara.store.read", QueueQuality::userInitiated) {
    NomaraPaths::ensureDirectories();
    takeFolder();
    openStores();
}

StoreHub::~StoreHub() = default;

void StoreHub::eraseAll() {
    exclusively([this] {
        closeStores();
        std::exception_ptr failure;
        try {
            eraseDataFolder();
        } catch (const fs::filesystem_error&) {
            failure = std::current_exception(); // what is left is no reason to stand still
        }
        NomaraPaths::ensureDirectories();
        openStores();
        if (failure) std::rethrow_exception(failure);
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
                std::error_code error;
                const auto logBytes = fs::file_size(fs::path(NomaraPaths::databaseURL()) += "-wal", error);
                if (!m_writer->checkpoint() && !error && logBytes > 0)
                    Log::error(LogCategory::storage, "What the log of the memory before still held is lost");
                closeStores();
                NomaraPaths::ensureDirectories();
                takeFolder();
                m_file.removeLog();
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
        if (m_trouble.kind == Kind::removed || m_trouble.kind == Kind::replaced || m_trouble.kind == Kind::away)
            tell({});
        watchLog();
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

// Another program that stays in one reading, as a backup may, keeps the log from ever being begun anew. Nobody can end
// that reading but the program itself.
void StoreHub::watchLog() {
    using Kind = StoreTrouble::Kind;
    const std::int64_t bytes = m_file.logBytes();
    const double now = m_clock.uptime();
    if (bytes > m_logBounds.usual && now < m_nextLogTry) return;
    if (bytes <= m_logBounds.usual || m_writer->checkpoint(false)) {
        m_logFailures = 0;
        m_nextLogTry = 0;
        if (m_trouble.kind == Kind::logGrows || m_trouble.kind == Kind::logFull) tell({});
        return;
    }
    m_nextLogTry = now + std::min(firstLogPause * std::exp2(m_logFailures), longestLogPause);
    // One that ends soon, our own among them, isn't worth a word.
    if (++m_logFailures < failuresUntilTold || bytes <= m_logBounds.told || m_trouble.kind == Kind::refused) return;
    const bool isFull = bytes > m_logBounds.most;
    tell({isFull ? Kind::logFull : Kind::logGrows,
          "The log " + NomaraPaths::databaseURL().string() + "-wal has grown beyond " +
              std::to_string((isFull ? m_logBounds.most : m_logBounds.told) >> 20) + " MB, as " + logReaders() +
              " has been reading the memory all the time" +
              (isFull ? "; nothing is recorded until that ends." : "; it is emptied once that ends.")});
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

// Another program of ours may have begun there as soon as the folder was no longer the locked one.
void StoreHub::takeFolder() {
    const fs::path folder = NomaraPaths::dataDirectory();
    if (m_folderLock == nullptr || m_folderLock->take(folder)) return;
    const pid_t holder = FolderLock::holder(folder);
    throw std::runtime_error("another Quillshade" +
                             (holder == 0 ? std::string() : " (process " + std::to_string(holder) + ")") +
                             " keeps its memory there");
}

// With both queues held nothing else meets a closed connection.
void StoreHub::exclusively(const std::function<void()>& work) {
    m_writeQueue.sync([&] { m_readQueue.sync(work); });
}

void StoreHub::closeStores() {
    m_writer->close();
    m_reader->close();
}

void StoreHub::openStores() {
    // The writer makes the file and the schema that the reader needs; neither is of use without the other.
    auto writer = std::make_unique<MemoryStore>(NomaraPaths::databaseURL(), false, m_clock);
    auto reader = std::make_unique<MemoryStore>(NomaraPaths::databaseURL(), true, m_clock);
    m_writer = std::move(writer);
    m_reader = std::move(reader);
    m_file.remember(NomaraPaths::databaseURL());
}

} // namespace nomara
