#pragma once

#include "TovoSystem/Services/ProcessMetadataProviding.hpp"

#include <map>

namespace tovo::testing {

/// Process facts as the test sets them; a pid not in the map is gone.
class FakeProcessMetadataProvider final : public ProcessMetadataProviding {
public:
    std::map<std::int32_t, ProcessMetadata> processes;
    std::map<std::int32_t, ParentApplication> parents;
    mutable std::vector<std::int32_t> metadataQueries;

    void add(ProcessMetadata metadata) {
        processes.insert_or_assign(metadata.pid, std::move(metadata));
    }

    std::optional<ProcessMetadata> metadata(std::int32_t pid) const override {
        metadataQueries.push_back(pid);
        auto found = processes.find(pid);
        if (found == processes.end()) {
            return std::nullopt;
        }
        return found->second;
    }
    std::optional<ParentApplication> parentApplication(std::int32_t pid) const override {
        auto found = parents.find(pid);
        if (found == parents.end()) {
            return std::nullopt;
        }
        return found->second;
    }
};

} // namespace tovo::testing
