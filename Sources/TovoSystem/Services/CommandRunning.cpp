#include "TovoSystem/Services/CommandRunning.hpp"

#include "TovoCore/Services/Utf8.hpp"

namespace tovo {

std::string CommandResult::errorText() const { return trimmed(decodeUtf8Lossy(standardError)); }

std::string CommandRunnerError::description() const {
    switch (kind) {
    case Kind::couldNotCreateTemporaryFiles:
        return "Tovo could not prepare a process check.";
    case Kind::timedOut:
        break;
    }
    return "The process check took too long. Try again.";
}

} // namespace tovo
