#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tovo {

/// A desktop application that owns its id on the session bus and takes the
/// org.freedesktop.Application requests: its actions (such as "quit") and Activate.
/// A request goes only to a receiver proved to be one given process: the owner of the
/// id, addressed by its unique connection name so that no later owner can take it over,
/// must have been opened by that process.
class SessionBusApplication {
public:
    enum class Outcome {
        accepted,
        refused,      ///< the application answered with an error
        unreachable,  ///< no bus, the id is not a bus name or not owned, or nothing there takes it
        otherReceiver ///< the id is owned, but not provably by the expected process: nothing sent
    };

    /// `busAddress` absent: there is no session bus. `receiverStillValid`, when given, is
    /// asked after the owner was proved and before anything is sent. A call still
    /// unanswered after `callTimeout` counts as delivered.
    SessionBusApplication(std::optional<std::string> busAddress, std::string applicationID,
                          std::int32_t receiverPID,
                          std::function<bool()> receiverStillValid = nullptr,
                          std::chrono::milliseconds callTimeout = std::chrono::seconds(2));

    /// A well-known bus name: two or more dot-separated elements of letters,
    /// digits, '_' and '-', none starting with a digit.
    static bool isBusName(std::string_view name);
    /// '/' + id with '.' as '/' and '-' as '_'.
    static std::string objectPath(std::string_view applicationID);

    Outcome activateAction(const std::string& action) const;
    Outcome activate() const;

private:
    template<class Call>
    Outcome invoke(const Call& call) const;

    std::optional<std::string> busAddress_;
    std::string applicationID_;
    std::int32_t receiverPID_;
    std::function<bool()> receiverStillValid_;
    std::chrono::milliseconds callTimeout_;
};

} // namespace tovo
