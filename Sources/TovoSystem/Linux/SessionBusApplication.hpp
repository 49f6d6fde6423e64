#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace tovo {

/// A desktop application that owns its id on the session bus and takes the
/// org.freedesktop.Application requests: its actions (such as "quit") and Activate.
class SessionBusApplication {
public:
    enum class Outcome {
        accepted,
        refused,    ///< the application answered with an error, or did not answer
        unreachable ///< no bus, the id is not a bus name or not owned, or nothing there takes it
    };

    /// `busAddress` absent: there is no session bus. A call still unanswered after
    /// `callTimeout` counts as delivered.
    SessionBusApplication(std::optional<std::string> busAddress, std::string applicationID,
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
    std::chrono::milliseconds callTimeout_;
};

} // namespace tovo
