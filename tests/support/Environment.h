#pragma once

#include <cstdlib>
#include <ctime>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace nomara::testing {

/// Sets variables of the environment for one test, and puts them back.
class Environment {
public:
    explicit Environment(std::initializer_list<std::pair<const char*, const char*>> values) {
        for (const auto& [name, value] : values) {
            const char* before = std::getenv(name);
            m_before.emplace_back(name, before == nullptr ? std::optional<std::string>() : before);
            value == nullptr ? unsetenv(name) : setenv(name, value, 1);
        }
        tzset();
    }
    ~Environment() {
        for (const auto& [name, value] : m_before)
            value ? setenv(name, value->c_str(), 1) : unsetenv(name);
        tzset();
    }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

private:
    std::vector<std::pair<const char*, std::optional<std::string>>> m_before;
};

} // namespace nomara::testing
