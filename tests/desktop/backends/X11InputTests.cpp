#include "core/applications/AppCatalog.h"
#include "platform/linux/desktop/ApplicationIdentifier.h"
#include "platform/linux/x11/X11InputActivity.h"
#include "tests/desktop/backends/X11Test.h"

#include <gtest/gtest.h>

namespace nomara {

TEST_F(X11, MeasuresIdleTime) {
    X11InputActivity activity({});
    EXPECT_TRUE(waitUntil([&] { return activity.secondsSinceLastInput() > 0.4; }));
    EXPECT_TRUE(waitUntil([&] {
        outputOf({"xdotool", "mousemove_relative", "--", "3", "3", "mousemove_relative", "--", "-3", "-3"});
        return activity.secondsSinceLastInput() < 0.4;
    }));
    EXPECT_EQ(activity.secureInput(server.onScreenWindows()), SecureInput::unknown)
        << "no program has a way to say that it isn't";
}

namespace {

class X11PasswordPrompters : public X11 {
protected:
    bool becomes(SecureInput expected) {
        return waitUntil([&] { return activity.secureInput(server.onScreenWindows()) == expected; });
    }

    ApplicationIdentifier identifier;
    X11InputActivity activity{[this](const WindowOwner& owner) {
        return AppCatalog::isPasswordPrompter(identifier.identify(owner).bundleID);
    }};
};

} // namespace

TEST_F(X11PasswordPrompters, AreNoticedWhileTheyAreOnTheScreen) {
    using Command = std::vector<std::string>;
    const DesktopProgram beside(terminal("beside"));
    ASSERT_TRUE(appears("beside"));
    EXPECT_TRUE(becomes(SecureInput::unknown));
    for (const Command& command : {Command{"/usr/libexec/ssh-askpass/x11-ssh-askpass", "Passphrase?"},
                                   Command{"/usr/lib/openssh/gnome-ssh-askpass", "Passphrase?"},
                                   Command{"pinentry-gtk-2"}, Command{"pinentry-qt"}, Command{"pinentry-fltk"}}) {
        {
            const DesktopProgram prompter(command, {}, DesktopProgram::Streams::piped);
            if (command[0].starts_with("pinentry")) {
                EXPECT_TRUE(prompter.readLine().starts_with("OK")) << command[0];
                EXPECT_EQ(activity.secureInput(server.onScreenWindows()), SecureInput::unknown)
                    << command[0] << " has no window yet";
                prompter.writeLine("GETPIN");
            }
            EXPECT_TRUE(becomes(SecureInput::certain)) << command[0];
            // The window manager gives the keyboard to whom the user clicks on; it is on the screen all the same.
            outputOf({"wmctrl", "-a", "beside"});
            EXPECT_EQ(activity.secureInput(server.onScreenWindows()), SecureInput::certain) << command[0];
        }
        EXPECT_TRUE(becomes(SecureInput::unknown)) << command[0] << " has gone";
    }
}

TEST_F(X11PasswordPrompters, AreGuessedWhereAWindowTakesTheKeyboardPastTheWindowManager) {
    EXPECT_TRUE(becomes(SecureInput::unknown)) << "an empty desktop";
    const RawWindow locker({0, 0, 800, 600}, true), menu({50, 50, 100, 100}, true), plain({300, 300, 200, 150});
    plain.show();
    ASSERT_TRUE(waitUntil([&] { return find(server.onScreenWindows(), plain.number()).has_value(); }));
    menu.show();
    EXPECT_TRUE(waitUntil([&] { return find(server.onScreenWindows(), menu.number()).has_value(); }));
    EXPECT_EQ(activity.secureInput(server.onScreenWindows()), SecureInput::unknown)
        << "a menu leaves the keyboard alone";
    locker.show();
    ASSERT_TRUE(waitUntil([&] { return find(server.onScreenWindows(), locker.number()).has_value(); }));
    locker.takeFocus();
    EXPECT_TRUE(becomes(SecureInput::certain));
    outputOf({"xdotool", "windowactivate", "--sync", std::to_string(plain.number())});
    EXPECT_TRUE(becomes(SecureInput::unknown)) << "an ordinary window has it again";
}

TEST(X11PasswordPrompter, IsKnownByItsClassWhereItsProcessIsNot) {
    const OwnServer unaware({"-extension", "X-Resource"});
    const auto isPrompter = [](const WindowOwner& owner) { return owner.pid == 0 && owner.className == "Asks"; };
    X11WindowServer server({}, unaware.display());
    X11InputActivity activity(isPrompter, {}, unaware.display());
    const Connection client(xcb_connect(unaware.display().c_str(), nullptr));
    const RawWindow window({10, 10, 100, 100}, false, client.get());
    EXPECT_EQ(activity.secureInput(server.onScreenWindows()), SecureInput::unknown);
    window.setClass("asks", "Asks");
    window.show();
    EXPECT_TRUE(waitUntil([&] { return activity.secureInput(server.onScreenWindows()) == SecureInput::certain; }));
}

} // namespace nomara
