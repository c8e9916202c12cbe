#pragma once

#include "Quillshade/capture/DisplayStates.h"
#include "Quillshade/capture/FrameIngest.h"
#include "Quillshade/capture/FrontWindowGuard.h"
#include "Quillshade/capture/LookLog.h"
#include "core/text/LineDeduper.h"

namespace nomara {

/// Stores what the front window tells about itself, without an image.
class TextPass {
public:
    struct Services {
        WindowInspector& inspector;
        FrontWindowGuard& guard;
        DisplayStates& displays;
        LookLog& log;
        FrameIngest& ingest;
        LineDeduper& lines;
    };

    explicit TextPass(const Services& services) : m_services(services) {}

    /// What only a picture could prove is left out: there is none.
    void run(const TickContext& tick);

    static void describeFrontWindow(NewFrame& frame, const TickContext& tick, const FrontPage& page);

private:
    const Services m_services;
};

} // namespace nomara
