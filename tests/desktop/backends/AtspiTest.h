#pragma once

#include "platform/linux/atspi/AtspiAccessibility.h"
#include "tests/desktop/backends/DesktopProgram.h"

#include <memory>
#include <string_view>

#include <gtest/gtest.h>

namespace nomara {

/// A busy test machine gets more time than the recorder gives; what is read is the same.
inline constexpr TextLimits patientLimits{.budgetSeconds = 3, .maxNodes = 5000, .maxCharacters = 200'000};

inline std::size_t timesIn(std::string_view text, std::string_view wanted) {
    std::size_t times = 0;
    for (auto at = text.find(wanted); at != std::string_view::npos; at = text.find(wanted, at + wanted.size()))
        ++times;
    return times;
}

/// Reads real programs on the virtual desktop.
class AtspiTest : public testing::Test {
protected:
    /// The program's window once it shows this text; null, with a failure, if it never does.
    std::optional<AccessibleWindow> windowShowing(const DesktopProgram& program, std::string_view text) {
        std::optional<AccessibleWindow> window;
        WindowText last;
        const bool shows = waitUntil([&] {
            window = accessibility.frontWindow(program.pid());
            if (!window || !window->frame) return false;
            last = accessibility.text(window->element, window->frame, patientLimits);
            return last.finished && last.text.find(text) != std::string::npos;
        });
        EXPECT_TRUE(shows) << "never showed: " << text << "\nlast read:\n" << last.text;
        if (!shows) window.reset();
        return window;
    }

    std::string textOf(const AccessibleWindow& window, Accessibility& by) {
        const WindowText text = by.text(window.element, window.frame, patientLimits);
        EXPECT_TRUE(text.finished);
        return text.text;
    }
    std::string textOf(const AccessibleWindow& window) { return textOf(window, accessibility); }

    /// Near its lower right corner, where pages and editors have nothing but themselves.
    static void clickInto(const AccessibleWindow& window) {
        const Rect& frame = *window.frame;
        runCommand({"xdotool", "mousemove", std::to_string(static_cast<int>(frame.x + frame.width - 80)),
                    std::to_string(static_cast<int>(frame.y + frame.height - 80)), "click", "1"});
    }

    void expectBothWaysAgree(const AccessibleWindow& window) {
        AtspiAccessibility less(AtspiAccessibility::Reading::automatic), walk(AtspiAccessibility::Reading::walk);
        // Some programs change a caption now and then, so one equal pair of looks decides.
        WindowText asked, walked;
        EXPECT_TRUE(waitUntil([&] {
            asked = less.text(window.element, window.frame, patientLimits);
            walked = walk.text(window.element, window.frame, patientLimits);
            return asked.finished && walked.finished && asked.text == walked.text && asked.visited == walked.visited;
        })) << "asked, "
            << asked.visited << ":\n"
            << asked.text << "\nwalked, " << walked.visited << ":\n"
            << walked.text;
        EXPECT_FALSE(asked.text.empty());
    }

    AtspiAccessibility accessibility;
};

} // namespace nomara
