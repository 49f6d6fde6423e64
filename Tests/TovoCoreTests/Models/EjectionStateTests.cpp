#include "Support/ModelBuilders.hpp"
#include "Support/TaskRunning.hpp"
#include "TovoCore/Services/TovoServices.hpp"

#include <gmock/gmock.h>

#include <system_error>

namespace tovo {
namespace {

TEST(ReadableMessageTest, TrimsAndFallsBack) {
    auto message = [](auto error) { return readableMessage(std::make_exception_ptr(error)); };
    const auto failure = [](std::string text) {
        return EjectionFailure(std::move(text), {}, EjectionFailureKind::busy, {}, {});
    };
    EXPECT_EQ(message(failure("\n  The disk is in use.\t\n")), "The disk is in use.");
    EXPECT_EQ(message(failure(" \n\t ")), "The system did not provide a reason.");
    EXPECT_EQ(message(failure("\u2028")), "The system did not provide a reason.");
    // Every Unicode white space: NEL, no-break, ogham, en quad to hair space, narrow
    // no-break, medium mathematical and ideographic spaces, around text that keeps its own.
    EXPECT_EQ(message(failure("\u0085\u00A0\u1680\u2000\u200A\u202F\u205F\u3000Busy\u00A0now"
                              "\u3000\u2029\u00A0")),
              "Busy\u00A0now");
    // A look-alike that is no white space (zero width space) stays, and so does a
    // lone continuation byte.
    EXPECT_EQ(message(failure("\u200BBusy\x80")), "\u200BBusy\x80");
    EXPECT_EQ(message(std::runtime_error(" plain ")), "plain");
    EXPECT_EQ(readableMessage(nullptr), "The system did not provide a reason.");
}

TEST(ReadableMessageTest, DomainAndCodeOfSystemErrors) {
    const auto error = std::make_exception_ptr(
        std::system_error(std::make_error_code(std::errc::permission_denied)));
    EXPECT_EQ(errorDomain(error), "generic");
    EXPECT_EQ(errorCode(error), EACCES);
    const auto failure = std::make_exception_ptr(EjectionFailure(
        "x", {}, EjectionFailureKind::other, "org.freedesktop.UDisks2.Error.Failed", 3));
    EXPECT_EQ(errorDomain(failure), "TovoCore.EjectionFailure");
    // Log lines name types as a reader writes them.
    EXPECT_EQ(errorDomain(std::make_exception_ptr(std::runtime_error("x"))), "std::runtime_error");
    EXPECT_EQ(errorDomain(std::make_exception_ptr(CancellationError())), "tovo.CancellationError");
}

TEST(UuidTest, RandomVersionFourInUpperCase) {
    const auto a = Uuid::random();
    EXPECT_NE(a, Uuid::random());
    EXPECT_THAT(a.toString(), ::testing::MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-"
                                                      "[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
}

class DefaultPlanner final : public ProcessReleasing {
public:
    Task<std::vector<ReleaseAttempt>> requestRelease(std::vector<BlockingProcess>) override {
        co_return std::vector<ReleaseAttempt>{};
    }
};

TEST(DefaultReleasePlanTest, OnePlanPerProcessLeftToTheUser) {
    const DefaultPlanner planner;
    const auto p = testing::makeProcess(5, "tool");
    ManualExecutor executor;
    const auto plans = testing::runToEnd(executor, planner.planRelease({p, p}));
    EXPECT_EQ(plans, std::vector(2, ProcessReleasePlan{5, "tool", ReleaseStrategy::manualAction,
                                                       "Close this process, then try again."}));
}

} // namespace
} // namespace tovo
