#include "TovoSystem/Linux/DesktopEntry.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <unistd.h>

namespace tovo {
namespace {

struct LocaleCase {
    std::string locale;
    std::vector<std::string> keys;
    friend void PrintTo(const LocaleCase& c, std::ostream* os) { *os << c.locale; }
};

class LocalizedKeys : public ::testing::TestWithParam<LocaleCase> {};

TEST_P(LocalizedKeys, NarrowestFirstEncodingIgnored) {
    EXPECT_EQ(DesktopEntry::localizedKeys("Name", GetParam().locale), GetParam().keys);
}

INSTANTIATE_TEST_SUITE_P(
    Locales, LocalizedKeys,
    ::testing::Values(LocaleCase{"de_DE.UTF-8@euro",
                                 {"Name[de_DE@euro]", "Name[de_DE]", "Name[de@euro]", "Name[de]",
                                  "Name"}},
                      LocaleCase{"pt_BR.UTF-8", {"Name[pt_BR]", "Name[pt]", "Name"}},
                      LocaleCase{"sr@latin", {"Name[sr@latin]", "Name[sr]", "Name"}},
                      LocaleCase{"fr", {"Name[fr]", "Name"}}, LocaleCase{"C.UTF-8", {"Name"}},
                      LocaleCase{"POSIX", {"Name"}}, LocaleCase{"", {"Name"}}));

const char* const editorEntry = R"([Desktop Action new-window]
Name=New Window
Name[de]=Neues Fenster

# a comment
[Desktop Entry]
Type=Application
Name = Text Editor
Name[de]=Texteditor
Name[de_AT]=Texteditor (AT)
Name[sr@latin]=Uređivač
Comment=Edit\sfiles\\n\tquickly\q
NoDisplay=true
Name=Duplicate
broken line without equals
[Desktop Action quit]
Name[fr]=Quitter
)";

struct NameCase {
    std::string locale;
    std::string name;
    friend void PrintTo(const NameCase& c, std::ostream* os) { *os << c.locale; }
};

class LocalizedName : public ::testing::TestWithParam<NameCase> {};

TEST_P(LocalizedName, FallsBackToTheNextWiderKey) {
    const auto entry = DesktopEntry::parse(editorEntry);
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->localizedValue("Name", GetParam().locale), GetParam().name);
}

INSTANTIATE_TEST_SUITE_P(Locales, LocalizedName,
                         ::testing::Values(NameCase{"de_AT.UTF-8", "Texteditor (AT)"},
                                           NameCase{"de_CH.UTF-8", "Texteditor"},
                                           NameCase{"sr_RS@latin", "Uređivač"},
                                           // other groups' keys never leak in
                                           NameCase{"fr_FR", "Text Editor"},
                                           NameCase{"", "Text Editor"}));

TEST(DesktopEntryParse, ReadsOnlyItsGroupWithEscapesAndFirstKeyWinning) {
    const auto entry = DesktopEntry::parse(editorEntry);
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->value("Type"), "Application");
    EXPECT_EQ(entry->value("Comment"), "Edit files\\n\tquickly\\q");
    EXPECT_TRUE(entry->boolean("NoDisplay"));
    EXPECT_FALSE(entry->boolean("Type"));
    EXPECT_FALSE(entry->boolean("Hidden"));
    EXPECT_EQ(entry->value("broken line without equals"), std::nullopt);

    EXPECT_EQ(DesktopEntry::parse("Name=Loose\n[Other]\nName=X\n"), std::nullopt);
    EXPECT_EQ(DesktopEntry::parse(""), std::nullopt);
    const auto flatpak =
        DesktopEntry::parse("[Application]\nname=org.example.App\n", "Application");
    ASSERT_TRUE(flatpak);
    EXPECT_EQ(flatpak->value("name"), "org.example.App");
}

TEST(DesktopEntryLocate, FirstDataDirectoryHoldingTheEntryWins) {
    char pattern[] = "/tmp/tovo-entries-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    const std::filesystem::path root(pattern);
    const auto write = [&](const std::string& dir) {
        std::filesystem::create_directories(root / dir / "applications");
        std::ofstream(root / dir / "applications/org.example.Editor.desktop")
            << "[Desktop Entry]\nName=" << dir << "\n";
    };
    write("home");
    write("system");
    const std::vector<std::filesystem::path> dirs{root / "missing", root / "home", root / "system"};

    const auto found = DesktopEntry::locate("org.example.Editor", dirs);
    EXPECT_EQ(found, root / "home/applications/org.example.Editor.desktop");
    EXPECT_EQ(DesktopEntry::load(*found)->value("Name"), "home");
    EXPECT_EQ(DesktopEntry::locate("org.example.Missing", dirs), std::nullopt);
    EXPECT_EQ(DesktopEntry::locate("../home/applications/org.example.Editor", dirs), std::nullopt);
    EXPECT_EQ(DesktopEntry::load(root / "missing/none.desktop"), std::nullopt);
    std::filesystem::remove_all(root);
}

} // namespace
} // namespace tovo
