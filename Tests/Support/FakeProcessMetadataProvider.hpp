#pragma once

#include "TovoSystem/Services/ProcessMetadataProviding.hpp"

#include <map>

namespace tovo::testing {

/// Process facts as the test sets them; a pid not in the map is gone.
class FakeProcessMetadataProvider final : public ProcessMetadataProviding {
public:
    std::map<std::int32_t, ProcessMetadata> processes;
    std::map<std::int32_t, ParentApplication> parents;

    void add(ProcessMetadata metadata) {
        processes.insert_or_assign(metadata.pid, std::move(metadata));
    }

    std::optional<ProcessMetadata> metadata(std::int32_t pid) const override {
        return processes.contains(pid) ? std::optional(processes.at(pid)) : std::nullopt;
    }
    std::optional<ParentApplication> parentApplication(std::int32_t pid) const override {
        return parents.contains(pid) ? std::optional(parents.at(pid)) : std::nullopt;
    }
};

} // namespace tovo::testing
