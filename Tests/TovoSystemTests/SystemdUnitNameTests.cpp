#include "TovoSystem/Linux/SystemdUnitName.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

struct UnitCase {
    std::string unit;
    std::optional<std::string> launcher;
    std::optional<std::string> applicationID; ///< absent: not an application unit
    friend void PrintTo(const UnitCase& c, std::ostream* os) { *os << c.unit; }
};

class AppUnitName : public ::testing::TestWithParam<UnitCase> {};

TEST_P(AppUnitName, ParsesLauncherAndUnescapedId) {
    const auto& c = GetParam();
    const auto unit = SystemdUnitName::parseAppUnit(c.unit);
    if (!c.applicationID) {
        EXPECT_EQ(unit, std::nullopt);
        return;
    }
    EXPECT_EQ(unit, (SystemdAppUnit{c.unit, c.launcher, *c.applicationID}));
}

INSTANTIATE_TEST_SUITE_P(
    Names, AppUnitName,
    ::testing::Values(
        UnitCase{"app-gnome-org.gnome.Evince-12345.scope", "gnome", "org.gnome.Evince"},
        UnitCase{"app-org.kde.dolphin-a1B2c3.scope", std::nullopt, "org.kde.dolphin"},
        UnitCase{"app-gnome-firefox\\x2desr-999.scope", "gnome", "firefox-esr"},
        UnitCase{"app-flatpak-org.example.App-1.scope", "flatpak", "org.example.App"},
        UnitCase{"app-org.gnome.Evince@3f2a.service", std::nullopt, "org.gnome.Evince"},
        UnitCase{"app-dbus-org.example.Mail.service", "dbus", "org.example.Mail"},
        UnitCase{"app-org.gnome.Terminal.slice", std::nullopt, std::nullopt},
        // a scope needs its random part; dots are no random part
        UnitCase{"app-gnome-org.x.Y.scope", std::nullopt, std::nullopt},
        UnitCase{"app-gnome-org.x.Y-.scope", std::nullopt, std::nullopt},
        UnitCase{"app-gnome-bad\\xZZ-1.scope", std::nullopt, std::nullopt},
        UnitCase{"app-gnome-cut\\x2-1.scope", std::nullopt, std::nullopt},
        UnitCase{"app-gnome-a\\x2fb-1.scope", std::nullopt, std::nullopt},
        UnitCase{"app--x-1.scope", std::nullopt, std::nullopt},
        UnitCase{"app-.service", std::nullopt, std::nullopt},
        UnitCase{"vte-spawn-0a1b.scope", std::nullopt, std::nullopt},
        UnitCase{"session-2.scope", std::nullopt, std::nullopt}));

struct CgroupCase {
    std::string name;
    std::string text;
    std::optional<std::string> unitPath;
    std::optional<std::string> applicationID;
    friend void PrintTo(const CgroupCase& c, std::ostream* os) { *os << c.name; }
};

class CgroupUnit : public ::testing::TestWithParam<CgroupCase> {};

TEST_P(CgroupUnit, FindsTheInnermostAppUnit) {
    const auto unit = SystemdUnitName::appUnitOfCgroup(GetParam().text);
    ASSERT_EQ(unit.has_value(), GetParam().applicationID.has_value());
    if (unit) {
        EXPECT_EQ(unit->unitPath, GetParam().unitPath);
        EXPECT_EQ(unit->applicationID, GetParam().applicationID);
    }
}

const std::string appSlice = "/user.slice/user-1000.slice/user@1000.service/app.slice/";

INSTANTIATE_TEST_SUITE_P(
    Files, CgroupUnit,
    ::testing::Values(
        CgroupCase{"unified", "0::" + appSlice + "app-gnome-org.gnome.Evince-4242.scope\n",
                   appSlice + "app-gnome-org.gnome.Evince-4242.scope", "org.gnome.Evince"},
        CgroupCase{"hybridNamedHierarchy",
                   "12:name=systemd:" + appSlice +
                       "app-org.example.Mail@1.service\n4:memory:/\n0::/\n",
                   appSlice + "app-org.example.Mail@1.service", "org.example.Mail"},
        CgroupCase{"subgroupOfAService",
                   "0::" + appSlice + "app-org.example.Mail@1.service/worker\n",
                   appSlice + "app-org.example.Mail@1.service", "org.example.Mail"},
        CgroupCase{"shellInATerminal",
                   "0::" + appSlice + "app-org.gnome.Terminal.slice/vte-spawn-0a1b.scope\n",
                   std::nullopt, std::nullopt},
        CgroupCase{"otherControllerOnly", "4:memory:" + appSlice + "app-gnome-x.Y-1.scope\n",
                   std::nullopt, std::nullopt},
        CgroupCase{"malformed", "garbage\n::\n0:\n\n", std::nullopt, std::nullopt},
        CgroupCase{"empty", "", std::nullopt, std::nullopt}));

} // namespace
} // namespace tovo
