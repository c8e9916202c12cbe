#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace nomara {

struct KnownApplication {
    std::string id;
    std::string name; ///< as a person would call it
    bool isInstalled = false;
    friend bool operator==(const KnownApplication&, const KnownApplication&) = default;
};

/// The applications that a person can name: those of the tables, and those that were installed at the last `refresh`.
/// Main thread.
class KnownApplications {
public:
    virtual ~KnownApplications() = default;

    virtual void refresh() = 0;
    /// The identifiers by which the windows of the application with this name are recognised. The name may be one of
    /// them, or whatever else the application goes by, in any case. Empty where none does.
    virtual std::vector<std::string> identifiers(std::string_view name) = 0;
    /// Each identifier once, sorted.
    virtual std::vector<KnownApplication> all() = 0;
};

} // namespace nomara
