#include "ProcessTestSupport.hpp"
#include "TovoSystem/Linux/DesktopEntry.hpp"

#include <gtest/gtest.h>

#include <fstream>

namespace tovo {
namespace {

TEST(DesktopEntryLocale, NarrowestKeyFirstEncodingIgnored) {
    using Keys = std::vector<std::string>;
    EXPECT_EQ(DesktopEntry::localizedKeys("Name", "de_DE.UTF-8@euro"),
              (Keys{"Name[de_DE@euro]", "Name[de_DE]", "Name[de@euro]", "Name[de]", "Name"}));
    EXPECT_EQ(DesktopEntry::localizedKeys("Name", "C.UTF-8"), Keys{"Name"});
}

const char* const editorEntry = R"([Desktop Action new-window]
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
)";

TEST(DesktopEntryParse, ReadsOnlyItsGroupWithEscapesAndFirstKeyWinning) {
    const auto entry = DesktopEntry::parse(editorEntry);
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->localizedValue("Name", "de_AT.UTF-8"), "Texteditor (AT)");
    EXPECT_EQ(entry->localizedValue("Name", "de_CH.UTF-8"), "Texteditor");
    EXPECT_EQ(entry->localizedValue("Name", "fr_FR"), "Text Editor"); // no leak from other groups
    EXPECT_EQ(entry->value("Comment"), "Edit files\\n\tquickly\\q");
    EXPECT_TRUE(entry->boolean("NoDisplay"));
    EXPECT_FALSE(entry->boolean("Hidden"));
    EXPECT_EQ(entry->value("broken line without equals"), std::nullopt);
    EXPECT_EQ(DesktopEntry::parse("Name=Loose\n[Other]\nName=X\n"), std::nullopt);
    const auto flatpak = DesktopEntry::parse("[Application]\nname=org.example.A\n", "Application");
    ASSERT_TRUE(flatpak);
    EXPECT_EQ(flatpak->value("name"), "org.example.A");
}

// Two data folders; ids map onto files directly or through sub-folders.
class DesktopEntryLocate : public ::testing::Test {
protected:
    void SetUp() override {
        for (const char* file :
             {"first/applications/editor.desktop", "first/applications/kde/viewer.desktop",
              "first/applications/kde/apps/player.desktop", "second/applications/editor.desktop",
              "second/applications/games-chess.desktop",
              "second/applications/games/chess.desktop"}) {
            const auto path = folder.path() / file;
            std::filesystem::create_directories(path.parent_path());
            std::ofstream(path) << "[Desktop Entry]\nName=x\n";
        }
    }
    std::optional<std::filesystem::path> locate(std::string_view id) const {
        return DesktopEntry::locate(id, {folder.path() / "first", folder.path() / "second"});
    }
    std::filesystem::path at(const char* relative) const { return folder.path() / relative; }

    tovo::testing::TemporaryFolder folder;
};

TEST_F(DesktopEntryLocate, FindsFlatAndFolderedFilesEarlierFoldersFirst) {
    EXPECT_EQ(locate("editor"), at("first/applications/editor.desktop"));
    EXPECT_EQ(locate("kde-viewer"), at("first/applications/kde/viewer.desktop"));
    EXPECT_EQ(locate("kde-apps-player"), at("first/applications/kde/apps/player.desktop"));
    EXPECT_EQ(locate("games-chess"), at("second/applications/games-chess.desktop"));
}

TEST_F(DesktopEntryLocate, RefusesIdsThatLeaveTheApplicationsFolder) {
    for (const char* id : {"", "kde/viewer", "../first/applications/editor", "kde-..-editor",
                           ".hidden", "missing", "kde-missing"}) {
        EXPECT_EQ(locate(id), std::nullopt) << id;
    }
}

} // namespace
} // namespace tovo
