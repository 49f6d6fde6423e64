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
        auto found = processes.find(pid);
        return found == processes.end() ? std::nullopt : std::optional(found->second);
    }
    std::optional<ParentApplication> parentApplication(std::int32_t pid) const override {
        auto found = parents.find(pid);
        return found == parents.end() ? std::nullopt : std::optional(found->second);
    }
};

} // namespace tovo::testing
