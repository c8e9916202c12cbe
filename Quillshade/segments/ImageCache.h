#pragma once

#include "core/imaging/Image.h"

#include <cstdint>
#include <list>
#include <mutex>
#include <set>
#include <string>
#include <unordered_map>

namespace nomara {

/// Finished pictures of segments, within a bound of bytes: those not asked for longest go first. Callable from any
/// thread.
class ImageCache {
public:
    explicit ImageCache(std::int64_t costLimit) : m_costLimit(costLimit) {}

    /// Absent where it isn't there.
    Image find(const std::string& key);
    /// Keeps a picture of the segment at `path`, in the place of an earlier one.
    void insert(const std::string& key, const std::string& path, const Image& image);
    void removePath(const std::string& path);
    void clear();

private:
    struct Entry {
        std::string key;
        std::string path;
        Image image;
        std::int64_t cost = 0; ///< bytes of its pixels
    };
    using Entries = std::list<Entry>;

    void remove(Entries::iterator entry);

    const std::int64_t m_costLimit;
    std::mutex m_mutex; // guards the four fields below it
    Entries m_entries;  // the last used first
    std::unordered_map<std::string, Entries::iterator> m_byKey;
    std::unordered_map<std::string, std::set<std::string>> m_keysByPath;
    std::int64_t m_cost = 0;
};

} // namespace nomara
