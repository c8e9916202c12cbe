#include "core/base/LoginName.h"

#include <cstdlib>
#include <vector>

#include <pwd.h>
#include <unistd.h>

namespace nomara {

const std::string& loginName() {
    static const std::string name = [] {
        std::vector<char> buffer(16'384); // an entry of a directory service may be long
        passwd entry{};
        passwd* found = nullptr;
        if (getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found) == 0 && found && found->pw_name)
            return std::string(found->pw_name);
        const char* const variable = std::getenv("LOGNAME");
        return std::string(variable ? variable : "");
    }();
    return name;
}

} // namespace nomara
