#include "Support/FakeApplicationRegistry.hpp"
#include "TovoSystem/Services/SystemProcessMetadataProvider.hpp"
#include "TovoSystemTests/ProcFixture.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using testing::ProcFixture;

class ProcessMetadataProviderTest : public ::testing::Test {
protected:
    SystemProcessMetadataProvider provider() const {
        return SystemProcessMetadataProvider(
            registry_, ProcFileSystem(fixture_.root(), ProcFixture::ticksPerSecond));
    }
    void addApplication(std::int32_t pid, std::optional<std::string> name,
                        std::optional<std::string> id,
                        ActivationPolicy policy = ActivationPolicy::regular) {
        registry_->add(RunningApplication{pid, std::move(name), std::move(id), policy});
    }

    ProcFixture fixture_;
    std::shared_ptr<testing::FakeApplicationRegistry> registry_ =
        std::make_shared<testing::FakeApplicationRegistry>();
};

TEST_F(ProcessMetadataProviderTest, DescribesAReadableProcessEvenWithoutItsExecutable) {
    fixture_.addProcess(4242, 300, "rsync", 1000, 123'456, "/usr/bin/rsync");
    fixture_.addProcess(4243, 300, "rsync", 0, 5, std::nullopt);
    EXPECT_EQ(provider().metadata(4242),
              (ProcessMetadata{4242, 300, 1000, "rsync", "/usr/bin/rsync",
                               ProcessStartTime{ProcFixture::bootTime + 1234, 560'000}}));
    EXPECT_EQ(provider().metadata(4243)->executablePath, std::nullopt);
}

struct AbsentCase {
    const char* name;
    std::int32_t pid;
    const char* removedFile; ///< of pid 4242 ("stat" at the root: the boot time), or nothing
    friend void PrintTo(const AbsentCase& c, std::ostream* os) { *os << c.name; }
};

class ProcessMetadataAbsent : public ProcessMetadataProviderTest,
                              public ::testing::WithParamInterface<AbsentCase> {};

TEST_P(ProcessMetadataAbsent, YieldsNothingForMetadataOrParent) {
    fixture_.addProcess(300, 200);
    addApplication(300, "Terminal", "org.example.Terminal");
    fixture_.addProcess(4242, 300);
    if (GetParam().removedFile) {
        fixture_.remove(4242, GetParam().removedFile);
    }
    EXPECT_EQ(provider().metadata(GetParam().pid), std::nullopt);
    EXPECT_EQ(provider().parentApplication(GetParam().pid), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(Cases, ProcessMetadataAbsent,
                         ::testing::Values(AbsentCase{"PidZero", 0, nullptr},
                                           AbsentCase{"NegativePid", -4242, nullptr},
                                           AbsentCase{"Vanished", 4243, nullptr},
                                           AbsentCase{"StatHidden", 4242, "stat"},
                                           AbsentCase{"StatusHidden", 4242, "status"}),
                         [](const auto& info) { return info.param.name; });

TEST_F(ProcessMetadataProviderTest, WithoutBootTimeNothingIsKnown) {
    fixture_.addProcess(4242, 300);
    fixture_.write("stat", "cpu 1 2 3\n");
    EXPECT_EQ(provider().metadata(4242), std::nullopt);
}

TEST_F(ProcessMetadataProviderTest, CommandPrefersApplicationIdThenNameThenCommThenPid) {
    for (const std::int32_t pid : {1, 2, 3, 4}) {
        fixture_.addProcess(pid, 0);
    }
    addApplication(1, "Editor", "org.example.Editor");
    addApplication(2, "Editor", std::nullopt, ActivationPolicy::prohibited);
    fixture_.write("3/comm", "my (odd) \xff\n");
    fixture_.remove(4, "comm");
    EXPECT_EQ(provider().metadata(1)->command, "org.example.Editor");
    EXPECT_EQ(provider().metadata(2)->command, "Editor");
    EXPECT_EQ(provider().metadata(3)->command, "my (odd) \xEF\xBF\xBD");
    EXPECT_EQ(provider().metadata(4)->command, "Process 4");
}

TEST_F(ProcessMetadataProviderTest, FindsTheNearestShownApplicationAmongTheAncestors) {
    // 4242 (itself an app) -> 500 (background helper of an app) -> 400 (shell) -> 300 (terminal)
    fixture_.addProcess(300, 1);
    fixture_.addProcess(400, 300);
    fixture_.addProcess(500, 400);
    fixture_.addProcess(4242, 500);
    fixture_.addProcess(600, 600); // its own parent
    fixture_.addProcess(601, 600);
    addApplication(4242, "Self", "org.example.Self");
    addApplication(500, "Helper", "org.example.Helper", ActivationPolicy::prohibited);
    addApplication(300, "Terminal", "org.example.Terminal");

    EXPECT_EQ(provider().parentApplication(4242),
              (ParentApplication{300, "Terminal", "org.example.Terminal"}));
    EXPECT_EQ(provider().parentApplication(300), std::nullopt) << "pid 1 is no application";
    EXPECT_EQ(provider().parentApplication(601), std::nullopt) << "a loop ends the walk";
}

TEST_F(ProcessMetadataProviderTest, ParentNamePrefersTheDisplayNameThenTheIdThenApp) {
    for (const std::int32_t pid : {10, 20, 30}) {
        fixture_.addProcess(pid, pid / 10);
        fixture_.addProcess(pid + 1, pid);
    }
    addApplication(10, "Files", "org.example.Files");
    addApplication(20, std::nullopt, "org.example.Tray", ActivationPolicy::accessory);
    addApplication(30, std::nullopt, std::nullopt);
    EXPECT_EQ(provider().parentApplication(11)->name, "Files");
    EXPECT_EQ(provider().parentApplication(21)->name, "org.example.Tray");
    EXPECT_EQ(provider().parentApplication(31), (ParentApplication{30, "App", std::nullopt}));
}

class ParentApplicationDepth : public ProcessMetadataProviderTest,
                               public ::testing::WithParamInterface<int> {};

TEST_P(ParentApplicationDepth, LooksAtMostTwelveAncestorsUp) {
    // A chain 1000 -> 1001 -> ... where the application sits `depth` levels up.
    const int depth = GetParam();
    for (int level = 0; level <= depth; ++level) {
        fixture_.addProcess(1000 + level, level == depth ? 1 : 1001 + level);
    }
    addApplication(1000 + depth, "Shell", "org.example.Shell");
    EXPECT_EQ(provider().parentApplication(1000).has_value(), depth <= 12);
}

INSTANTIATE_TEST_SUITE_P(Levels, ParentApplicationDepth, ::testing::Values(12, 13));

} // namespace
} // namespace tovo
