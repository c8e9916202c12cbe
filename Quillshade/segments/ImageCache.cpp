#include "Quillshade/segments/ImageCache.h"

#include <iterator>

namespace nomara {

Image ImageCache::find(const std::string& key) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_byKey.find(key);
    if (found == m_byKey.end()) return nullptr;
    m_entries.splice(m_entries.begin(), m_entries, found->second);
    return found->second->image;
}

void ImageCache::insert(const std::string& key, const std::string& path, const Image& image) {
    const std::lock_guard lock(m_mutex);
    if (const auto found = m_byKey.find(key); found != m_byKey.end()) remove(found->second);
    const auto cost = static_cast<std::int64_t>(image->width) * image->height * 4;
    m_entries.push_front({key, path, image, cost});
    m_byKey[key] = m_entries.begin();
    m_keysByPath[path].insert(key);
    m_cost += cost;
    while (m_cost > m_costLimit)
        remove(std::prev(m_entries.end()));
}

void ImageCache::removePath(const std::string& path) {
    const std::lock_guard lock(m_mutex);
    const auto keys = m_keysByPath.find(path);
    if (keys == m_keysByPath.end()) return;
    for (const std::string& key : std::set<std::string>(keys->second))
        remove(m_byKey.at(key));
}

void ImageCache::clear() {
    const std::lock_guard lock(m_mutex);
    m_entries.clear();
    m_byKey.clear();
    m_keysByPath.clear();
    m_cost = 0;
}

void ImageCache::remove(Entries::iterator entry) {
    m_cost -= entry->cost;
    m_byKey.erase(entry->key);
    const auto keys = m_keysByPath.find(entry->path);
    keys->second.erase(entry->key);
    if (keys->second.empty()) m_keysByPath.erase(keys);
    m_entries.erase(entry);
}

} // namespace nomara
