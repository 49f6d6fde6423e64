#include "TovoSystem/Services/DiagnosisError.hpp"

namespace tovo {

std::string DiagnosisError::description() const {
    switch (kind) {
    case Kind::lsofFailed:
        return payload.empty() ? "The system could not inspect the disk." : payload;
    case Kind::lsofMissing:
        // The launch error says nothing a user can act on; the package name does.
        return "Tovo needs the lsof program to see which apps use the disk. Install the "
               "\u201Clsof\u201D package, then try again.";
    case Kind::incompleteOutput:
        break;
    }
    const std::string sentence = "The system returned an incomplete process list.";
    return payload.empty() ? sentence : sentence + " " + payload;
}

} // namespace tovo
