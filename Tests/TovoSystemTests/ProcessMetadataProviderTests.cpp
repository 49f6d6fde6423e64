#include "Support/FakeApplicationRegistry.hpp"
#include "TovoSystem/Services/SystemProcessMetadataProvider.hpp"
#include "TovoSystemTests/ProcFixture.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using testing::FakeApplicationRegistry;
using testing::ProcFixture;

class ProcessMetadataProviderTest : public ::testing::Test {
protected:
    SystemProcessMetadataProvider provider() const {
        return SystemProcessMetadataProvider(
            registry_, ProcFileSystem(fixture_.root(), ProcFixture::ticksPerSecond));
    }

    RunningApplication application(std::int32_t pid, std::optional<std::string> name,
                                   std::optional<std::string> id,
                                   ActivationPolicy policy = ActivationPolicy::regular) {
        return RunningApplication{pid, std::move(name), std::move(id), policy};
    }

    ProcFixture fixture_;
    std::shared_ptr<FakeApplicationRegistry> registry_ =
        std::make_shared<FakeApplicationRegistry>();
};

TEST_F(ProcessMetadataProviderTest, DescribesAReadableProcess) {
    fixture_.addProcess(4242, 300, "rsync", 1000, 123'456, "/usr/bin/rsync");
    EXPECT_EQ(provider().metadata(4242),
              (ProcessMetadata{4242, 300, 1000, "rsync", "/usr/bin/rsync",
                               ProcessStartTime{ProcFixture::bootTime + 1234, 560'000}}));
}

TEST_F(ProcessMetadataProviderTest, AnUnreadableExecutableStillGivesMetadata) {
    fixture_.addProcess(4242, 300, "rsync", 0, 5, std::nullopt);
    const auto metadata = provider().metadata(4242);
    ASSERT_TRUE(metadata);
    EXPECT_EQ(metadata->executablePath, std::nullopt);
}

struct AbsentCase {
    const char* name;
    std::int32_t pid;
    const char* removedFile; ///< of pid 4242, or nothing
    friend void PrintTo(const AbsentCase& c, std::ostream* os) { *os << c.name; }
};

class ProcessMetadataAbsent : public ProcessMetadataProviderTest,
                              public ::testing::WithParamInterface<AbsentCase> {};

TEST_P(ProcessMetadataAbsent, YieldsNothingForMetadataOrParent) {
    fixture_.addProcess(300, 200);
    registry_->add(application(300, "Terminal", "org.example.Terminal"));
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

struct CommandCase {
    const char* name;
    std::optional<RunningApplication> application;
    std::optional<std::string> comm; ///< file contents; none removes the file
    std::string expected;
    friend void PrintTo(const CommandCase& c, std::ostream* os) { *os << c.name; }
};

class ProcessMetadataCommand : public ProcessMetadataProviderTest,
                               public ::testing::WithParamInterface<CommandCase> {};

TEST_P(ProcessMetadataCommand, PrefersApplicationIdThenNameThenCommThenPid) {
    fixture_.addProcess(4242, 300);
    if (GetParam().comm) {
        fixture_.write("4242/comm", *GetParam().comm);
    } else {
        fixture_.remove(4242, "comm");
    }
    if (GetParam().application) {
        registry_->add(*GetParam().application);
    }
    EXPECT_EQ(provider().metadata(4242)->command, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Names, ProcessMetadataCommand,
    ::testing::Values(CommandCase{"ApplicationId",
                                  RunningApplication{4242, "Editor", "org.example.Editor",
                                                     ActivationPolicy::regular},
                                  "editor\n", "org.example.Editor"},
                      CommandCase{"ApplicationNameWithoutId",
                                  RunningApplication{4242, "Editor", std::nullopt,
                                                     ActivationPolicy::prohibited},
                                  "editor\n", "Editor"},
                      CommandCase{"CommWithSpacesAndParentheses", std::nullopt, "my (odd) name\n",
                                  "my (odd) name"},
                      CommandCase{"CommNotUtf8", std::nullopt, "ed\xff\n", "ed\xEF\xBF\xBD"},
                      CommandCase{"EmptyComm", std::nullopt, "", "Process 4242"},
                      CommandCase{"CommHidden", std::nullopt, std::nullopt, "Process 4242"}),
    [](const auto& info) { return info.param.name; });

TEST_F(ProcessMetadataProviderTest, FindsTheNearestShownApplicationAmongTheAncestors) {
    // 4242 (itself an app) -> 500 (background helper of an app) -> 400 (shell) -> 300 (terminal)
    fixture_.addProcess(300, 1);
    fixture_.addProcess(400, 300);
    fixture_.addProcess(500, 400);
    fixture_.addProcess(4242, 500);
    registry_->add(application(4242, "Self", "org.example.Self"));
    registry_->add(application(500, "Helper", "org.example.Helper", ActivationPolicy::prohibited));
    registry_->add(application(300, "Terminal", "org.example.Terminal"));

    EXPECT_EQ(provider().parentApplication(4242),
              (ParentApplication{300, "Terminal", "org.example.Terminal"}));
    EXPECT_EQ(provider().parentApplication(300), std::nullopt) << "pid 1 is no application";
}

struct ParentNameCase {
    const char* name;
    std::optional<std::string> localizedName;
    std::optional<std::string> id;
    ActivationPolicy policy;
    std::string expected;
    friend void PrintTo(const ParentNameCase& c, std::ostream* os) { *os << c.name; }
};

class ParentApplicationName : public ProcessMetadataProviderTest,
                              public ::testing::WithParamInterface<ParentNameCase> {};

TEST_P(ParentApplicationName, PrefersTheDisplayNameThenTheIdThenApp) {
    fixture_.addProcess(300, 1);
    fixture_.addProcess(4242, 300);
    registry_->add(application(300, GetParam().localizedName, GetParam().id, GetParam().policy));
    EXPECT_EQ(provider().parentApplication(4242),
              (ParentApplication{300, GetParam().expected, GetParam().id}));
}

INSTANTIATE_TEST_SUITE_P(
    Names, ParentApplicationName,
    ::testing::Values(ParentNameCase{"DisplayName", "Files", "org.example.Files",
                                     ActivationPolicy::regular, "Files"},
                      ParentNameCase{"IdOnly", std::nullopt, "org.example.Tray",
                                     ActivationPolicy::accessory, "org.example.Tray"},
                      ParentNameCase{"Nothing", std::nullopt, std::nullopt,
                                     ActivationPolicy::regular, "App"}),
    [](const auto& info) { return info.param.name; });

class ParentApplicationDepth : public ProcessMetadataProviderTest,
                               public ::testing::WithParamInterface<int> {};

TEST_P(ParentApplicationDepth, LooksAtMostTwelveAncestorsUp) {
    // A chain 1000 -> 1001 -> ... where the application sits `depth` levels up.
    const int depth = GetParam();
    for (int level = 0; level <= depth; ++level) {
        fixture_.addProcess(1000 + level, level == depth ? 1 : 1001 + level);
    }
    registry_->add(application(1000 + depth, "Shell", "org.example.Shell"));
    const auto found = provider().parentApplication(1000);
    EXPECT_EQ(found.has_value(), depth <= SystemProcessMetadataProvider::maximumAncestorSteps);
}

INSTANTIATE_TEST_SUITE_P(Levels, ParentApplicationDepth, ::testing::Values(1, 11, 12, 13));

TEST_F(ProcessMetadataProviderTest, AnUnreadableOrLoopingAncestryEndsTheWalk) {
    fixture_.addProcess(600, 600); // its own parent
    fixture_.addProcess(4242, 600);
    fixture_.addProcess(700, 650); // 650 vanished, its parent unknown
    fixture_.addProcess(800, 700);
    registry_->add(application(200, "Shell", "org.example.Shell"));
    EXPECT_EQ(provider().parentApplication(4242), std::nullopt);
    EXPECT_EQ(provider().parentApplication(800), std::nullopt);
}

} // namespace
} // namespace tovo
