#include "TovoSystem/Services/NameCollator.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace tovo {
namespace {

TEST(NameCollatorTest, SortsLikeAFileBrowser) {
    const NameCollator collator("en_US");
    std::vector<std::string> names{"disk 10",           "Disk 2", "disk 1",  "Zeta",
                                   "\xC3\xA9t\xC3\xA9", "apple",  "Apple 3", "e"};
    std::stable_sort(names.begin(), names.end(),
                     [&](const auto& a, const auto& b) { return collator.less(a, b); });
    EXPECT_EQ(names, (std::vector<std::string>{"apple", "Apple 3", "disk 1", "Disk 2", "disk 10",
                                               "e", "\xC3\xA9t\xC3\xA9", "Zeta"}));
    EXPECT_EQ(collator.compare("STICK", "stick"), 0);
    EXPECT_LT(collator.compare("a\xff", "b"), 0) << "invalid UTF-8 still compares";
}

TEST(NameCollatorTest, LocaleComesFromTheEnvironmentWithoutEncoding) {
    ::setenv("LC_ALL", "sv_SE.UTF-8@euro", 1);
    EXPECT_EQ(NameCollator::userLocale(), "sv_SE");
    ::setenv("LC_ALL", "C", 1);
    EXPECT_EQ(NameCollator::userLocale(), "");
    ::unsetenv("LC_ALL");
}

} // namespace
} // namespace tovo
