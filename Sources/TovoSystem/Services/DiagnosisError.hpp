#pragma once

#include "TovoCore/Models/Error.hpp"

#include <string>

namespace tovo {

/// Why `lsof` gave no usable answer. The payload is what the run left on standard
/// error (trimmed, without warnings about other file systems), or for `lsofMissing`
/// the launch error.
class DiagnosisError final : public Error {
public:
    enum class Kind { lsofFailed, incompleteOutput, lsofMissing };
    DiagnosisError(Kind kind, std::string payload)
        : kind(kind)
        , payload(std::move(payload)) {}

    Kind kind;
    std::string payload;

    std::string description() const override;
    std::string domain() const override { return "TovoSystem.DiagnosisError"; }
    std::int64_t code() const override { return static_cast<std::int64_t>(kind); }
};

} // namespace tovo
