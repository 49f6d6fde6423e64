#include "TovoSystem/Services/DiagnosisError.hpp"

namespace tovo {

std::string DiagnosisError::description() const {
    switch (kind) {
    case Kind::lsofFailed:
        return payload.empty() ? "macOS could not inspect the disk." : payload;
    case Kind::incompleteOutput:
        break;
    }
    const std::string sentence = "macOS returned an incomplete process list.";
    return payload.empty() ? sentence : sentence + " " + payload;
}

} // namespace tovo
