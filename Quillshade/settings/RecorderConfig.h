#pragma once

#include "core/applications/AppCatalog.h"
#include "core/policy/PolicyEngine.h"
#include "core/projects/ProjectRule.h"

#include <set>
#include <string>
#include <vector>

namespace nomara {

/// How wide a saved image is; stored by its name.
enum class ImageQuality { compact, balanced, sharp };

std::string_view name(ImageQuality quality);
std::optional<ImageQuality> imageQualityNamed(std::string_view name);

/// What the recorder needs to know of the settings.
struct RecorderConfig {
    CaptureMode mode = CaptureMode::balanced;
    bool allDisplays = false;
    bool textOnly = false;
    bool ocrOnBattery = false;
    std::set<std::string> excludedApps{AppCatalog::defaultExcludedApps().begin(),
                                       AppCatalog::defaultExcludedApps().end()};
    std::vector<std::string> excludedSites;
    bool skipPrivateWindows = true;
    std::vector<ProjectRule> projectRules;
    ImageQuality imageQuality = ImageQuality::balanced;
    friend bool operator==(const RecorderConfig&, const RecorderConfig&) = default;
};

} // namespace nomara
