#pragma once

#include <string>
#include <vector>

namespace nomara {

/// A user's rule that names a project by words found in window titles. The order of rules is the user's.
struct ProjectRule {
    std::string id; ///< UUID, the rule's identity in lists
    std::string name;
    std::vector<std::string> keywords;
    friend bool operator==(const ProjectRule&, const ProjectRule&) = default;
};

} // namespace nomara
