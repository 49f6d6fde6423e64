#include "Support/FakeApplicationRegistry.hpp"
#include "TovoSystem/Services/SystemProcessMetadataProvider.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

constexpr std::uint64_t bootTime = 1'700'000'000;

std::string statLine(std::int32_t pid, const std::string& command, std::int32_t parent,
                     std::uint64_t startTicks) {
    return std::to_string(pid) + " (" + command + ") S " + std::to_string(parent) +
           " 4242 4242 34816 4242 4194560 1180 0 0 0 2 1 0 0 20 0 1 0 " +
           std::to_string(startTicks) + " 9334784 1280 18446744073709551615 1 1 0 0\n";
}

TEST(ProcStatParsing, ReadsParentAndStartAfterTheLastParenthesis) {
    EXPECT_EQ(ProcFileSystem::parseStat(statLine(7, "x) S 99 (1) 2 3", 6, 55)),
              (ProcFileSystem::Stat{6, 55, 'S'}));
    for (const auto* malformed :
         {"4242 bash S 300 1 2 3", "4242 (bash) S 300 4242 4242 34816 4242 4194560",
          "4242 (bash) S x1 4242 4242 0 -1 0 0 0 0 0 0 0 0 0 20 0 1 0 5"}) {
        EXPECT_EQ(ProcFileSystem::parseStat(malformed), std::nullopt) << malformed;
    }
}

// A folder laid out like /proc (100 ticks a second), with only the entries a test writes.
class ProcessMetadataProviderTest : public ::testing::Test {
protected:
    void SetUp() override {
        write("stat", "cpu  1 2 3 4\nbtime " + std::to_string(bootTime) + "\n");
    }

    SystemProcessMetadataProvider provider() const {
        return SystemProcessMetadataProvider(registry_, ProcFileSystem(proc_.path(), 100));
    }
    /// A readable process: stat, status, comm and exe as the kernel writes them.
    void addProcess(std::int32_t pid, std::int32_t parent, std::string command = "worker",
                    std::uint32_t uid = 1000, std::uint64_t startTicks = 12'345,
                    std::optional<std::string> executable = "/usr/bin/worker") {
        const auto folder = std::to_string(pid) + "/";
        write(folder + "stat", statLine(pid, command, parent, startTicks));
        write(folder + "status", "Name:\t" + command + "\nPPid:\t" + std::to_string(parent) +
                                     "\nUid:\t" + std::to_string(uid) + "\t0\t0\t0\n");
        write(folder + "comm", command + "\n");
        if (executable) {
            std::filesystem::create_symlink(*executable, proc_.path() / folder / "exe");
        }
    }
    void write(const std::string& relative, const std::string& text) {
        testing::writeText(proc_.path() / relative, text);
    }
    void addApplication(std::int32_t pid, std::optional<std::string> name,
                        std::optional<std::string> id,
                        ActivationPolicy policy = ActivationPolicy::regular) {
        registry_->add(RunningApplication{pid, std::move(name), std::move(id), policy});
    }

    testing::TemporaryFolder proc_;
    std::shared_ptr<testing::FakeApplicationRegistry> registry_ =
        std::make_shared<testing::FakeApplicationRegistry>();
};

TEST_F(ProcessMetadataProviderTest, DescribesAReadableProcessEvenWithoutItsExecutable) {
    addProcess(4242, 300, "rsync", 1000, 123'456, std::nullopt);
    EXPECT_EQ(provider().metadata(4242),
              (ProcessMetadata{4242, 300, 1000, "rsync", std::nullopt,
                               ProcessStartTime{bootTime + 1234, 560'000}}));
}

TEST_F(ProcessMetadataProviderTest, YieldsNothingForMetadataOrParentOfAnUnreadableProcess) {
    addProcess(300, 200);
    addApplication(300, "Terminal", "org.example.Terminal");
    // "stat" of 4242 hidden, "status" hidden, pid 0, a vanished pid
    for (const auto& [pid, hidden] : std::vector<std::pair<std::int32_t, std::string>>{
             {4242, "stat"}, {4242, "status"}, {0, ""}, {4243, ""}}) {
        std::filesystem::remove_all(proc_.path() / "4242");
        addProcess(4242, 300);
        if (!hidden.empty()) {
            std::filesystem::remove(proc_.path() / "4242" / hidden);
        }
        EXPECT_EQ(provider().metadata(pid), std::nullopt) << pid << hidden;
        EXPECT_EQ(provider().parentApplication(pid), std::nullopt) << pid << hidden;
    }
}

TEST_F(ProcessMetadataProviderTest, CommandPrefersApplicationIdThenNameThenCommThenPid) {
    for (const std::int32_t pid : {1, 2, 3, 4}) {
        addProcess(pid, 0);
    }
    addApplication(1, "Editor", "org.example.Editor");
    addApplication(2, "Editor", std::nullopt, ActivationPolicy::prohibited);
    write("3/comm", "my (odd) \xff\n");
    std::filesystem::remove(proc_.path() / "4/comm");
    EXPECT_EQ(provider().metadata(1)->command, "org.example.Editor");
    EXPECT_EQ(provider().metadata(2)->command, "Editor");
    EXPECT_EQ(provider().metadata(3)->command, "my (odd) \xEF\xBF\xBD");
    EXPECT_EQ(provider().metadata(4)->command, "Process 4");
}

TEST_F(ProcessMetadataProviderTest, FindsTheNearestShownApplicationAmongTheAncestors) {
    // 4242 (itself an app) -> 500 (background helper of an app) -> 400 (shell) -> 300 (terminal)
    // and 601 -> 600, its own parent.
    for (const auto& [pid, parent] :
         {std::pair{300, 1}, {400, 300}, {500, 400}, {4242, 500}, {600, 600}, {601, 600}}) {
        addProcess(pid, parent);
    }
    addApplication(4242, "Self", "org.example.Self");
    addApplication(500, "Helper", "org.example.Helper", ActivationPolicy::prohibited);
    addApplication(300, std::nullopt, std::nullopt); // no name and no id: "App"

    EXPECT_EQ(provider().parentApplication(4242), (ParentApplication{300, "App", std::nullopt}));
    EXPECT_EQ(provider().parentApplication(300), std::nullopt) << "pid 1 is no application";
    EXPECT_EQ(provider().parentApplication(601), std::nullopt) << "a loop ends the walk";
}

TEST_F(ProcessMetadataProviderTest, LooksAtMostTwelveAncestorsUp) {
    // Chains <first> -> <first>+1 -> ... where the application sits `depth` levels up.
    for (const auto& [first, depth] : {std::pair{1000, 12}, std::pair{2000, 13}}) {
        for (int level = 0; level <= depth; ++level) {
            addProcess(first + level, level == depth ? 1 : first + level + 1);
        }
        addApplication(first + depth, "Shell", "org.example.Shell");
        EXPECT_EQ(provider().parentApplication(first).has_value(), depth <= 12) << depth;
    }
}

// One diagnosis reads the boot time once and each ancestor's application once, however
// many holders share them; a plain provider reads everything afresh.
TEST_F(ProcessMetadataProviderTest, ADiagnosisSharesTheBootTimeAndApplicationLookUps) {
    addProcess(300, 1, "editor");
    addProcess(500, 300);
    addProcess(600, 300);
    addApplication(300, "Editor", "org.example.Editor");
    const auto plain = provider();
    const auto session = plain.forOneDiagnosis();
    ASSERT_NE(session, nullptr);
    registry_->lookupsBeforeVanishing = 2; // 500 and 300, then every app is gone

    ASSERT_TRUE(session->metadata(500));
    EXPECT_TRUE(session->parentApplication(500));
    std::filesystem::remove(proc_.path() / "stat");
    EXPECT_EQ(session->metadata(600).value().startTime,
              (ProcessStartTime{bootTime + 123, 450'000}));
    EXPECT_EQ(session->parentApplication(600)->pid, 300);

    EXPECT_FALSE(plain.metadata(600)) << "no boot time, no identity";
    EXPECT_FALSE(plain.parentApplication(600)) << "a fresh look-up finds the app gone";
}

} // namespace
} // namespace tovo
