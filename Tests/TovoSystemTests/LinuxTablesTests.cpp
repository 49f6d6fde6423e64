#include "TovoSystem/Linux/BlockDeviceUsage.hpp"
#include "TovoSystem/Linux/DesktopEntry.hpp"
#include "TovoSystem/Linux/MountInfo.hpp"
#include "TovoSystem/Linux/ProcOpenFileScanner.hpp"
#include "TovoSystem/Linux/SystemdUnitName.hpp"
#include "TovoSystem/Services/NameCollator.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gtest/gtest.h>

#include <sys/sysmacros.h>

// The kernel's, systemd's and the desktop's own tables, read from text and folders.
namespace tovo {
namespace {

using testing::writeText;

// Only a backslash and three octal digits of a byte's value are an escape.
TEST(MountInfoTest, UndoesKernelEscapesOnlyAndReadsEveryField) {
    EXPECT_EQ(MountInfo::decode("/m/My\\040a\\011b\\012c\\303\\251"), "/m/My a\tb\nc\xc3\xa9");
    EXPECT_EQ(MountInfo::decode("/m/\\134040"), "/m/\\040");
    for (const auto* kept : {"/m/a\\b", "/m/x\\04", "/m/\\089", "/m/\\777"}) {
        EXPECT_EQ(MountInfo::decode(kept), kept);
    }
    // Every field is read around the optional ones; malformed lines are skipped.
    const auto entries = MountInfo::parse(
        "36 35 98:0 /mnt1 /mnt\\0402 rw,noatime master:1 shared:7 - ext3 /dev/root "
        "rw,errors=remount-ro\n"
        "37 35 8:17 / /media/u/USB ro,nosuid - vfat /dev/sdb1 rw,fmask=0022\n"
        "\ngarbage\nx 1 8:1 / /a rw - ext4 /dev/a rw\n1 1 8 / /b rw - ext4 /dev/b rw\n"
        "1 1 8:1 / /c rw shared:1\n1 1 8:1 / /d rw - ext4\n"
        "38 35 8:18 / /media/u/B rw - vfat /dev/sdb2 ro");
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0], (MountEntry{36, 35, 98, 0, "/mnt1", "/mnt 2", "rw,noatime", "ext3",
                                      "/dev/root", "rw,errors=remount-ro"}));
    // Read-only from either option list.
    EXPECT_EQ(std::tuple(entries[0].isReadOnly(), entries[1].isReadOnly(), entries[2].isReadOnly()),
              std::tuple(false, true, true));
}

// Ordinary, anonymous and pseudo mappings are the real lsof suite's.
TEST(ProcOpenFileScanner, ReadsFileMapsWithHexDevicesAndEscapedLineFeeds) {
    const auto maps = "7f0000000000-7f0000001000 rw-s 00000000 08:11 12                         "
                      "/media/user/DISK/a b\\012c (deleted)\ngarbage\n";
    const std::vector<ProcOpenFileScanner::Mapping> mapped{
        {8, 17, "/media/user/DISK/a b\nc (deleted)"}};
    EXPECT_EQ(ProcOpenFileScanner::parseMaps(maps), mapped);
}

TEST(SystemdUnitName, ParsesLauncherAndUnescapedIdAndFindsTheUnitOfACgroupFile) {
    using Unit = std::optional<SystemdAppUnit>;
    const auto parse = &SystemdUnitName::parseAppUnit;
    const std::string evince = "app-gnome-org.gnome.Evince-12345.scope";
    EXPECT_EQ(parse(evince), (Unit{{evince, "gnome", "org.gnome.Evince"}}));
    EXPECT_EQ(parse("app-org.kde.dolphin-a1B2c3.scope"),
              (Unit{{"app-org.kde.dolphin-a1B2c3.scope", std::nullopt, "org.kde.dolphin"}}));
    EXPECT_EQ(parse("app-gnome-firefox\\x2desr-999.scope")->applicationID, "firefox-esr");
    EXPECT_EQ(parse("app-org.gnome.Evince@3f2a.service")->applicationID, "org.gnome.Evince");
    // Not application units: a slice, a scope without its random part, bad escapes, no id.
    for (const auto* unit :
         {"app-org.gnome.Terminal.slice", "app-gnome-org.x.Y.scope", "app-gnome-org.x.Y-.scope",
          "app-gnome-bad\\xZZ-1.scope", "app-gnome-cut\\x2-1.scope", "app-gnome-a\\x2fb-1.scope",
          "app--x-1.scope", "app-.service", "session-2.scope"}) {
        EXPECT_EQ(parse(unit), std::nullopt) << unit;
    }

    // The innermost application unit of a cgroup file.
    const std::string slice = "/user.slice/user-1000.slice/user@1000.service/app.slice/";
    const auto mail = slice + "app-org.example.Mail@1.service";
    const auto unitOf = [](const std::string& text) {
        const auto unit = SystemdUnitName::appUnitOfCgroup(text);
        return unit ? std::optional(unit->unitPath) : std::nullopt;
    };
    EXPECT_EQ(unitOf("0::" + slice + "app-gnome-x.Y-42.scope\n"), slice + "app-gnome-x.Y-42.scope");
    EXPECT_EQ(unitOf("12:name=systemd:" + mail + "\n4:memory:/\n0::/\n"), mail);
    EXPECT_EQ(unitOf("0::" + slice + "app-org.gnome.Terminal.slice/vte-spawn-0a1b.scope\n"),
              std::nullopt);
    EXPECT_EQ(unitOf("4:memory:" + slice + "app-gnome-x.Y-1.scope\n"), std::nullopt);
    EXPECT_EQ(unitOf("garbage\n::\n0:\n\n"), std::nullopt);
}

// Mounts left in another namespace are the unmounter suite's, with a real sandbox.
TEST(BlockDeviceUsageTest, FindsAMountHereByItsWholeDeviceNumber) {
    testing::TemporaryFolder proc;
    const auto usage = [&](const std::string& mounts) {
        writeText(proc.path() / "self/mountinfo", "20 1 8:2 / / rw - ext4 /dev/sda2 rw\n" + mounts);
        return BlockDeviceUsage(proc.path())
            .mount({{"sdz", makedev(8, 16)}, {"sdz1", makedev(8, 17)}});
    };
    EXPECT_EQ(usage("32 20 9:17 / /srv rw - ext4 /dev/md17 rw\n"), std::nullopt);
    EXPECT_EQ(usage("31 20 8:17 / /media/u/Z\\040Z rw - ext4 /dev/sdz1 rw\n"),
              (BlockDeviceUse{"sdz1", "/media/u/Z Z", false, std::nullopt, std::nullopt}));
}

TEST(DesktopEntryParse, ReadsOnlyItsGroupWithEscapesAndFirstKeyWinning) {
    const auto entry = DesktopEntry::parse(R"([Desktop Action new-window]
Name[de]=Neues Fenster
# a comment
[Desktop Entry]
Name = Text Editor
Name[de]=Texteditor
Name[de_AT]=Texteditor (AT)
Comment=Edit\sfiles\\n\tquickly\q
NoDisplay=true
Name=Duplicate
broken line without equals
[Desktop Action quit]
Name[fr]=Quitter
)");
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->localizedValue("Name", "de_AT.UTF-8"), "Texteditor (AT)");
    EXPECT_EQ(entry->localizedValue("Name", "de_CH.UTF-8@euro"), "Texteditor");
    EXPECT_EQ(entry->localizedValue("Name", "fr_FR"), "Text Editor"); // no leak from other groups
    EXPECT_EQ(entry->value("Comment"), "Edit files\\n\tquickly\\q");
    EXPECT_TRUE(entry->boolean("NoDisplay"));
    EXPECT_EQ(entry->value("broken line without equals"), std::nullopt);
    EXPECT_EQ(DesktopEntry::parse("Name=Loose\n[Other]\nName=X\n"), std::nullopt);
}

// Two data folders; ids map onto files directly or through sub-folders, and never
// leave the applications folder.
TEST(DesktopEntryLocate, FindsFlatAndFolderedFilesEarlierFoldersFirst) {
    testing::TemporaryFolder folder;
    for (const char* file :
         {"first/applications/editor.desktop", "first/applications/kde/viewer.desktop",
          "first/applications/kde/apps/player.desktop", "second/applications/editor.desktop",
          "second/applications/games-chess.desktop", "second/applications/games/chess.desktop"}) {
        writeText(folder.path() / file, "[Desktop Entry]\nName=x\n");
    }
    const auto locate = [&](std::string_view id) {
        const auto found =
            DesktopEntry::locate(id, {folder.path() / "first", folder.path() / "second"});
        return found ? found->lexically_relative(folder.path()).string() : "none";
    };
    EXPECT_EQ(locate("editor"), "first/applications/editor.desktop");
    EXPECT_EQ(locate("kde-viewer"), "first/applications/kde/viewer.desktop");
    EXPECT_EQ(locate("kde-apps-player"), "first/applications/kde/apps/player.desktop");
    EXPECT_EQ(locate("games-chess"), "second/applications/games-chess.desktop");
    for (const char* id : {"", "kde/viewer", "../first/applications/editor", "kde-..-editor",
                           ".hidden", "missing", "kde-missing"}) {
        EXPECT_EQ(locate(id), "none") << id;
    }
}

// The order itself, case and numbers as a file browser sorts them, is pinned by the
// volume listing.
TEST(NameCollatorTest, TakesTheLocaleFromTheEnvironment) {
    ::setenv("LC_ALL", "sv_SE.UTF-8@euro", 1);
    EXPECT_EQ(NameCollator::userLocale(), "sv_SE");
    ::setenv("LC_ALL", "C", 1);
    EXPECT_EQ(NameCollator::userLocale(), "");
    ::unsetenv("LC_ALL");
}

} // namespace
} // namespace tovo
