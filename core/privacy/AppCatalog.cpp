#include "core/privacy/AppCatalog.h"

namespace nomara::AppCatalog {

const std::vector<std::string>& defaultExcludedApps() {
    static const std::vector<std::string> identifiers{
        "com.1password.1password",         "com.agilebits.onepassword7", "com.agilebits.onepassword-osx",
        "com.bitwarden.desktop",           "com.apple.keychainaccess",   "com.apple.Passwords",
        "com.lastpass.LastPass",           "org.keepassxc.keepassxc",    "me.proton.pass.electron",
        "com.dashlane.dashlanephonefinal", "in.sinew.Enpass-Desktop",
    };
    return identifiers;
}

} // namespace nomara::AppCatalog
