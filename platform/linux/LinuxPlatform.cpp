#include "platform/linux/LinuxPlatform.h"

#include "core/applications/AppCatalog.h"
#include "platform/linux/atspi/AtspiAccessibility.h"
#include "platform/linux/desktop/ApplicationIdentifier.h"
#include "platform/linux/desktop/InstalledApplications.h"
#include "platform/linux/desktop/PreferredLanguages.h"
#include "platform/linux/files/DiskVolume.h"
#include "platform/linux/libav/LibavVideoCodec.h"
#include "platform/linux/process/OwnProcessUsage.h"
#include "platform/linux/settings/IniPreferencesStore.h"
#include "platform/linux/tesseract/TesseractRecognizer.h"
#include "platform/linux/x11/X11DisplayStream.h"
#include "platform/linux/x11/X11InputActivity.h"
#include "platform/linux/x11/X11RunningApplications.h"
#include "platform/linux/x11/X11WindowServer.h"

#include <atomic>
#include <utility>

namespace nomara {

struct LinuxPlatform::WithoutDisplay {
    IniPreferencesStore preferences;
    InstalledApplications applications;
};

/// What is the same in every session.
struct LinuxPlatform::Common {
    AtspiAccessibility accessibility;
    ApplicationIdentifier identifier;
    LibavVideoCodec codec;
    DiskVolume volume;
    OwnProcessUsage usage;
    TesseractRecognizer recognizer;

    IdentityResolver identify() {
        return [this](const WindowOwner& owner) { return identifier.identify(owner); };
    }
};

/// What differs with the kind of display that a session has.
struct LinuxPlatform::DisplayWorld {
    virtual ~DisplayWorld() = default;
    virtual WindowServer& windowServer() = 0;
    virtual InputActivity& input() = 0;
    virtual RunningApplications& applications() = 0;
    virtual DisplayStreams& streams() = 0;
};

struct LinuxPlatform::X11World final : DisplayWorld {
    X11World(const IdentityResolver& identify, const std::function<void()>& displayLost)
        : m_windowServer(displayLost),
          m_input(
              [identify](const WindowOwner& owner) { return AppCatalog::isPasswordPrompter(identify(owner).bundleID); },
              displayLost),
          m_applications(identify, displayLost), m_streams(identify) {}

    WindowServer& windowServer() override { return m_windowServer; }
    InputActivity& input() override { return m_input; }
    RunningApplications& applications() override { return m_applications; }
    DisplayStreams& streams() override { return m_streams; }

private:
    X11WindowServer m_windowServer;
    X11InputActivity m_input;
    X11RunningApplications m_applications;
    X11DisplayStreams m_streams;
};

LinuxPlatform::LinuxPlatform() = default;
LinuxPlatform::~LinuxPlatform() = default;

PreferencesStore& LinuxPlatform::preferences() {
    if (!m_withoutDisplay) m_withoutDisplay = std::make_unique<WithoutDisplay>();
    return m_withoutDisplay->preferences;
}

KnownApplications& LinuxPlatform::knownApplications() {
    if (!m_withoutDisplay) m_withoutDisplay = std::make_unique<WithoutDisplay>();
    return m_withoutDisplay->applications;
}

Platform LinuxPlatform::open(std::function<void()> displayLost) {
    // Each of the connections to the display tells that it was lost; once is enough.
    const auto once = [told = std::make_shared<std::atomic<bool>>(false), displayLost = std::move(displayLost)] {
        if (!told->exchange(true)) displayLost();
    };
    m_common = std::make_unique<Common>();
    m_world = std::make_unique<X11World>(m_common->identify(), once);
    return {m_common->accessibility, m_world->windowServer(),      m_world->input(),
            m_world->applications(), m_world->streams(),           m_common->codec,
            m_common->volume,        m_common->recognizer,         m_common->usage,
            m_common->identify(),    PreferredLanguages::current()};
}

} // namespace nomara
