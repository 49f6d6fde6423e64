#include "Support/ModelBuilders.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <tuple>

namespace tovo {
namespace {

OpenFileReference file(std::string path, std::optional<std::string> descriptor, OpenAccess access,
                       std::optional<std::string> type = "REG") {
    return {std::move(path), std::move(descriptor), std::move(type), access};
}

BlockingProcess process(std::vector<OpenFileReference> files = {}) {
    auto p = testing::makeProcess(42);
    p.openFiles = std::move(files);
    return p;
}

class AccessLetterTest
    : public ::testing::TestWithParam<std::pair<std::optional<std::string_view>, OpenAccess>> {};

TEST_P(AccessLetterTest, OnlyTheExactLettersAreKnown) {
    EXPECT_EQ(openAccessFromLsofValue(GetParam().first), GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(
    Letters, AccessLetterTest,
    ::testing::Values(std::pair("r", OpenAccess::read), std::pair("w", OpenAccess::write),
                      std::pair("u", OpenAccess::readWrite), std::pair("R", OpenAccess::unknown),
                      std::pair("rw", OpenAccess::unknown), std::pair("", OpenAccess::unknown),
                      std::pair(std::nullopt, OpenAccess::unknown)));

TEST(OpenAccessTest, RawValuesRoundTripAndOthersFail) {
    for (auto access :
         {OpenAccess::read, OpenAccess::write, OpenAccess::readWrite, OpenAccess::unknown}) {
        EXPECT_EQ(openAccessFromRawValue(rawValue(access)), access);
    }
    EXPECT_FALSE(openAccessFromRawValue("Read"));
    EXPECT_FALSE(openAccessFromRawValue("r"));
    EXPECT_TRUE(canWrite(OpenAccess::readWrite));
    EXPECT_FALSE(canWrite(OpenAccess::unknown));
}

TEST(BlockingProcessTest, DirectoryReferencesDoNotMakeAccessUnclear) {
    const auto cwd = process({file("/media/d", "cwd", OpenAccess::unknown, "DIR")});
    EXPECT_EQ(std::pair(cwd.hasUnknownAccess(), cwd.holdsCurrentFolder()), std::pair(false, true));
    const auto root = process({file("/media/d", "rtd", OpenAccess::unknown, "DIR")});
    EXPECT_EQ(std::pair(root.hasUnknownAccess(), root.holdsCurrentFolder()),
              std::pair(false, false));
    EXPECT_TRUE(
        process({file("/media/d/x", std::nullopt, OpenAccess::unknown)}).hasUnknownAccess());
}

// Each identity field changed alone must break identity; the others must not.
struct IdentityCase {
    const char* name;
    std::function<void(BlockingProcess&)> change;
    bool stillSame;
};

class IdentityTest : public ::testing::TestWithParam<IdentityCase> {};

TEST_P(IdentityTest, ComparesExactlyTheIdentityFields) {
    const auto original = process({file("/a", "3r", OpenAccess::read)});
    auto changed = original;
    GetParam().change(changed);
    EXPECT_EQ(original.hasSameIdentity(changed), GetParam().stillSame);
    EXPECT_EQ(changed.hasSameIdentity(original), GetParam().stillSame);
    EXPECT_TRUE(changed.hasSameIdentity(BlockingProcess(changed))) << "two absent fields are equal";
}

INSTANTIATE_TEST_SUITE_P(
    Fields, IdentityTest,
    ::testing::Values(
        IdentityCase{"pid", [](auto& p) { p.pid = 43; }, false},
        IdentityCase{"user", [](auto& p) { p.userID = 502u; }, false},
        IdentityCase{"userAbsent", [](auto& p) { p.userID.reset(); }, false},
        IdentityCase{"command", [](auto& p) { p.command = "other"; }, false},
        IdentityCase{"parent", [](auto& p) { p.parentPID = 8; }, false},
        IdentityCase{"parentAbsent", [](auto& p) { p.parentPID.reset(); }, false},
        IdentityCase{"startSeconds", [](auto& p) { p.startTime->seconds += 1; }, false},
        IdentityCase{"startMicros", [](auto& p) { p.startTime->microseconds += 1; }, false},
        IdentityCase{"startAbsent", [](auto& p) { p.startTime.reset(); }, false},
        IdentityCase{"executable", [](auto& p) { p.executablePath = "/usr/bin/x"; }, false},
        IdentityCase{"executableAbsent", [](auto& p) { p.executablePath.reset(); }, false},
        IdentityCase{"login", [](auto& p) { p.loginName = "root"; }, true},
        IdentityCase{"files", [](auto& p) { p.openFiles.clear(); }, true},
        IdentityCase{"dissent", [](auto& p) { p.isSystemDissent = true; }, true},
        IdentityCase{"parentApp", [](auto& p) { p.parentApplication.emplace(); }, true}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(BlockingProcessTest, ExecutionIdentityReplacesPathAndTimeButKeepsApplicationWhenAbsent) {
    auto p = process();
    p.parentApplication = ParentApplication{9, "Files", "org.example.Files"};
    const auto identity = [](const BlockingProcess& q) {
        return std::tuple(q.executablePath, q.startTime, q.parentApplication);
    };
    EXPECT_EQ(identity(p.withExecutionIdentity(std::nullopt, std::nullopt, std::nullopt)),
              std::tuple(std::nullopt, std::nullopt, p.parentApplication));
    const ParentApplication terminal{3, "T", {}};
    EXPECT_EQ(identity(p.withExecutionIdentity("/opt/x", ProcessStartTime{1, 2}, terminal)),
              std::tuple("/opt/x", ProcessStartTime{1, 2}, terminal));
}

TEST(BlockingProcessTest, MergingPrefersTheReceiverAndUnitesFiles) {
    const auto a = file("/m/a", "3r", OpenAccess::read);
    const auto b = file("/m/b", "4r", OpenAccess::read);
    const auto aWritten = file("/m/a", "3r", OpenAccess::write);
    auto receiver = process({b, a});
    receiver.command = "";
    receiver.userID.reset();
    const BlockingProcess other{42,           8,
                                "other",      777u,
                                "someone",    {a, aWritten},
                                "/opt/other", ProcessStartTime{999, 0},
                                true,         ParentApplication{1, "X", {}}};

    // Empty or absent fields fall back; files are sorted by path, equal ones kept once.
    auto expected = process({a, aWritten, b});
    expected.command = "other";
    expected.userID = 777u;
    expected.isSystemDissent = true;
    expected.parentApplication = other.parentApplication;
    EXPECT_EQ(receiver.merging(other), expected);
}

} // namespace
} // namespace tovo
