#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace sdbus {
class IConnection;
class MethodCall;
} // namespace sdbus

namespace tovo {

/// One connection to the session bus, and what Tovo proves and asks on it. Every
/// request goes to a unique connection name, never to a well-known name that could
/// change hands between the proof and the request. Calls block up to the time-out.
class SessionBus {
public:
    enum class Outcome {
        accepted,   ///< delivered (an answer that is late counts: the receiver holds it)
        refused,    ///< the receiver answered with an error
        unreachable ///< nothing there takes it: no bus, no such object, interface or method
    };

    /// `address` absent, or nothing listening there: not connected.
    SessionBus(const std::optional<std::string>& address, std::chrono::milliseconds callTimeout);
    ~SessionBus();
    SessionBus(const SessionBus&) = delete;
    SessionBus& operator=(const SessionBus&) = delete;

    bool isConnected() const { return connection_ != nullptr; }

    /// A well-known bus name: two or more dot-separated elements of letters,
    /// digits, '_' and '-', none starting with a digit.
    static bool isBusName(std::string_view name);
    /// '/' + id with '.' as '/' and '-' as '_'.
    static std::string objectPath(std::string_view applicationID);

    /// The unique name that owns `name`, when that connection was opened by `pid`.
    std::optional<std::string> ownerOpenedBy(const std::string& name, std::int32_t pid) const;
    /// Every name on the bus.
    std::vector<std::string> names() const;
    std::optional<bool> booleanProperty(const std::string& destination, const std::string& path,
                                        const std::string& interface,
                                        const std::string& property) const;
    /// The actions an application exports (org.gtk.Actions.List), when it exports any.
    std::optional<std::vector<std::string>> actions(const std::string& destination,
                                                    const std::string& path) const;
    Outcome send(const std::string& destination, const std::string& path,
                 const std::string& interface, const std::string& method,
                 const std::function<void(sdbus::MethodCall&)>& addArguments = nullptr) const;

private:
    std::unique_ptr<sdbus::IConnection> connection_;
    std::chrono::milliseconds callTimeout_;
};

} // namespace tovo
