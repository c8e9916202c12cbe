#include "platform/linux/x11/X11WindowLives.h"

namespace nomara {

std::uint64_t X11WindowLives::lifeOf(std::uint32_t window, std::int32_t pid, const std::string& processStart) {
    Life& life = m_lives[window];
    if (life.number == 0 || life.pid != pid || life.processStart != processStart) life = {++m_last, pid, processStart};
    return life.number;
}

bool X11WindowLives::isAlive(std::uint32_t window, std::uint64_t life) const {
    const auto found = m_lives.find(window);
    return found != m_lives.end() && found->second.number == life;
}

} // namespace nomara
