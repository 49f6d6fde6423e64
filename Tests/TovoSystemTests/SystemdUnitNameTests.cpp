#include "TovoSystem/Linux/SystemdUnitName.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using Unit = std::optional<SystemdAppUnit>;

TEST(SystemdUnitName, ParsesLauncherAndUnescapedId) {
    const auto parse = &SystemdUnitName::parseAppUnit;
    const std::string evince = "app-gnome-org.gnome.Evince-12345.scope";
    EXPECT_EQ(parse(evince), (Unit{{evince, "gnome", "org.gnome.Evince"}}));
    EXPECT_EQ(parse("app-org.kde.dolphin-a1B2c3.scope"),
              (Unit{{"app-org.kde.dolphin-a1B2c3.scope", std::nullopt, "org.kde.dolphin"}}));
    EXPECT_EQ(parse("app-gnome-firefox\\x2desr-999.scope")->applicationID, "firefox-esr");
    EXPECT_EQ(parse("app-org.gnome.Evince@3f2a.service")->applicationID, "org.gnome.Evince");
    EXPECT_EQ(parse("app-dbus-org.example.Mail.service")->launcher, "dbus");
    // Not application units: a slice, a scope without its random part, bad escapes, no id.
    for (const auto* unit :
         {"app-org.gnome.Terminal.slice", "app-gnome-org.x.Y.scope", "app-gnome-org.x.Y-.scope",
          "app-gnome-bad\\xZZ-1.scope", "app-gnome-cut\\x2-1.scope", "app-gnome-a\\x2fb-1.scope",
          "app--x-1.scope", "app-.service", "session-2.scope"}) {
        EXPECT_EQ(parse(unit), std::nullopt) << unit;
    }
}

TEST(SystemdUnitName, FindsTheInnermostAppUnitOfACgroupFile) {
    const std::string slice = "/user.slice/user-1000.slice/user@1000.service/app.slice/";
    const auto mail = slice + "app-org.example.Mail@1.service";
    const auto unitOf = [](const std::string& text) {
        const auto unit = SystemdUnitName::appUnitOfCgroup(text);
        return unit ? std::optional(unit->unitPath) : std::nullopt;
    };
    EXPECT_EQ(unitOf("0::" + slice + "app-gnome-x.Y-42.scope\n"), slice + "app-gnome-x.Y-42.scope");
    EXPECT_EQ(unitOf("12:name=systemd:" + mail + "\n4:memory:/\n0::/\n"), mail);
    EXPECT_EQ(unitOf("0::" + mail + "/worker\n"), mail);
    EXPECT_EQ(unitOf("0::" + slice + "app-org.gnome.Terminal.slice/vte-spawn-0a1b.scope\n"),
              std::nullopt);
    EXPECT_EQ(unitOf("4:memory:" + slice + "app-gnome-x.Y-1.scope\n"), std::nullopt);
    EXPECT_EQ(unitOf("garbage\n::\n0:\n\n"), std::nullopt);
}

} // namespace
} // namespace tovo
