#pragma once

#include "platform/KnownApplications.h"

#include <map>

namespace nomara {

/// Applications by the names that the test gives them.
class FakeKnownApplications final : public KnownApplications {
public:
    void refresh() override {}
    std::vector<std::string> identifiers(std::string_view name) override {
        const auto found = byName.find(name);
        return found == byName.end() ? std::vector<std::string>() : found->second;
    }
    std::vector<KnownApplication> all() override { return applications; }

    std::map<std::string, std::vector<std::string>, std::less<>> byName;
    std::vector<KnownApplication> applications;
};

} // namespace nomara
