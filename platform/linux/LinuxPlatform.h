#pragma once

#include "platform/Platform.h"

#include <memory>

namespace nomara {

/// The one place that chooses backends, by the session that the program was started in.
class LinuxPlatform final : public PlatformProvider {
public:
    LinuxPlatform();
    ~LinuxPlatform() override;
    LinuxPlatform(const LinuxPlatform&) = delete;
    LinuxPlatform& operator=(const LinuxPlatform&) = delete;

    PreferencesStore& preferences() override;
    KnownApplications& knownApplications() override;
    Platform open(std::function<void()> displayLost) override;

private:
    struct WithoutDisplay;
    struct Common;
    struct DisplayWorld;
    struct X11World;

    std::unique_ptr<WithoutDisplay> m_withoutDisplay;
    std::unique_ptr<Common> m_common;
    std::unique_ptr<DisplayWorld> m_world;
};

} // namespace nomara
