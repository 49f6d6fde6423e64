#pragma once

#include "TovoSystem/Services/ApplicationRegistry.hpp"

#include <map>
#include <vector>

namespace tovo::testing {

/// A registry whose applications, answers and requests the test controls and reads.
class FakeApplicationRegistry final : public ApplicationRegistry {
public:
    std::map<std::int32_t, RunningApplication> applications;
    std::map<std::int32_t, bool> terminated;
    /// How every known application can be asked to quit; none: it cannot.
    std::optional<QuitRoute> route = QuitRoute::applicationAction;
    std::vector<QuitRoute> routesTaken;
    /// Runs once the process is "pinned", before the identity check: a test can
    /// change the world at the last moment.
    std::function<void()> onPin;
    /// The answer to a quit request whose identity check passed.
    QuitRequestOutcome terminateOutcome = QuitRequestOutcome::sent;
    std::optional<std::string> ownIdentifier = std::string(tovoApplicationID);
    std::vector<std::int32_t> terminateRequests; ///< requests that went out
    /// Set: every application is gone after this many lookups, as when an app
    /// quits between the plan and the request.
    std::optional<int> lookupsBeforeVanishing;

    void add(RunningApplication application) {
        applications.insert_or_assign(application.pid, std::move(application));
    }

    std::optional<RunningApplication> runningApplication(std::int32_t pid) const override {
        if (lookupsBeforeVanishing && lookups_++ >= *lookupsBeforeVanishing) {
            return std::nullopt;
        }
        return applications.contains(pid) ? std::optional(applications.at(pid)) : std::nullopt;
    }
    bool isTerminated(std::int32_t pid) const override {
        return terminated.contains(pid) && terminated.at(pid);
    }
    std::optional<QuitRoute> quitRoute(std::int32_t pid) const override {
        return applications.contains(pid) ? route : std::nullopt;
    }
    QuitRequestOutcome terminate(std::int32_t pid, QuitRoute through,
                                 const std::function<bool()>& confirmIdentity) override {
        routesTaken.push_back(through);
        if (onPin) {
            onPin();
        }
        if (!confirmIdentity()) {
            return QuitRequestOutcome::identityChanged;
        }
        if (terminateOutcome == QuitRequestOutcome::sent ||
            terminateOutcome == QuitRequestOutcome::refused) {
            terminateRequests.push_back(pid);
        }
        return terminateOutcome;
    }
    bool activate(std::int32_t) override { return true; }
    std::optional<std::string> ownBundleIdentifier() const override { return ownIdentifier; }

private:
    mutable int lookups_ = 0;
};

} // namespace tovo::testing
