#include "Tovo/Support/SymbolIcons.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

namespace tovo {
namespace {

TEST(SymbolIcons, ThemeIconsAndTheMissingImageExistInAdwaita) {
    const std::filesystem::path theme = "/usr/share/icons/Adwaita";
    if (!std::filesystem::is_directory(theme)) {
        GTEST_SKIP() << "the Adwaita icon theme is not installed";
    }
    std::set<std::string, std::less<>> available;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(theme)) {
        // "name.png", "name.svg" and "name.symbolic.png" all provide "name".
        const auto file = entry.path().filename().string();
        available.insert(file.substr(0, file.find('.')));
    }
    for (const auto& entry : symbolIconTable()) {
        EXPECT_TRUE(available.contains(entry.themeIcon)) << entry.themeIcon;
    }
    EXPECT_TRUE(available.contains(themeIconName("no.such.symbol")));
}

} // namespace
} // namespace tovo
