#include "platform/linux/desktop/PreferredLanguages.h"

#include <map>

#include <gtest/gtest.h>

namespace nomara {
namespace {

TEST(PreferredLanguages, AreThoseOfTheSession) {
    const struct {
        const char* name;
        std::map<std::string, std::string> environment;
        std::vector<std::string> codes;
    } rows[] = {
        {"nothing set", {}, {}},
        {"no language", {{"LANG", "C.UTF-8"}, {"LC_ALL", "POSIX"}, {"LANGUAGE", "C"}}, {}},
        {"the usual", {{"LANG", "tr_TR.UTF-8"}}, {"tr-TR"}},
        {"a list", {{"LANGUAGE", "en_GB:en:tr:"}, {"LANG", "tr_TR.UTF-8"}}, {"en-GB", "en", "tr", "tr-TR"}},
        {"English programs", {{"LC_MESSAGES", "en_US.UTF-8"}, {"LANG", "de_AT.UTF-8"}}, {"en-US", "de-AT"}},
        {"each once", {{"LC_ALL", "de_DE"}, {"LC_MESSAGES", "de_DE@euro"}, {"LANG", "de_DE.UTF-8"}}, {"de-DE"}},
        {"other letters", {{"LANG", "SR_rs@latin"}}, {"sr-RS"}},
        {"three letters", {{"LANG", "ast_ES.utf8"}}, {"ast-ES"}},
        {"a script", {{"LANG", "zh-Hant"}}, {"zh"}},
        {"noise", {{"LANGUAGE", "::_:.:@:x:english:42_DE: de"}, {"LANG", "/usr/share"}}, {}},
    };
    for (const auto& row : rows) {
        const auto environment = [&](const char* name) {
            const auto found = row.environment.find(name);
            return found == row.environment.end() ? std::string() : found->second;
        };
        EXPECT_EQ(PreferredLanguages::of(environment), row.codes) << row.name;
    }
}

} // namespace
} // namespace nomara
