#pragma once

#include "platform/Accessibility.h"
#include "platform/ApplicationIdentity.h"
#include "platform/DisplayStream.h"
#include "platform/InputActivity.h"
#include "platform/KnownApplications.h"
#include "platform/PreferencesStore.h"
#include "platform/ProcessUsage.h"
#include "platform/RunningApplications.h"
#include "platform/TextRecognizer.h"
#include "platform/VideoCodec.h"
#include "platform/Volume.h"
#include "platform/WindowServer.h"

#include <functional>
#include <string>
#include <vector>

namespace nomara {

/// What the application asks of the machine while it records; all of it outlives the application.
struct Platform {
    Accessibility& accessibility;
    WindowServer& windowServer;
    InputActivity& input;
    RunningApplications& applications;
    DisplayStreams& streams;
    VideoCodec& codec;
    Volume& volume;
    TextRecognizer& recognizer;
    ProcessUsage& usage;
    IdentityResolver identify;                   ///< which application a window belongs to
    std::vector<std::string> preferredLanguages; ///< codes such as "tr-TR", the dearest first
};

/// Where the platform comes from. Main thread.
class PlatformProvider {
public:
    virtual ~PlatformProvider() = default;

    // These need no display.
    virtual PreferencesStore& preferences() = 0;
    virtual KnownApplications& knownApplications() = 0;

    /// Chooses what answers in this session and opens it; once. `displayLost` is called when the display has gone, at
    /// most once and on any thread. Throws a PlatformError that tells what is missing.
    virtual Platform open(std::function<void()> displayLost) = 0;
};

} // namespace nomara
