#pragma once

#include "TovoCore/Models/Error.hpp"
#include "TovoCore/Models/Uuid.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

namespace tovo {

/// What the user can do after a failure.
enum class FailureRecovery { refreshDisks, retryEject };
std::string_view name(FailureRecovery recovery);

/// Where the workflow stands. Each case carries everything a screen needs.
class EjectionPhase {
public:
    struct Ready {
        bool operator==(const Ready&) const = default;
    };
    struct Ejecting {
        bool operator==(const Ejecting&) const = default;
    };
    struct Diagnosing {
        bool operator==(const Diagnosing&) const = default;
    };
    struct Blocked {
        bool operator==(const Blocked&) const = default;
    };
    struct Releasing {
        bool operator==(const Releasing&) const = default;
    };
    struct Retrying {
        bool operator==(const Retrying&) const = default;
    };
    struct Stopping {
        std::string name;
        bool operator==(const Stopping&) const = default;
    };
    struct Ejected {
        std::string name;
        bool operator==(const Ejected&) const = default;
    };
    struct Failed {
        std::string title;
        std::string message;
        FailureRecovery recovery;
        bool operator==(const Failed&) const = default;
    };
    using Value = std::variant<Ready, Ejecting, Diagnosing, Blocked, Releasing, Retrying, Stopping,
                               Ejected, Failed>;

    EjectionPhase() = default;
    template<class Case>
    requires std::is_constructible_v<Value, Case> EjectionPhase(Case phase)
        : value_(std::move(phase)) {}

    static EjectionPhase ready() { return Ready{}; }
    static EjectionPhase ejecting() { return Ejecting{}; }
    static EjectionPhase diagnosing() { return Diagnosing{}; }
    static EjectionPhase blocked() { return Blocked{}; }
    static EjectionPhase releasing() { return Releasing{}; }
    static EjectionPhase retrying() { return Retrying{}; }
    static EjectionPhase stopping(std::string name) { return Stopping{std::move(name)}; }
    static EjectionPhase ejected(std::string name) { return Ejected{std::move(name)}; }
    static EjectionPhase failed(std::string title, std::string message, FailureRecovery recovery) {
        return Failed{std::move(title), std::move(message), recovery};
    }

    template<class Case>
    bool is() const {
        return std::holds_alternative<Case>(value_);
    }
    template<class Case>
    const Case* getIf() const {
        return std::get_if<Case>(&value_);
    }
    const Value& value() const { return value_; }

    /// An operation is in flight (ejecting, diagnosing, releasing, retrying, stopping).
    bool isBusy() const;
    /// The user may pick another disk: ready, blocked, or a failure that can be retried.
    bool allowsDiskSelection() const;
    /// The case name, for logs and tests.
    std::string_view caseName() const;

    bool operator==(const EjectionPhase&) const = default;

private:
    Value value_{Ready{}};
};

enum class ReleaseDisposition { requested, alreadyClosed, needsManualAction, failed };
std::string_view name(ReleaseDisposition disposition);

/// What happened to one process that Tovo asked to quit or stop.
struct ReleaseAttempt {
    Uuid id;
    std::int32_t processID;
    std::string processName;
    ReleaseDisposition disposition;
    std::string message;

    bool operator==(const ReleaseAttempt&) const = default;
};

enum class EjectionFailureKind { busy, identityChanged, other };
std::string_view name(EjectionFailureKind kind);

/// Why an eject did not happen; thrown by every `DiskEjecting`.
class EjectionFailure final : public Error {
public:
    EjectionFailure(std::string message, std::optional<std::int32_t> dissentingProcessID,
                    EjectionFailureKind kind, std::optional<std::string> underlyingDomain,
                    std::optional<std::int64_t> underlyingCode)
        : message(std::move(message))
        , dissentingProcessID(dissentingProcessID)
        , kind(kind)
        , underlyingDomain(std::move(underlyingDomain))
        , underlyingCode(underlyingCode) {}

    std::string message;
    std::optional<std::int32_t> dissentingProcessID;
    EjectionFailureKind kind;
    std::optional<std::string> underlyingDomain;
    std::optional<std::int64_t> underlyingCode;

    /// The localized description is the message itself, even when empty.
    std::string errorDescription() const { return message; }
    std::string description() const override { return message; }
    std::string domain() const override { return "TovoCore.EjectionFailure"; }
    std::int64_t code() const override { return 1; }

    bool operator==(const EjectionFailure& other) const {
        return message == other.message && dissentingProcessID == other.dissentingProcessID &&
               kind == other.kind && underlyingDomain == other.underlyingDomain &&
               underlyingCode == other.underlyingCode;
    }
};

enum class ReleaseStrategy { quitApplication, manualAction };
std::string_view name(ReleaseStrategy strategy);

enum class StopMethod { quitApplication, terminateProcess, unavailable };
std::string_view name(StopMethod method);

/// How Tovo would stop one blocker explicitly, and what to warn about first.
struct ProcessStopPlan {
    std::int32_t processID;
    std::string processName;
    StopMethod method;
    std::string message;
    std::optional<std::string> warning;

    std::int32_t id() const { return processID; }
    bool operator==(const ProcessStopPlan&) const = default;
};

/// Whether Tovo may ask one blocker to quit, or the user must close it.
struct ProcessReleasePlan {
    std::int32_t processID;
    std::string processName;
    ReleaseStrategy strategy;
    std::string message;

    std::int32_t id() const { return processID; }
    bool operator==(const ProcessReleasePlan&) const = default;
};

} // namespace tovo
