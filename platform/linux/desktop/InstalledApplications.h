#pragma once

#include "platform/KnownApplications.h"
#include "platform/linux/desktop/DesktopEntries.h"

#include <memory>

namespace nomara {

/// The applications of the tables and of the desktop entries, under the identifiers that `ApplicationIdentifier` gives
/// their windows.
class InstalledApplications final : public KnownApplications {
public:
    explicit InstalledApplications(DesktopFolders folders = DesktopFolders::standard());

    void refresh() override { m_installed = m_entries.current(); }
    std::vector<std::string> identifiers(std::string_view name) override;
    std::vector<KnownApplication> all() override;

private:
    DesktopEntries m_entries;
    std::shared_ptr<const InstalledPrograms> m_installed;
};

} // namespace nomara
