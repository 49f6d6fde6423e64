#pragma once

#include "TovoSystem/Services/Unmounter.hpp"

#include <string>

namespace tovo {

/// What a udisks2 error, or a failure of the bus on the way to it, says to the user.
namespace UDisks2Refusal {

/// How long Tovo was prepared to wait for the answer.
enum class Wait {
    limited,  ///< a quick question: no answer in time means udisks2 is stuck
    unlimited ///< real work: only a daemon that went away ends it without an answer
};

/// The refusal for a D-Bus error `name` with udisks2's own `message`.
UnmountError fromBus(const std::string& name, const std::string& message, Wait wait);

/// Whether `fromBus` has its own sentence for `name` (authorization, an absent or
/// vanished daemon, a lost bus) rather than udisks2's words about the device.
bool speaksForItself(const std::string& name);

/// The system bus itself cannot be reached.
UnmountError unreachable(const std::string& name, const std::string& detail);

} // namespace UDisks2Refusal

} // namespace tovo
