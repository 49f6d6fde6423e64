#include "Support/FakeApplicationRegistry.hpp"
#include "TovoSystem/Services/ExplicitProcessStopper.hpp"
#include "TovoSystem/Services/SystemProcessMetadataProvider.hpp"
#include "TovoSystemTests/ProcessTestSupport.hpp"

#include <gtest/gtest.h>

namespace tovo {
namespace {

using testing::TestChild;

TEST(RealProcessMetadata, DescribesRealChildrenWithStableDistinctStartTimes) {
    SystemProcessMetadataProvider provider(std::make_shared<testing::FakeApplicationRegistry>());
    testing::TemporaryFolder folder;
    // The kernel names a process after its executable file: spaces and parentheses included.
    const auto oddName = folder.path() / "nap (odd) x";
    std::filesystem::copy_file("/bin/sleep", oddName);
    TestChild child({oddName.string(), "10"});
    ASSERT_TRUE(testing::eventually([&] {
        const auto metadata = provider.metadata(child.pid());
        return metadata && metadata->command == "nap (odd) x";
    }));

    const auto metadata = provider.metadata(child.pid());
    EXPECT_EQ(std::tie(metadata->pid, metadata->parentPID, metadata->userID),
              std::make_tuple(child.pid(), ::getpid(), ::getuid()));
    EXPECT_EQ(metadata->executablePath, oddName.string());
    const auto now = std::chrono::duration_cast<std::chrono::seconds>(
                         std::chrono::system_clock::now().time_since_epoch())
                         .count();
    EXPECT_NEAR(static_cast<double>(metadata->startTime.seconds), static_cast<double>(now), 5);
    EXPECT_LT(metadata->startTime.microseconds, 1'000'000u);

    // Start times tick in 1/_SC_CLK_TCK s (10 ms here); leave more than one tick.
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    TestChild second({"/bin/sleep", "10"});
    EXPECT_NE(provider.metadata(second.pid())->startTime, metadata->startTime);
    EXPECT_EQ(provider.metadata(child.pid())->startTime, metadata->startTime);
}

// A holder that exited but was not reaped yet (state Z) holds nothing: it is gone,
// and a stop request for it ends as "already exited" without any signal.
TEST(RealProcessMetadata, AnExitedUnreapedProcessIsGoneAndNeverSignalled) {
    auto registry = std::make_shared<testing::FakeApplicationRegistry>();
    auto provider = std::make_shared<SystemProcessMetadataProvider>(registry);
    TestChild child({"/bin/sleep", "0.3"});
    std::optional<ProcessMetadata> live;
    ASSERT_TRUE(testing::eventually([&] {
        live = provider->metadata(child.pid());
        return live && live->command == "sleep";
    }));
    const BlockingProcess blocker{
        child.pid(),          live->parentPID, "sleep",
        live->userID,         std::nullopt,    {{"/media/disk", "cwd", "DIR", OpenAccess::unknown}},
        live->executablePath, live->startTime, false,
        std::nullopt};
    const auto stat = "/proc/" + std::to_string(child.pid()) + "/stat";
    ASSERT_TRUE(testing::eventually([&] {
        const auto text = testing::readText(stat).value_or("");
        return text.substr(text.rfind(')') + 1).starts_with(" Z");
    }));
    EXPECT_EQ(provider->metadata(child.pid()), std::nullopt);

    ManualExecutor executor;
    int signals = 0;
    ExplicitProcessStopper stopper(
        executor, ::getuid(), ::getpid(), provider, registry,
        [&](std::int32_t pid, std::int32_t signal, const std::function<bool()>& confirm) {
            return ExplicitProcessStopper::systemSignaler()(
                pid, signal, [&] { return confirm() && ++signals > 0; });
        });
    const auto attempt = testing::runToEnd(executor, stopper.requestStop(blocker));
    EXPECT_EQ(attempt.disposition, ReleaseDisposition::alreadyClosed);
    EXPECT_EQ(attempt.message, "The process already exited.");
    EXPECT_EQ(signals, 0);
}

} // namespace
} // namespace tovo
