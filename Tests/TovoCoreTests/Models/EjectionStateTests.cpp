#include "Support/TaskRunning.hpp"
#include "TovoCore/Models/EjectionState.hpp"
#include "TovoCore/Services/TovoServices.hpp"

#include <gtest/gtest.h>

#include <regex>
#include <system_error>

namespace tovo {
namespace {

TEST(ReadableMessageTest, TrimsAndFallsBack) {
    auto message = [](auto error) { return readableMessage(std::make_exception_ptr(error)); };
    const auto failure = [](std::string text) {
        return EjectionFailure(std::move(text), {}, EjectionFailureKind::busy, {}, {});
    };
    EXPECT_EQ(message(failure("\n  The disk is in use.\t\n")), "The disk is in use.");
    EXPECT_EQ(message(failure(" \n\t ")), "macOS did not provide a reason.");
    EXPECT_EQ(message(failure("\u2028")), "macOS did not provide a reason.");
    EXPECT_EQ(message(std::runtime_error(" plain ")), "plain");
    EXPECT_EQ(readableMessage(nullptr), "macOS did not provide a reason.");
}

TEST(ReadableMessageTest, DomainAndCodeOfSystemErrors) {
    const auto error = std::make_exception_ptr(
        std::system_error(std::make_error_code(std::errc::permission_denied)));
    EXPECT_EQ(errorDomain(error), "generic");
    EXPECT_EQ(errorCode(error), EACCES);
    const auto failure = std::make_exception_ptr(EjectionFailure(
        "x", {}, EjectionFailureKind::other, "org.freedesktop.UDisks2.Error.Failed", 3));
    EXPECT_EQ(errorDomain(failure), "TovoCore.EjectionFailure");
}

TEST(UuidTest, RandomVersionFourInUpperCase) {
    const auto a = Uuid::random();
    EXPECT_NE(a, Uuid::random());
    EXPECT_TRUE(std::regex_match(
        a.toString(),
        std::regex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}")))
        << a.toString();
}

class DefaultPlanner final : public ProcessReleasing {
public:
    Task<std::vector<ReleaseAttempt>> requestRelease(std::vector<BlockingProcess>) override {
        co_return std::vector<ReleaseAttempt>{};
    }
};

TEST(DefaultReleasePlanTest, OnePlanPerProcessLeftToTheUser) {
    const DefaultPlanner planner;
    BlockingProcess p{5, {}, "tool", {}, {}, {}, {}, {}, false, {}};
    ManualExecutor executor;
    const auto plans = testing::runToEnd(executor, planner.planRelease({p, p}));
    ASSERT_EQ(plans.size(), 2u);
    EXPECT_EQ(plans[1], (ProcessReleasePlan{5, "tool", ReleaseStrategy::manualAction,
                                            "Close this process, then try again."}));
}

} // namespace
} // namespace tovo
